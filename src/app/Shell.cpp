// SPDX-License-Identifier: GPL-3.0-or-later
#include "Shell.h"

#include "Console.h"

#include <QCoreApplication>
#include <QDesktopServices>

Shell::Shell(ApplicationService &service, platform::Notifications &notifications, QUrl updateFeed,
             Hooks hooks, QObject *parent)
    : QObject(parent), m_notifications(notifications), m_hooks(std::move(hooks)),
      m_updater(std::move(updateFeed), QCoreApplication::applicationVersion(), notifications),
      m_tray(m_updater.isEnabled())
{
    const auto call = [](const std::function<void()> &hook) {
        return [&hook] {
            if (hook) {
                hook();
            }
        };
    };
    const auto quit = [] { QCoreApplication::quit(); };
    service.setAction(QStringLiteral("settings"), call(m_hooks.openSettings));
    service.setAction(QStringLiteral("onboarding"), call(m_hooks.showOnboarding));
    service.setAction(QStringLiteral("popup"), call(m_hooks.showPopup));
    service.setAction(QStringLiteral("quit"), quit);

    connect(&m_tray, &TrayIcon::settingsRequested, this, call(m_hooks.openSettings));
    connect(&m_tray, &TrayIcon::onboardingRequested, this, call(m_hooks.showOnboarding));
    connect(&m_tray, &TrayIcon::updateCheckRequested, &m_updater, &Updater::checkForUpdates);
    connect(&m_tray, &TrayIcon::quitRequested, this, quit);
    connect(&m_updater, &Updater::canCheckForUpdatesChanged, &m_tray,
            &TrayIcon::setCanCheckForUpdates);
    connect(&m_updater, &Updater::badgeChanged, &m_tray, &TrayIcon::setBadge);
    connect(&m_updater, &Updater::userCheckFinished, this, &Shell::showUpdateOutcome);
}

Shell::~Shell()
{
    delete m_updateDialog.data();
}

void Shell::start()
{
    if (!m_tray.show()) {
        const QString how = QStringLiteral("This desktop shows no tray icons: to open Vellumo's "
                                           "settings, start Vellumo again from the application "
                                           "menu.");
        Console::printLine(how);
        m_notifications.notify(QStringLiteral("Vellumo is running"), how);
    }
    m_updater.start();
}

void Shell::showUpdateOutcome(const UpdateOutcome &outcome)
{
    if (!m_updateDialog) {
        m_updateDialog = new UpdateDialog(m_updater.currentVersion());
        m_updateDialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(m_updateDialog, &UpdateDialog::releasePageRequested, this,
                [](const QUrl &page) { QDesktopServices::openUrl(page); });
    }
    m_updateDialog->showOutcome(outcome);
}
