// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeyWriter.h"

#include "KeychainService.h"

#include <QFuture>

KeyWriter::KeyWriter(KeychainService &keys, AIVendor vendor, QObject *parent)
    : QObject(parent), m_keys(keys), m_vendor(vendor)
{}

void KeyWriter::write(const QString &key)
{
    m_unwritten.reset();
    m_waiting = key;
    if (!m_busy) {
        startNext();
    }
}

void KeyWriter::startNext()
{
    const QString key = m_waiting.value_or(QString());
    m_waiting.reset();
    m_busy = true;
    m_keys.setAPIKeyInBackground(key, m_vendor).then(this, [this, key](bool succeeded) {
        m_busy = false;
        if (m_waiting) {
            startNext();
            return;
        }
        if (!succeeded) {
            m_unwritten = key;
        }
        Q_EMIT idle(succeeded, !key.isEmpty());
    });
}

void KeyWriter::retry()
{
    if (m_unwritten) {
        write(*m_unwritten);
    }
}
