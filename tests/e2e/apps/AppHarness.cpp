#include "AppHarness.h"

#include <QBuffer>
#include <QClipboard>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QMimeData>
#include <QPixmap>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace AppHarness {

QString kindName(Kind kind)
{
    switch (kind) {
    case Kind::Word:
        return QStringLiteral("word");
    case Kind::Line:
        return QStringLiteral("line");
    case Kind::Lines:
        return QStringLiteral("lines");
    case Kind::Emoji:
        return QStringLiteral("emoji");
    case Kind::RightToLeft:
        return QStringLiteral("right-to-left");
    }
    return {};
}

QStringList documentLines()
{
    return {QStringLiteral("Hello world alpha beta gamma"),
            QStringLiteral("Second line of text here"),
            QStringLiteral("Emoji 😀 here and 👍🏽 there"),
            QStringLiteral("Hebrew שלום עולם end"), QStringLiteral("Last line")};
}

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

bool keys(const QStringList &sequence)
{
    int code = -1;
    run(QStringLiteral("xdotool"),
        QStringList{QStringLiteral("key"), QStringLiteral("--clearmodifiers"),
                    QStringLiteral("--delay"), QStringLiteral("40")} +
            sequence,
        10000, &code);
    return code == 0;
}

bool typeText(const QString &text)
{
    int code = -1;
    run(QStringLiteral("xdotool"),
        {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("30"), text}, 10000,
        &code);
    return code == 0;
}

bool click(QPoint at, int repeat)
{
    int code = -1;
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
         QStringLiteral("click"), QStringLiteral("--repeat"), QString::number(repeat),
         QStringLiteral("--delay"), QStringLiteral("90"), QStringLiteral("1")},
        10000, &code);
    return code == 0;
}

bool drag(QPoint from, QPoint to)
{
    int code = -1;
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QString::number(from.x()), QString::number(from.y()),
         QStringLiteral("mousedown"), QStringLiteral("1"), QStringLiteral("mousemove"),
         QString::number((from.x() + to.x()) / 2), QString::number((from.y() + to.y()) / 2),
         QStringLiteral("mousemove"), QString::number(to.x()), QString::number(to.y()),
         QStringLiteral("mouseup"), QStringLiteral("1")},
        10000, &code);
    return code == 0;
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

std::optional<QRect> highlightBetween(const QImage &before, const QImage &after, QRect area)
{
    area = area.intersected(after.rect()).intersected(before.rect());
    auto changed = [&](int x, int y) {
        const QRgb a = before.pixel(x, y);
        const QRgb b = after.pixel(x, y);
        return std::abs(qRed(a) - qRed(b)) > 24 || std::abs(qGreen(a) - qGreen(b)) > 24 ||
               std::abs(qBlue(a) - qBlue(b)) > 24;
    };
    // The background: what most of the area showed before. A highlight that
    // went away turns into it, so it is never the new highlight's colour.
    QHash<QRgb, int> shown;
    for (int y = area.top(); y <= area.bottom(); y += 2) {
        for (int x = area.left(); x <= area.right(); x += 2) {
            ++shown[before.pixel(x, y) & 0xffffff];
        }
    }
    QRgb background = 0;
    int widest = 0;
    for (auto it = shown.cbegin(); it != shown.cend(); ++it) {
        if (it.value() > widest) {
            widest = it.value();
            background = it.key();
        }
    }
    QHash<QRgb, int> colours;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb now = after.pixel(x, y) & 0xffffff;
            if (now != background && changed(x, y)) {
                ++colours[now];
            }
        }
    }
    if (colours.isEmpty()) {
        return std::nullopt;
    }
    QRgb fill = 0;
    int most = 0;
    for (auto it = colours.cbegin(); it != colours.cend(); ++it) {
        if (it.value() > most) {
            most = it.value();
            fill = it.key();
        }
    }
    // The fill's pixels, gathered in cells of 4 by 4, joined into connected
    // groups: the largest group is the highlight.
    constexpr int cell = 4;
    const int columns = area.width() / cell + 1;
    const int rows = area.height() / cell + 1;
    QList<int> counts(columns * rows, 0);
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (changed(x, y) && (after.pixel(x, y) & 0xffffff) == fill) {
                ++counts[((y - area.top()) / cell) * columns + (x - area.left()) / cell];
            }
        }
    }
    QList<int> group(columns * rows, -1);
    QList<QRect> boxes;
    QList<int> sizes;
    for (int start = 0; start < counts.size(); ++start) {
        if (counts[start] < 2 || group[start] >= 0) {
            continue;
        }
        const int id = int(boxes.size());
        QRect box;
        int size = 0;
        QList<int> stack{start};
        group[start] = id;
        while (!stack.isEmpty()) {
            const int c = stack.takeLast();
            const int cx = c % columns;
            const int cy = c / columns;
            size += counts[c];
            box = box.united(QRect(area.left() + cx * cell, area.top() + cy * cell, cell, cell));
            for (int dy = -2; dy <= 2; ++dy) {
                for (int dx = -2; dx <= 2; ++dx) {
                    const int nx = cx + dx;
                    const int ny = cy + dy;
                    if (nx < 0 || ny < 0 || nx >= columns || ny >= rows) {
                        continue;
                    }
                    const int n = ny * columns + nx;
                    if (counts[n] >= 2 && group[n] < 0) {
                        group[n] = id;
                        stack.append(n);
                    }
                }
            }
        }
        boxes.append(box);
        sizes.append(size);
    }
    if (boxes.isEmpty()) {
        return std::nullopt;
    }
    // A selection over lines with space between them is several groups: all
    // that are not specks beside the largest.
    const int largest = *std::max_element(sizes.cbegin(), sizes.cend());
    QRect highlight;
    for (qsizetype i = 0; i < boxes.size(); ++i) {
        if (sizes[i] * 10 >= largest) {
            highlight = highlight.united(boxes[i]);
        }
    }
    return highlight.intersected(area);
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

