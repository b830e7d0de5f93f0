// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LoginItem.h"

#include <QLoggingCategory>
#include <QString>

Q_DECLARE_LOGGING_CATEGORY(lcLoginItem)

namespace platform {

// An entry in $XDG_CONFIG_HOME/autostart, which the freedesktop.org desktops
// (GNOME, KDE, Xfce, ...) start at login, on X11 and Wayland alike.
class XdgAutostart final : public LoginItem {
public:
    // executable: what the entry starts.
    explicit XdgAutostart(QString executable);

    // Off when the entry is missing, or when the desktop's own settings
    // turned it off (Hidden, X-GNOME-Autostart-enabled).
    bool isEnabled() const override;
    // Removes the entry, then (enabling) writes it anew. A failure is logged
    // as "Failed to enable launch at login: REASON" (or "disable").
    bool setEnabled(bool enabled) const override;

    static QString entryPath();
    // The Exec value that starts executable, quoted as the Desktop Entry
    // specification asks.
    static QString execValue(const QString &executable);
    // What the entry should start: the installed program when there is
    // one, else the one running now (a build started from its folder).
    static QString executableToStart(const QString &installed, const QString &running);

private:
    // Each an empty text on success, else the reason.
    QString unregister() const;
    QString registerEntry() const;

    QString m_executable;
};

} // namespace platform
