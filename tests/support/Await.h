// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "APIError.h"

#include <QFuture>
#include <QTest>
#include <optional>

namespace TestSupport {

// Runs the event loop until the future is done, at most timeoutMs; whether
// it is. Network replies and queued continuations arrive through the loop,
// so blocking on the future itself would never finish.
template <typename T> bool finishes(const QFuture<T> &future, int timeoutMs = 30000)
{
    return QTest::qWaitFor([&future] { return future.isFinished(); }, timeoutMs);
}

// How a provider call ended: its value, its APIError, or any other failure's
// text (a KeyStoreError's, for one).
template <typename T> struct Outcome {
    bool finished = false;
    std::optional<T> value;
    std::optional<APIError> error;
    QString otherFailure;

    // How it ended, for a failure message.
    QString said() const
    {
        if (!finished) {
            return QStringLiteral("not finished");
        }
        return error ? error->description() : value ? QStringLiteral("answered") : otherFailure;
    }
};

template <typename T> Outcome<T> await(QFuture<T> future, int timeoutMs = 30000)
{
    Outcome<T> outcome;
    outcome.finished = finishes(future, timeoutMs);
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

} // namespace TestSupport
