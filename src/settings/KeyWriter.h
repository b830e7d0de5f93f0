// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"

#include <QObject>
#include <QString>
#include <optional>

class KeychainService;

// Stores one provider's API key as it is typed, never waiting on the key
// store: writes go out one at a time, in the order typed, and while one is
// under way only the newest value typed since waits for its turn (a key
// store that takes seconds to fail costs one write, not one per keystroke).
// "" deletes the key.
class KeyWriter : public QObject {
    Q_OBJECT

public:
    KeyWriter(KeychainService &keys, AIVendor vendor, QObject *parent = nullptr);

    void write(const QString &key);
    // No write under way or waiting.
    bool isIdle() const { return !m_busy && !m_waiting; }
    // The last write failed (the key store could not answer) and nothing
    // was typed since: what the field shows is not what is stored.
    bool hasUnwritten() const { return m_unwritten.has_value(); }
    // Writes the unwritten key again, once the key store answers.
    void retry();

Q_SIGNALS:
    // Every write asked for is done. succeeded: whether the store took the
    // last one; keyStored: whether that one stored a key (not a deletion).
    void idle(bool succeeded, bool keyStored);

private:
    void startNext();

    KeychainService &m_keys;
    AIVendor m_vendor;
    std::optional<QString> m_waiting;
    std::optional<QString> m_unwritten;
    bool m_busy = false;
};
