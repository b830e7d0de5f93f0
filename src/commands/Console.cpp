#include "Console.h"

#include <cstdio>

namespace Console {

namespace {

void write(std::FILE *stream, const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
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

void printError(const QString &line)
{
    write(stderr, line);
}

} // namespace Console
