#include <QCommandLineParser>
#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vellumo"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("vellumo.com"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELLUMO_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Vellumo: select text in any application, press one shortcut, and let "
                       "your AI provider rewrite it in place."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(app);
    return 0;
}
