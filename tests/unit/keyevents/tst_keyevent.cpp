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

    void keyForCharacterTakesTheFirstMatch_data()
    {
        QTest::addColumn<QString>("character");
        QTest::addColumn<QString>("key");
        QTest::addRow("digit") << "0" << u"zero"_qs;
        QTest::addRow("period") << "." << u"period"_qs;
        QTest::addRow("minus") << "-" << u"minus"_qs;
        QTest::addRow("equal") << "=" << u"equal"_qs;
        QTest::addRow("comma") << "," << u"comma"_qs;
        QTest::addRow("line feed") << "\n" << u"keypadEnter"_qs;
        QTest::addRow("F5") << "F5" << u"f5"_qs;
        QTest::addRow("f5") << "f5" << u"f5"_qs;
        QTest::addRow("upper A") << "A" << u"a"_qs;
        QTest::addRow("star") << "*" << u"keypadMultiply"_qs;
        QTest::addRow("yen") << QStringLiteral("¥") << "jisYen";
        QTest::addRow("exclamation") << "!" << u""_qs;
        QTest::addRow("accented") << QStringLiteral("é") << "";
        QTest::addRow("emoji") << QStringLiteral("🙂") << "";
        QTest::addRow("empty") << "" << u""_qs;
    }

    void keyForCharacterTakesTheFirstMatch()
    {
        QFETCH(QString, character);
        QFETCH(QString, key);
        const auto found = KeyEvent::keyForCharacter(character);
        if (key.isEmpty()) {
            QVERIFY(!found);
        } else {
            QVERIFY(found);
            QCOMPARE(KeyEvent::name(*found), key);
        }
    }

    void flagsAreTheUnionOfModifiers_data()
    {
        QTest::addColumn<QList<Modifier>>("modifiers");
        QTest::addColumn<quint64>("flags");
        QTest::addRow("none") << QList<Modifier>{} << quint64(0);
        QTest::addRow("command") << QList<Modifier>{Modifier::command} << quint64(0x100000);
        QTest::addRow("command twice")
            << QList<Modifier>{Modifier::command, Modifier::command} << quint64(0x100000);
        QTest::addRow("control option shift")
            << QList<Modifier>{Modifier::control, Modifier::option, Modifier::shift}
            << quint64(0x40000 | 0x80000 | 0x20000);
        QTest::addRow("all") << QList<Modifier>{Modifier::capsLock, Modifier::command,
                                                Modifier::control,  Modifier::function,
                                                Modifier::help,     Modifier::numPad,
                                                Modifier::option,   Modifier::shift}
                             << quint64(0xFF0000);
    }

    void flagsAreTheUnionOfModifiers()
    {
        QFETCH(QList<Modifier>, modifiers);
        QFETCH(quint64, flags);
        QCOMPARE(KeyEvent(Key::c, modifiers).flags(), flags);
    }

    void chordHoldsEachModifierKeyOnce()
    {
        const auto chord = KeyEventSender::chordFor(KeyEvent{
            Key::c, {Modifier::command, Modifier::command, Modifier::function, Modifier::shift}});
        QCOMPARE(chord.key, quint32('c'));
        QCOMPARE(chord.modifiers,
                 (QList<quint32>{platform::Keysym::superL, platform::Keysym::shiftL}));
    }

    void stringBecomesOneEventPerCharacter()
    {
        const auto result = KeyEventSender::eventsFor(QStringLiteral("Ab1"));
        const auto *events = std::get_if<QList<KeyEvent>>(&result);
        QVERIFY(events);
        QCOMPARE(*events,
                 (QList<KeyEvent>{{Key::a, {Modifier::shift}}, {Key::b, {}}, {Key::one, {}}}));
        const auto empty = KeyEventSender::eventsFor(QString());
        QVERIFY(std::get<QList<KeyEvent>>(empty).isEmpty());
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

    void stringWithoutKeysFails_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addRow("exclamation") << "hi!";
        QTest::addRow("accent") << QStringLiteral("café");
        QTest::addRow("emoji") << QStringLiteral("a🙂");
    }

    void stringWithoutKeysFails()
    {
        QFETCH(QString, text);
        const auto result = KeyEventSender::eventsFor(text);
        const auto *error = std::get_if<KeyEventSenderError>(&result);
        QVERIFY(error);
        QCOMPARE(error->message, QStringLiteral("Invalid character. Cannot create key event."));
    }

    void jsonRoundTrip()
    {
        const KeyEvent copy{Key::c, {Modifier::command}};
        const QByteArray json = QJsonDocument(copy.toJson()).toJson(QJsonDocument::Compact);
        QCOMPARE(
            QJsonDocument::fromJson(json).object(),
            QJsonDocument::fromJson(R"({"key":{"c":{}},"modifiers":[{"command":{}}]})").object());
        QCOMPARE(KeyEvent::fromJson(copy.toJson()), std::optional<KeyEvent>(copy));
        const KeyEvent bracket{Key::leftBracket, {Modifier::option, Modifier::shift}};
        QCOMPARE(KeyEvent::fromJson(bracket.toJson()), std::optional<KeyEvent>(bracket));
    }

    void jsonWithoutExactlyOneKnownMemberFails_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addRow("two keys") << QByteArray(R"({"key":{"c":{},"v":{}},"modifiers":[]})");
        QTest::addRow("no key") << QByteArray(R"({"key":{},"modifiers":[]})");
        QTest::addRow("unknown key only") << QByteArray(R"({"key":{"cmd":{}},"modifiers":[]})");
        QTest::addRow("two modifiers in one")
            << QByteArray(R"({"key":{"c":{}},"modifiers":[{"command":{},"shift":{}}]})");
        QTest::addRow("unknown modifier")
            << QByteArray(R"({"key":{"c":{}},"modifiers":[{"hyper":{}}]})");
    }

    void jsonWithoutExactlyOneKnownMemberFails()
    {
        QFETCH(QByteArray, json);
        QString error;
        QVERIFY(!KeyEvent::fromJson(QJsonDocument::fromJson(json).object(), &error));
        QCOMPARE(error, QStringLiteral("Invalid number of keys found, expected one."));
    }

    void unknownNamesBesideOneKnownAreIgnored()
    {
        const auto event = KeyEvent::fromJson(
            QJsonDocument::fromJson(R"({"key":{"c":{},"extra":{}},"modifiers":[]})").object());
        QVERIFY(event);
        QCOMPARE(event->key, Key::c);
    }
};

QTEST_GUILESS_MAIN(KeyEventTest)
#include "tst_keyevent.moc"
