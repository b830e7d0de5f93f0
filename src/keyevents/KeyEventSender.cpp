#include "KeyEventSender.h"

#include "KeySynthesis.h"
#include "X11Windows.h"

#include <QElapsedTimer>
#include <QTextBoundaryFinder>
#include <QThread>
#include <cstdio>

namespace {

bool isUpperCase(const QString &cluster)
{
    return cluster.toUpper() == cluster && cluster.toLower() != cluster;
}

// Activation goes through the window manager; wait until it took effect.
void makeActive(const RunningApplication &application)
{
    const auto active = X11Windows::activeWindow();
    if (active && active->processId == application.processId) {
        return;
    }
    X11Windows::activateWindow(application.windowId);
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 300) {
        const auto now = X11Windows::activeWindow();
        if (now && now->processId == application.processId) {
            return;
        }
        QThread::msleep(5);
    }
}

} // namespace

std::variant<KeyEventSender, KeyEventSenderError> KeyEventSender::forString(const QString &text)
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
    return KeyEventSender(events);
}

void KeyEventSender::sendGlobally(bool sendKeyUp) const
{
    for (const KeyEvent &event : m_events) {
        // A key without a keycode in the current keymap is skipped silently.
        KeySynthesis::post(KeySynthesis::chordFor(event), sendKeyUp);
    }
}

void KeyEventSender::send(const RunningApplication &application, bool sendKeyUp) const
{
    makeActive(application);
    sendGlobally(sendKeyUp);
}

std::optional<KeyEventSenderError> KeyEventSender::sendToFrontmostApplication(bool) const
{
    const auto front = RunningApplication::frontmost();
    if (!front) {
        return KeyEventSenderError{QStringLiteral("No frontmost application exists.")};
    }
    send(*front, true);
    return std::nullopt;
}

std::optional<KeyEventSenderError> KeyEventSender::send(const QString &applicationNamed,
                                                        bool sendKeyUp) const
{
    for (const RunningApplication &app : RunningApplication::all()) {
        if (app.localizedName == applicationNamed) {
            send(app, sendKeyUp);
            return std::nullopt;
        }
    }
    return KeyEventSenderError{QStringLiteral("Application with name \"%1\" either does not exist, "
                                              "or is not currently running.")
                                   .arg(applicationNamed)};
}

void KeyEventSender::sendPrintingErrors(const QString &applicationNamed, bool sendKeyUp) const
{
    if (const auto error = send(applicationNamed, sendKeyUp)) {
        std::printf("%s\n", qPrintable(error->message));
        std::fflush(stdout);
    }
}

void KeyEventSender::sendToAllApplications(bool sendKeyUp) const
{
    for (const RunningApplication &app : RunningApplication::all()) {
        send(app, sendKeyUp);
    }
}

std::optional<KeyEventSenderError> KeyEventSender::send(const Predicate &where,
                                                        bool sendKeyUp) const
{
    for (const RunningApplication &app : RunningApplication::all()) {
        const auto verdict = where(app);
        if (const auto *error = std::get_if<KeyEventSenderError>(&verdict)) {
            return *error;
        }
        if (std::get<bool>(verdict)) {
            send(app, sendKeyUp);
        }
    }
    return std::nullopt;
}
