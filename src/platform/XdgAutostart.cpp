// SPDX-License-Identifier: GPL-3.0-or-later
#include "XdgAutostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <algorithm>

Q_LOGGING_CATEGORY(lcLoginItem, "vellumo.loginitem", QtWarningMsg)

namespace platform {

XdgAutostart::XdgAutostart(QString executable) : m_executable(std::move(executable)) {}

QString XdgAutostart::entryPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart/com.vellumo.Vellumo.desktop");
}

QString XdgAutostart::execValue(const QString &executable)
{
    // Field codes start with %, so a literal one is doubled.
    QString argument = executable;
    argument.replace(u'%', QStringLiteral("%%"));
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (std::none_of(argument.cbegin(), argument.cend(),
                     [](QChar c) { return reserved.contains(c); })) {
        return argument;
    }
    QString quoted;
    for (const QChar c : std::as_const(argument)) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') {
            quoted += u'\\';
        }
        quoted += c;
    }
    // A string value escapes each backslash once more.
    quoted.replace(u'\\', QStringLiteral("\\\\"));
    return u'"' + quoted + u'"';
}

bool XdgAutostart::isEnabled() const
{
    QFile entry(entryPath());
    if (!entry.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return false;
    }
    while (!entry.atEnd()) {
        const QByteArray line = entry.readLine().trimmed();
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false") {
            return false;
        }
    }
    return true;
}

QString XdgAutostart::executableToStart(const QString &installed, const QString &running)
{
    const QFileInfo info(installed);
    return !installed.isEmpty() && info.isFile() && info.isExecutable() ? installed : running;
}

bool XdgAutostart::setEnabled(bool enabled) const
{
    // Enabling starts from nothing too: an entry already there (an older
    // path, or one the desktop's settings turned off) is replaced whole.
    QString reason = unregister();
    if (reason.isEmpty() && enabled) {
        reason = registerEntry();
    }
    if (!reason.isEmpty()) {
        qCWarning(lcLoginItem).noquote()
            << QStringLiteral("Failed to %1 launch at login: %2")
                   .arg(enabled ? QStringLiteral("enable") : QStringLiteral("disable"), reason);
        return false;
    }
    return true;
}

QString XdgAutostart::unregister() const
{
    const QString path = entryPath();
    QFile entry(path);
    if (entry.exists() && !entry.remove()) {
        return QStringLiteral("cannot remove the autostart entry %1: %2")
            .arg(path, entry.errorString());
    }
    return {};
}

QString XdgAutostart::registerEntry() const
{
    const QString path = entryPath();
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder)) {
        return QStringLiteral("cannot create the autostart folder %1").arg(folder);
    }
    QSaveFile entry(path);
    const QString text = QStringLiteral("[Desktop Entry]\n"
                                        "Type=Application\n"
                                        "Name=Vellumo\n"
                                        "Comment=AI text commands in every application\n"
                                        "Exec=%1\n"
                                        "Terminal=false\n"
                                        "X-GNOME-Autostart-enabled=true\n")
                             .arg(execValue(m_executable));
    if (!entry.open(QIODevice::WriteOnly | QIODevice::Text) || entry.write(text.toUtf8()) < 0 ||
        !entry.commit()) {
        return QStringLiteral("cannot write the autostart entry %1: %2")
            .arg(path, entry.errorString());
    }
    return {};
}

} // namespace platform
