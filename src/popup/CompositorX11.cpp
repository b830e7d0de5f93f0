#include "Compositor.h"

#include <QGuiApplication>
#include <QScreen>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace Compositor {

namespace {

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

bool isRunning()
{
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("xcb")) {
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        if (!x11 || !x11->connection()) {
            return false;
        }
        // The default screen number is encoded in DISPLAY (":0.1" is screen 1).
        const QByteArray display = qgetenv("DISPLAY");
        const int dot = display.lastIndexOf('.');
        const int colon = display.lastIndexOf(':');
        const int screen = dot > colon ? display.mid(dot + 1).toInt() : 0;
        return x11CompositorRunning(x11->connection(), screen);
    }
    // A Wayland compositor always composites; offscreen, minimal and other
    // plain framebuffers do not.
    return platform.startsWith(QLatin1String("wayland"));
}

} // namespace Compositor
