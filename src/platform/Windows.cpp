// SPDX-License-Identifier: GPL-3.0-or-later
#include "Windows.h"

#include <QStringList>

namespace platform {

bool Windows::isActive(quint64 windowId) const
{
    const std::optional<Window> window = active();
    return window && window->id == windowId;
}

PasteChord pasteChordForClass(const QString &instanceName, const QString &className)
{
    const QString name = instanceName.toLower();
    const QString cls = className.toLower();
    PasteChord paste;
    if (cls == u"xterm" || name == u"xterm" || cls == u"uxterm") {
        paste.chord = {{Keysym::shiftL}, Keysym::insert};
        paste.alsoPrimary = true;
        return paste;
    }
    static const QStringList terminals{
        QStringLiteral("gnome-terminal"), QStringLiteral("gnome-terminal-server"),
        QStringLiteral("konsole"),        QStringLiteral("xfce4-terminal"),
        QStringLiteral("terminator"),     QStringLiteral("tilix"),
        QStringLiteral("alacritty"),      QStringLiteral("kitty"),
        QStringLiteral("urxvt"),          QStringLiteral("rxvt"),
        QStringLiteral("st-256color"),    QStringLiteral("lxterminal"),
        QStringLiteral("mate-terminal"),  QStringLiteral("qterminal"),
        QStringLiteral("terminology"),    QStringLiteral("org.wezfurlong.wezterm"),
        QStringLiteral("foot"),           QStringLiteral("sakura"),
        QStringLiteral("guake"),          QStringLiteral("tilda"),
        QStringLiteral("yakuake"),        QStringLiteral("cool-retro-term"),
    };
    if (terminals.contains(name) || terminals.contains(cls)) {
        paste.chord = {{Keysym::controlL, Keysym::shiftL}, 'v'};
        return paste;
    }
    paste.chord = {{Keysym::controlL}, 'v'};
    return paste;
}

} // namespace platform
