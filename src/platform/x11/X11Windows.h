// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Windows.h"

namespace platform::x11 {

// The EWMH window manager's view: _NET_ACTIVE_WINDOW, _NET_WM_PID, WM_CLASS,
// _NET_FRAME_EXTENTS; the client behind a window from X-Resource.
class Windows final : public platform::Windows {
public:
    std::optional<Window> active() const override;
    bool exists(quint64 windowId) const override;
    // _NET_ACTIVE_WINDOW with the current server time, as a pager sends it.
    bool activate(quint64 windowId) const override;
    qint64 clientProcessId(quint64 windowId) const override;
    std::optional<QRect> frame(quint64 windowId) const override;
    std::optional<QRect> clientArea(quint64 windowId) const override;
    PasteChord pasteChordFor(const Window &window) const override;
};

} // namespace platform::x11
