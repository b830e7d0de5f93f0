// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QImage>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

class FakeProvider;

// What the desktop tests share: programs on the private test desktop and
// their windows, keys and the pointer driven with xdotool, the screen, the
// selections as another client sees them, and the vellumo executable.
namespace Desktop {

// Runs a helper program to its end while this process keeps serving its own
// selections (the helper may be asking for them); its standard output.
QByteArray run(const QString &program, const QStringList &arguments, int timeoutMs = 10000,
               int *exitCode = nullptr);
bool xdotool(const QStringList &arguments);
// Presses the keys one after another ("ctrl+Home", "shift+Right", ...).
bool keys(const QStringList &sequence);
bool typeText(const QString &text);
// Clicks (repeat times) or drags with the pointer's first button.
bool click(QPoint at, int repeat = 1);
bool drag(QPoint from, QPoint to);

// The first visible window that xdotool's search finds with how
// ("--pid", "123" or "--name", "title"), once there is one; 0 after timeoutMs.
quint64 findWindow(const QStringList &how, int timeoutMs = 20000);
// Activates the window through the window manager; true once it is the
// active one.
bool activate(quint64 window);
// The window's inner frame on the screen (its client area).
QRect clientFrame(quint64 window);

// A program of the test with its first window, ended with everything it
// started (it runs in a process group of its own).
class App {
public:
    App() = default;
    App(App &&) = default;
    App &operator=(App &&other);
    ~App();

    // Starts the program and waits for its window (found by its process id
    // unless findBy says how); false when either fails.
    bool start(const QString &program, const QStringList &arguments,
               const QStringList &environment = {}, const QStringList &findBy = {},
               int timeoutMs = 20000);
    void stop();
    bool isRunning() const;
    qint64 pid() const;
    quint64 window() const { return m_window; }
    void setWindow(quint64 window) { m_window = window; }
    bool activate() const { return Desktop::activate(m_window); }

private:
    std::unique_ptr<QProcess> m_process;
    quint64 m_window = 0;
};

// Files under the test's throwaway home folder.
QString homePath(const QString &name);
bool writeFile(const QString &path, const QString &content);
QString readFile(const QString &path);

// The whole screen, kept under build/screenshots when named.
QImage grabScreen(const QString &name = QString());

// A selection ("clipboard" or "primary") as another client reads it.
QByteArray selectionData(const QString &selection, const QString &target, int *exitCode = nullptr);
QString clipboardText();
QString primaryText();
QStringList clipboardTargets();
// This process offers what a user's clipboard holds: text, HTML, an image
// and an application's own format.
void offerUserClipboard();
// Empty when that offer is still on the clipboard, whole; else what differs.
QString userClipboardProblem();
// From its creation on, watches the X server's notices that a client took
// the clipboard (XFixes), also an owner taking it again. So a copy is seen
// without this process taking the clipboard first (an application that
// checks each new owner, as LibreOffice does, drops a copy it makes during
// that check) and whatever the owner answers for TIMESTAMP (GTK 4: 0).
class CopyWatch {
public:
    CopyWatch();
    ~CopyWatch();
    CopyWatch(const CopyWatch &) = delete;
    CopyWatch &operator=(const CopyWatch &) = delete;
    // Whether a client took the clipboard since the watch began.
    bool taken();

private:
    void *m_display = nullptr;
    int m_eventBase = -1;
    bool m_taken = false;
};
// The clipboard's text once a client took the clipboard after the watch
// began, and that client is not this process.
std::optional<QString> waitForCopiedText(CopyWatch &watch, int timeoutMs = 3000);

// The command popup while it is mapped.
std::optional<QRect> popupFrame();

// Ctrl+Super+/ on the root window, grabbed through a connection of its own.
class ShortcutGrab {
public:
    ~ShortcutGrab();
    // False when another client holds it.
    bool take();
    // The key (an X keysym) with exactly these X modifier bits (ControlMask,
    // Mod1Mask...); false when another client holds it.
    bool take(quint32 keysym, unsigned modifiers);

private:
    void *m_display = nullptr;
};
// Whether another client holds Ctrl+Super+/ (Vellumo, once it hooked it).
bool shortcutHeldByAnother();
// Whether another client holds that key with exactly those modifier bits.
bool heldByAnother(quint32 keysym, unsigned modifiers);

// Starts the fake provider and makes it the provider Vellumo uses, with key
// stored for it and the first start done; false, with a warning, if not.
bool useFakeProvider(FakeProvider &fake, const QString &key);

// The vellumo executable, with its output.
class Vellumo {
public:
    ~Vellumo();
    // Waits until the shortcut is hooked, unless told not to.
    bool start(const QStringList &environment = {}, const QStringList &arguments = {},
               bool waitForShortcut = true);
    void stop();
    bool isRunning() const;
    qint64 pid() const { return m_process.processId(); }
    // Whether it has gone on past its start into its event loop: its first
    // timer there makes the window of the next popup.
    bool waitUntilLooping();
    QString output();
    qsizetype mark();
    // Waits until text has been printed after mark; warns with what was.
    bool waitFor(const QString &text, qsizetype mark, int timeoutMs = 10000);
    // Presses the shortcut; true once the popup is on screen.
    bool openPopup();

private:
    QProcess m_process;
    QString m_out;
};

} // namespace Desktop
