#include "AccessibilityThread.h"

#include <QCoreApplication>
#include <atspi/atspi.h>

namespace {
thread_local bool onAccessibilityThread = false;

void initialiseAtspiHere()
{
    onAccessibilityThread = true;
    // Qt gave this thread its own GLib context; libatspi must dispatch there.
    GMainContext *context = g_main_context_get_thread_default();
    atspi_init();
    atspi_set_main_context(context);
    atspi_set_timeout(AccessibilityThread::callTimeoutMs, AccessibilityThread::callTimeoutMs);
}
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
    QMetaObject::invokeMethod(m_worker, &initialiseAtspiHere, Qt::QueuedConnection);
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
