// SPDX-License-Identifier: GPL-3.0-or-later
// The shortcut-to-popup loop of the vellumo executable beside the least a Qt
// program can do for the same visible thing (bench/minimalpopup.cpp: another
// key, a 360 by 340 popup, nothing else), in one private test desktop with
// mousepad holding a selection. The presses alternate between the two, so
// whatever else the machine does weighs on both alike; the figures are
// printed side by side with their ratio:
//   press to popup mapped (median, 99th percentile), presses without a popup,
//   Vellumo's popups not beside the selection, resident memory after 50 and
//   after all popups, threads, and wake-ups in 30 s of idle afterwards;
// then, for Vellumo alone, Return to the replacement's end.
//   bench_loop [PRESSES]     (500 by default)
#include "AIVendor.h"
#include "AppTargets.h"
#include "BenchSupport.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "Settings.h"
#include "VendorConfig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QProcess>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <poll.h>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

using namespace AppTargets;
using namespace Desktop;

namespace {

QElapsedTimer clock_;

double now()
{
    return clock_.nsecsElapsed() / 1e6;
}

// Key presses straight through XTest, so the clock starts when the X server
// gets them.
class Keyboard {
public:
    Keyboard() : m_display(XOpenDisplay(nullptr)) {}
    ~Keyboard() { XCloseDisplay(m_display); }
    bool ok() const { return m_display != nullptr; }
    int keycode(KeySym sym) const { return XKeysymToKeycode(m_display, sym); }

    // Waits until no client holds the keyboard: a press meanwhile would go to
    // the holder (a popup that is closing), not to the shortcut.
    bool waitUntilFree(int timeoutMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired()) {
            const int status = XGrabKeyboard(m_display, DefaultRootWindow(m_display), False,
                                             GrabModeAsync, GrabModeAsync, CurrentTime);
            if (status == GrabSuccess) {
                XUngrabKeyboard(m_display, CurrentTime);
                XSync(m_display, False);
                return true;
            }
            QTest::qWait(2);
        }
        return false;
    }

    // Waits until another client holds the keyboard (our own grab is refused).
    bool waitUntilGrabbed(int timeoutMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired()) {
            const int status = XGrabKeyboard(m_display, DefaultRootWindow(m_display), False,
                                             GrabModeAsync, GrabModeAsync, CurrentTime);
            if (status == GrabSuccess) {
                XUngrabKeyboard(m_display, CurrentTime);
                XSync(m_display, False);
                QTest::qWait(2);
                continue;
            }
            return true;
        }
        return false;
    }

    void chord(std::initializer_list<KeySym> keys)
    {
        for (KeySym k : keys) {
            XTestFakeKeyEvent(m_display, XKeysymToKeycode(m_display, k), True, 0);
        }
        for (auto it = std::rbegin(keys); it != std::rend(keys); ++it) {
            XTestFakeKeyEvent(m_display, XKeysymToKeycode(m_display, *it), False, 0);
        }
        XFlush(m_display);
    }

private:
    Display *m_display;
};

// Map and unmap notifications of override-redirect windows (both popups are).
class MapWatcher {
public:
    MapWatcher()
    {
        m_connection = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, root, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(m_connection);
    }
    ~MapWatcher() { xcb_disconnect(m_connection); }

    void clear()
    {
        pump();
        m_mapped = m_unmapped = -1;
    }

    // The time of the next map of a popup, or -1 after timeoutMs.
    double mapped(int timeoutMs) { return waitFor(m_mapped, timeoutMs); }
    double unmapped(int timeoutMs) { return waitFor(m_unmapped, timeoutMs); }
    xcb_window_t window() const { return m_window; }

private:
    double waitFor(const double &value, int timeoutMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        pump();
        while (value < 0 && !deadline.hasExpired()) {
            // Sleeps until the X server says something (or 5 ms pass, for
            // this process's own events): no busy waiting beside the figures.
            pollfd fd{xcb_get_file_descriptor(m_connection), POLLIN, 0};
            ::poll(&fd, 1, 5);
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            pump();
        }
        return value;
    }

    void pump()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            const uint8_t type = event->response_type & 0x7f;
            if (type == XCB_MAP_NOTIFY) {
                const auto *map = reinterpret_cast<xcb_map_notify_event_t *>(event);
                if (map->override_redirect) {
                    m_mapped = now();
                    m_window = map->window;
                }
            } else if (type == XCB_UNMAP_NOTIFY) {
                m_unmapped = now();
            }
            std::free(event);
        }
    }

    xcb_connection_t *m_connection;
    double m_mapped = -1;
    double m_unmapped = -1;
    xcb_window_t m_window = 0;
};

struct ProcessFigures {
    long rssKiB = -1;
    long threads = -1;
    QHash<QString, long> switches; // voluntary and involuntary, by thread
    QHash<QString, QString> names; // by thread
};

