#include "DesktopApps.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

namespace DesktopApps {
namespace {

// Waits for a helper while still serving this process's events (its
// selections may be what the helper asks for).
QByteArray runServing(const QString &program, const QStringList &arguments, int timeoutMs = 10000,
                      int *exitCode = nullptr)
{
    QProcess process;
    process.start(program, arguments);
    QDeadlineTimer deadline(timeoutMs);
    while (process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        process.waitForFinished(5);
    }
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
    }
    if (exitCode) {
        *exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    return process.readAllStandardOutput();
}

quint64 activeWindowId()
{
    const QByteArray out =
        runServing(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")});
    return out.trimmed().toULongLong();
}

} // namespace

App start(const QString &program, const QStringList &arguments, int timeoutMs)
{
    App app;
    app.process = std::make_unique<QProcess>();
    app.process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // Nothing of a killed instance (session restore prompts) survives to the next.
    env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
    app.process->setProcessEnvironment(env);
    app.process->start(program, arguments);
    if (!app.process->waitForStarted(5000)) {
        return app;
    }
    app.pid = app.process->processId();
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired() && app.window == 0) {
        const QByteArray out =
            runServing(QStringLiteral("xdotool"),
                       {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                        QStringLiteral("--pid"), QString::number(app.pid)},
                       2000);
        const QList<QByteArray> ids = out.split('\n');
        if (!ids.isEmpty() && !ids.first().trimmed().isEmpty()) {
            app.window = ids.first().trimmed().toULongLong();
            break;
        }
        QTest::qWait(100);
    }
    return app;
}

void stop(App &app)
{
    if (app.process) {
        app.process->kill();
        app.process->waitForFinished(3000);
    }
    app.window = 0;
}

quint64 findWindowByName(const QString &name)
{
    const QByteArray out =
        runServing(QStringLiteral("xdotool"), {QStringLiteral("search"),
                                               QStringLiteral("--onlyvisible"),
                                               QStringLiteral("--name"), name});
    return QString::fromLatin1(out).split(u'\n').value(0).trimmed().toULongLong();
}

bool xdotool(const QStringList &arguments)
{
    int code = -1;
    runServing(QStringLiteral("xdotool"), arguments, 10000, &code);
    return code == 0;
}

bool activate(quint64 window)
{
    xdotool({QStringLiteral("windowactivate"), QString::number(window)});
    QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired()) {
        if (activeWindowId() == window) {
            QTest::qWait(100); // let the toolkit settle its focus
            return true;
        }
        QTest::qWait(50);
    }
    qWarning("window %llu did not become active; active is %llu", window, activeWindowId());
    return false;
}

bool keys(const QStringList &sequence)
{
    for (const QString &k : sequence) {
        if (!xdotool({QStringLiteral("key"), QStringLiteral("--clearmodifiers"), k})) {
            return false;
        }
        QTest::qWait(30);
    }
    QTest::qWait(150); // the target application updates its accessible selection
    return true;
}

QString writeFile(const QString &name, const QString &content)
{
    const QString path = QDir::home().filePath(name);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(content.toUtf8());
    }
    return path;
}

QByteArray readSelection(const QString &selection, const QString &target)
{
    return runServing(QStringLiteral("xclip"),
                      {QStringLiteral("-o"), QStringLiteral("-selection"), selection,
                       QStringLiteral("-t"), target},
                      5000);
}

QStringList selectionTargets(const QString &selection)
{
    const QString out = QString::fromUtf8(readSelection(selection, QStringLiteral("TARGETS")));
    return out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString screenshot(const QString &name)
{
    const QString dir = qEnvironmentVariable("VELLUMO_BUILD_DIR") + QStringLiteral("/screenshots");
    QDir().mkpath(dir);
    const QString path = dir + QLatin1Char('/') + name + QStringLiteral(".png");
    runServing(QStringLiteral("import"), {QStringLiteral("-window"), QStringLiteral("root"), path},
               10000);
    return path;
}

} // namespace DesktopApps
