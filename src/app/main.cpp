// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandLine.h"
#include "Console.h"
#include "DesktopStart.h"

#include <QApplication>
#include <QCoreApplication>
#include <memory>

namespace {

void describe()
{
    QCoreApplication::setApplicationName(QStringLiteral("vellumo"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("vellumo.com"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELLUMO_VERSION));
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    // --verbose is the desktop's one option: the lines that carry the user's
    // text and the answers are printed too.
    const bool verbose = arguments == QStringList{QStringLiteral("--verbose")};
    if (!arguments.isEmpty() && !verbose) {
        // The commands run without a display server, so they get a core
        // application only.
        QCoreApplication app(argc, argv);
        describe();
        return CommandLine::exec(app);
    }
    Console::setVerbose(verbose);
    if (!DesktopStart::hasDisplay()) {
        // Qt would abort with a message of its own.
        Console::printError(QStringLiteral(
            "Vellumo needs a desktop session: start it from within your X11 desktop, where "
            "DISPLAY names the display (its commands, such as 'vellumo run', work without one)."));
        return 1;
    }
    QApplication app(argc, argv);
    describe();
    // No application display name: Qt would append it to every window
    // title ("Vellumo Settings — Vellumo").
    return DesktopStart::exec(app);
}