// Context switches between two readings: how often the threads woke up, in
// all and by the threads that did.
long wakeupsBetween(const ProcessFigures &from, const ProcessFigures &to,
                    QStringList *byThread = nullptr)
{
    long total = 0;
    for (auto it = to.switches.cbegin(); it != to.switches.cend(); ++it) {
        const long woke = it.value() - from.switches.value(it.key(), 0);
        total += woke;
        if (byThread && woke > 0) {
            byThread->append(QStringLiteral("%1 %2").arg(to.names.value(it.key())).arg(woke));
        }
    }
    return total;
}

ProcessFigures figures(qint64 pid)
{
    ProcessFigures f;
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:")) {
                f.rssKiB = line.mid(6).trimmed().split(' ').value(0).toLong();
            } else if (line.startsWith("Threads:")) {
                f.threads = line.mid(8).trimmed().toLong();
            }
        }
    }
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task) + QStringLiteral("/status"));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        QFile comm(tasks.filePath(task) + QStringLiteral("/comm"));
        if (comm.open(QIODevice::ReadOnly)) {
            f.names[task] = QString::fromUtf8(comm.readAll().trimmed());
        }
        for (const QByteArray &line : file.readAll().split('\n')) {
            if (line.contains("ctxt_switches:")) {
                f.switches[task] += line.mid(line.indexOf(':') + 1).trimmed().toLong();
            }
        }
    }
    return f;
}

struct Side {
    const char *name = "";
    std::vector<double> latencies;
    int missed = 0;
    int misplaced = 0;
    ProcessFigures after50;
    ProcessFigures afterAll;
    long idleWakeups = -1;
    QStringList wokeThreads;
};

void row(const char *label, const QString &a, const QString &b, const QString &ratio = QString())
{
    std::printf("%-44s %14s %14s %8s\n", label, qPrintable(a), qPrintable(b), qPrintable(ratio));
}

QString ms(double v)
{
    return QString::number(v, 'f', 1) + QStringLiteral(" ms");
}

QString mib(long kib)
{
    return QString::number(kib / 1024.0, 'f', 1) + QStringLiteral(" MiB");
}

