// SPDX-License-Identifier: GPL-3.0-or-later
#include "Desktop.h"

#include "AIVendor.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "Settings.h"
#include "VendorConfig.h"

#include <QBuffer>
#include <QClipboard>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QPixmap>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>
#include <csignal>
#include <unistd.h>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>
#include <X11/keysym.h>

namespace Desktop {

QByteArray run(const QString &program, const QStringList &arguments, int timeoutMs, int *exitCode)
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

bool xdotool(const QStringList &arguments)
{
    int code = -1;
    run(QStringLiteral("xdotool"), arguments, 10000, &code);
    return code == 0;
}

namespace {

quint64 xdotoolWindow(const QStringList &arguments)
{
    return QString::fromLatin1(run(QStringLiteral("xdotool"), arguments, 3000))
        .split(u'\n')
        .value(0)
        .toULongLong();
}

QStringList point(QPoint at)
{
    return {QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y())};
}

} // namespace

bool keys(const QStringList &sequence)
{
    return xdotool(QStringList{QStringLiteral("key"), QStringLiteral("--clearmodifiers"),
                               QStringLiteral("--delay"), QStringLiteral("40")} +
                   sequence);
}

bool typeText(const QString &text)
{
    return xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("30"), text});
}

bool click(QPoint at, int repeat)
{
    return xdotool(point(at) + QStringList{QStringLiteral("click"), QStringLiteral("--repeat"),
                                           QString::number(repeat), QStringLiteral("--delay"),
                                           QStringLiteral("90"), QStringLiteral("1")});
}

bool drag(QPoint from, QPoint to)
{
    return xdotool(point(from) + QStringList{QStringLiteral("mousedown"), QStringLiteral("1")} +
                   point((from + to) / 2) + point(to) +
                   QStringList{QStringLiteral("mouseup"), QStringLiteral("1")});
}

quint64 findWindow(const QStringList &how, int timeoutMs)
{
    quint64 window = 0;
    const bool found = QTest::qWaitFor(
        [&] {
            window = xdotoolWindow(
                QStringList{QStringLiteral("search"), QStringLiteral("--onlyvisible")} + how);
            return window != 0;
        },
        timeoutMs);
    return found ? window : 0;
}

bool activate(quint64 window)
{
    xdotool({QStringLiteral("windowactivate"), QString::number(window)});
    // Active once the window manager names it so (it hands over the keyboard
    // before it does).
    const bool active = QTest::qWaitFor(
        [window] { return xdotoolWindow({QStringLiteral("getactivewindow")}) == window; });
    if (!active) {
        qWarning("window %llu did not become active", window);
    }
    return active;
}

QRect clientFrame(quint64 window)
{
    const QString info = QString::fromUtf8(
        run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(window)}));
    auto value = [&info](const char *label) {
        const QRegularExpression re(QString::fromLatin1(label) + QStringLiteral(":\\s+(-?\\d+)"));
        return re.match(info).captured(1).toInt();
    };
    return QRect(value("Absolute upper-left X"), value("Absolute upper-left Y"), value("Width"),
                 value("Height"));
}

App &App::operator=(App &&other)
{
    stop();
    m_process = std::move(other.m_process);
    m_window = std::exchange(other.m_window, 0);
    return *this;
}

App::~App()
{
    stop();
}

bool App::start(const QString &program, const QStringList &arguments,
                const QStringList &environment, const QStringList &findBy, int timeoutMs)
{
    stop();
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process->setStandardOutputFile(QProcess::nullDevice());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // Nothing of a killed instance (session restore prompts) survives.
    env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
    for (const QString &entry : environment) {
        env.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
    }
    m_process->setProcessEnvironment(env);
    m_process->setChildProcessModifier([] { ::setpgid(0, 0); });
    m_process->start(program, arguments);
    if (!m_process->waitForStarted(5000)) {
        return false;
    }
    m_window = findWindow(
        findBy.isEmpty() ? QStringList{QStringLiteral("--pid"), QString::number(pid())} : findBy,
        timeoutMs);
    return m_window != 0;
}

void App::stop()
{
    if (m_window != 0) {
        // A program may hand its window to a process outside its group.
        const qint64 owner =
            QString::fromLatin1(run(QStringLiteral("xdotool"),
                                    {QStringLiteral("getwindowpid"), QString::number(m_window)}))
                .trimmed()
                .toLongLong();
        if (owner > 0 && owner != QCoreApplication::applicationPid()) {
            ::kill(pid_t(owner), SIGKILL);
        }
        m_window = 0;
    }
    if (m_process && m_process->state() != QProcess::NotRunning) {
        ::kill(-pid_t(m_process->processId()), SIGKILL);
        m_process->waitForFinished(3000);
    }
    m_process.reset();
}

