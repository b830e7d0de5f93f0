// SPDX-License-Identifier: GPL-3.0-or-later
// Time from a synthetic key press (XTest, on a connection of its own) to the
// key-down handler of Ctrl+Super+/, over 20 presses, on a private X desktop.
// Prints the median, the 90th percentile and the extremes.
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "X11HotKeys.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

bool onPrivateDesktop()
{
    const QByteArray session = qgetenv("VELLUMO_TEST_SESSION");
    return !session.isEmpty() && QFile::exists(QString::fromLocal8Bit(session) + "/xvfb.log");
}

// Waits, handling events, until the flag is set; false after two seconds.
bool waitFor(const bool &flag)
{
    QElapsedTimer timer;
    timer.start();
    while (!flag && timer.elapsed() < 2000) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return flag;
}

} // namespace

int main(int argc, char **argv)
{
    if (!onPrivateDesktop()) {
        // Synthetic key presses must never reach the user's own session.
        execl(VELLUMO_TEST_DESKTOP, VELLUMO_TEST_DESKTOP, "run", argv[0], nullptr);
        std::perror("scripts/test-desktop");
        return 1;
    }
    QGuiApplication app(argc, argv);
    GlobalShortcuts::HotKeyLayer::shared().setBackend(platform::x11::HotKeys().makeBackend());
    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "no X display\n");
        return 1;
    }
    const KeyCode control = XKeysymToKeycode(display, XK_Control_L);
    const KeyCode super = XKeysymToKeycode(display, XK_Super_L);
    const KeyCode slash = XKeysymToKeycode(display, XK_slash);

    bool down = false;
    bool up = false;
    Clock::time_point handled;
    const GlobalShortcuts::Name &name = GlobalShortcuts::Name::showPopup();
    GlobalShortcuts::onKeyDown(name, [&] {
        handled = Clock::now();
        down = true;
    });
    GlobalShortcuts::onKeyUp(name, [&] { up = true; });

    constexpr int presses = 20;
    std::vector<double> samples;
    for (int press = 0; press < presses + 2; ++press) { // two warm-up presses
        down = false;
        up = false;
        XTestFakeKeyEvent(display, control, True, CurrentTime);
        XTestFakeKeyEvent(display, super, True, CurrentTime);
        XSync(display, False);
        const Clock::time_point pressed = Clock::now();
        XTestFakeKeyEvent(display, slash, True, CurrentTime);
        XFlush(display);
        const bool arrived = waitFor(down);
        XTestFakeKeyEvent(display, slash, False, CurrentTime);
        XTestFakeKeyEvent(display, super, False, CurrentTime);
        XTestFakeKeyEvent(display, control, False, CurrentTime);
        XFlush(display);
        if (!arrived || !waitFor(up)) {
            std::fprintf(stderr, "press %d never reached the handler\n", press + 1);
            return 1;
        }
        if (press >= 2) {
            samples.push_back(std::chrono::duration<double, std::milli>(handled - pressed).count());
        }
    }
    std::sort(samples.begin(), samples.end());
    const double median = (samples[presses / 2 - 1] + samples[presses / 2]) / 2;
    const double p90 = samples[size_t(presses * 9 / 10) - 1];
    std::printf("key press to key-down handler over %d presses: median %.3f ms, "
                "90th percentile %.3f ms, min %.3f ms, max %.3f ms\n",
                presses, median, p90, samples.front(), samples.back());
    XCloseDisplay(display);
    return 0;
}
