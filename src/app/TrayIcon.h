// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAction>
#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

// Vellumo's icon in the tray (StatusNotifierItem where the desktop offers
// it, XEmbed otherwise) and its menu, top to bottom: "Vellumo" (a line that
// cannot be clicked), "Settings" (Ctrl+,), "Show Onboarding", "Check for
// Updates…" (hidden when this build checks for no updates, disabled while
// a check runs) and "Quit" (Ctrl+Q), with separators between the groups.
class TrayIcon : public QObject {
    Q_OBJECT

public:
    explicit TrayIcon(bool offersUpdates, QObject *parent = nullptr);
    ~TrayIcon() override;

    // The I-beam, with a small "1" while an update waits for the user.
    static QIcon icon(bool badge);

    // Shows the icon; false when the desktop has no tray to show it in.
    bool show();
    void setBadge(bool badge);
    void setCanCheckForUpdates(bool canCheck);

    QMenu &menu() { return m_menu; }

Q_SIGNALS:
    void settingsRequested();
    void onboardingRequested();
    void updateCheckRequested();
    void quitRequested();

private:
    QMenu m_menu;
    QSystemTrayIcon m_tray;
    QAction *m_checkForUpdates = nullptr;
    bool m_badge = false;
};
