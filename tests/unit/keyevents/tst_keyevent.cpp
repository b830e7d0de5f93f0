// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeKeyInput.h"
#include "KeyEvent.h"
#include "KeyEventSender.h"
#include "TestSupport.h"

#include <QJsonDocument>
#include <QSet>
#include <QTest>

using Key = KeyEvent::Key;
using Modifier = KeyEvent::Modifier;

class KeyEventTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    // By the key's name: its Mac key code, the character that describes it,
    // and the X keysym it is posted as (X11's and xkbcommon's; a Latin-1
    // key's keysym is its code point).
    void eachKeyHasItsCodeCharacterAndKeysym()
    {
        const std::tuple<QString, int, QString, quint32> rows[] = {
            {u"a"_qs, 0, u"a"_qs, 'a'},
            {u"z"_qs, 6, u"z"_qs, 'z'},
            {u"c"_qs, 8, u"c"_qs, 'c'},
            {u"v"_qs, 9, u"v"_qs, 'v'},
            {u"zero"_qs, 29, u"0"_qs, '0'},
            {u"nine"_qs, 25, u"9"_qs, '9'},
            {u"slash"_qs, 44, u"/"_qs, '/'},
            {u"backslash"_qs, 42, u"\\"_qs, '\\'},
            {u"quote"_qs, 39, u"'"_qs, 0x27},
            {u"grave"_qs, 50, u"`"_qs, '`'},
            {u"isoSection"_qs, 10, u"§"_qs, 0xa7},
            {u"keypadClear"_qs, 71, u"\u2327"_qs, 0xff0b},
            {u"keypadDivide"_qs, 75, u"\u00F7"_qs, 0xffaf},
            {u"keypadEnter"_qs, 76, u"\n"_qs, 0xff8d},
            {u"keypad7"_qs, 89, u"7"_qs, 0xffb7},
            {u"keypad8"_qs, 91, u"8"_qs, 0xffb8},
            {u"return"_qs, 36, u"\n"_qs, 0xff0d},
            {u"delete"_qs, 51, u"\u232B"_qs, 0xff08}, // backspace
            {u"forwardDelete"_qs, 117, u"\u2326"_qs, 0xffff},
            {u"escape"_qs, 53, u"\u238B"_qs, 0xff1b},
            {u"mute"_qs, 74, QString::fromUcs4(U"\U0010FFEE"), 0x1008ff12},
            {u"volumeUp"_qs, 72, QString::fromUcs4(U"\U0010FFEE"), 0x1008ff13},
            {u"pageUp"_qs, 116, u"\u21DE"_qs, 0xff55},
            {u"pageDown"_qs, 121, u"\u21DF"_qs, 0xff56},
            {u"upArrow"_qs, 126, u"\u2191"_qs, 0xff52},
            {u"f1"_qs, 122, u"F1"_qs, 0xffbe},
            {u"f13"_qs, 105, u"F13"_qs, 0xffca},
            {u"f17"_qs, 64, u"F17"_qs, 0xffce},
            {u"f20"_qs, 90, u"F20"_qs, 0xffd1},
            {u"jisEisu"_qs, 102, u"英数"_qs, 0xff30},
            {u"jisKana"_qs, 104, u"かな"_qs, 0xff27},
        };
        for (const auto &row : rows) {
            const auto key = KeyEvent::keyFromName(std::get<0>(row));
            QVERIFY2(key, qPrintable(std::get<0>(row)));
            QCOMPARE(std::tuple(KeyEvent::name(*key), int(KeyEvent::keyCode(*key)),
                                KeyEvent::character(*key),
                                KeyEventSender::chordFor(KeyEvent{*key, {}}).key),
                     row);
        }
    }

    void everyKeyHasADistinctCodeAndAKeysym()
    {
        QSet<int> codes;
        for (int i = 0; i < KeyEvent::keyCount; ++i) {
            const auto key = static_cast<Key>(i);
            codes.insert(KeyEvent::keyCode(key));
            QVERIFY(KeyEventSender::chordFor(KeyEvent{key, {}}).key != 0);
            QCOMPARE(KeyEvent::keyFromName(KeyEvent::name(key)), std::optional<Key>(key));
        }
        QCOMPARE(codes.size(), KeyEvent::keyCount);
        QVERIFY(!KeyEvent::keyFromName(QStringLiteral("Return")));
    }

    // Case does not matter; the first key with the character wins.
    void keyForCharacterTakesTheFirstMatch()
    {
        const std::pair<QString, QString> rows[] = {
            {u"0"_qs, u"zero"_qs},
            {u"."_qs, u"period"_qs},
            {u"-"_qs, u"minus"_qs},
            {u"="_qs, u"equal"_qs},
            {u","_qs, u"comma"_qs},
            {u"\n"_qs, u"keypadEnter"_qs},
            {u"F5"_qs, u"f5"_qs},
            {u"f5"_qs, u"f5"_qs},
            {u"A"_qs, u"a"_qs},
            {u"*"_qs, u"keypadMultiply"_qs},
            {u"¥"_qs, u"jisYen"_qs},
            {u"!"_qs, {}},
            {u"é"_qs, {}},
            {u"🙂"_qs, {}},
            {{}, {}},
        };
        for (const auto &[character, key] : rows) {
            const auto found = KeyEvent::keyForCharacter(character);
            QCOMPARE(std::pair(character, found ? KeyEvent::name(*found) : QString()),
                     std::pair(character, key));
        }
    }

    // The flags are the union of the modifiers; the posted chord holds the
    // X key of each once, and none for those X has no key for.
    void modifiersMakeFlagsAndChord_data()
    {
        QTest::addColumn<QList<Modifier>>("modifiers");
        QTest::addColumn<quint64>("flags");
        QTest::addColumn<QList<quint32>>("chord");
        using namespace platform::Keysym;
        QTest::addRow("none") << QList<Modifier>{} << quint64(0) << QList<quint32>{};
        QTest::addRow("command twice") << QList<Modifier>{Modifier::command, Modifier::command}
                                       << quint64(0x100000) << QList<quint32>{superL};
        QTest::addRow("control option shift")
            << QList<Modifier>{Modifier::control, Modifier::option, Modifier::shift}
            << quint64(0x40000 | 0x80000 | 0x20000) << QList<quint32>{controlL, altL, shiftL};
        QTest::addRow("all") << QList<Modifier>{Modifier::capsLock, Modifier::command,
                                                Modifier::control,  Modifier::function,
                                                Modifier::help,     Modifier::numPad,
                                                Modifier::option,   Modifier::shift}
                             << quint64(0xFF0000) << QList<quint32>{superL, controlL, altL, shiftL};
    }

    void modifiersMakeFlagsAndChord()
    {
        QFETCH(QList<Modifier>, modifiers);
        QFETCH(quint64, flags);
        QFETCH(QList<quint32>, chord);
        QCOMPARE(KeyEvent(Key::c, modifiers).flags(), flags);
        QCOMPARE(KeyEventSender::chordFor(KeyEvent{Key::c, modifiers}),
                 (platform::KeyChord{chord, 'c'}));
    }

    // One event per character, shifted for upper case; one character
    // without a key fails the whole text.
    void textBecomesOneEventPerCharacter()
    {
        QCOMPARE(std::get<QList<KeyEvent>>(KeyEventSender::eventsFor(QStringLiteral("Ab1"))),
                 (QList<KeyEvent>{{Key::a, {Modifier::shift}}, {Key::b, {}}, {Key::one, {}}}));
        QVERIFY(std::get<QList<KeyEvent>>(KeyEventSender::eventsFor(QString())).isEmpty());
        for (const QString &text : {u"hi!"_qs, u"café"_qs, u"a🙂"_qs}) {
            const auto result = KeyEventSender::eventsFor(text);
            QVERIFY2(std::holds_alternative<KeyEventSenderError>(result), qPrintable(text));
            QCOMPARE(std::get<KeyEventSenderError>(result).message,
                     QStringLiteral("Invalid character. Cannot create key event."));
        }
    }

    // Every keystroke is posted, in order, one chord each; one the keyboard
    // lacks is said on the log, and the others still go.
    void eventsArePostedOneChordEach()
    {
        platform::fake::KeyInput keys;
        keys.setLacking({quint32('b')});
        QTest::ignoreMessage(QtWarningMsg,
                             "Cannot post the keystroke 0xffe3+0x62: no display, or a key this "
                             "keyboard lacks");
        QVERIFY(!KeyEventSender(keys).send(QList<KeyEvent>{
            {Key::a, {Modifier::shift}}, {Key::b, {Modifier::control}}, {Key::c, {}}}));
        QCOMPARE(keys.posted(),
                 (QList<platform::KeyChord>{{{platform::Keysym::shiftL}, 'a'}, {{}, 'c'}}));
    }

    void jsonRoundTrip()
    {
        const KeyEvent copy{Key::c, {Modifier::command}};
        const auto json =
            QJsonDocument::fromJson(R"({"key":{"c":{}},"modifiers":[{"command":{}}]})");
        QCOMPARE(copy.toJson(), json.object());
        QCOMPARE(KeyEvent::fromJson(json.object()), std::optional<KeyEvent>(copy));
        const KeyEvent bracket{Key::leftBracket, {Modifier::option, Modifier::shift}};
        QCOMPARE(KeyEvent::fromJson(bracket.toJson()), std::optional<KeyEvent>(bracket));
        // A name it does not know beside the one it does is ignored.
        QCOMPARE(
            KeyEvent::fromJson(
                QJsonDocument::fromJson(R"({"key":{"c":{},"extra":{}},"modifiers":[]})").object()),
            std::optional<KeyEvent>({Key::c, {}}));
    }

    // Each key and each modifier is an object with exactly one known name.
    void jsonWithoutExactlyOneKnownMemberFails()
    {
        for (const char *json :
             {R"({"key":{"c":{},"v":{}},"modifiers":[]})", R"({"key":{},"modifiers":[]})",
              R"({"key":{"cmd":{}},"modifiers":[]})",
              R"({"key":{"c":{}},"modifiers":[{"command":{},"shift":{}}]})",
              R"({"key":{"c":{}},"modifiers":[{"hyper":{}}]})"}) {
            QString error;
            QVERIFY2(!KeyEvent::fromJson(QJsonDocument::fromJson(json).object(), &error), json);
            QCOMPARE(error, QStringLiteral("Invalid number of keys found, expected one."));
        }
    }
};

QTEST_GUILESS_MAIN(KeyEventTest)
#include "tst_keyevent.moc"
