// SPDX-License-Identifier: GPL-3.0-or-later
// Time of each capture strategy, of a replacement and of a geometry query
// against real applications on the private test desktop: median and 90th
// percentile over 20 runs each.
#include "AccessibilityService.h"
#include "BenchSupport.h"
#include "Desktop.h"
#include "Pasteboard.h"
#include "SelectionCapture.h"
#include "TextManipulationService.h"
#include "X11KeyInput.h"
#include "X11Selections.h"
#include "X11Windows.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTest>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace {

constexpr int runs = 20;

template <typename T> bool await(const QFuture<T> &future, int timeoutMs = 10000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return future.isFinished();
}

// setup runs outside the timed part; body answers whether the run succeeded.
template <typename Setup, typename Body> void measure(const char *label, Setup setup, Body body)
{
    std::vector<double> samples;
    int failures = 0;
    for (int i = 0; i < runs; ++i) {
        setup();
        QElapsedTimer timer;
        timer.start();
        const bool ok = body();
        const double ms = timer.nsecsElapsed() / 1e6;
        if (ok) {
            samples.push_back(ms);
        } else {
            ++failures;
        }
    }
    if (samples.empty()) {
        std::printf("%-44s no successful run (%d failed)\n", label, failures);
        return;
    }
    std::sort(samples.begin(), samples.end());
    const double median = samples[samples.size() / 2];
    const double p90 = samples[std::min(samples.size() - 1, samples.size() * 9 / 10)];
    std::printf("%-44s median %7.1f ms   p90 %7.1f ms   (%zu runs, %d failed)\n", label, median,
                p90, samples.size(), failures);
    std::fflush(stdout);
}

const platform::x11::Windows windows;
const platform::x11::Selections selections;
const platform::x11::KeyInput keys;

SelectionCapture::Context context()
{
    static Pasteboard *const pasteboard = new Pasteboard(selections, QCoreApplication::instance());
    return {windows, selections, keys, *pasteboard};
}

bool captures(const QString &expected)
{
    const auto future = SelectionCapture::getSelectedText(context());
    return await(future) && future.result() == std::optional<QString>(expected);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_DESKTOP")) {
        return BenchSupport::runOnPrivateDesktop(argc, argv);
    }
    QGuiApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("vellumo.capture.critical=false"));
    const QString document = QStringLiteral("alpha beta gamma\nsecond line here\n");
    const QStringList selectWord{"ctrl+Home",   "shift+Right", "shift+Right",
                                 "shift+Right", "shift+Right", "shift+Right"};

    const QString m = Desktop::homePath(QStringLiteral("m.txt"));
    const QString f = Desktop::homePath(QStringLiteral("f.txt"));
    Desktop::App mousepad;
    Desktop::App featherpad;
    Desktop::App xterm;
    Desktop::App fixture;
    if (!Desktop::writeFile(m, document) || !Desktop::writeFile(f, document) ||
        !mousepad.start(QStringLiteral("mousepad"), {m}) ||
        !featherpad.start(QStringLiteral("featherpad"), {f}) ||
        !xterm.start(QStringLiteral("xterm"),
                     {QStringLiteral("-geometry"), QStringLiteral("80x10+40+40"),
                      QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
                      QStringLiteral("printf 'alpha beta\\n'; exec sleep 100000")}) ||
        !fixture.start(QStringLiteral(COPY_FIXTURE), {QStringLiteral("alpha")})) {
        std::fprintf(stderr, "a target application did not start\n");
        return 1;
    }
    // The editor's first word selected, once the editor has taken PRIMARY.
    const auto selectWordIn = [&selectWord](const Desktop::App &editor) {
        editor.activate();
        Desktop::keys(selectWord);
        if (!QTest::qWaitFor([] { return Desktop::primaryText() == QStringLiteral("alpha"); },
                             3000)) {
            std::fprintf(stderr, "the editor did not select the word\n");
        }
    };
    std::printf("Median over %d runs on the private test desktop (Xvfb):\n", runs);

    measure(
        "capture, accessibility (mousepad, GTK 3)", [&] { selectWordIn(mousepad); },
        [] { return captures(QStringLiteral("alpha")); });
    measure(
        "capture, accessibility (featherpad, Qt 5)", [&] { selectWordIn(featherpad); },
        [] { return captures(QStringLiteral("alpha")); });
    measure(
        "capture, PRIMARY (xterm)",
        [&] {
            xterm.activate();
            Desktop::xdotool({"mousemove", "--window", QString::number(xterm.window()), "15", "8",
                              "click", "--repeat", "2", "--delay", "80", "1"});
            QTest::qWait(100);
        },
        [] { return captures(QStringLiteral("alpha")); });
    measure(
        "capture, Copy menu item (Qt 6 fixture)",
        [&] {
            fixture.activate();
            QGuiApplication::clipboard()->setText(QStringLiteral("user"));
        },
        [] { return captures(QStringLiteral("alpha")); });
    // Before the menu item: a GTK 3 text view pressed through its Copy menu
    // item loses its focused state on the accessibility bus until the
    // window loses and regains the focus.
    AccessibilityService geometry(windows);
    measure(
        "geometry, all four answers (mousepad)", [&] { selectWordIn(mousepad); },
        [&] {
            const auto future = geometry.queryGeometry();
            return await(future) && future.result().selectionBounds.has_value();
        });
    measure(
        "Copy menu item alone (mousepad)", [&] { selectWordIn(mousepad); },
        [] {
            const auto future = SelectionCapture::getSelectedTextByMenuBarActionCopy(context());
            return await(future) &&
                   future.result() == std::optional<QString>(QStringLiteral("alpha"));
        });
    TextManipulationService service(windows, selections, keys);
    measure(
        "replacement incl. 0.2 s wait (mousepad)", [&] { selectWordIn(mousepad); },
        [&] { return await(service.replaceSelectedText(QStringLiteral("alpha"))); });
    measure(
        "capture, stopped application (mousepad)",
        [&] {
            selectWordIn(mousepad);
            ::kill(pid_t(mousepad.pid()), SIGSTOP);
        },
        [&] {
            const auto future = SelectionCapture::getSelectedText(context());
            const bool ok = await(future) && !future.result().has_value();
            ::kill(pid_t(mousepad.pid()), SIGCONT);
            return ok;
        });

    return 0;
}
