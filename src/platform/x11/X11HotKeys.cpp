// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11HotKeys.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QHash>
#include <QPointer>
#include <QTimer>
#include <cstdlib>
#include <vector>
#include <xcb/xcb.h>

namespace platform::x11 {

namespace {

// Only these take part in matching; lock modifiers are covered by grabbing
// every lock variant.
constexpr uint16_t matchedModifiers =
    XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

QString errorName(uint8_t code)
{
    switch (code) {
    case 2:
        return QStringLiteral("BadValue");
    case 3:
        return QStringLiteral("BadWindow");
    case 10:
        return hotKeyTakenStatus;
    default:
        return QStringLiteral("X error %1").arg(code);
    }
}

// The current keyboard mapping: keysyms per keycode, as the server has them.
class Keymap {
public:
    void load(xcb_connection_t *connection)
    {
        const xcb_setup_t *setup = xcb_get_setup(connection);
        m_minKeycode = setup->min_keycode;
        const int count = setup->max_keycode - setup->min_keycode + 1;
        xcb_get_keyboard_mapping_reply_t *reply = xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, uint8_t(count)),
            nullptr);
        m_keysyms.clear();
        m_perKeycode = 0;
        if (!reply) {
            return;
        }
        m_perKeycode = reply->keysyms_per_keycode;
        const xcb_keysym_t *keysyms = xcb_get_keyboard_mapping_keysyms(reply);
        m_keysyms.assign(keysyms, keysyms + xcb_get_keyboard_mapping_keysyms_length(reply));
        std::free(reply);
    }

    // The keycode typing the keysym, preferring the unshifted level; 0 when
    // the keyboard has no such key.
    xcb_keycode_t keycodeFor(xcb_keysym_t keysym) const
    {
        if (m_perKeycode == 0) {
            return 0;
        }
        const size_t keycodes = m_keysyms.size() / m_perKeycode;
        for (size_t level = 0; level < m_perKeycode; ++level) {
            for (size_t index = 0; index < keycodes; ++index) {
                if (m_keysyms[index * m_perKeycode + level] == keysym) {
                    return xcb_keycode_t(m_minKeycode + index);
                }
            }
        }
        return 0;
    }

private:
    std::vector<xcb_keysym_t> m_keysyms;
    size_t m_perKeycode = 0;
    xcb_keycode_t m_minKeycode = 0;
};

class HotKeyBackendX11 : public HotKeyBackend, public QAbstractNativeEventFilter {
public:
    HotKeyBackendX11(xcb_connection_t *connection, xcb_window_t root)
        : m_connection(connection), m_root(root)
    {
        xcb_query_extension_reply_t *reply = xcb_query_extension_reply(
            connection, xcb_query_extension(connection, 9, "XKEYBOARD"), nullptr);
        if (reply && reply->present) {
            m_xkbFirstEvent = reply->first_event;
        }
        std::free(reply);
        loadMapping();
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_regrabTimer = new QTimer(QCoreApplication::instance());
        m_regrabTimer->setSingleShot(true);
        m_regrabTimer->setInterval(0);
        QObject::connect(m_regrabTimer, &QTimer::timeout, m_regrabTimer, [this] { regrabAll(); });
    }

    ~HotKeyBackendX11() override
    {
        // After the application is gone its X connection is closed, and the
        // grabs ended with it.
        if (!QCoreApplication::instance()) {
            return;
        }
        QCoreApplication::instance()->removeNativeEventFilter(this);
        delete m_regrabTimer.data();
        for (const Grab &grab : std::as_const(m_grabs)) {
            ungrabKey(grab, m_numLockMask);
        }
        xcb_flush(m_connection);
    }

    QString grab(int hotKeyId, const HotKey &hotKey) override
    {
        Grab grab{hotKey, 0, 0};
        QString status = grabKey(grab);
        if (status.isEmpty()) {
            m_grabs.insert(hotKeyId, grab);
        }
        return status;
    }

