// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFuture>
#include <QObject>
#include <QPromise>
#include <QThread>
#include <functional>
#include <memory>
#include <type_traits>

// The one thread that talks to other applications through AT-SPI. Every call
// runs here, each bounded by callTimeoutMs, so that a hung target application
// delays an answer but never freezes the main thread. The thread owns its own
// connection to the accessibility bus (AtspiBus); no other thread drives it.
class AccessibilityThread : public QObject {
    Q_OBJECT
public:
    static constexpr int callTimeoutMs = 300;

    static AccessibilityThread &instance();

    // Runs job on the accessibility thread; the future holds its answer.
    template <typename F> auto run(F job) -> QFuture<std::invoke_result_t<F>>
    {
        using R = std::invoke_result_t<F>;
        auto promise = std::make_shared<QPromise<R>>();
        QFuture<R> future = promise->future();
        promise->start();
        post([promise, job = std::move(job)]() mutable {
            if constexpr (std::is_void_v<R>) {
                job();
            } else {
                promise->addResult(job());
            }
            promise->finish();
        });
        return future;
    }

    // True when called from the accessibility thread.
    static bool isCurrent();

    ~AccessibilityThread() override;

private:
    AccessibilityThread();
    void post(std::function<void()> job);

    QThread m_thread;
    QObject *m_worker = nullptr; // lives on m_thread, deleted when it ends
};
