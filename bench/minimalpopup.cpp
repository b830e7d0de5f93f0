// SPDX-License-Identifier: GPL-3.0-or-later
// The yardstick of bench_loop: the least a Qt program can do for the same
// visible thing. It grabs Ctrl+Super+. on the root window and, on each press,
// shows a frameless 360 by 340 popup below the mouse pointer, which closes by
// itself 150 ms later (or on Escape). Nothing else: no accessibility, no
// clipboard.
#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>
#include <xcb/xcb.h>

namespace {

class Popup : public QWidget {
public:
    Popup() : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint)
    {
        setWindowTitle(QStringLiteral("Minimal popup"));
        resize(360, 340);
    }

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        if (event->key() == Qt::Key_Escape) {
            close();
            return;
        }
        QWidget::keyPressEvent(event);
    }
};

class HotKey : public QAbstractNativeEventFilter {
public:
    HotKey(xcb_connection_t *connection, xcb_window_t root, xcb_keycode_t key, uint16_t modifiers)
        : m_key(key), m_modifiers(modifiers)
    {
        // The chord with and without the lock modifiers.
        for (const int locks : {0, int(XCB_MOD_MASK_LOCK), int(XCB_MOD_MASK_2),
                                int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2)}) {
            xcb_grab_key(connection, 1, root, uint16_t(modifiers | locks), key, XCB_GRAB_MODE_ASYNC,
                         XCB_GRAB_MODE_ASYNC);
        }
        xcb_flush(connection);
    }

    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *) override
    {
        if (type != "xcb_generic_event_t") {
            return false;
        }
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != XCB_KEY_PRESS) {
            return false;
        }
        const auto *press = reinterpret_cast<const xcb_key_press_event_t *>(event);
        if (press->detail != m_key || (press->state & m_modifiers) != m_modifiers) {
            return false;
        }
        m_popup.move(QCursor::pos() + QPoint(-180, 20));
        m_popup.show();
        m_popup.activateWindow();
        // It goes away by itself, so that whatever a popup's keyboard grab
        // does is no part of the measure.
        QTimer::singleShot(150, &m_popup, &QWidget::close);
        return true;
    }

private:
    xcb_keycode_t m_key;
    uint16_t m_modifiers;
    Popup m_popup;
};

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    auto *x11 = app.nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || argc < 2) {
        return 2;
    }
    // The key code comes from the caller, which has the keymap at hand.
    const auto key = xcb_keycode_t(QByteArray(argv[1]).toInt());
    xcb_connection_t *connection = x11->connection();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    HotKey hotKey(connection, root, key, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_4);
    app.installNativeEventFilter(&hotKey);
    return app.exec();
}
