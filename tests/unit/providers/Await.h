#pragma once

#include "APIError.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFuture>
#include <optional>

// Runs the event loop until a provider future is done (the network replies
// arrive through it, so blocking on the future would never finish) and sorts
// its outcome into a value or an APIError.
template <typename T> struct Outcome {
    bool finished = false;
    std::optional<T> value;
    std::optional<APIError> error;
    QString otherFailure;
};

template <typename T> Outcome<T> await(QFuture<T> future, int timeoutMs = 30000)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    Outcome<T> outcome;
    outcome.finished = future.isFinished();
    if (!outcome.finished) {
        return outcome;
    }
    try {
        outcome.value = future.result();
    } catch (const APIError &error) {
        outcome.error = error;
    } catch (const std::exception &other) {
        outcome.otherFailure = QString::fromUtf8(other.what());
    }
    return outcome;
}

inline void awaitVoid(QFuture<void> future, int timeoutMs = 30000)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
}
