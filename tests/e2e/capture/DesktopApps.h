#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <memory>

// Real target applications on the private test desktop, driven with xdotool.
namespace DesktopApps {

struct App {
    std::unique_ptr<QProcess> process;
    quint64 window = 0;
    qint64 pid = 0;
    bool isRunning() const { return process && process->state() == QProcess::Running; }
};

// Starts program and waits until it shows a window; window 0 on failure.
App start(const QString &program, const QStringList &arguments, int timeoutMs = 20000);
void stop(App &app);

// The first visible window whose title matches name, or 0.
quint64 findWindowByName(const QString &name);

// Runs xdotool with arguments and waits for it; true on success.
bool xdotool(const QStringList &arguments);
// Activates the window and waits until it is the active one.
bool activate(quint64 window);
// Presses the keys one after another ("ctrl+Home", "shift+Right", ...).
bool keys(const QStringList &sequence);

// Writes a file under $HOME and answers its path.
QString writeFile(const QString &name, const QString &content);

// What another client sees on a selection ("clipboard" or "primary"), read
// with xclip while this process keeps serving its own selections.
QByteArray readSelection(const QString &selection, const QString &target);
QStringList selectionTargets(const QString &selection);

// Saves a screenshot of the whole desktop under $VELLUMO_BUILD_DIR/screenshots.
QString screenshot(const QString &name);

} // namespace DesktopApps
