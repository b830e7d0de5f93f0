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

    void keyCodesAndCharacters_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("character");
        QTest::addRow("a") << "a" << 0 << "a";
        QTest::addRow("z") << "z" << 6 << "z";
        QTest::addRow("c") << "c" << 8 << "c";
        QTest::addRow("v") << "v" << 9 << "v";
        QTest::addRow("zero") << "zero" << 29 << "0";
        QTest::addRow("nine") << "nine" << 25 << "9";
        QTest::addRow("slash") << "slash" << 44 << "/";
        QTest::addRow("backslash") << "backslash" << 42 << "\\";
        QTest::addRow("quote") << "quote" << 39 << "'";
        QTest::addRow("grave") << "grave" << 50 << "`";
        QTest::addRow("keypadClear") << "keypadClear" << 71 << QStringLiteral("\u2327");
        QTest::addRow("keypadDivide") << "keypadDivide" << 75 << QStringLiteral("\u00F7");
        QTest::addRow("keypadEnter") << "keypadEnter" << 76 << "\n";
        QTest::addRow("keypad7") << "keypad7" << 89 << "7";
        QTest::addRow("keypad8") << "keypad8" << 91 << "8";
        QTest::addRow("return") << "return" << 36 << "\n";
        QTest::addRow("delete") << "delete" << 51 << QStringLiteral("\u232B");
        QTest::addRow("forwardDelete") << "forwardDelete" << 117 << QStringLiteral("\u2326");
        QTest::addRow("escape") << "escape" << 53 << QStringLiteral("\u238B");
        QTest::addRow("mute") << "mute" << 74 << QString::fromUcs4(U"\U0010FFEE");
        QTest::addRow("pageDown") << "pageDown" << 121 << QStringLiteral("\u21DF");
        QTest::addRow("upArrow") << "upArrow" << 126 << QStringLiteral("\u2191");
        QTest::addRow("f1") << "f1" << 122 << "F1";
        QTest::addRow("f17") << "f17" << 64 << "F17";
        QTest::addRow("f20") << "f20" << 90 << "F20";
        QTest::addRow("jisEisu") << "jisEisu" << 102 << QStringLiteral("英数");
        QTest::addRow("jisKana") << "jisKana" << 104 << QStringLiteral("かな");
    }

    void keyCodesAndCharacters()
    {
        QFETCH(QString, name);
        QFETCH(int, code);
        QFETCH(QString, character);
        const auto key = KeyEvent::keyFromName(name);
        QVERIFY(key);
        QCOMPARE(int(KeyEvent::keyCode(*key)), code);
        QCOMPARE(KeyEvent::character(*key), character);
        QCOMPARE(KeyEvent::name(*key), name);
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
        QTest::addRow("digit") << "0"
                               << "zero";
        QTest::addRow("period") << "."
                                << "period";
        QTest::addRow("minus") << "-"
                               << "minus";
        QTest::addRow("equal") << "="
                               << "equal";
        QTest::addRow("comma") << ","
                               << "comma";
        QTest::addRow("line feed") << "\n"
                                   << "keypadEnter";
        QTest::addRow("F5") << "F5"
                            << "f5";
        QTest::addRow("f5") << "f5"
                            << "f5";
        QTest::addRow("upper A") << "A"
                                 << "a";
        QTest::addRow("star") << "*"
                              << "keypadMultiply";
        QTest::addRow("yen") << QStringLiteral("¥") << "jisYen";
        QTest::addRow("exclamation") << "!"
                                     << "";
        QTest::addRow("accented") << QStringLiteral("é") << "";
        QTest::addRow("emoji") << QStringLiteral("🙂") << "";
        QTest::addRow("empty") << ""
                               << "";
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

    // Keysyms that X11 and xkbcommon give these keys, beside the Latin-1
    // ones that are their own code points.
    void chordNamesTheKeysKeysym_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<quint32>("keysym");
        QTest::addRow("quote") << "quote" << quint32(0x27);
        QTest::addRow("keypadEnter") << "keypadEnter" << quint32(0xff8d);
        QTest::addRow("return") << "return" << quint32(0xff0d);
        QTest::addRow("delete is backspace") << "delete" << quint32(0xff08);
        QTest::addRow("forwardDelete") << "forwardDelete" << quint32(0xffff);
        QTest::addRow("escape") << "escape" << quint32(0xff1b);
        QTest::addRow("pageUp") << "pageUp" << quint32(0xff55);
        QTest::addRow("f13") << "f13" << quint32(0xffca);
        QTest::addRow("volumeUp") << "volumeUp" << quint32(0x1008ff13);
        QTest::addRow("isoSection") << "isoSection" << quint32(0xa7);
        QTest::addRow("jisKana") << "jisKana" << quint32(0xff27);
    }

    void chordNamesTheKeysKeysym()
    {
        QFETCH(QString, name);
        QFETCH(quint32, keysym);
        QCOMPARE(KeyEventSender::chordFor(KeyEvent{*KeyEvent::keyFromName(name), {}}).key, keysym);
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
