// SPDX-License-Identifier: GPL-3.0-or-later
// Synthetic keys posted with XTest, as a real X window receives them.
#include "Desktop.h"
#include "KeyEventSender.h"
#include "TestSupport.h"
#include "X11KeyInput.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTest>
#include <QWidget>

namespace {

struct Seen {
    bool press;
    int key;
    Qt::KeyboardModifiers modifiers;
    QString text;
};

class Recorder : public QWidget {
public:
    QList<Seen> seen;

protected:
    void keyPressEvent(QKeyEvent *e) override
    {
        seen.append({true, e->key(), e->modifiers(), e->text()});
    }
    void keyReleaseEvent(QKeyEvent *e) override
    {
        if (!e->isAutoRepeat()) {
            seen.append({false, e->key(), e->modifiers(), e->text()});
        }
    }
};

bool isModifierKey(int key)
{
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt ||
           key == Qt::Key_Meta || key == Qt::Key_Super_L || key == Qt::Key_Super_R;
}

// The non-modifier events, in order.
QList<Seen> plainKeys(const QList<Seen> &all)
{
    QList<Seen> out;
    for (const Seen &s : all) {
        if (!isModifierKey(s.key)) {
            out.append(s);
        }
    }
    return out;
}

} // namespace

class KeyEventsDesktopTest : public QObject {
    Q_OBJECT

    Recorder m_window;
    const platform::x11::KeyInput m_keys;

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        m_window.setWindowTitle(QStringLiteral("key recorder"));
        m_window.resize(300, 200);
        m_window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_window));
        QVERIFY(Desktop::activate(m_window.winId()));
        QTRY_VERIFY(m_window.isActiveWindow());
    }

    void init() { m_window.seen.clear(); }

    void chordArrivesWithItsModifiers_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QList<KeyEvent::Modifier>>("modifiers");
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<int>("qtModifiers");
        using M = KeyEvent::Modifier;
        QTest::addRow("plain c") << int(KeyEvent::Key::c) << QList<M>{} << int(Qt::Key_C) << 0;
        QTest::addRow("command c") << int(KeyEvent::Key::c) << QList<M>{M::command}
                                   << int(Qt::Key_C) << int(Qt::MetaModifier);
        QTest::addRow("control shift a")
            << int(KeyEvent::Key::a) << QList<M>{M::control, M::shift} << int(Qt::Key_A)
            << int(Qt::ControlModifier | Qt::ShiftModifier);
        QTest::addRow("option f5") << int(KeyEvent::Key::f5) << QList<M>{M::option}
                                   << int(Qt::Key_F5) << int(Qt::AltModifier);
        QTest::addRow("function adds nothing")
            << int(KeyEvent::Key::slash) << QList<M>{M::function} << int(Qt::Key_Slash) << 0;
        QTest::addRow("keypad enter") << int(KeyEvent::Key::keypadEnter) << QList<M>{}
                                      << int(Qt::Key_Enter) << int(Qt::KeypadModifier);
    }

    void chordArrivesWithItsModifiers()
    {
        QFETCH(int, key);
        QFETCH(QList<KeyEvent::Modifier>, modifiers);
        QFETCH(int, qtKey);
        QFETCH(int, qtModifiers);
        QVERIFY(KeyEventSender(m_keys).send(KeyEvent{static_cast<KeyEvent::Key>(key), modifiers}));
        QTRY_COMPARE(plainKeys(m_window.seen).size(), 2);
        const QList<Seen> keys = plainKeys(m_window.seen);
        QVERIFY(keys[0].press);
        QCOMPARE(keys[0].key, qtKey);
        QCOMPARE(int(keys[0].modifiers), qtModifiers);
        QVERIFY(!keys[1].press);
        QCOMPARE(keys[1].key, qtKey);
        // Every modifier pressed for the chord was released again (the
        // sender waits until the server has taken its events).
        QVERIFY(!m_keys.modifiersHeld());
    }

    void stringTypesItsCharacters()
    {
        const auto events = std::get<QList<KeyEvent>>(KeyEventSender::eventsFor("Ab1"));
        QVERIFY(KeyEventSender(m_keys).send(events));
        QTRY_COMPARE(plainKeys(m_window.seen).size(), 6);
        QString typed;
        for (const Seen &s : plainKeys(m_window.seen)) {
            if (s.press) {
                typed += s.text;
            }
        }
        QCOMPARE(typed, QStringLiteral("Ab1"));
    }

    void withoutKeyUpOnlyTheModifiersAreReleased()
    {
        QVERIFY(KeyEventSender(m_keys).send(KeyEvent{KeyEvent::Key::d, {KeyEvent::Modifier::shift}},
                                            false));
        QTRY_COMPARE(plainKeys(m_window.seen).size(), 1);
        QVERIFY(plainKeys(m_window.seen)[0].press);
        QVERIFY(!m_keys.modifiersHeld());
        // Release the key we left down, so the next test starts clean.
        QVERIFY(Desktop::xdotool({QStringLiteral("keyup"), QStringLiteral("d")}));
        QTRY_COMPARE(plainKeys(m_window.seen).size(), 2);
    }

    // The paste's chords are posted as they are, with keys outside the
    // described keystrokes (Insert).
    void chordArrivesAsPosted()
    {
        QVERIFY(KeyEventSender(m_keys).send(
            platform::KeyChord{{platform::Keysym::shiftL}, platform::Keysym::insert}));
        QTRY_COMPARE(plainKeys(m_window.seen).size(), 2);
        QCOMPARE(plainKeys(m_window.seen)[0].key, int(Qt::Key_Insert));
        QCOMPARE(int(plainKeys(m_window.seen)[0].modifiers), int(Qt::ShiftModifier));
        QVERIFY(!m_keys.modifiersHeld());
    }

    void heldModifierIsSeenUntilReleased()
    {
        QVERIFY(Desktop::xdotool({QStringLiteral("keydown"), QStringLiteral("Control_L")}));
        QVERIFY(m_keys.modifiersHeld());
        QVERIFY(Desktop::xdotool({QStringLiteral("keyup"), QStringLiteral("Control_L")}));
        QTRY_VERIFY_WITH_TIMEOUT(!m_keys.modifiersHeld(), 500);
    }
};

QTEST_MAIN(KeyEventsDesktopTest)
#include "tst_keyevents_desktop.moc"