bool App::isRunning() const
{
    return m_process && m_process->state() == QProcess::Running;
}

qint64 App::pid() const
{
    return m_process ? m_process->processId() : 0;
}

QString homePath(const QString &name)
{
    return QDir::home().filePath(name);
}

bool writeFile(const QString &path, const QString &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(content.toUtf8()) == content.toUtf8().size();
}

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QImage grabScreen(const QString &name)
{
    QScreen *screen = QGuiApplication::primaryScreen();
    const QImage image = screen ? screen->grabWindow(0).toImage() : QImage();
    if (!name.isEmpty()) {
        const QString dir =
            qEnvironmentVariable("VELLUMO_BUILD_DIR") + QStringLiteral("/screenshots");
        QDir().mkpath(dir);
        image.save(dir + u'/' + name + QStringLiteral(".png"));
    }
    return image;
}

QByteArray selectionData(const QString &selection, const QString &target, int *exitCode)
{
    return run(QStringLiteral("xclip"),
               {QStringLiteral("-o"), QStringLiteral("-selection"), selection, QStringLiteral("-t"),
                target},
               5000, exitCode);
}

namespace {

QString selectionText(const QString &selection)
{
    int code = -1;
    const QByteArray data = selectionData(selection, QStringLiteral("UTF8_STRING"), &code);
    return code == 0 ? QString::fromUtf8(data) : QString();
}

const QString userText = QStringLiteral("The user's own clipboard 📋");
const QString userHtml = QStringLiteral("<b>The user's own</b> clipboard");
const QString userFormat = QStringLiteral("application/x-vellumo-test");
const QByteArray userBytes = QByteArrayLiteral("\x01\x02raw\x00bytes");

QByteArray userImage()
{
    QImage image(24, 16, QImage::Format_RGB32);
    image.fill(QColor(20, 120, 220));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

} // namespace

QString clipboardText()
{
    return selectionText(QStringLiteral("clipboard"));
}

QString primaryText()
{
    return selectionText(QStringLiteral("primary"));
}

QStringList clipboardTargets()
{
    int code = -1;
    const QByteArray out =
        selectionData(QStringLiteral("clipboard"), QStringLiteral("TARGETS"), &code);
    return code == 0 ? QString::fromUtf8(out).split(u'\n', Qt::SkipEmptyParts) : QStringList();
}

void offerUserClipboard()
{
    auto *data = new QMimeData;
    data->setText(userText);
    data->setHtml(userHtml);
    data->setData(QStringLiteral("image/png"), userImage());
    data->setData(userFormat, userBytes);
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}

QString userClipboardProblem()
{
    const QString text = clipboardText();
    if (text != userText) {
        return QStringLiteral("clipboard text is \"%1\"").arg(text);
    }
    const QString clipboard = QStringLiteral("clipboard");
    if (selectionData(clipboard, QStringLiteral("text/html")) != userHtml.toUtf8() ||
        selectionData(clipboard, QStringLiteral("image/png")) != userImage() ||
        selectionData(clipboard, userFormat) != userBytes) {
        return QStringLiteral("a format is gone or different; targets: ") +
               clipboardTargets().join(u' ');
    }
    return {};
}

CopyWatch::CopyWatch()
{
    Display *display = XOpenDisplay(nullptr);
    int errorBase = 0;
    if (!display || !XFixesQueryExtension(display, &m_eventBase, &errorBase)) {
        qWarning("no X server with XFixes to watch the clipboard on");
        if (display) {
            XCloseDisplay(display);
        }
        return;
    }
    XFixesSelectSelectionInput(display, DefaultRootWindow(display),
                               XInternAtom(display, "CLIPBOARD", False),
                               XFixesSetSelectionOwnerNotifyMask);
    XSync(display, False); // watching before the copy's keys go out
    m_display = display;
}

CopyWatch::~CopyWatch()
{
    if (m_display) {
        XCloseDisplay(static_cast<Display *>(m_display));
    }
}

bool CopyWatch::taken()
{
    auto *display = static_cast<Display *>(m_display);
    if (!display) {
        return false;
    }
    while (XPending(display) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        m_taken = m_taken || event.type == m_eventBase + XFixesSelectionNotify;
    }
    return m_taken;
}

std::optional<QString> waitForCopiedText(CopyWatch &watch, int timeoutMs)
{
    std::optional<QString> copied;
    const bool came = QTest::qWaitFor(
        [&] {
            if (!watch.taken() || QGuiApplication::clipboard()->ownsClipboard()) {
                return false;
            }
            int code = -1;
            const QByteArray data =
                selectionData(QStringLiteral("clipboard"), QStringLiteral("UTF8_STRING"), &code);
            if (code == 0) {
                copied = QString::fromUtf8(data);
            }
            return copied.has_value();
        },
        timeoutMs);
    return came ? copied : std::nullopt;
}

std::optional<QRect> popupFrame()
{
    const quint64 window = xdotoolWindow({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                          QStringLiteral("--name"), QStringLiteral("^Vellumo$")});
    return window == 0 ? std::nullopt : std::optional<QRect>(clientFrame(window));
}

namespace {

int grabError = 0;

int noteError(Display *, XErrorEvent *event)
{
    grabError = event->error_code;
    return 0;
}

constexpr unsigned shortcutModifiers = ControlMask | Mod4Mask;

} // namespace

ShortcutGrab::~ShortcutGrab()
{
    if (m_display) {
        XCloseDisplay(static_cast<Display *>(m_display)); // which ends the grab
    }
}

bool ShortcutGrab::take()
{
    return take(XK_slash, shortcutModifiers);
}

bool ShortcutGrab::take(quint32 keysym, unsigned modifiers)
{
    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        return false;
    }
    XSync(display, False);
    grabError = 0;
    auto *previous = XSetErrorHandler(&noteError);
    XGrabKey(display, XKeysymToKeycode(display, keysym), modifiers, DefaultRootWindow(display),
             False, GrabModeAsync, GrabModeAsync);
    XSync(display, False);
    XSetErrorHandler(previous);
    if (grabError != 0) {
        XCloseDisplay(display);
        return false;
    }
    m_display = display;
    return true;
}

