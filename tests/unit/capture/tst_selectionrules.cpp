// SPDX-License-Identifier: GPL-3.0-or-later
// The rules by which a source that claims the whole selection is believed.
#include "SelectionCapture.h"

#include <QtTest>

using namespace SelectionCapture;

class SelectionRulesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The focused paragraph's share (or a parent's text with placeholders
    // for paragraphs) must be found in the whole, piece by piece, in order.
    void aWholeMustHoldThePartItsElementShows_data()
    {
        QTest::addColumn<QString>("whole");
        QTest::addColumn<QString>("part");
        QTest::addColumn<bool>("holds");
        const QString two = QStringLiteral("First paragraph\nSecond paragraph");
        QTest::newRow("the last paragraph's share") << two << "Second paragraph" << true;
        QTest::newRow("with its break") << two << "First paragraph\n" << true;
        QTest::newRow("a stale whole") << "an older selection" << u"Second paragraph"_qs << false;
        QTest::newRow("placeholders around text")
            << two << QStringLiteral("\uFFFCSecond par") << true;
        QTest::newRow("pieces out of order") << two << QStringLiteral("Second\uFFFCFirst") << false;
        QTest::newRow("only placeholders") << two << QStringLiteral("\uFFFC\uFFFC") << true;
        QTest::newRow("line ends of another kind")
            << QStringLiteral("one\r\ntwo") << QStringLiteral("one\n") << true;
    }

    void aWholeMustHoldThePartItsElementShows()
    {
        QFETCH(QString, whole);
        QFETCH(QString, part);
        QFETCH(bool, holds);
        QCOMPARE(containsPart(whole, part), holds);
    }

    // A toolkit that miscounts its offsets after astral characters still
    // reports a length: in characters, in UTF-16 units, or one short for
    // each astral character.
    void theLengthAnElementReportedIsCountedEitherWay_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("matches");
        QTest::newRow("plain") << "here" << 4 << true;
        QTest::newRow("plain, wrong") << "here" << 5 << false;
        const QString emoji = QStringLiteral("Emoji 😀 here and 👍🏽 there");
        QTest::newRow("in characters") << emoji << 25 << true;
        QTest::newRow("without the astral ones") << emoji << 22 << true;
        QTest::newRow("in UTF-16 units") << emoji << int(emoji.size()) << true;
        QTest::newRow("none of them") << emoji << 24 << false;
        QTest::newRow("empty") << QString() << 0 << true;
    }

    void theLengthAnElementReportedIsCountedEitherWay()
    {
        QFETCH(QString, text);
        QFETCH(int, length);
        QFETCH(bool, matches);
        QCOMPARE(hasReportedLength(text, length), matches);
    }

    void placeholdersAndNulsAreNoText()
    {
        QCOMPARE(withoutPlaceholders(QStringLiteral("a\uFFFCb") + QChar(0) + u'c'),
                 QStringLiteral("abc"));
    }
};

QTEST_GUILESS_MAIN(SelectionRulesTest)
#include "tst_selectionrules.moc"
