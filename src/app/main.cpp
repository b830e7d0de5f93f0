#include "CommandLine.h"
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
    if (!arguments.isEmpty()) {
        // The commands run without a display server, so they get a core
        // application only.
        QCoreApplication app(argc, argv);
        describe();
        return CommandLine::exec(app);
    }
    QApplication app(argc, argv);
    describe();
    QApplication::setApplicationDisplayName(QStringLiteral("Vellumo"));
    return DesktopStart::exec(app);
}
