// SPDX-License-Identifier: GPL-3.0-or-later
#include "DesktopStart.h"

#include "ApplicationService.h"
#include "Console.h"
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "KeychainService.h"
#include "Network.h"
#include "OnboardingWindowManager.h"
#include "PopupManager.h"
#include "ScreenActivation.h"
#include "Settings.h"
#include "SettingsPages.h"
#include "SettingsWindow.h"
#include "Shell.h"
#include "UIElement.h"
#include "Updater.h"
#include "VendorManager.h"

// The desktop this build is for (VELLUMO_PLATFORM).
#if defined(VELLUMO_PLATFORM_X11)
#include "X11Platform.h"
namespace chosen = platform::x11;
#else
#include "FakePlatform.h"
namespace chosen = platform::fake;
#endif

#include <QApplication>
#include <QSocketNotifier>
#include <csignal>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace DesktopStart {

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

// SIGINT and SIGTERM end the event loop, so the shortcut's grab is released
// and the keyring connection closed as on a normal quit.
void quitOnSignals(QApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0) {
        return;
    }
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char byte = 0;
        [[maybe_unused]] const auto read = ::read(signalPipe[0], &byte, 1);
        app.quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// What the user can press now, or why nothing and how to change that.
QString startupLine()
{
    const GlobalShortcuts::Name &name = GlobalShortcuts::Name::showPopup();
    const QString settings = Settings::standard().filePath();
    const QString restoreDefault =
        QStringLiteral("To get the default (%1) back, remove the line \"%2\" from %3 and start "
                       "Vellumo again.")
            .arg(GlobalShortcuts::shortcutDescription(*name.defaultShortcut()), name.storeKey(),
                 settings);
    const std::optional<QString> stored = Settings::standard().shortcutEntryText(name.rawValue());
    const std::optional<GlobalShortcuts::Shortcut> shortcut = GlobalShortcuts::getShortcut(name);
    if (!shortcut) {
        if (stored && *stored != QLatin1String("false")) {
            return QStringLiteral("The stored shortcut is not one Vellumo can read, so no "
                                  "shortcut is set. ") +
                   restoreDefault;
        }
        return QStringLiteral("No shortcut is set, so Vellumo cannot be called. ") + restoreDefault;
    }
    const QString text = GlobalShortcuts::shortcutDescription(*shortcut);
    if (!GlobalShortcuts::namesAKey(*shortcut)) {
        return QStringLiteral("The stored shortcut (%1) names no key of this keyboard, so no "
                              "shortcut is set. ")
                   .arg(text) +
               restoreDefault;
    }
    if (!GlobalShortcuts::isRegistered(name)) {
        return QStringLiteral("%1 is taken by another application, so it does not call Vellumo. "
                              "Free it there, or choose another shortcut. ")
                   .arg(text) +
               restoreDefault;
    }
    return QStringLiteral("Vellumo is ready: select text in any application and press ") + text +
           u'.';
}

// The start-up check: with the guide completed and accessibility on, the
// shortcut is hooked and Vellumo stays in the tray; otherwise the
// first-start guide opens, and hooks the shortcut itself.
int runLoop(QApplication &app, platform::Platform &desktop, ApplicationService &service)
{
    Network::preloadInBackground();
    GlobalShortcuts::HotKeyLayer::shared().setBackend(desktop.hotKeys->makeBackend());
    PopupManager popups(*desktop.windows, *desktop.selections, *desktop.keys, *desktop.popups,
                        *desktop.ownText, VendorManager::shared(), KeychainService::shared());
    const platform::KeyInput &keys = *desktop.keys;
    const auto trustTest = [&keys](bool prompt) { return isProcessTrusted(prompt, keys); };
    // Made at its first opening, kept (hidden) when closed.
    std::unique_ptr<SettingsWindow> settings;
    const auto openSettings = [&settings, &desktop, trustTest] {
        if (!settings) {
            settings = makeSettingsWindow({
                .loginItem = *desktop.loginItem,
                .trustTest = trustTest,
                .vendors = VendorManager::shared(),
                .keys = KeychainService::shared(),
            });
        }
        settings->open();
    };
    popups.setOpenSettings(openSettings);
    const auto hookShortcut = [&popups] {
        if (!popups.isShortcutHooked()) {
            popups.setupGlobalShortcut();
            Console::printLine(startupLine());
        }
    };

    OnboardingWindowManager guide(
        {trustTest, VendorManager::shared(), KeychainService::shared(), hookShortcut});
    Shell shell(service, *desktop.notifications, Updater::configuredFeed(),
                {
                    .openSettings = openSettings,
                    .showOnboarding = [&guide] { guide.showOnboarding(); },
                    .showPopup = [&popups] { popups.handleShortcut(); },
                });
    if (Settings::standard().onboardingCompleted() && trustTest(false)) {
        hookShortcut();
    } else {
        guide.showOnboarding();
    }
    shell.start();
    return app.exec();
}

// Another start of Vellumo in this session: the running one opens its
// settings, which is how a desktop without a tray reaches them.
int activateRunningInstance()
{
    const QString problem = ApplicationService::ask();
    if (!problem.isEmpty()) {
        Console::printError(
            QStringLiteral("Vellumo is already running, but it did not answer: %1.").arg(problem));
        return 1;
    }
    Console::printLine(QStringLiteral("Vellumo is already running: its settings open there."));
    return 0;
}

} // namespace

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") || chosen::canReachDisplay();
}

int exec(QApplication &app)
{
    ApplicationService service;
    switch (service.claim()) {
    case ApplicationService::Claim::taken:
        return activateRunningInstance();
    case ApplicationService::Claim::noBus:
        Console::printError(QStringLiteral("There is no D-Bus session bus, so a second start of "
                                           "Vellumo and 'vellumo popup' cannot reach this one."));
        break;
    case ApplicationService::Claim::owned:
        break;
    }
    QApplication::setQuitOnLastWindowClosed(false);
    quitOnSignals(app);
    // However the process ends (Quit, a signal), the way out is the same.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &app,
                     [] { ScreenActivation::deactivateScreen(); });
    // Static, so it outlives the accessibility thread, whose last call may
    // still be under way when the event loop ends.
    static platform::Platform desktop = chosen::makePlatform();
    return runLoop(app, desktop, service);
}

} // namespace DesktopStart
