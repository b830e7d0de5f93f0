// SPDX-License-Identifier: GPL-3.0-or-later
#include "GlobalShortcuts.h"
#include "KeyTable.h"
#include "TestSupport.h"

#include <QSet>
#include <QtTest>

using namespace GlobalShortcuts;

class ShortcutTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void description_data()
    {
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("text");
        QTest::newRow("the default") << 44 << 4352 << QStringLiteral("Ctrl+Super+/");
        QTest::newRow("every modifier in order, F1")
            << 122 << (0x100 | 0x200 | 0x800 | 0x1000) << QStringLiteral("Ctrl+Alt+Shift+Super+F1");
        QTest::newRow("letters are capitalized") << 0 << 0x200 << QStringLiteral("Shift+A");
        QTest::newRow("digit row") << 29 << 0x800 << QStringLiteral("Alt+0");
        QTest::newRow("space") << 49 << 0x1000 << QStringLiteral("Ctrl+Space");
        QTest::newRow("return") << 36 << 0 << QStringLiteral("↩");
        QTest::newRow("help") << 114 << 0 << QStringLiteral("?\u20DD");
        QTest::newRow("F20") << 90 << 0 << QStringLiteral("F20");
        QTest::newRow("keypad digit") << 83 << 0 << QStringLiteral("1\u20E3");
        QTest::newRow("keypad enter") << 76 << 0 << QStringLiteral("↩\u20E3");
        QTest::newRow("keypad divide, not the slash") << 75 << 0 << QStringLiteral("/\u20E3");
        QTest::newRow("a key that types nothing") << 72 << 0 << QStringLiteral("key code 72");
        QTest::newRow("unknown key code") << 200 << 0x1000 << QStringLiteral("Ctrl+key code 200");
        QTest::newRow("function bit") << 122 << 0x20000 << QStringLiteral("Fn+F1");
        QTest::newRow("unknown modifier bits") << 44 << 0x4000 << QStringLiteral("/");
    }

    void description()
    {
        QFETCH(int, keyCode);
        QFETCH(int, modifiers);
        QFETCH(QString, text);
        QCOMPARE(shortcutDescription(Shortcut(keyCode, modifiers)), text);
    }

    void keyTableCoversEveryKeyOnce()
    {
        const auto keys = KeyTable::keys();
        QCOMPARE(keys.size(), size_t(108));
        QSet<int> codes;
        QSet<quint32> keysyms;
        for (const KeyTable::KeyInfo &key : keys) {
            QVERIFY2(key.macKeyCode >= 0 && key.macKeyCode <= 126,
                     qPrintable(QString::number(key.macKeyCode)));
            QVERIFY(key.keysym != 0);
            codes.insert(key.macKeyCode);
            keysyms.insert(key.keysym);
            QCOMPARE(KeyTable::keyForKeysym(key.keysym)->macKeyCode, key.macKeyCode);
            QCOMPARE(KeyTable::keyForMacKeyCode(key.macKeyCode)->keysym, key.keysym);
        }
        QCOMPARE(codes.size(), 108);
        QCOMPARE(keysyms.size(), 108);
        // Help has a symbol but no key on these keyboards.
        QVERIFY(!KeyTable::keyForMacKeyCode(114));
        QVERIFY(!KeyTable::keyForMacKeyCode(127));
    }
};

QTEST_GUILESS_MAIN(ShortcutTextTest)
#include "tst_shortcuttext.moc"
