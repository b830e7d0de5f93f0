#include "DesktopStart.h"

#include "AIVendor.h"
#include "Console.h"
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "KeychainService.h"
#include "PopupManager.h"
#include "Settings.h"
#include "SettingsPages.h"
#include "SettingsWindow.h"
#include "UIElement.h"
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

// Hooks the shortcut and runs the loop until the application quits.
int runLoop(QApplication &app, const platform::Platform &desktop)
{
    GlobalShortcuts::HotKeyLayer::shared().setBackend(desktop.hotKeys->makeBackend());
    PopupManager popups(*desktop.windows, *desktop.selections, *desktop.keys, *desktop.popups,
                        *desktop.ownText, VendorManager::shared(), KeychainService::shared());
    // Made at its first opening, kept (hidden) when closed.
    std::unique_ptr<SettingsWindow> settings;
    popups.setOpenSettings([&settings, &desktop] {
        if (!settings) {
            const platform::KeyInput &keys = *desktop.keys;
            settings = makeSettingsWindow({
                .loginItem = *desktop.loginItem,
                .trustTest = [&keys](bool prompt) { return isProcessTrusted(prompt, keys); },
                .vendors = VendorManager::shared(),
                .keys = KeychainService::shared(),
            });
        }
        settings->open();
    });
    popups.setupGlobalShortcut();
    Console::printLine(startupLine());
    return app.exec();
}

} // namespace

int exec(QApplication &app)
{
    QApplication::setQuitOnLastWindowClosed(false);
    quitOnSignals(app);
    // Static, so it outlives the accessibility thread, whose last call may
    // still be under way when the event loop ends.
    static const platform::Platform desktop = chosen::makePlatform();

    const bool onboarded = Settings::standard().onboardingCompleted();
    if (onboarded && isProcessTrusted(false, *desktop.keys)) {
        return runLoop(app, desktop);
    }

    // The first-start guide's steps, on the console.
    if (!isProcessTrusted(true, *desktop.keys)) {
        Console::printError(QStringLiteral(
            "Vellumo needs the desktop's accessibility interface (AT-SPI) and the XTest "
            "extension of an X11 session, and could not turn them on. Install at-spi2-core, "
            "log in to an X11 session and start Vellumo again."));
        return 1;
    }
    KeychainService &keys = KeychainService::shared();
    if (!keys.refreshPresenceNow()) {
        // The key store has printed why it could not answer.
        Console::printError(QStringLiteral("Vellumo cannot start before it can read the API "
                                           "keys; start it again once the keyring answers."));
        return 1;
    }
    const QList<AIVendor> &providers = AIVendors::allCases();
    const bool anyKeyStored = std::any_of(providers.begin(), providers.end(), [&keys](AIVendor v) {
        return keys.presence(v) == KeychainService::Presence::stored;
    });
    if (!anyKeyStored) {
        Console::printError(
            QStringLiteral("Vellumo is not set up yet: store the API key of your AI provider with\n"
                           "  vellumo key set openai      (or anthropic, or gemini)\n"
                           "which reads the key from standard input, then start Vellumo again."));
        return 1;
    }
    Settings::standard().setOnboardingCompleted(true);
    return runLoop(app, desktop);
}

} // namespace DesktopStart
