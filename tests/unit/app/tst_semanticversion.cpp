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
        QTest::newRow("plain") << u"1.2.3"_qs << u"1.2.3"_qs;
        QTest::newRow("v prefix") << u"v1.2.3"_qs << u"1.2.3"_qs;
        QTest::newRow("capital V") << u"V0.10.0"_qs << u"0.10.0"_qs;
        QTest::newRow("minor and patch left out") << u"v2"_qs << u"2.0.0"_qs;
        QTest::newRow("patch left out") << u"1.4"_qs << u"1.4.0"_qs;
        QTest::newRow("pre-release") << u"1.0.0-rc.1"_qs << u"1.0.0-rc.1"_qs;
        QTest::newRow("build metadata dropped") << u"1.0.0+20240101.sha.5114f85"_qs << u"1.0.0"_qs;
        QTest::newRow("both") << u"v1.0.0-beta+exp.sha.5114f85"_qs << u"1.0.0-beta"_qs;
        QTest::newRow("surrounding blanks") << u" v1.0.0\n"_qs << u"1.0.0"_qs;
        const char *const invalid[][2] = {{"empty", ""},
                                          {"v alone", "v"},
                                          {"four numbers", "1.2.3.4"},
                                          {"leading zero", "1.02.3"},
                                          {"letters", "latest"},
                                          {"trailing dot", "1.2."},
                                          {"empty pre-release", "1.2.3-"},
                                          {"empty pre-release part", "1.2.3-rc..1"},
                                          {"numeric pre-release with leading zero", "1.2.3-01"},
                                          {"bad character", "1.2.3-rc_1"},
                                          {"empty build", "1.2.3+"},
                                          {"negative", "-1.2.3"},
                                          {"too large", "99999999999999999999.0.0"}};
        for (const auto &[name, tag] : invalid) {
            QTest::newRow(name) << QString::fromLatin1(tag) << QString();
        }
    }

    void parse()
    {
        QFETCH(QString, tag);
        QFETCH(QString, version);
        const std::optional<SemanticVersion> parsed = SemanticVersion::parse(tag);
        QCOMPARE(parsed ? parsed->toString() : QString(), version);
    }

    // Pairs in order, or equal.
    void order_data()
    {
        QTest::addColumn<QString>("lower");
        QTest::addColumn<QString>("higher");
        QTest::addColumn<bool>("equal");
        QTest::newRow("patch") << u"1.0.0"_qs << u"1.0.1"_qs << false;
        QTest::newRow("minor over patch") << u"1.0.9"_qs << u"1.1.0"_qs << false;
        QTest::newRow("numbers, not text") << u"1.9.0"_qs << u"1.10.0"_qs << false;
        QTest::newRow("major over the rest") << u"0.99.99"_qs << u"1.0.0"_qs << false;
        QTest::newRow("pre-release before its release") << u"1.0.0-rc.1"_qs << u"1.0.0"_qs << false;
        QTest::newRow("pre-release after the release before")
            << u"0.9.0"_qs << u"1.0.0-alpha"_qs << false;
        QTest::newRow("shorter pre-release first")
            << u"1.0.0-alpha"_qs << u"1.0.0-alpha.1"_qs << false;
        QTest::newRow("numeric before alphanumeric")
            << u"1.0.0-alpha.1"_qs << u"1.0.0-alpha.beta"_qs << false;
        QTest::newRow("text order") << u"1.0.0-alpha.beta"_qs << u"1.0.0-beta"_qs << false;
        QTest::newRow("numeric identifiers as numbers")
            << u"1.0.0-beta.2"_qs << u"1.0.0-beta.11"_qs << false;
        QTest::newRow("beta before rc") << u"1.0.0-beta.11"_qs << u"1.0.0-rc.1"_qs << false;
        QTest::newRow("v makes no difference") << u"v1.0.0"_qs << u"1.0.1"_qs << false;
        QTest::newRow("equal: v prefix") << u"v1.2.3"_qs << u"1.2.3"_qs << true;
        QTest::newRow("equal: build metadata does not count")
            << u"1.2.3+a"_qs << u"1.2.3+b"_qs << true;
        QTest::newRow("equal: left-out parts are zero") << u"2"_qs << u"2.0.0"_qs << true;
    }

    void order()
    {
        QFETCH(QString, lower);
        QFETCH(QString, higher);
        QFETCH(bool, equal);
        const auto a = SemanticVersion::parse(lower);
        const auto b = SemanticVersion::parse(higher);
        QVERIFY(a && b);
        QCOMPARE(*a < *b, !equal);
        QVERIFY(!(*b < *a));
        QCOMPARE(*b > *a, !equal);
        QCOMPARE(*a == *b, equal);
    }
};

QTEST_GUILESS_MAIN(SemanticVersionTest)
#include "tst_semanticversion.moc"
