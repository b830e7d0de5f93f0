// SPDX-License-Identifier: GPL-3.0-or-later
// The settings window on a real X server (a private test desktop), beside the
// least a Qt program does for the same visible thing: a 780 by 600 window
// with three tabs of one label each, and a plain line edit. The two are
// measured in turn, so whatever else the machine does weighs on both alike,
// and printed side by side with their ratio:
//   - the open-settings request (what the popup's Open Settings calls) to the
//     window painted: the first opening, which builds the window, each in a
//     fresh process whose Qt has already painted one window (as Vellumo's has
//     its popup), with the longest UI stall while the window reads the stored
//     key and fetches the model list in the background right after it; and
//     later openings of the window kept hidden;
//   - a keystroke in the API key field to the UI responsive again (the event
//     loop has handled the key, repainted and turned), with the keyring
//     answering and with it frozen (the key is stored off the UI thread);
//     and, for Vellumo alone, until the typed key reads back from the keyring.
//   bench_settings [RUNS]     (20 by default)
#include "BenchSupport.h"
#include "FakeProvider.h"
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "KeychainService.h"
#include "Network.h"
#include "SettingsPages.h"
#include "SettingsWindow.h"
#include "TestSupport.h"
#include "UIElement.h"
#include "VendorForm.h"
#include "VendorManager.h"
#include "VendorsTab.h"
#include "X11Platform.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFuture>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

// Where the figures go: standard output as it was at the start. Vellumo's
// own lines ("Activating screen") go to standard output too, which the
// benchmark sends to /dev/null.
FILE *report = stdout;

void row(const char *what, const std::vector<double> &ours, const std::vector<double> &minimal)
{
    const double a = BenchSupport::percentile(ours, 0.5);
    const double b = BenchSupport::percentile(minimal, 0.5);
    std::fprintf(report, "%-44s %8.2f / %8.2f ms   %8.2f / %8.2f ms   %5.2f\n", what, a,
                 BenchSupport::percentile(ours, 0.9), b, BenchSupport::percentile(minimal, 0.9),
                 b > 0 ? a / b : 0.0);
    std::fflush(report);
}

