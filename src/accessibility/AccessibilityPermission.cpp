// SPDX-License-Identifier: GPL-3.0-or-later
#include "AccessibilityPermission.h"

#include <QTimer>

AccessibilityPermission::AccessibilityPermission(TrustTest trustTest, QObject *parent)
    : QObject(parent), m_trustTest(std::move(trustTest)), m_poll(new QTimer(this))
{
    m_poll->setInterval(pollMs);
    connect(m_poll, &QTimer::timeout, this, [this] {
        if (m_trustTest(false)) {
            m_poll->stop();
            set(true);
        }
    });
}

AccessibilityPermission::~AccessibilityPermission() = default;

bool AccessibilityPermission::isPolling() const
{
    return m_poll->isActive();
}

bool AccessibilityPermission::check()
{
    set(m_trustTest(false));
    if (m_granted) {
        m_poll->stop();
    }
    return m_granted;
}

void AccessibilityPermission::grant()
{
    set(m_trustTest(true));
    if (m_granted) {
        m_poll->stop();
        return;
    }
    // start() restarts a running timer: one poll at a time, however often
    // the user asks.
    m_poll->start();
}

void AccessibilityPermission::set(bool granted)
{
    if (granted != m_granted) {
        m_granted = granted;
        Q_EMIT grantedChanged(granted);
    }
}
