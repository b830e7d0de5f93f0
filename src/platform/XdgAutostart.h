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
    bool setEnabled(bool enabled) const override;

    static QString entryPath();
    // The Exec value that starts executable, quoted as the Desktop Entry
    // specification asks.
    static QString execValue(const QString &executable);

private:
    QString m_executable;
};

} // namespace platform