// Lets the event loop run until the window has been exposed, which paints it
// (Qt paints a widget window while it handles the expose).
bool waitPainted(QWidget &window)
{
    QElapsedTimer limit;
    limit.start();
    while (!(window.windowHandle() && window.windowHandle()->isExposed())) {
        if (limit.elapsed() > 10000) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

// Until a window hidden is off the screen, so the next opening maps it anew.
bool waitHidden(QWidget &window)
{
    QElapsedTimer limit;
    limit.start();
    while (window.windowHandle() && window.windowHandle()->isExposed()) {
        if (limit.elapsed() > 10000) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

// What the UI does between a key and the next event it can take: the key
// handled, the change painted, the loop turned.
double keystrokeToResponsive(QLineEdit *field, char key)
{
    QElapsedTimer clock;
    clock.start();
    QTest::keyClick(field, key);
    bool turned = false;
    QTimer::singleShot(0, field, [&turned] { turned = true; });
    while (!turned) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return clock.nsecsElapsed() / 1e6;
}

// The same visible thing with nothing behind it.
std::unique_ptr<QWidget> minimalWindow()
{
    auto window = std::make_unique<QWidget>();
    window->setWindowTitle(QStringLiteral("Minimal Settings"));
    auto *tabs = new QTabWidget(window.get());
    for (const char *title : {"General", "Vendors", "Prompts"}) {
        tabs->addTab(new QLabel(QString::fromLatin1(title)), QString::fromLatin1(title));
    }
    auto *layout = new QVBoxLayout(window.get());
    layout->setContentsMargins(0, 6, 0, 0);
    layout->addWidget(tabs);
    window->resize(780, 600);
    return window;
}

void show(QWidget &window)
{
    window.show();
    window.raise();
    window.activateWindow();
}

// What Vellumo has running when the popup asks for the settings; every
// provider at the local stand-in (VELLUMO_BENCH_HOST), so that the model
// lists the form fetches never leave the computer.
struct Desktop {
    platform::Platform platform = platform::x11::makePlatform();
    VendorManager vendors;

    Desktop()
    {
        GlobalShortcuts::HotKeyLayer::shared().setBackend(platform.hotKeys->makeBackend());
        for (AIVendor vendor : AIVendors::allCases()) {
            VendorConfig config = vendors.configuration(vendor);
            config.apiHost = qEnvironmentVariable("VELLUMO_BENCH_HOST");
            vendors.updateConfiguration(vendor, config);
        }
    }

    std::unique_ptr<SettingsWindow> makeWindow()
    {
        const platform::KeyInput &keys = *platform.keys;
        return makeSettingsWindow({
            .loginItem = *platform.loginItem,
            .trustTest = [&keys](bool prompt) { return isProcessTrusted(prompt, keys); },
            .vendors = vendors,
            .keys = KeychainService::shared(),
        });
    }
};

// One first opening, in this (fresh) process: prints the milliseconds.
int firstOpening(bool ours)
{
    // Qt has painted a window before, as Vellumo's popup has.
    {
        QLineEdit before;
        before.setText(QStringLiteral("A window painted before"));
        before.show();
        if (!waitPainted(before)) {
            return 1;
        }
    }
    std::unique_ptr<Desktop> desktop = ours ? std::make_unique<Desktop>() : nullptr;
    if (ours) {
        // Done at start, long before anyone opens the settings.
        Network::preloadInBackground().waitForFinished();
    }
    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<QWidget> window;
    if (ours) {
        std::unique_ptr<SettingsWindow> settings = desktop->makeWindow();
        settings->open();
        window = std::move(settings);
    } else {
        window = minimalWindow();
        show(*window);
    }
    if (!waitPainted(*window)) {
        return 1;
    }
    const double painted = clock.nsecsElapsed() / 1e6;
    // What the window does in the background meanwhile (the stored key read,
    // the provider's model list fetched) must not hold the UI up: the
    // longest gap between ticks of a 5 ms timer over the next 1.5 s.
    QElapsedTimer ticks;
    ticks.start();
    qint64 last = 0;
    qint64 longest = 0;
    QTimer timer;
    timer.setInterval(5);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        longest = std::max(longest, ticks.elapsed() - last);
        last = ticks.elapsed();
    });
    timer.start();
    while (ticks.elapsed() < 1500) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    std::fprintf(report, "%.3f %lld\n", painted, longest);
    return 0;
}

// Each figure of a first opening for Vellumo and for the minimal window:
// request to painted, and the longest UI stall in the 1.5 s after.
struct FirstOpenings {
    std::vector<double> ours;
    std::vector<double> minimal;
    std::vector<double> ourStalls;
    std::vector<double> minimalStalls;
};

FirstOpenings firstOpenings(const char *self, int runs)
{
    FirstOpenings figures;
    for (int i = 0; i < 2 * runs; ++i) {
        const bool vellumo = i % 2 == 0;
        QProcess child;
        child.start(QString::fromLocal8Bit(self),
                    {QStringLiteral("--first"),
                     vellumo ? QStringLiteral("vellumo") : QStringLiteral("minimal")});
        child.waitForFinished(30000);
        const QStringList numbers =
            QString::fromLatin1(child.readAllStandardOutput()).simplified().split(u' ');
        if (numbers.size() == 2) {
            (vellumo ? figures.ours : figures.minimal).push_back(numbers.at(0).toDouble());
            (vellumo ? figures.ourStalls : figures.minimalStalls)
                .push_back(numbers.at(1).toDouble());
        }
    }
    return figures;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_DESKTOP")) {
        return BenchSupport::runOnPrivateDesktop(argc, argv);
    }
    report = fdopen(dup(STDOUT_FILENO), "w");
    const int null = open("/dev/null", O_WRONLY);
    if (!report || null < 0 || dup2(null, STDOUT_FILENO) < 0) {
        std::perror("standard output");
        return 1;
    }
    QApplication app(argc, argv);
    if (argc > 2 && QByteArray(argv[1]) == "--first") {
        return firstOpening(QByteArray(argv[2]) == "vellumo");
    }
    const int runs = argc > 1 ? std::max(5, QByteArray(argv[1]).toInt()) : 20;
    qputenv("VELLUMO_SOURCE_DIR", VELLUMO_SOURCE_DIR);
    FakeProvider fake; // its certificate is trusted here and in the children
    if (!fake.start()) {
        std::fprintf(stderr, "local provider: %s\n", qPrintable(fake.errorString()));
        return 1;
    }
    qputenv("VELLUMO_BENCH_HOST", fake.host().toUtf8());
    if (!KeychainService::shared().storeAPIKey(QStringLiteral("sk-bench"), AIVendor::openai)) {
        std::fprintf(stderr, "no keyring\n");
        return 1;
    }

    std::fprintf(report,
                 "Vellumo's settings window beside a minimal 780x600 window with three tabs, %d "
                 "runs each, %s platform\n",
                 runs, qPrintable(QGuiApplication::platformName()));
    std::fprintf(report, "%-44s %22s   %22s   %5s\n", "", "Vellumo median / p90",
                 "minimal median / p90", "ratio");

    const FirstOpenings first = firstOpenings(argv[0], runs);
    row("request to painted, first opening", first.ours, first.minimal);
    row("longest UI stall in the 1.5 s after it", first.ourStalls, first.minimalStalls);

    Desktop desktop;
    std::unique_ptr<SettingsWindow> settings = desktop.makeWindow();
    settings->open();
    std::unique_ptr<QWidget> minimal = minimalWindow();
    show(*minimal);
    if (!waitPainted(*settings) || !waitPainted(*minimal)) {
        std::fprintf(stderr, "the windows did not show\n");
        return 1;
    }
    std::vector<double> ourLater;
    std::vector<double> minimalLater;
    for (int i = 0; i < runs; ++i) {
        for (QWidget *window : {static_cast<QWidget *>(settings.get()), minimal.get()}) {
            window->close();
            if (!waitHidden(*window)) {
                std::fprintf(stderr, "a window did not hide\n");
                return 1;
            }
            QElapsedTimer clock;
            clock.start();
            if (window == settings.get()) {
                settings->open();
            } else {
                show(*window);
            }
            if (!waitPainted(*window)) {
                std::fprintf(stderr, "a window did not show again\n");
                return 1;
            }
            (window == settings.get() ? ourLater : minimalLater)
                .push_back(clock.nsecsElapsed() / 1e6);
        }
    }
    row("request to painted, later openings", ourLater, minimalLater);

    // The key field of the provider shown first (OpenAI), beside a plain
    // line edit in the minimal window.
    settings->tabs()->setCurrentIndex(1);
    auto *vendorsTab = qobject_cast<VendorsTab *>(settings->tabs()->currentWidget());
    QLineEdit *keyField = vendorsTab->currentForm()->keyField();
    auto *plain = new QLineEdit(minimal.get());
    plain->show();
    auto typeBoth = [&](std::vector<double> *ours, std::vector<double> *theirs) {
        for (int i = 0; i < runs; ++i) {
            ours->push_back(keystrokeToResponsive(keyField, 'a' + char(i % 26)));
            theirs->push_back(keystrokeToResponsive(plain, 'a' + char(i % 26)));
        }
    };
    std::vector<double> ourKeys;
    std::vector<double> plainKeys;
    typeBoth(&ourKeys, &plainKeys);
    row("keystroke to responsive, keyring answering", ourKeys, plainKeys);

    std::vector<double> ourFrozen;
    std::vector<double> plainFrozen;
    if (TestSupport::freezeKeyring(true)) {
        typeBoth(&ourFrozen, &plainFrozen);
        TestSupport::freezeKeyring(false);
        row("keystroke to responsive, keyring frozen", ourFrozen, plainFrozen);
    }
    // Whatever the frozen keyring kept waiting is written before going on.
    KeychainService::shared().keyForRequest(AIVendor::openai).waitForFinished();

    std::vector<double> stored;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer clock;
        clock.start();
        QTest::keyClick(keyField, 'k');
        const QString typed = keyField->text();
        bool back = false;
        for (int attempt = 0; !back && attempt < 100; ++attempt) {
            QFuture<QString> read = KeychainService::shared().keyForRequest(AIVendor::openai);
            while (!read.isFinished()) {
                QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
            }
            back = read.resultCount() > 0 && read.result() == typed;
        }
        stored.push_back(clock.nsecsElapsed() / 1e6);
    }
    std::fprintf(report, "%-44s %8.2f / %8.2f ms\n", "keystroke to the key read back (Vellumo)",
                 BenchSupport::percentile(stored, 0.5), BenchSupport::percentile(stored, 0.9));
    return 0;
}
