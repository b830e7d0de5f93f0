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

    // By the key's name (the row's tag): its Mac key code, the character
    // that describes it, and the X keysym it is posted as (X11's and
    // xkbcommon's; a Latin-1 key's keysym is its code point).
    void eachKeyHasItsCodeCharacterAndKeysym_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("character");
        QTest::addColumn<quint32>("keysym");
        QTest::addRow("a") << 0 << "a" << quint32('a');
        QTest::addRow("z") << 6 << "z" << quint32('z');
        QTest::addRow("c") << 8 << "c" << quint32('c');
        QTest::addRow("v") << 9 << "v" << quint32('v');
        QTest::addRow("zero") << 29 << "0" << quint32('0');
        QTest::addRow("nine") << 25 << "9" << quint32('9');
        QTest::addRow("slash") << 44 << "/" << quint32('/');
        QTest::addRow("backslash") << 42 << "\\" << quint32('\\');
        QTest::addRow("quote") << 39 << "'" << quint32(0x27);
        QTest::addRow("grave") << 50 << "`" << quint32('`');
        QTest::addRow("isoSection") << 10 << QStringLiteral("§") << quint32(0xa7);
        QTest::addRow("keypadClear") << 71 << QStringLiteral("\u2327") << quint32(0xff0b);
        QTest::addRow("keypadDivide") << 75 << QStringLiteral("\u00F7") << quint32(0xffaf);
        QTest::addRow("keypadEnter") << 76 << "\n" << quint32(0xff8d);
        QTest::addRow("keypad7") << 89 << "7" << quint32(0xffb7);
        QTest::addRow("keypad8") << 91 << "8" << quint32(0xffb8);
        QTest::addRow("return") << 36 << "\n" << quint32(0xff0d);
        QTest::addRow("delete") << 51 << QStringLiteral("\u232B") << quint32(0xff08); // backspace
        QTest::addRow("forwardDelete") << 117 << QStringLiteral("\u2326") << quint32(0xffff);
        QTest::addRow("escape") << 53 << QStringLiteral("\u238B") << quint32(0xff1b);
        QTest::addRow("mute") << 74 << QString::fromUcs4(U"\U0010FFEE") << quint32(0x1008ff12);
        QTest::addRow("volumeUp") << 72 << QString::fromUcs4(U"\U0010FFEE") << quint32(0x1008ff13);
        QTest::addRow("pageUp") << 116 << QStringLiteral("\u21DE") << quint32(0xff55);
        QTest::addRow("pageDown") << 121 << QStringLiteral("\u21DF") << quint32(0xff56);
        QTest::addRow("upArrow") << 126 << QStringLiteral("\u2191") << quint32(0xff52);
        QTest::addRow("f1") << 122 << "F1" << quint32(0xffbe);
        QTest::addRow("f13") << 105 << "F13" << quint32(0xffca);
        QTest::addRow("f17") << 64 << "F17" << quint32(0xffce);
        QTest::addRow("f20") << 90 << "F20" << quint32(0xffd1);
        QTest::addRow("jisEisu") << 102 << QStringLiteral("英数") << quint32(0xff30);
        QTest::addRow("jisKana") << 104 << QStringLiteral("かな") << quint32(0xff27);
    }

    void eachKeyHasItsCodeCharacterAndKeysym()
    {
        QFETCH(int, code);
        QFETCH(QString, character);
        QFETCH(quint32, keysym);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        const auto key = KeyEvent::keyFromName(name);
        QVERIFY(key);
        QCOMPARE(int(KeyEvent::keyCode(*key)), code);
        QCOMPARE(KeyEvent::character(*key), character);
        QCOMPARE(KeyEvent::name(*key), name);
        QCOMPARE(KeyEventSender::chordFor(KeyEvent{*key, {}}).key, keysym);
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
        const QList<std::pair<QString, QString>> rows{{u"0"_qs, u"zero"_qs},
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
                                                      {{}, {}}};
        for (const auto &[character, key] : rows) {
            const auto found = KeyEvent::keyForCharacter(character);
            QCOMPARE(found ? KeyEvent::name(*found) : QString(), key);
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
