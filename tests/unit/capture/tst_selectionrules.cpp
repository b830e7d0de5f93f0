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
    void aWholeMustHoldThePartItsElementShows()
    {
        const QString two = QStringLiteral("First paragraph\nSecond paragraph");
        const std::tuple<QString, QString, bool> rows[] = {
            {two, u"Second paragraph"_qs, true},
            {two, u"First paragraph\n"_qs, true},
            {u"an older selection"_qs, u"Second paragraph"_qs, false},
            {two, u"\uFFFCSecond par"_qs, true},
            {two, u"Second\uFFFCFirst"_qs, false}, // out of order
            {two, u"\uFFFC\uFFFC"_qs, true},
            {u"one\r\ntwo"_qs, u"one\n"_qs, true}, // line ends of another kind
        };
        for (const auto &[whole, part, holds] : rows) {
            QCOMPARE(std::tuple(whole, part, containsPart(whole, part)),
                     std::tuple(whole, part, holds));
        }
    }

    // A toolkit that miscounts its offsets after astral characters still
    // reports a length: in characters, in UTF-16 units, or one short for
    // each astral character.
    void theLengthAnElementReportedIsCountedEitherWay()
    {
        const QString emoji = QStringLiteral("Emoji 😀 here and 👍🏽 there");
        const std::tuple<QString, int, bool> rows[] = {
            {u"here"_qs, 4, true}, {u"here"_qs, 5, false},           {emoji, 25, true},
            {emoji, 22, true},     {emoji, int(emoji.size()), true}, {emoji, 24, false},
            {QString(), 0, true},
        };
        for (const auto &[text, length, matches] : rows) {
            QCOMPARE(std::tuple(text, length, hasReportedLength(text, length)),
                     std::tuple(text, length, matches));
        }
    }

    void placeholdersAndNulsAreNoText()
    {
        QCOMPARE(withoutPlaceholders(QStringLiteral("a\uFFFCb") + QChar(0) + u'c'),
                 QStringLiteral("abc"));
    }
};

QTEST_GUILESS_MAIN(SelectionRulesTest)
#include "tst_selectionrules.moc"