    void ungrab(int hotKeyId) override
    {
        const auto it = m_grabs.constFind(hotKeyId);
        if (it == m_grabs.constEnd()) {
            return;
        }
        ungrabKey(*it, m_numLockMask);
        xcb_flush(m_connection);
        m_grabs.erase(it);
        for (auto pressed = m_pressed.begin(); pressed != m_pressed.end();) {
            pressed = pressed.value() == hotKeyId ? m_pressed.erase(pressed) : std::next(pressed);
        }
    }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) override
    {
        if (eventType != "xcb_generic_event_t") {
            return false;
        }
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        const uint8_t type = event->response_type & 0x7f;
        if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) {
            return handleKey(*reinterpret_cast<const xcb_key_press_event_t *>(event),
                             type == XCB_KEY_PRESS);
        }
        if (type == XCB_MAPPING_NOTIFY) {
            const auto *mapping = reinterpret_cast<const xcb_mapping_notify_event_t *>(event);
            if (mapping->request != XCB_MAPPING_POINTER) {
                m_regrabTimer->start();
            }
        } else if (m_xkbFirstEvent != 0 && type == m_xkbFirstEvent) {
            // The XKB event kind is in the second byte: 0 a new keyboard, 1 a
            // changed map. Qt asks for both; the server may then skip the
            // core MappingNotify.
            if (event->pad0 == 0 || event->pad0 == 1) {
                m_regrabTimer->start();
            }
        }
        return false;
    }

