// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QProcess>
#include <QRect>
#include <QString>
#include <optional>

// What the shell's desktop tests share: a real notification daemon (dunst)
// read back through its own command, the tray host's icons, and Vellumo's
// other windows.
namespace ShellDesktop {

// dunst on the test desktop's bus, once it owns the notification name.
class NotificationDaemon {
public:
    ~NotificationDaemon();
    bool start();

private:
    QProcess m_process;
};

struct Notification {
    QString appName;
    QString summary;
    QString body;
};

// How many notifications dunst shows now.
int displayedCount();
// Those it showed and that are closed, the latest first.
QList<Notification> history();

// The frame of Vellumo's icon in trayer's panel, if it is there.
std::optional<QRect> trayIconFrame();
// A mapped window of Vellumo's whose title starts with title (Qt may add
// the application's name), other than the tray icon.
std::optional<QRect> windowFrame(const QString &title);
// The tray menu while it is open: Vellumo's mapped window beside the icon.
std::optional<QRect> trayMenuFrame();
// Pixels of the badge's red within the rectangle of the screen.
int redPixels(const QRect &area);

} // namespace ShellDesktop
