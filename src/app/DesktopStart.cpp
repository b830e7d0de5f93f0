#include "DesktopStart.h"

#include "AIVendor.h"
#include "Console.h"
#include "DefaultsStore.h"
#include "GlobalShortcuts.h"
#include "KeychainService.h"
#include "PopupManager.h"
#include "UIElement.h"

#include <QApplication>
#include <QSocketNotifier>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace DesktopStart {

namespace {

const QString onboardingCompletedKey = QStringLiteral("onboarding_completed");

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

bool anyKeyStored()
{
    for (AIVendor vendor : AIVendors::allCases()) {
        const std::optional<QString> key = KeychainService::shared().retrieveAPIKey(vendor);
        if (key && !key->isEmpty()) {
            return true;
        }
    }
    return false;
}

QString shortcutText()
{
    const auto shortcut = GlobalShortcuts::getShortcut(GlobalShortcuts::Name::showPopup());
    return shortcut ? GlobalShortcuts::shortcutDescription(*shortcut) : QString();
}

} // namespace

int exec(QApplication &app)
{
    QApplication::setQuitOnLastWindowClosed(false);
    quitOnSignals(app);

    const bool onboarded = DefaultsStore::standard().boolean(onboardingCompletedKey).value_or(false);
    if (onboarded && isProcessTrusted(false)) {
        PopupManager::shared().setupGlobalShortcut();
        return app.exec();
    }

    // The first-start guide's steps, on the console.
    if (!isProcessTrusted(true)) {
        Console::printError(QStringLiteral(
            "Vellumo needs the desktop's accessibility interface (AT-SPI) and the XTest "
            "extension of an X11 session, and could not turn them on. Install at-spi2-core, "
            "log in to an X11 session and start Vellumo again."));
        return 1;
    }
    if (!anyKeyStored()) {
        Console::printError(QStringLiteral(
            "Vellumo is not set up yet: store the API key of your AI provider with\n"
            "  vellumo key set openai      (or anthropic, or gemini)\n"
            "which reads the key from standard input, then start Vellumo again."));
        return 1;
    }
    DefaultsStore::standard().setBoolean(onboardingCompletedKey, true);
    PopupManager::shared().setupGlobalShortcut();
    const QString shortcut = shortcutText();
    if (!shortcut.isEmpty()) {
        Console::printLine(QStringLiteral("Vellumo is ready: select text in any application and "
                                          "press ") +
                           shortcut + QStringLiteral("."));
    }
    return app.exec();
}

} // namespace DesktopStart