private:
    struct Grab {
        HotKey hotKey;
        xcb_keycode_t keycode = 0;
        uint16_t modifiers = 0;
    };

    void loadMapping()
    {
        m_keymap.load(m_connection);
        m_numLockMask = XCB_MOD_MASK_2;
        const xcb_keycode_t numLock = m_keymap.keycodeFor(0xff7f); // Num_Lock
        xcb_get_modifier_mapping_reply_t *reply = xcb_get_modifier_mapping_reply(
            m_connection, xcb_get_modifier_mapping(m_connection), nullptr);
        if (reply && numLock != 0) {
            const xcb_keycode_t *keycodes = xcb_get_modifier_mapping_keycodes(reply);
            for (int modifier = 0; modifier < 8; ++modifier) {
                for (int i = 0; i < reply->keycodes_per_modifier; ++i) {
                    if (keycodes[modifier * reply->keycodes_per_modifier + i] == numLock) {
                        m_numLockMask = uint16_t(1 << modifier);
                    }
                }
            }
        }
        std::free(reply);
    }

    static std::vector<uint16_t> lockVariants(uint16_t numLockMask)
    {
        return {0, XCB_MOD_MASK_LOCK, numLockMask, uint16_t(XCB_MOD_MASK_LOCK | numLockMask)};
    }

    // The keycode and X modifiers of a combination in the current keymap, or
    // the reason why it has none.
    QString resolve(Grab &grab) const
    {
        const HotKey &hotKey = grab.hotKey;
        grab.keycode = 0;
        if (hotKey.modifiers & HotKey::Function) {
            return QStringLiteral("the Fn modifier does not exist on X11");
        }
        if (hotKey.keysym == 0) {
            return QStringLiteral("unknown key code %1").arg(hotKey.storedKeyCode);
        }
        const xcb_keycode_t keycode = m_keymap.keycodeFor(hotKey.keysym);
        if (keycode == 0) {
            return QStringLiteral("no such key on this keyboard");
        }
        grab.keycode = keycode;
        grab.modifiers = 0;
        const unsigned bits = hotKey.modifiers;
        if (bits & HotKey::Control) {
            grab.modifiers |= XCB_MOD_MASK_CONTROL;
        }
        if (bits & HotKey::Alt) {
            grab.modifiers |= XCB_MOD_MASK_1;
        }
        if (bits & HotKey::Shift) {
            grab.modifiers |= XCB_MOD_MASK_SHIFT;
        }
        if (bits & HotKey::Super) {
            grab.modifiers |= XCB_MOD_MASK_4;
        }
        return {};
    }

    // Grabs every lock variant and checks each request, so a combination
    // owned by another client is known here and not as a stray error later.
    QString grabKey(Grab &grab)
    {
        const QString unresolved = resolve(grab);
        if (!unresolved.isEmpty()) {
            return unresolved;
        }
        std::vector<xcb_void_cookie_t> cookies;
        for (const uint16_t variant : lockVariants(m_numLockMask)) {
            cookies.push_back(xcb_grab_key_checked(m_connection, 0, m_root,
                                                   uint16_t(grab.modifiers | variant), grab.keycode,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
        QString status;
        for (const xcb_void_cookie_t cookie : cookies) {
            if (xcb_generic_error_t *error = xcb_request_check(m_connection, cookie)) {
                if (status.isEmpty()) {
                    status = errorName(error->error_code);
                }
                std::free(error);
            }
        }
        if (!status.isEmpty()) {
            // Variants granted before the refusal would still steal the key.
            ungrabKey(grab, m_numLockMask);
            xcb_flush(m_connection);
            grab.keycode = 0;
        }
        return status;
    }

    void ungrabKey(const Grab &grab, uint16_t numLockMask)
    {
        if (grab.keycode == 0) {
            return;
        }
        for (const uint16_t variant : lockVariants(numLockMask)) {
            xcb_ungrab_key(m_connection, grab.keycode, m_root, uint16_t(grab.modifiers | variant));
        }
    }

    // Keycodes and the NumLock modifier move with the keyboard mapping. Only
    // grabs whose key moved are taken again: the server also reports a new
    // keyboard each time input switches between devices (a real keyboard and
    // XTest), and releasing a grab then would lose presses.
    void regrabAll()
    {
        const uint16_t oldNumLockMask = m_numLockMask;
        loadMapping();
        bool changed = false;
        for (auto it = m_grabs.begin(); it != m_grabs.end(); ++it) {
            Grab moved = it.value();
            resolve(moved);
            if (moved.keycode != 0 && moved.keycode == it->keycode &&
                m_numLockMask == oldNumLockMask) {
                continue;
            }
            ungrabKey(it.value(), oldNumLockMask);
            changed = true;
            const QString status = grabKey(it.value());
            if (!status.isEmpty() && lost) {
                // Kept, ungrabbed (keycode 0), so a later mapping can bring
                // it back.
                lost(it.key(), status);
            }
        }
        if (changed) {
            xcb_flush(m_connection);
        }
    }

    bool handleKey(const xcb_key_press_event_t &event, bool press)
    {
        if (event.event != m_root) {
            return false;
        }
        int hotKeyId = 0;
        if (press) {
            const uint16_t modifiers = event.state & matchedModifiers;
            for (auto it = m_grabs.cbegin(); it != m_grabs.cend(); ++it) {
                if (it->keycode == event.detail && it->modifiers == modifiers) {
                    hotKeyId = it.key();
                    break;
                }
            }
            if (hotKeyId == 0) {
                return false;
            }
            m_pressed.insert(event.detail, hotKeyId);
        } else {
            // Matched by the key alone: the modifiers may be let go first.
            hotKeyId = m_pressed.take(event.detail);
            if (hotKeyId == 0) {
                return false;
            }
        }
        if (deliver) {
            deliver(hotKeyId, press ? HotKeyEvent::Pressed : HotKeyEvent::Released);
        }
        return true;
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_root;
    uint8_t m_xkbFirstEvent = 0;
    uint16_t m_numLockMask = XCB_MOD_MASK_2;
    Keymap m_keymap;
    QHash<int, Grab> m_grabs;
    QHash<xcb_keycode_t, int> m_pressed; // keycode -> hot key whose press was delivered
    QPointer<QTimer> m_regrabTimer;
};

// Outside an X11 session every combination is refused, and the user told why.
class NoDisplay final : public HotKeyBackend {
public:
    QString grab(int, const HotKey &) override { return QStringLiteral("no X11 display"); }
    void ungrab(int) override {}
};

} // namespace

std::unique_ptr<HotKeyBackend> HotKeys::makeBackend() const
{
    const auto *application = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    const auto *x11 =
        application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection()) {
        return std::make_unique<NoDisplay>();
    }
    xcb_connection_t *connection = x11->connection();
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    if (!screen) {
        return std::make_unique<NoDisplay>();
    }
    return std::make_unique<HotKeyBackendX11>(connection, screen->root);
}

} // namespace platform::x11
