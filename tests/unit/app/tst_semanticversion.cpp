// SPDX-License-Identifier: GPL-3.0-or-later
// Release tags read as versions, and their order.
#include "SemanticVersion.h"

#include <QtTest>

class SemanticVersionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parse_data()
    {
        QTest::addColumn<QString>("tag");
        QTest::addColumn<QString>("version"); // empty: not a version

        QTest::newRow("plain") << "1.2.3"
                               << "1.2.3";
        QTest::newRow("v prefix") << "v1.2.3"
                                  << "1.2.3";
        QTest::newRow("capital V") << "V0.10.0"
                                   << "0.10.0";
        QTest::newRow("minor and patch left out") << "v2"
                                                  << "2.0.0";
        QTest::newRow("patch left out") << "1.4"
                                        << "1.4.0";
        QTest::newRow("pre-release") << "1.0.0-rc.1"
                                     << "1.0.0-rc.1";
        QTest::newRow("build metadata dropped") << "1.0.0+20240101.sha.5114f85"
                                                << "1.0.0";
        QTest::newRow("both") << "v1.0.0-beta+exp.sha.5114f85"
                              << "1.0.0-beta";
        QTest::newRow("surrounding blanks") << " v1.0.0\n"
                                            << "1.0.0";
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("v alone") << "v"
                                 << "";
        QTest::newRow("four numbers") << "1.2.3.4"
                                      << "";
        QTest::newRow("leading zero") << "1.02.3"
                                      << "";
        QTest::newRow("letters") << "latest"
                                 << "";
        QTest::newRow("trailing dot") << "1.2."
                                      << "";
        QTest::newRow("empty pre-release") << "1.2.3-"
                                           << "";
        QTest::newRow("empty pre-release part") << "1.2.3-rc..1"
                                                << "";
        QTest::newRow("numeric pre-release with leading zero") << "1.2.3-01"
                                                               << "";
        QTest::newRow("bad character") << "1.2.3-rc_1"
                                       << "";
        QTest::newRow("empty build") << "1.2.3+"
                                     << "";
        QTest::newRow("negative") << "-1.2.3"
                                  << "";
        QTest::newRow("too large") << "99999999999999999999.0.0"
                                   << "";
    }

    void parse()
    {
        QFETCH(QString, tag);
        QFETCH(QString, version);
        const std::optional<SemanticVersion> parsed = SemanticVersion::parse(tag);
        QCOMPARE(parsed ? parsed->toString() : QString(), version);
    }

    void order_data()
    {
        QTest::addColumn<QString>("lower");
        QTest::addColumn<QString>("higher");

        QTest::newRow("patch") << "1.0.0"
                               << "1.0.1";
        QTest::newRow("minor over patch") << "1.0.9"
                                          << "1.1.0";
        QTest::newRow("numbers, not text") << "1.9.0"
                                           << "1.10.0";
        QTest::newRow("major over the rest") << "0.99.99"
                                             << "1.0.0";
        QTest::newRow("pre-release before its release") << "1.0.0-rc.1"
                                                        << "1.0.0";
        QTest::newRow("pre-release after the release before") << "0.9.0"
                                                              << "1.0.0-alpha";
        QTest::newRow("shorter pre-release first") << "1.0.0-alpha"
                                                   << "1.0.0-alpha.1";
        QTest::newRow("numeric before alphanumeric") << "1.0.0-alpha.1"
                                                     << "1.0.0-alpha.beta";
        QTest::newRow("text order") << "1.0.0-alpha.beta"
                                    << "1.0.0-beta";
        QTest::newRow("numeric identifiers as numbers") << "1.0.0-beta.2"
                                                        << "1.0.0-beta.11";
        QTest::newRow("beta before rc") << "1.0.0-beta.11"
                                        << "1.0.0-rc.1";
        QTest::newRow("v makes no difference") << "v1.0.0"
                                               << "1.0.1";
    }

    void order()
    {
        QFETCH(QString, lower);
        QFETCH(QString, higher);
        const auto a = SemanticVersion::parse(lower);
        const auto b = SemanticVersion::parse(higher);
        QVERIFY(a && b);
        QVERIFY(*a < *b);
        QVERIFY(*b > *a);
        QVERIFY(!(*a == *b));
    }

    void equal_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::newRow("v prefix") << "v1.2.3"
                                  << "1.2.3";
        QTest::newRow("build metadata does not count") << "1.2.3+a"
                                                       << "1.2.3+b";
        QTest::newRow("left-out parts are zero") << "2"
                                                 << "2.0.0";
    }

    void equal()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        const auto x = SemanticVersion::parse(a);
        const auto y = SemanticVersion::parse(b);
        QVERIFY(x && y);
        QVERIFY(*x == *y);
        QVERIFY(!(*x < *y) && !(*y < *x));
    }
};

QTEST_GUILESS_MAIN(SemanticVersionTest)
#include "tst_semanticversion.moc"
