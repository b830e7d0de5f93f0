// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringList>

class QCoreApplication;

// The window-less commands of the vellumo executable, for scripts, dotfiles
// and editor integrations:
//   vellumo run "TITLE OR INSTRUCTION"   selected text on stdin, answer on stdout
//   vellumo models PROVIDER               the offered model list
//   vellumo key set PROVIDER              the key read from stdin
//   vellumo key delete PROVIDER
// None of them needs a display server.
namespace CommandLine {

enum ExitCode { success = 0, failure = 1, usageError = 2 };

// True when the arguments (argv without the program name) name one of the
// commands, or ask for help or the version.
bool handles(const QStringList &arguments);

// Runs the command that the application's arguments name, on an event loop
// of app's; returns the process's exit code.
int exec(QCoreApplication &app);

} // namespace CommandLine
