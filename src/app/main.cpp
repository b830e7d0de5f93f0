#include "CommandLine.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    // The command line runs without a display server, so it gets a core
    // application only.
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vellumo"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("vellumo.com"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELLUMO_VERSION));
    return CommandLine::exec(app);
}
