// SPDX-License-Identifier: GPL-3.0-or-later
#include "Console.h"

#include <cstdio>

namespace Console {

namespace {

void write(std::FILE *stream, const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

void write(std::FILE *stream, const QString &line)
{
    write(stream, line.toUtf8() + '\n');
}

bool verboseLines = false;

} // namespace

void setVerbose(bool verbose)
{
    verboseLines = verbose;
}

bool isVerbose()
{
    return verboseLines;
}

void printPrivateLine(const QString &line)
{
    if (verboseLines) {
        write(stdout, line);
    }
}

void printLine(const QString &line)
{
    write(stdout, line);
}

void printText(const QString &text)
{
    write(stdout, text.toUtf8());
}

void printError(const QString &line)
{
    write(stderr, line);
}

} // namespace Console
