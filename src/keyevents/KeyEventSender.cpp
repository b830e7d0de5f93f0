// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeyEventSender.h"

#include "KeyInput.h"

#include <QStringList>
#include <QTextBoundaryFinder>

Q_LOGGING_CATEGORY(lcKeyEvents, "vellumo.keyevents", QtWarningMsg)

namespace {

bool isUpperCase(const QString &cluster)
{
    return cluster.toUpper() == cluster && cluster.toLower() != cluster;
}

QList<quint32> modifierKeysyms(KeyEvent::Modifier modifier)
{
    switch (modifier) {
    case KeyEvent::Modifier::command:
        return {platform::Keysym::superL};
    case KeyEvent::Modifier::control:
        return {platform::Keysym::controlL};
    case KeyEvent::Modifier::option:
        return {platform::Keysym::altL};
    case KeyEvent::Modifier::shift:
        return {platform::Keysym::shiftL};
    case KeyEvent::Modifier::capsLock:
    case KeyEvent::Modifier::function:
    case KeyEvent::Modifier::help:
    case KeyEvent::Modifier::numPad:
        return {};
    }
    return {};
}

QString describe(const platform::KeyChord &chord)
{
    QStringList keysyms;
    for (const quint32 keysym : chord.modifiers + QList<quint32>{chord.key}) {
        keysyms.append(QStringLiteral("0x%1").arg(keysym, 0, 16));
    }
    return keysyms.join(u'+');
}

} // namespace

bool KeyEventSender::send(const platform::KeyChord &chord, bool sendKeyUp) const
{
    if (m_input.post(chord, sendKeyUp)) {
        return true;
    }
    qCWarning(lcKeyEvents).noquote()
        << QStringLiteral("Cannot post the keystroke %1: no display, or a key this keyboard lacks")
               .arg(describe(chord));
    return false;
}

bool KeyEventSender::send(const KeyEvent &event, bool sendKeyUp) const
{
    return send(chordFor(event), sendKeyUp);
}

bool KeyEventSender::send(const QList<KeyEvent> &events, bool sendKeyUp) const
{
    bool all = true;
    for (const KeyEvent &event : events) {
        all = send(event, sendKeyUp) && all;
    }
    return all;
}

std::variant<QList<KeyEvent>, KeyEventSenderError> KeyEventSender::eventsFor(const QString &text)
{
    QList<KeyEvent> events;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end != -1; end = finder.toNextBoundary()) {
        const QString cluster = text.mid(start, end - start);
        start = end;
        const auto key = KeyEvent::keyForCharacter(cluster);
        if (!key) {
            return KeyEventSenderError{
                QStringLiteral("Invalid character. Cannot create key event.")};
        }
        events.append(KeyEvent{*key, isUpperCase(cluster) ? QList{KeyEvent::Modifier::shift}
                                                          : QList<KeyEvent::Modifier>{}});
    }
    return events;
}

platform::KeyChord KeyEventSender::chordFor(const KeyEvent &event)
{
    platform::KeyChord chord;
    chord.key = Keys::keys()[static_cast<size_t>(event.key)].keysym;
    for (const KeyEvent::Modifier m : event.modifiers) {
        for (const quint32 keysym : modifierKeysyms(m)) {
            // [command, command] holds Super once, as its flags would say.
            if (!chord.modifiers.contains(keysym)) {
                chord.modifiers.append(keysym);
            }
        }
    }
    return chord;
}