bool shortcutHeldByAnother()
{
    return !ShortcutGrab().take();
}

bool heldByAnother(quint32 keysym, unsigned modifiers)
{
    return !ShortcutGrab().take(keysym, modifiers);
}

bool useFakeProvider(FakeProvider &fake, const QString &key)
{
    if (!fake.start()) {
        qWarning("the fake provider did not start: %s", qPrintable(fake.errorString()));
        return false;
    }
    VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
    config.apiHost = fake.host();
    Settings::standard().setVendorConfig(AIVendors::rawValue(AIVendor::openai), config.encode());
    Settings::standard().setOnboardingCompleted(true);
    return KeychainService::shared().storeAPIKey(key, AIVendor::openai);
}

Vellumo::~Vellumo()
{
    stop();
}

bool Vellumo::start(const QStringList &environment, const QStringList &arguments,
                    bool waitForShortcut)
{
    m_out.clear();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &entry : environment) {
        env.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
    }
    m_process.setProcessEnvironment(env);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.start(qEnvironmentVariable("VELLUMO_BINARY"), arguments);
    if (!m_process.waitForStarted(10000)) {
        return false;
    }
    // Vellumo says it is ready once its grab of the shortcut succeeded. The
    // grab is not probed with a grab of this process's own: a probe held at
    // the moment Vellumo grabs makes Vellumo's grab fail.
    const QString ready = QStringLiteral("Vellumo is ready");
    if (!waitForShortcut ||
        (QTest::qWaitFor([this, &ready] { return !isRunning() || output().contains(ready); },
                         10000) &&
         isRunning())) {
        return true;
    }
    qWarning("vellumo %s without holding the shortcut; it printed:\n%s",
             isRunning() ? "ran 10 s" : "ended", qPrintable(output()));
    return false;
}

void Vellumo::stop()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(2000);
        }
    }
}

bool Vellumo::isRunning() const
{
    return m_process.state() == QProcess::Running;
}

bool Vellumo::waitUntilLooping()
{
    const QStringList search{QStringLiteral("search"), QStringLiteral("--pid"),
                             QString::number(m_process.processId())};
    return QTest::qWaitFor([&] { return !isRunning() || xdotoolWindow(search) != 0; }, 10000) &&
           isRunning();
}

QString Vellumo::output()
{
    m_out += QString::fromUtf8(m_process.readAll());
    return m_out;
}

qsizetype Vellumo::mark()
{
    return output().size();
}

bool Vellumo::waitFor(const QString &text, qsizetype mark, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!output().mid(mark).contains(text)) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning) {
            qWarning("waited for \"%s\"; vellumo printed:\n%s", qPrintable(text),
                     qPrintable(output().mid(mark)));
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        m_process.waitForReadyRead(20);
    }
    return true;
}

bool Vellumo::openPopup()
{
    const qsizetype from = mark();
    return keys({QStringLiteral("ctrl+super+slash")}) &&
           waitFor(QStringLiteral("Popup created and shown"), from) &&
           QTest::qWaitFor([] { return popupFrame().has_value(); }, 5000);
}

} // namespace Desktop
