// The shortcut-to-paste loop of the vellumo executable on the private test
// desktop, with mousepad and the local HTTPS provider: over 20 presses, the
// time from the shortcut to the popup on screen, split at the moment the
// selected text was captured; then from Return to the replacement's end; and
// the resident memory after start and after 100 popups.
#include "AIVendor.h"
#include "DefaultsStore.h"
#include "DesktopApps.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "VendorConfig.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace {

constexpr int runs = 20;

QElapsedTimer clock_;

double now() { return clock_.nsecsElapsed() / 1e6; }

struct Stats {
    double median = 0;
    double p90 = 0;
};

Stats stats(std::vector<double> samples)
{
    if (samples.empty()) {
        return {};
    }
    std::sort(samples.begin(), samples.end());
    return {samples[samples.size() / 2],
            samples[std::min(samples.size() - 1, samples.size() * 9 / 10)]};
}

void print(const char *label, const std::vector<double> &samples)
{
    const Stats s = stats(samples);
    std::printf("%-46s median %7.1f ms   p90 %7.1f ms   (%zu runs)\n", label, s.median, s.p90,
                samples.size());
    std::fflush(stdout);
}

// Key presses straight through XTest, so the clock starts when the X server
// gets them.
class Keyboard {
public:
    Keyboard() : m_display(XOpenDisplay(nullptr)) {}
    ~Keyboard() { XCloseDisplay(m_display); }
    bool ok() const { return m_display != nullptr; }

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

// vellumo's output lines with the time each arrived, and the map
// notifications of the root window's children (the popup is one).
class Watcher {
public:
    explicit Watcher(QProcess &process) : m_process(process)
    {
        m_connection = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, root, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(m_connection);
    }
    ~Watcher() { xcb_disconnect(m_connection); }

    void clear()
    {
        pump();
        m_mapped = m_unmapped = -1;
        m_lines.clear();
    }

    // Waits until line text has arrived; its arrival time, or -1.
    double line(const QString &text, int timeoutMs = 10000)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired()) {
            pump();
            for (const auto &[at, l] : m_lines) {
                if (l.contains(text)) {
                    return at;
                }
            }
        }
        return -1;
    }

    double mapped(int timeoutMs = 10000) { return waitFor(m_mapped, timeoutMs); }
    double unmapped(int timeoutMs = 10000) { return waitFor(m_unmapped, timeoutMs); }

private:
    double waitFor(const double &value, int timeoutMs)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (value < 0 && !deadline.hasExpired()) {
            pump();
        }
        return value;
    }

    void pump()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            const uint8_t type = event->response_type & 0x7f;
            if (type == XCB_MAP_NOTIFY &&
                reinterpret_cast<xcb_map_notify_event_t *>(event)->override_redirect) {
                m_mapped = now();
            } else if (type == XCB_UNMAP_NOTIFY) {
                m_unmapped = now();
            }
            std::free(event);
        }
        m_process.waitForReadyRead(1);
        while (m_process.canReadLine()) {
            m_lines.push_back({now(), QString::fromUtf8(m_process.readLine())});
        }
    }

    QProcess &m_process;
    xcb_connection_t *m_connection;
    double m_mapped = -1;
    double m_unmapped = -1;
    std::vector<std::pair<double, QString>> m_lines;
};

long residentKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').value(0).toLong();
        }
    }
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_DESKTOP")) {
        // Never on the user's own desktop: start a private one around ourselves.
        const QByteArray script = VELLUMO_SOURCE_DIR "/scripts/test-desktop";
        execl(script.constData(), script.constData(), "run", argv[0], static_cast<char *>(nullptr));
        std::perror("test-desktop");
        return 1;
    }
    qputenv("VELLUMO_SOURCE_DIR", VELLUMO_SOURCE_DIR);
    QGuiApplication app(argc, argv);
    clock_.start();

    FakeProvider fake;
    if (!fake.start({QStringLiteral("--answer"), QStringLiteral("A short local answer.")})) {
        std::fprintf(stderr, "local provider: %s\n", qPrintable(fake.errorString()));
        return 1;
    }
    VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
    config.apiHost = fake.host();
    DefaultsStore::standard().setData(VendorConfig::storageKey(AIVendor::openai), config.encode());
    DefaultsStore::standard().setBoolean(QStringLiteral("onboarding_completed"), true);
    KeychainService::shared().storeAPIKey(QStringLiteral("sk-bench"), AIVendor::openai);

    const QString path = DesktopApps::writeFile(
        QStringLiteral("bench.txt"), QStringLiteral("The quick brown fox jumps over the lazy dog.\n"));
    DesktopApps::App editor = DesktopApps::start(QStringLiteral("mousepad"), {path});
    QProcess vellumo;
    vellumo.start(QStringLiteral(VELLUMO_BINARY), {});
    Keyboard keyboard;
    if (!editor.window || !vellumo.waitForStarted(10000) || !keyboard.ok()) {
        std::fprintf(stderr, "mousepad or vellumo did not start\n");
        return 1;
    }
    QTest::qWait(1500);
    const long rssAtStart = residentKiB(vellumo.processId());
    Watcher watcher(vellumo);

    std::vector<double> toPopup, capture, showing, toReplaced;
    for (int i = 0; i < runs; ++i) {
        DesktopApps::activate(editor.window);
        DesktopApps::keys({"ctrl+Home", "shift+End"});
        QTest::qWait(100);
        watcher.clear();
        const double pressed = now();
        keyboard.chord({XK_Control_L, XK_Super_L, XK_slash});
        const double got = watcher.line(QStringLiteral("Got selected text"));
        const double mapped = watcher.mapped();
        if (got < 0 || mapped < 0) {
            std::fprintf(stderr, "run %d: no popup\n", i);
            continue;
        }
        toPopup.push_back(mapped - pressed);
        capture.push_back(got - pressed);
        showing.push_back(mapped - got);
        QTest::qWait(150);

        watcher.clear();
        const double returned = now();
        keyboard.chord({XK_Return});
        const double done = watcher.line(QStringLiteral("Text replacement done"));
        if (done >= 0) {
            toReplaced.push_back(done - returned);
        }
        QTest::qWait(100);
    }

    std::printf("Over %d presses on the private test desktop (Xvfb, mousepad, local provider):\n",
                runs);
    print("shortcut press to popup mapped", toPopup);
    print("  of which: press to text captured", capture);
    print("  of which: captured to popup mapped", showing);
    print("Return to replacement done (incl. 0.1 + 0.2 s)", toReplaced);

    // Memory: 100 popups opened and closed with Escape.
    int shown = 0;
    for (int i = 0; i < 100; ++i) {
        DesktopApps::activate(editor.window);
        DesktopApps::keys({"ctrl+Home", "shift+End"});
        watcher.clear();
        keyboard.chord({XK_Control_L, XK_Super_L, XK_slash});
        if (watcher.mapped() < 0) {
            continue;
        }
        ++shown;
        keyboard.chord({XK_Escape});
        watcher.unmapped();
    }
    QTest::qWait(500);
    const long rssAfter = residentKiB(vellumo.processId());
    std::printf("resident memory after start                    %6.1f MiB\n", rssAtStart / 1024.0);
    std::printf("resident memory after %3d more popups          %6.1f MiB\n", shown,
                rssAfter / 1024.0);

    vellumo.terminate();
    vellumo.waitForFinished(5000);
    DesktopApps::stop(editor);
    return 0;
}