std::optional<QRect> popupFrame()
{
    const QByteArray found =
        run(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                        QStringLiteral("--name"), QStringLiteral("^Vellumo$")});
    const quint64 window = QString::fromLatin1(found).split(u'\n').value(0).toULongLong();
    if (window == 0) {
        return std::nullopt;
    }
    return clientFrame(window);
}

int distance(const QRect &a, const QRect &b)
{
    const int dx = std::max({0, b.left() - a.right() - 1, a.left() - b.right() - 1});
    const int dy = std::max({0, b.top() - a.bottom() - 1, a.top() - b.bottom() - 1});
    return std::max(dx, dy);
}

namespace {

QByteArray selectionData(const QString &selection, const QString &target, int *exitCode = nullptr)
{
    return run(QStringLiteral("xclip"),
               {QStringLiteral("-o"), QStringLiteral("-selection"), selection, QStringLiteral("-t"),
                target},
               5000, exitCode);
}

QString selectionText(const QString &selection)
{
    int code = -1;
    const QByteArray data = selectionData(selection, QStringLiteral("UTF8_STRING"), &code);
    return code == 0 ? QString::fromUtf8(data) : QString();
}

const QString userText = QStringLiteral("The user's own clipboard 📋");
const QString sentinel = QStringLiteral("vellumo-test-sentinel");

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
    data->setData(QStringLiteral("image/png"), userImage());
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}

QString userClipboardProblem()
{
    const QString text = clipboardText();
    if (text != userText) {
        return QStringLiteral("clipboard text is \"%1\"").arg(text);
    }
    if (selectionData(QStringLiteral("clipboard"), QStringLiteral("image/png")) != userImage()) {
        return QStringLiteral("clipboard image is gone or different; targets: ") +
               clipboardTargets().join(u' ');
    }
    return {};
}

void offerSentinel()
{
    QGuiApplication::clipboard()->setText(sentinel, QClipboard::Clipboard);
}

std::optional<QString> waitForCopiedText(int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        if (!QGuiApplication::clipboard()->ownsClipboard()) {
            int code = -1;
            const QByteArray data =
                selectionData(QStringLiteral("clipboard"), QStringLiteral("UTF8_STRING"), &code);
            if (code == 0) {
                return QString::fromUtf8(data);
            }
        }
        QTest::qWait(30);
    }
    return std::nullopt;
}

namespace {

int grabFailed = 0;

int noteError(Display *, XErrorEvent *event)
{
    grabFailed = event->error_code;
    return 0;
}

} // namespace

bool heldByAnother(quint32 keysym, unsigned modifiers)
{
    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        return false;
    }
    const Window root = DefaultRootWindow(display);
    const KeyCode key = XKeysymToKeycode(display, keysym);
    XSync(display, False);
    grabFailed = 0;
    auto *previous = XSetErrorHandler(&noteError);
    XGrabKey(display, key, modifiers, root, False, GrabModeAsync, GrabModeAsync);
    XSync(display, False);
    XSetErrorHandler(previous);
    const bool held = grabFailed == BadAccess;
    if (!held) {
        XUngrabKey(display, key, modifiers, root);
    }
    XCloseDisplay(display);
    return held;
}

bool shortcutHeldByAnother()
{
    return heldByAnother(XK_slash, ControlMask | Mod4Mask);
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
    if (!waitForShortcut) {
        return true;
    }
    // The shortcut is hooked once the start-up check is done; nothing is
    // printed then, so the grab itself is what is waited for.
    QDeadlineTimer deadline(10000);
    while (!shortcutHeldByAnother() && !deadline.hasExpired()) {
        if (m_process.state() != QProcess::Running) {
            return false;
        }
        QTest::qWait(50);
    }
    return m_process.state() == QProcess::Running;
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

qint64 Vellumo::pid() const
{
    return m_process.processId();
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
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        m_process.waitForReadyRead(20);
    }
    return true;
}

} // namespace AppHarness
