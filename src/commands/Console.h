// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

// The application's console lines: one line on standard output, flushed at
// once so that a reader of a pipe sees it when it happens.
namespace Console {

void printLine(const QString &line);
// Text exactly as given, without a line end (an answer printed for a pipe).
void printText(const QString &text);
// A line that carries the user's text or an AI's answer: printed only when
// the user asked for it (vellumo --verbose), because a desktop session keeps
// standard output in its journal.
void printPrivateLine(const QString &line);
void setVerbose(bool verbose);
bool isVerbose();
// The same on standard error.
void printError(const QString &line);

} // namespace Console
