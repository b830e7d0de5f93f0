#include "KeyboardGrab.h"

#include <QGuiApplication>
#include <QWindow>
#include <cstdlib>
#include <xcb/xcb.h>

namespace KeyboardGrab {

Outcome take(QWindow *window)
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection() || !window) {
        return Outcome::Failed;
    }
    xcb_connection_t *connection = x11->connection();
    const auto cookie = xcb_grab_keyboard(connection, 1, xcb_window_t(window->winId()),
                                          XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC,
                                          XCB_GRAB_MODE_ASYNC);
    xcb_grab_keyboard_reply_t *reply = xcb_grab_keyboard_reply(connection, cookie, nullptr);
    const int status = reply ? reply->status : -1;
    std::free(reply);
    if (status == XCB_GRAB_STATUS_SUCCESS) {
        return Outcome::Taken;
    }
    return status == XCB_GRAB_STATUS_ALREADY_GRABBED || status == XCB_GRAB_STATUS_FROZEN
               ? Outcome::HeldByAnother
               : Outcome::Failed;
}

} // namespace KeyboardGrab
