// SPDX-License-Identifier: GPL-3.0-or-later
// How long a new user waits for the first-start guide: from starting the
// vellumo executable on an account without settings or keys to the guide's
// heading painted on the screen, beside a minimal Qt program painting the
// same heading in a window of the same size (bench/minimalguide.cpp). The
// two start by turns in one private test desktop, so whatever else the
// machine does weighs on both alike; printed side by side with the ratio.
//   bench_onboarding [ROUNDS]     (20 by default)
#include "BenchSupport.h"
#include "DefaultsStore.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace {

// Finds a program's window through the window manager's client list and
// tells when the heading has been drawn in it: dark text pixels on the
// light window colour in the band where both programs put the heading.
class Screen {
public:
    Screen() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_clients = atom("_NET_CLIENT_LIST");
        m_pid = atom("_NET_WM_PID");
    }
    ~Screen() { xcb_disconnect(m_connection); }

    bool ok() const { return xcb_connection_has_error(m_connection) == 0; }

    // The mapped window of the process, or 0.
    xcb_window_t windowOf(qint64 pid)
    {
        for (const xcb_window_t window : cardinals(m_root, m_clients, 64)) {
            const auto owner = cardinals(window, m_pid, 1);
            if (!owner.empty() && owner.front() == uint32_t(pid)) {
                return window;
            }
        }
        return 0;
    }

    // Whether the heading is on screen in the window.
    bool headingPainted(xcb_window_t window)
    {
        // The heading's band: 32 down, 34 high, the middle 300 of 600.
        const int x = 150;
        const int y = 32;
        const int width = 300;
        const int height = 34;
        xcb_get_image_reply_t *image =
            xcb_get_image_reply(m_connection,
                                xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window, x, y,
                                              width, height, ~0u),
                                nullptr);
        if (!image) {
            return false;
        }
        const auto *pixels = reinterpret_cast<const uint32_t *>(xcb_get_image_data(image));
        const int count = xcb_get_image_data_length(image) / 4;
        int dark = 0;
        int light = 0;
        for (int i = 0; i < count; ++i) {
            const uint32_t p = pixels[i];
            const int r = (p >> 16) & 0xff;
            const int g = (p >> 8) & 0xff;
            const int b = p & 0xff;
            dark += r < 60 && g < 60 && b < 60;
            light += r > 200 && g > 200 && b > 200;
        }
        free(image);
        // Bold 26-pixel text covers a few hundred pixels; the rest is the
        // window colour.
        return dark > 300 && light > count / 2;
    }

private:
    xcb_atom_t atom(const char *name)
    {
        xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(
            m_connection, xcb_intern_atom(m_connection, 0, uint16_t(strlen(name)), name), nullptr);
        const xcb_atom_t value = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(reply);
        return value;
    }

    std::vector<uint32_t> cardinals(xcb_window_t window, xcb_atom_t property, uint32_t most)
    {
        xcb_get_property_reply_t *reply = xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, most),
            nullptr);
        std::vector<uint32_t> values;
        if (reply && reply->format == 32) {
            const auto *data = static_cast<const uint32_t *>(xcb_get_property_value(reply));
            values.assign(data, data + xcb_get_property_value_length(reply) / 4);
        }
        free(reply);
        return values;
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_root = 0;
    xcb_atom_t m_clients = XCB_ATOM_NONE;
    xcb_atom_t m_pid = XCB_ATOM_NONE;
};

// Starts the program and returns the milliseconds until its heading was
// painted, or -1.
double timeToHeading(Screen &screen, const QString &program)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer clock;
    clock.start();
    process.start(program, {});
    if (!process.waitForStarted(10000)) {
        return -1;
    }
    double painted = -1;
    const QDeadlineTimer deadline(20000);
    xcb_window_t window = 0;
    while (!deadline.hasExpired() && process.state() == QProcess::Running) {
        if (window == 0) {
            window = screen.windowOf(process.processId());
        }
        if (window != 0 && screen.headingPainted(window)) {
            painted = double(clock.nsecsElapsed()) / 1e6;
            break;
        }
        QThread::usleep(500);
    }
    process.terminate();
    if (!process.waitForFinished(5000)) {
        process.kill();
        process.waitForFinished(2000);
    }
    return painted;
}

void row(const char *label, const QString &a, const QString &b, const QString &ratio = QString())
{
    std::printf("%-36s %12s %12s %8s\n", label, qPrintable(a), qPrintable(b), qPrintable(ratio));
}

QString ms(double value)
{
    return QString::number(value, 'f', 1) + QStringLiteral(" ms");
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_DESKTOP")) {
        return BenchSupport::runOnPrivateDesktop(argc, argv);
    }
    QGuiApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(3, QByteArray(argv[1]).toInt()) : 20;
    Screen screen;
    if (!screen.ok()) {
        std::fprintf(stderr, "no X display\n");
        return 1;
    }
    std::vector<double> vellumo;
    std::vector<double> minimal;
    int missed = 0;
    for (int i = 0; i < rounds; ++i) {
        // A fresh account: no settings file; the keyring holds no key.
        DefaultsStore::standard().removeAll();
        QFile::remove(DefaultsStore::standard().filePath());
        const bool vellumoFirst = i % 2 == 0;
        for (int side = 0; side < 2; ++side) {
            const bool isVellumo = (side == 0) == vellumoFirst;
            const double t = timeToHeading(screen, isVellumo ? QStringLiteral(VELLUMO_BINARY)
                                                             : QStringLiteral(MINIMAL_GUIDE));
            if (t < 0) {
                ++missed;
                continue;
            }
            (isVellumo ? vellumo : minimal).push_back(t);
        }
    }
    std::printf("start to first-start guide painted, %d rounds (fresh account each time)\n",
                rounds);
    row("", QStringLiteral("vellumo"), QStringLiteral("minimal"), QStringLiteral("ratio"));
    const double vMedian = BenchSupport::percentile(vellumo, 0.5);
    const double mMedian = BenchSupport::percentile(minimal, 0.5);
    row("median", ms(vMedian), ms(mMedian), QString::number(vMedian / mMedian, 'f', 2));
    const double vP90 = BenchSupport::percentile(vellumo, 0.9);
    const double mP90 = BenchSupport::percentile(minimal, 0.9);
    row("90th percentile", ms(vP90), ms(mP90), QString::number(vP90 / mP90, 'f', 2));
    row("fastest", ms(BenchSupport::percentile(vellumo, 0)),
        ms(BenchSupport::percentile(minimal, 0)));
    if (missed > 0) {
        std::printf("%d starts never painted their heading within 20 s\n", missed);
    }
    return missed > 0 ? 1 : 0;
}
