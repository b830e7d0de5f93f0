// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QApplication;

// Vellumo on the desktop: the check made once at start, then the event loop.
namespace DesktopStart {

// Whether there is a display to start on: QT_QPA_PLATFORM names a platform
// plugin, or the display the desktop's platform needs answers.
bool hasDisplay();

// One instance per session: when Vellumo already runs, asks it to open its
// settings and returns 0. Otherwise:
// When onboarding is completed and the session's accessibility is on, hooks
// the popup shortcut and stays in the background. Otherwise it plays the part
// of the first-start guide: it turns accessibility on for the session, and
// when a provider key is stored it marks onboarding completed and hooks the
// shortcut; when one is still missing it says what to do and returns 1.
int exec(QApplication &app);

} // namespace DesktopStart
