// SPDX-License-Identifier: GPL-3.0-or-later
#include "AccessibilityThread.h"

namespace {
thread_local bool onAccessibilityThread = false;
} // namespace

AccessibilityThread &AccessibilityThread::instance()
{
    static AccessibilityThread thread;
    return thread;
}

AccessibilityThread::AccessibilityThread()
{
    m_thread.setObjectName(QStringLiteral("accessibility"));
    m_worker = new QObject;
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_worker, [] { onAccessibilityThread = true; }, Qt::QueuedConnection);
}

AccessibilityThread::~AccessibilityThread()
{
    m_thread.quit();
    // A call into a hung application ends with its time-out.
    m_thread.wait(2 * callTimeoutMs + 500);
}

bool AccessibilityThread::isCurrent()
{
    return onAccessibilityThread;
}

void AccessibilityThread::post(std::function<void()> job)
{
    QMetaObject::invokeMethod(m_worker, std::move(job), Qt::QueuedConnection);
}
