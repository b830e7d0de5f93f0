#pragma once

#include "KeyEvent.h"
#include "RunningApplication.h"

#include <QList>
#include <QString>
#include <functional>
#include <optional>
#include <variant>

struct KeyEventSenderError {
    QString message;
};

// Posts described keystrokes as synthetic X input (XTest).
//
// X11 delivers synthetic input to whichever window has the focus; there is
// no per-process queue like the Mac's. "Sending to an application" therefore
// makes that application's window the active one first and then posts, so
// the events reach it only while it stays active. Calls block for the posting
// (and, for another application, up to 300 ms of activation): use them off the
// main thread or accept that cost.
class KeyEventSender {
public:
    explicit KeyEventSender(QList<KeyEvent> events = {}) : m_events(std::move(events)) {}
    KeyEventSender(KeyEvent::Key key, QList<KeyEvent::Modifier> modifiers)
        : m_events{KeyEvent{key, std::move(modifiers)}}
    {}
    // One event per character; upper-case characters add shift.
    static std::variant<KeyEventSender, KeyEventSenderError> forString(const QString &text);

    const QList<KeyEvent> &events() const { return m_events; }

    void sendGlobally(bool sendKeyUp = true) const;
    void send(const RunningApplication &application, bool sendKeyUp = true) const;
    // Always sends key-ups, whatever sendKeyUp says.
    std::optional<KeyEventSenderError> sendToFrontmostApplication(bool sendKeyUp = true) const;
    std::optional<KeyEventSenderError> send(const QString &applicationNamed,
                                            bool sendKeyUp = true) const;
    // As above, printing the error to standard output instead of answering it.
    void sendPrintingErrors(const QString &applicationNamed, bool sendKeyUp = true) const;
    void sendToAllApplications(bool sendKeyUp = true) const;
    using Predicate =
        std::function<std::variant<bool, KeyEventSenderError>(const RunningApplication &)>;
    std::optional<KeyEventSenderError> send(const Predicate &where, bool sendKeyUp = true) const;

private:
    QList<KeyEvent> m_events;
};