QString ratio(double a, double b)
{
    return b > 0 ? QString::number(a / b, 'f', 2) : QStringLiteral("-");
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_DESKTOP")) {
        return BenchSupport::runOnPrivateDesktop(argc, argv);
    }
    qputenv("VELLUMO_BINARY", VELLUMO_BINARY);
    qputenv("VELLUMO_SOURCE_DIR", VELLUMO_SOURCE_DIR);
    QGuiApplication app(argc, argv);
    clock_.start();
    const int presses = argc > 1 ? std::max(60, QByteArray(argv[1]).toInt()) : 500;

    FakeProvider fake;
    if (!fake.start({QStringLiteral("--answer"), QStringLiteral("A short local answer.")})) {
        std::fprintf(stderr, "local provider: %s\n", qPrintable(fake.errorString()));
        return 1;
    }
    VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
    config.apiHost = fake.host();
    Settings::standard().setVendorConfig(AIVendors::rawValue(AIVendor::openai), config.encode());
    Settings::standard().setOnboardingCompleted(true);
    KeychainService::shared().storeAPIKey(QStringLiteral("sk-bench"), AIVendor::openai);

    auto editor = makeTarget(QStringLiteral("mousepad"));
    Vellumo vellumo;
    Keyboard keyboard;
    if (!editor || !editor->start() || !keyboard.ok() || !vellumo.start()) {
        std::fprintf(stderr, "mousepad or vellumo did not start\n");
        return 1;
    }
    QProcess minimal;
    minimal.start(QStringLiteral(MINIMAL_POPUP), {QString::number(keyboard.keycode(XK_period))});
    if (!minimal.waitForStarted(5000)) {
        std::fprintf(stderr, "the minimal popup program did not start\n");
        return 1;
    }
    // The pointer away from both popups' places.
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QStringLiteral("1700"), QStringLiteral("150")});
    editor->focusText();
    editor->home();
    QTest::qWait(300);
    const QRect area = clientFrame(editor->window());
    const QImage before = grabScreen();
    editor->select(Kind::Line);
    QTest::qWait(300);
    const auto highlight = highlightBetween(before, grabScreen(), area);
    if (!highlight) {
        std::fprintf(stderr, "the selection's highlight was not found\n");
        return 1;
    }
    QTest::qWait(1500); // the minimal program has hooked its key

    Side sides[2];
    sides[0].name = "vellumo";
    sides[1].name = "minimal";
    const qint64 pids[2] = {vellumo.pid(), minimal.processId()};
    MapWatcher watcher;
    for (int i = 0; i < presses; ++i) {
        for (int s = 0; s < 2; ++s) {
            Side &side = sides[s];
            keyboard.waitUntilFree(1000);
            watcher.clear();
            const double pressed = now();
            if (s == 0) {
                keyboard.chord({XK_Control_L, XK_Super_L, XK_slash});
            } else {
                keyboard.chord({XK_Control_L, XK_Super_L, XK_period});
            }
            const double mapped = watcher.mapped(2000);
            if (mapped < 0) {
                ++side.missed;
                continue;
            }
            side.latencies.push_back(mapped - pressed);
            if (s == 0) {
                const auto popup = popupFrame();
                if (!popup || popup->intersects(*highlight) || distance(*popup, *highlight) > 40) {
                    ++side.misplaced;
                }
            }
            if (s == 0) {
                // Escape reaches the popup once it holds the keyboard.
                keyboard.waitUntilGrabbed(1000);
                keyboard.chord({XK_Escape});
            }
            watcher.unmapped(2000);
            if (int(side.latencies.size()) == 50) {
                side.after50 = figures(pids[s]);
            }
        }
    }
    QTest::qWait(1000);
    for (int s = 0; s < 2; ++s) {
        sides[s].afterAll = figures(pids[s]);
    }
    // Idle: nothing happens for 30 s.
    const ProcessFigures idleStart[2] = {figures(pids[0]), figures(pids[1])};
    QTest::qWait(30000);
    for (int s = 0; s < 2; ++s) {
        sides[s].idleWakeups =
            wakeupsBetween(idleStart[s], figures(pids[s]), &sides[s].wokeThreads);
    }

    // Return to the replacement's end, Vellumo alone.
    std::vector<double> replaced;
    for (int i = 0; i < 20; ++i) {
        editor->focusText();
        editor->select(Kind::Line);
        keyboard.waitUntilFree(1000);
        watcher.clear();
        keyboard.chord({XK_Control_L, XK_Super_L, XK_slash});
        if (watcher.mapped(2000) < 0) {
            continue;
        }
        keyboard.waitUntilGrabbed(1000);
        const qsizetype mark = vellumo.mark();
        const double returned = now();
        keyboard.chord({XK_Return});
        if (vellumo.waitFor(QStringLiteral("Text replacement done"), mark, 10000)) {
            replaced.push_back(now() - returned);
        }
        editor->undo();
    }

    const Side &v = sides[0];
    const Side &m = sides[1];
    std::printf("Over %d presses each, alternating, on the private test desktop (Xvfb, openbox,\n"
                "mousepad holding a one-line selection):\n\n",
                presses);
    row("", QStringLiteral("vellumo"), QStringLiteral("minimal"), QStringLiteral("ratio"));
    const double vMedian = BenchSupport::percentile(v.latencies, 0.5);
    const double mMedian = BenchSupport::percentile(m.latencies, 0.5);
    const double vP99 = BenchSupport::percentile(v.latencies, 0.99);
    const double mP99 = BenchSupport::percentile(m.latencies, 0.99);
    row("press to popup mapped, median", ms(vMedian), ms(mMedian), ratio(vMedian, mMedian));
    row("press to popup mapped, 90th percentile", ms(BenchSupport::percentile(v.latencies, 0.9)),
        ms(BenchSupport::percentile(m.latencies, 0.9)),
        ratio(BenchSupport::percentile(v.latencies, 0.9),
              BenchSupport::percentile(m.latencies, 0.9)));
    row("press to popup mapped, 99th percentile", ms(vP99), ms(mP99), ratio(vP99, mP99));
    row("press to popup mapped, slowest", ms(BenchSupport::percentile(v.latencies, 1.0)),
        ms(BenchSupport::percentile(m.latencies, 1.0)));
    row("presses without a popup", QString::number(v.missed), QString::number(m.missed));
    row("popups not beside the selection", QString::number(v.misplaced), QStringLiteral("-"));
    row("resident memory after 50 popups", mib(v.after50.rssKiB), mib(m.after50.rssKiB));
    row(qPrintable(QStringLiteral("resident memory after %1 popups").arg(presses)),
        mib(v.afterAll.rssKiB), mib(m.afterAll.rssKiB));
    row(qPrintable(QStringLiteral("growth from 50 to %1 popups").arg(presses)),
        mib(v.afterAll.rssKiB - v.after50.rssKiB), mib(m.afterAll.rssKiB - m.after50.rssKiB));
    row("threads after 50 popups", QString::number(v.after50.threads),
        QString::number(m.after50.threads));
    row(qPrintable(QStringLiteral("threads after %1 popups").arg(presses)),
        QString::number(v.afterAll.threads), QString::number(m.afterAll.threads));
    row("wake-ups in 30 s of idle afterwards", QString::number(v.idleWakeups),
        QString::number(m.idleWakeups));
    if (!v.wokeThreads.isEmpty()) {
        std::printf("  vellumo's threads that woke: %s\n",
                    qPrintable(v.wokeThreads.join(QStringLiteral(", "))));
    }
    std::printf("\nReturn to replacement done (0.1 s hand-off, then until the editor has read\n"
                "the answer and asked nothing more for 0.25 s), %zu runs: median %s, 90th "
                "percentile %s\n",
                replaced.size(), qPrintable(ms(BenchSupport::percentile(replaced, 0.5))),
                qPrintable(ms(BenchSupport::percentile(replaced, 0.9))));
    std::fflush(stdout);

    minimal.kill();
    minimal.waitForFinished();
    if (qEnvironmentVariableIsSet("BENCH_VELLUMO_LOG")) {
        QFile log(qEnvironmentVariable("BENCH_VELLUMO_LOG"));
        if (log.open(QIODevice::WriteOnly)) {
            log.write(vellumo.output().toUtf8());
        }
    }
    vellumo.stop();
    editor->stop();
    return 0;
}
