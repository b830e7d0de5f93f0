// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11PopupSupport.h"

#include <QGuiApplication>
#include <QWindow>
#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace platform::x11 {

namespace {

xcb_connection_t *qtConnection()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

// A compositing manager owns the selection _NET_WM_CM_S<screen> (EWMH).
bool x11CompositorRunning(xcb_connection_t *connection, int screenNumber)
{
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screenNumber);
    const xcb_intern_atom_cookie_t atomCookie =
        xcb_intern_atom(connection, 0, uint16_t(name.size()), name.constData());
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(connection, atomCookie, nullptr), &std::free);
    if (!atom) {
        return false;
    }
    const xcb_get_selection_owner_cookie_t ownerCookie =
        xcb_get_selection_owner(connection, atom->atom);
    std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
        xcb_get_selection_owner_reply(connection, ownerCookie, nullptr), &std::free);
    return owner && owner->owner != XCB_NONE;
}

} // namespace

bool PopupSupport::isCompositing() const
{
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("xcb")) {
        xcb_connection_t *connection = qtConnection();
        if (!connection) {
            return false;
        }
        // The default screen number is encoded in DISPLAY (":0.1" is screen 1).
        const QByteArray display = qgetenv("DISPLAY");
        const int dot = display.lastIndexOf('.');
        const int colon = display.lastIndexOf(':');
        const int screen = dot > colon ? display.mid(dot + 1).toInt() : 0;
        return x11CompositorRunning(connection, screen);
    }
    // A Wayland compositor always composites; offscreen, minimal and other
    // plain framebuffers do not.
    return platform.startsWith(QLatin1String("wayland"));
}

PopupSupport::GrabOutcome PopupSupport::grabKeyboard(QWindow *window) const
{
    xcb_connection_t *connection = qtConnection();
    if (!connection || !window) {
        return GrabOutcome::Failed;
    }
    const auto cookie =
        xcb_grab_keyboard(connection, 1, xcb_window_t(window->winId()), XCB_CURRENT_TIME,
                          XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    xcb_grab_keyboard_reply_t *reply = xcb_grab_keyboard_reply(connection, cookie, nullptr);
    const int status = reply ? reply->status : -1;
    std::free(reply);
    if (status == XCB_GRAB_STATUS_SUCCESS) {
        return GrabOutcome::Taken;
    }
    return status == XCB_GRAB_STATUS_ALREADY_GRABBED || status == XCB_GRAB_STATUS_FROZEN
               ? GrabOutcome::HeldByAnother
               : GrabOutcome::Failed;
}

} // namespace platform::x11
