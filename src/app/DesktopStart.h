// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QApplication;

// Vellumo on the desktop: the check made once at start, then the event loop.
namespace DesktopStart {

// Whether there is a display to start on: QT_QPA_PLATFORM names a platform
// plugin, or the display the desktop's platform needs answers.
bool hasDisplay();

// One instance per session: when Vellumo already runs, asks it to open its
// settings and returns 0. Otherwise, when the first-start guide was
// completed and the session's accessibility is on, hooks the popup shortcut
// and stays in the tray; else it opens the guide, which hooks the shortcut
// when the user finishes it (or reaches its last step). Either way it runs
// until Quit, SIGINT or SIGTERM.
int exec(QApplication &app);

} // namespace DesktopStart
