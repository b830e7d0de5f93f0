// SPDX-License-Identifier: GPL-3.0-or-later
#include "DefaultsStore.h"
#include "FakeHotKeys.h"
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "KeyTable.h"
#include "TestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QtTest>

using namespace GlobalShortcuts;

namespace {

// The platform's fake backend (the X11 one needs a display and is exercised
// on the test desktop), spoken to in shortcuts.
struct Backend {
    platform::fake::HotKeyBackend &fake;

    int idOf(const Shortcut &shortcut) const { return fake.idOf(hotKeyFor(shortcut)); }
    int grabsOf(const Shortcut &shortcut) const { return fake.grabsOf(hotKeyFor(shortcut)); }
    bool press(const Shortcut &shortcut, EventType type = EventType::keyDown) const
    {
        return fake.press(hotKeyFor(shortcut), type == EventType::keyDown
                                                   ? platform::HotKeyEvent::Pressed
                                                   : platform::HotKeyEvent::Released);
    }
    // As another client holding the combination would.
    void refuse(const Shortcut &shortcut) const { fake.refused.insert(hotKeyFor(shortcut)); }
};

Backend backend()
{
    return {*static_cast<platform::fake::HotKeyBackend *>(HotKeyLayer::shared().backend())};
}

// Handler tables and grabs live for the whole process, so every test uses
// names and shortcuts of its own.
Name freshName(std::optional<Shortcut> defaultShortcut = std::nullopt)
{
    static int counter = 0;
    return Name(QStringLiteral("name%1").arg(++counter), defaultShortcut);
}

Shortcut freshShortcut()
{
    static size_t next = 0;
    const auto keys = KeyTable::keys();
    const size_t index = next++;
    const int modifiers = index < keys.size() ? KeyTable::controlKey : KeyTable::optionKey;
    return Shortcut(keys[index % keys.size()].macKeyCode, modifiers);
}

} // namespace

class GlobalShortcutsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        HotKeyLayer::shared().setBackend(platform::fake::HotKeys().makeBackend());
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        setPaused(false);
        setEnabled(true);
        backend().fake.refused.clear();
    }

    void firstCreationStoresTheDefaultAsJsonText()
    {
        // The first use of the application's one name, on a fresh store.
        QVERIFY(!DefaultsStore::standard().contains(QStringLiteral("GlobalShortcuts_showpopup")));
        const Name &name = Name::showPopup();
        const QString stored =
            DefaultsStore::standard().text(u"GlobalShortcuts_showpopup"_qs).value_or(QString());
        QCOMPARE(QJsonDocument::fromJson(stored.toUtf8()).object(),
                 (QJsonObject{{u"carbonKeyCode"_qs, 44}, {u"carbonModifiers"_qs, 4352}}));
        QCOMPARE(getShortcut(name), std::optional<Shortcut>(Shortcut(44, 4352)));
        // Naming a shortcut takes no key from the desktop.
        QCOMPARE(backend().grabsOf(Shortcut(44, 4352)), 0);
    }

    // With a default, removal is stored as false, so the default does not
    // come back at the next start; without one the entry goes.
    void removingReleasesTheKeyAcrossRestarts()
    {
        for (const bool withDefault : {true, false}) {
            const Shortcut shortcut = freshShortcut();
            const Name name = freshName(withDefault ? std::optional(shortcut) : std::nullopt);
            if (!withDefault) {
                setShortcut(shortcut, name);
            }
            onKeyDown(name, [] {});
            QVERIFY(backend().idOf(shortcut) != 0);

            QSignalSpy spy(notifier(), &Notifier::shortcutByNameDidChange);
            setShortcut(std::nullopt, name);
            QCOMPARE(spy.size(), 1);
            QCOMPARE(spy.at(0).at(0).value<Name>().rawValue(), name.rawValue());
            QCOMPARE(backend().idOf(shortcut), 0);

            // What another process (the next start) reads from the file.
            DefaultsStore fromDisk(DefaultsStore::standard().filePath());
            QCOMPARE(fromDisk.boolean(name.storeKey()),
                     withDefault ? std::optional<bool>(false) : std::nullopt);
            QCOMPARE(fromDisk.contains(name.storeKey()), withDefault);
            const Name restarted(name.rawValue(), name.defaultShortcut());
            QCOMPARE(getShortcut(restarted), std::nullopt);
            QCOMPARE(DefaultsStore::standard().contains(name.storeKey()), withDefault);

            // Removing what is already removed changes and posts nothing.
            setShortcut(std::nullopt, restarted);
            QCOMPARE(spy.size(), 1);
        }
    }

    void settingRegistersStoresAndNotifies()
    {
        const Name name = freshName();
        const Shortcut first = freshShortcut();
        const Shortcut second = freshShortcut();
        QSignalSpy spy(notifier(), &Notifier::shortcutByNameDidChange);

        setShortcut(first, name);
        QCOMPARE(spy.size(), 1);
        const std::optional<QString> json = QString::fromUtf8(first.toJson());
        QCOMPARE(DefaultsStore::standard().text(name.storeKey()), json);
        QCOMPARE(DefaultsStore(DefaultsStore::standard().filePath()).text(name.storeKey()), json);
        const int firstId = backend().idOf(first);
        QVERIFY(firstId != 0);

        // The same shortcut again: released and grabbed anew under a new id.
        setShortcut(first, name);
        QCOMPARE(spy.size(), 2);
        QCOMPARE(backend().grabsOf(first), 1);
        QVERIFY(backend().idOf(first) > firstId);

        setShortcut(second, name);
        QCOMPARE(spy.size(), 3);
        QCOMPARE(backend().idOf(first), 0);
        QVERIFY(backend().idOf(second) != 0);
        QCOMPARE(getShortcut(name), std::optional<Shortcut>(second));
        // A name created again keeps the stored value over its default.
        QCOMPARE(getShortcut(Name(name.rawValue(), freshShortcut())), std::optional(second));
    }

    void unreadableStoredValuesReadAsNone_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::newRow("Boolean false") << QVariant(false);
        QTest::newRow("Boolean true") << QVariant(true);
        QTest::newRow("empty text") << QVariant(QString());
        QTest::newRow("not JSON") << QVariant(QStringLiteral("Ctrl+Super+/"));
        QTest::newRow("JSON array") << QVariant(QStringLiteral("[44,4352]"));
        QTest::newRow("missing modifiers") << QVariant(QStringLiteral("{\"carbonKeyCode\":44}"));
        QTest::newRow("code as text")
            << QVariant(QStringLiteral("{\"carbonKeyCode\":\"44\",\"carbonModifiers\":4352}"));
        QTest::newRow("fractional code")
            << QVariant(QStringLiteral("{\"carbonKeyCode\":44.5,\"carbonModifiers\":4352}"));
        QTest::newRow("truncated") << QVariant(QStringLiteral("{\"carbonKeyCode\":44,"));
        QTest::newRow("number") << QVariant(44);
    }

    void unreadableStoredValuesReadAsNone()
    {
        QFETCH(QVariant, stored);
        const Name plain = freshName();
        DefaultsStore &store = DefaultsStore::standard();
        if (stored.typeId() == QMetaType::Bool) {
            store.setBoolean(plain.storeKey(), stored.toBool());
        } else if (stored.typeId() == QMetaType::Int) {
            store.setData(plain.storeKey(), QByteArray::number(stored.toInt()));
        } else {
            store.setText(plain.storeKey(), stored.toString());
        }
        QCOMPARE(getShortcut(plain), std::nullopt);

        // Present, so a default is not applied over it ...
        const Name withDefault(plain.rawValue(), freshShortcut());
        QCOMPARE(getShortcut(withDefault), std::nullopt);
        // ... and a handler added for it grabs nothing.
        const int grabsBefore = backend().fake.grabCount;
        onKeyDown(withDefault, [] {});
        QCOMPARE(backend().fake.grabCount, grabsBefore);

        // The next set overwrites it.
        const Shortcut replacement = freshShortcut();
        setShortcut(replacement, withDefault);
        QCOMPARE(getShortcut(withDefault), std::optional<Shortcut>(replacement));
    }

    // The first handler grabs the key, once for both event types and for a
    // second name set to the same shortcut; handlers run in the order they
    // were added, per event type.
    void handlersShareOneGrabAndRunInOrder()
    {
        const Shortcut shortcut = freshShortcut();
        const Name name = freshName(shortcut);
        QCOMPARE(backend().idOf(shortcut), 0);
        QStringList calls;
        onKeyDown(name, [&] { calls << u"down 1"_qs; });
        const int id = backend().idOf(shortcut);
        QVERIFY(id != 0);
        onKeyUp(name, [&] { calls << u"up"_qs; });
        onKeyDown(name, [&] { calls << u"down 2"_qs; });
        QCOMPARE(backend().idOf(shortcut), id);
        const Name second = freshName();
        setShortcut(shortcut, second);
        onKeyDown(second, [&] { calls << u"second"_qs; });
        QCOMPARE(backend().grabsOf(shortcut), 1);

        QVERIFY(backend().press(shortcut, EventType::keyDown));
        QCOMPARE(calls, QStringList({u"down 1"_qs, u"down 2"_qs, u"second"_qs}));
        QVERIFY(backend().press(shortcut, EventType::keyUp));
        QCOMPARE(calls.size(), 4);
        QCOMPARE(calls.last(), u"up"_qs);
    }

    // Paused, no handler runs for either event; a handler whose context is
    // gone is skipped from then on, and the others still run.
    void pausedAndOrphanedHandlersAreSkipped()
    {
        const Shortcut shortcut = freshShortcut();
        const Name name = freshName(shortcut);
        QStringList calls;
        auto context = std::make_unique<QObject>();
        onKeyDown(
            name, [&] { calls << u"owned"_qs; }, context.get());
        onKeyDown(name, [&] { calls << u"down"_qs; });
        onKeyUp(name, [&] { calls << u"up"_qs; });
        setPaused(true);
        QVERIFY(isPaused());
        QVERIFY(backend().press(shortcut, EventType::keyDown));
        QVERIFY(backend().press(shortcut, EventType::keyUp));
        QCOMPARE(calls, QStringList());

        setPaused(false);
        QVERIFY(backend().press(shortcut, EventType::keyDown));
        context.reset();
        QVERIFY(backend().press(shortcut, EventType::keyDown));
        QVERIFY(backend().press(shortcut, EventType::keyUp));
        QCOMPARE(calls, QStringList({u"owned"_qs, u"down"_qs, u"down"_qs, u"up"_qs}));
    }

    void dispatchFollowsTheStoredShortcut()
    {
        const Shortcut before = freshShortcut();
        const Shortcut after = freshShortcut();
        const Name name = freshName(before);
        int calls = 0;
        onKeyDown(name, [&] { ++calls; });

        setShortcut(after, name);
        QVERIFY(!backend().press(before)); // released
        QVERIFY(backend().press(after));
        QCOMPARE(calls, 1);

        // The store is read at the press: a value written behind the
        // registry's back stops the old grab from reaching the handler.
        const Shortcut elsewhere = freshShortcut();
        DefaultsStore::standard().setText(name.storeKey(), QString::fromUtf8(elsewhere.toJson()));
        QVERIFY(backend().press(after));
        QCOMPARE(calls, 1);
    }

    void refusedRegistrationIsPrintedAndKeepsTheStoredValue()
    {
        const Name name = freshName();
        const Shortcut taken(40, KeyTable::controlKey | KeyTable::optionKey); // Ctrl+Alt+K
        backend().refuse(taken);
        QSignalSpy spy(notifier(), &Notifier::shortcutByNameDidChange);

        const QString printed = TestSupport::captureStdout([&] { setShortcut(taken, name); });
        QCOMPARE(printed, QStringLiteral("Error registering hotkey Ctrl+Alt+K: BadAccess\n"));
        QCOMPARE(getShortcut(name), std::optional<Shortcut>(taken));
        QCOMPARE(spy.size(), 1);
        QCOMPARE(backend().idOf(taken), 0);

        // Once the other client lets go, the next handler takes the key.
        backend().fake.refused.clear();
        int calls = 0;
        const QString quiet =
            TestSupport::captureStdout([&] { onKeyDown(name, [&] { ++calls; }); });
        QCOMPARE(quiet, QString());
        QVERIFY(backend().press(taken));
        QCOMPARE(calls, 1);
    }

    // A grab the desktop gave up when the keyboard's mapping changed is said
    // as a refused registration is; only the grab's own shortcut is named.
    void aLostGrabIsPrinted()
    {
        const Shortcut shortcut(40, KeyTable::controlKey | KeyTable::shiftKey); // Ctrl+Shift+K
        const Name name = freshName(shortcut);
        onKeyDown(name, [] {});
        onKeyDown(freshName(freshShortcut()), [] {});
        const int id = backend().idOf(shortcut);
        QVERIFY(id != 0);
        const QString printed = TestSupport::captureStdout(
            [&] { backend().fake.lost(id, QStringLiteral("no such key on this keyboard")); });
        QCOMPARE(printed,
                 QStringLiteral(
                     "Error registering hotkey Ctrl+Shift+K: no such key on this keyboard\n"));
    }

    void disablingReleasesEveryGrabAndEnablingTakesThemBack()
    {
        const Shortcut shortcut = freshShortcut();
        const Name name = freshName(shortcut);
        int calls = 0;
        onKeyDown(name, [&] { ++calls; });
        const int id = backend().idOf(shortcut);
        QVERIFY(id != 0);

        setEnabled(false);
        QVERIFY(!isEnabled());
        QVERIFY(backend().fake.grabs.isEmpty());
        // A late press from the platform for a released key does nothing.
        backend().fake.deliver(id, platform::HotKeyEvent::Pressed);
        QCOMPARE(calls, 0);

        setEnabled(true);
        QCOMPARE(backend().idOf(shortcut), id);
        QVERIFY(backend().press(shortcut));
        QCOMPARE(calls, 1);

        // Taken by another client while disabled: reported and dropped, and
        // the next handler tries again.
        setEnabled(false);
        backend().refuse(shortcut);
        const QString printed = TestSupport::captureStdout([] { setEnabled(true); });
        QCOMPARE(printed, QStringLiteral("Error registering hotkey %1: BadAccess\n")
                              .arg(shortcutDescription(shortcut)));
        QCOMPARE(backend().idOf(shortcut), 0);
        backend().fake.refused.clear();
        onKeyDown(name, [] {});
        QVERIFY(backend().press(shortcut));
        QCOMPARE(calls, 2);
    }

    void shortcutJsonRoundTrips()
    {
        for (const Shortcut shortcut :
             {Shortcut(0, 0), Shortcut(-1, -4096), Shortcut(122, 0x20000)}) {
            QCOMPARE(Shortcut::fromJson(shortcut.toJson()), std::optional<Shortcut>(shortcut));
        }
    }

    void modifiersFromTheKeyboardDropUnknownBits()
    {
        const Shortcut shortcut(Key{44},
                                Qt::ControlModifier | Qt::MetaModifier | Qt::KeypadModifier);
        QCOMPARE(shortcut, Shortcut(44, 4352));
        QCOMPARE(shortcut.modifiers(), Qt::ControlModifier | Qt::MetaModifier);
        const auto all =
            Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier;
        QCOMPARE(Shortcut(Key{0}, all).carbonModifiers, 0x1000 | 0x800 | 0x200 | 0x100);
    }
};

QTEST_GUILESS_MAIN(GlobalShortcutsTest)
#include "tst_globalshortcuts.moc"
