#pragma once

#include <QString>

// The application's console lines: one line on standard output, flushed at
// once so that a reader of a pipe sees it when it happens.
namespace Console {

void printLine(const QString &line);
// The same on standard error.
void printError(const QString &line);

} // namespace Console
