// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>

namespace TestSupport {

// Fails loudly unless the test runs inside scripts/test-session or
// scripts/test-desktop, so a test started by hand never touches the user's
// own settings or keyring.
void requireThrowawayEnvironment();

// Captures what a callable writes to standard output (the application's
// console lines go there), or to standard error.
QString captureStdout(const std::function<void()> &body);
QString captureStderr(const std::function<void()> &body);

// Runs the desktop's secret-tool as a user would; its standard output.
QByteArray secretTool(const QStringList &arguments, const QByteArray &input = {});

// The test session's gnome-keyring: locked and unlocked through the Secret
// Service's own calls (its throwaway password comes from scripts/test-session),
// and frozen with SIGSTOP. Each returns false, with a warning, when it could
// not do what it says.
bool lockKeyring();
bool unlockKeyring();
bool freezeKeyring(bool frozen);

} // namespace TestSupport
