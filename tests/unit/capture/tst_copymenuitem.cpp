// SPDX-License-Identifier: GPL-3.0-or-later
#include "CopyMenuItem.h"
#include "FakeKeyInput.h"
#include "FakeWindows.h"
#include "TestSupport.h"

#include <QTest>

namespace {

constexpr quint32 escapeKeysym = 0xff1b;

qsizetype escapesIn(const QList<platform::KeyChord> &posted)
{
    return std::count_if(posted.cbegin(), posted.cend(), [](const platform::KeyChord &chord) {
        return chord.key == escapeKeysym && chord.modifiers.isEmpty();
    });
}

} // namespace

class CopyMenuItemTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void searchOrderStartsAtEditAndSpreadsOut_data()
    {
        QTest::addColumn<int>("menus");
        QTest::addColumn<int>("edit");
        QTest::addColumn<QList<int>>("order");
        QTest::addRow("linux, 6 menus") << 6 << 1 << QList<int>{1, 0, 2, 3, 4, 5};
        QTest::addRow("linux, 2 menus") << 2 << 1 << QList<int>{1, 0};
        QTest::addRow("linux, 1 menu") << 1 << 1 << QList<int>{};
        QTest::addRow("linux, none") << 0 << 1 << QList<int>{};
        QTest::addRow("index 3, 10 menus") << 10 << 3 << QList<int>{3, 2, 4, 1, 5, 0, 6, 7, 8, 9};
        QTest::addRow("index 3, 4 menus") << 4 << 3 << QList<int>{3, 2, 1, 0};
        QTest::addRow("index 3, 3 menus") << 3 << 3 << QList<int>{};
    }

    void searchOrderStartsAtEditAndSpreadsOut()
    {
        QFETCH(int, menus);
        QFETCH(int, edit);
        QFETCH(QList<int>, order);
        QCOMPARE(CopyMenuItem::menuSearchOrder(menus, edit), order);
    }

    void titlesInEveryLanguage_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("matches");
        QTest::addRow("Copy") << "Copy" << true;
        QTest::addRow("gtk mnemonic") << "_Copy" << true;
        QTest::addRow("qt mnemonic") << "&Copy" << true;
        QTest::addRow("gtk padding") << "Copy      " << true;
        QTest::addRow("Kopieren") << "Kopieren" << true;
        QTest::addRow("japanese") << QStringLiteral("コピー") << true;
        QTest::addRow("persian, last") << QStringLiteral("کپی") << true;
        QTest::addRow("precomposed") << QStringLiteral("Kopi\u00EBren") << true;
        QTest::addRow("decomposed") << QStringLiteral("Kopie\u0308ren") << true;
        QTest::addRow("romanian decomposed") << QStringLiteral("Copiaz\u0103") << true;
        QTest::addRow("lower case") << "copy" << false;
        QTest::addRow("trailing space") << "Kopieren " << true;
        QTest::addRow("Masolas without accent") << "Masolas" << false;
        QTest::addRow("Copy Link") << "Copy Link" << false;
        QTest::addRow("Paste") << "Paste" << false;
    }

    void titlesInEveryLanguage()
    {
        QFETCH(QString, title);
        QFETCH(bool, matches);
        QCOMPARE(CopyMenuItem::isCopyTitle(title), matches);
    }

    void thirtyFiveTitles() { QCOMPARE(CopyMenuItem::copyMenuTitles().size(), 35); }

    void ctrlCBindings_data()
    {
        QTest::addColumn<QString>("binding");
        QTest::addColumn<bool>("matches");
        QTest::addRow("gtk primary") << "c;<Alt>e:c;<Primary>c" << true;
        QTest::addRow("gtk control") << "c;<Alt>e:c;<Control>c" << true;
        QTest::addRow("qt") << "Ctrl+C" << true;
        QTest::addRow("gtk paste") << "p;<Alt>e:p;<Primary>v" << false;
        QTest::addRow("mnemonic c only") << "c;<Alt>f:c;<Primary><Shift>w" << false;
        QTest::addRow("shift ctrl c") << "Ctrl+Shift+C" << false;
        QTest::addRow("empty") << "" << false;
        QTest::addRow("disabled gtk item") << ";;" << false;
    }

    void ctrlCBindings()
    {
        QFETCH(QString, binding);
        QFETCH(bool, matches);
        QCOMPARE(CopyMenuItem::isCtrlCBinding(binding), matches);
    }

    void copyIdentifiers_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<bool>("matches");
        for (const char *id : {"copy", "edit-copy", "app.copy", "win.copy", "copy:"}) {
            QTest::addRow("%s", id) << QString::fromLatin1(id) << true;
        }
        for (const char *id : {"", "cut:", "copy-link", "Copy", "win.paste"}) {
            QTest::addRow("not '%s'", id) << QString::fromLatin1(id) << false;
        }
    }

    void copyIdentifiers()
    {
        QFETCH(QString, identifier);
        QFETCH(bool, matches);
        QCOMPARE(CopyMenuItem::isCopyIdentifier(identifier), matches);
    }

    // LibreOffice takes the keyboard for the press, gives it back, and takes
    // it again for the menu it leaves open, here just after Vellumo first
    // looked: that menu is left all the same, with one Escape.
    void aMenuThatTakesTheKeyboardAgainIsLeft()
    {
        platform::fake::Windows windows;
        platform::fake::KeyInput keys;
        const auto grabs = keys.watchKeyboardGrabs();
        QVERIFY(grabs);
        keys.setKeyboardGrabbedByAnother(true);  // the item's menu opens for the press
        keys.setKeyboardGrabbedByAnother(false); // and closes
        keys.onGrabLook([&keys] {
            keys.onGrabLook({});
            keys.setKeyboardGrabbedByAnother(true);
        });
        keys.onPost([&keys](const platform::KeyChord &chord) {
            if (chord.key == escapeKeysym) {
                keys.setKeyboardGrabbedByAnother(false);
            }
        });
        QVERIFY(CopyMenuItem::leaveMenuMode(windows, keys, grabs.get()));
        QCOMPARE(escapesIn(keys.posted()), 1);
        QVERIFY(!keys.keyboardGrabbedByAnother());
    }

    // An application that never took the keyboard for the press gets no key.
    void noMenuNoEscape()
    {
        platform::fake::Windows windows;
        platform::fake::KeyInput keys;
        const auto grabs = keys.watchKeyboardGrabs();
        QVERIFY(CopyMenuItem::leaveMenuMode(windows, keys, grabs.get()));
        QCOMPARE(keys.posted().size(), 0);
    }
};

QTEST_GUILESS_MAIN(CopyMenuItemTest)
#include "tst_copymenuitem.moc"
