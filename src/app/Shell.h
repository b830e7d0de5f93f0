// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ApplicationService.h"
#include "Notifications.h"
#include "TrayIcon.h"
#include "UpdateDialog.h"
#include "Updater.h"

#include <QObject>
#include <QPointer>
#include <functional>

// What the user sees of Vellumo besides the popup: the tray icon and its
// menu, the update checks with their notification and window, and the
// actions that the session bus offers other processes (a second start,
// `vellumo popup`). The windows it opens belong to others: it is handed
// what opens them.
class Shell : public QObject {
    Q_OBJECT

public:
    struct Hooks {
        std::function<void()> openSettings;
        std::function<void()> showOnboarding;
        // The shortcut's flow: read the selection, open the popup beside it.
        std::function<void()> showPopup;
    };

    Shell(ApplicationService &service, platform::Notifications &notifications, QUrl updateFeed,
          Hooks hooks, QObject *parent = nullptr);
    ~Shell() override;

    // Shows the tray icon (or, on a desktop without a tray, says once how
    // to reach the settings) and starts the update checks.
    void start();

    TrayIcon &tray() { return m_tray; }
    Updater &updater() { return m_updater; }
    // The update window, once a user-initiated check has shown it.
    UpdateDialog *updateDialog() const { return m_updateDialog; }

private:
    void showUpdateOutcome(const UpdateOutcome &outcome);

    platform::Notifications &m_notifications;
    Hooks m_hooks;
    Updater m_updater;
    TrayIcon m_tray;
    QPointer<UpdateDialog> m_updateDialog;
};
