// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QApplication;

// Vellumo on the desktop: the check made once at start, then the event loop.
namespace DesktopStart {

// When the first-start guide was completed and the session's accessibility
// is on, hooks the popup shortcut and stays in the background. Otherwise it
// opens the guide, which hooks the shortcut when the user finishes it (or
// reaches its last step). Either way it runs until SIGINT or SIGTERM.
int exec(QApplication &app);

} // namespace DesktopStart
