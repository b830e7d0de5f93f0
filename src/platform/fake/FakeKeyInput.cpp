// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeKeyInput.h"

namespace platform::fake {

QList<KeyChord> KeyInput::posted() const
{
    QMutexLocker lock(&m_mutex);
    return m_posted;
}

void KeyInput::setAvailable(bool available)
{
    QMutexLocker lock(&m_mutex);
    m_available = available;
}

void KeyInput::setModifiersHeld(bool held)
{
    QMutexLocker lock(&m_mutex);
    m_modifiersHeld = held;
}

void KeyInput::setKeyboardGrabbedByAnother(bool grabbed)
{
    QMutexLocker lock(&m_mutex);
    m_grabbed = grabbed;
}

void KeyInput::setLacking(const QList<quint32> &keysyms)
{
    QMutexLocker lock(&m_mutex);
    m_lacking = keysyms;
}

void KeyInput::onPost(std::function<void(const KeyChord &)> received)
{
    QMutexLocker lock(&m_mutex);
    m_received = std::move(received);
}

bool KeyInput::isAvailable() const
{
    QMutexLocker lock(&m_mutex);
    return m_available;
}

bool KeyInput::post(const KeyChord &chord, bool) const
{
    std::function<void(const KeyChord &)> received;
    {
        QMutexLocker lock(&m_mutex);
        if (chord.key == 0 || m_lacking.contains(chord.key)) {
            return false;
        }
        m_posted.append(chord);
        received = m_received;
    }
    if (received) {
        received(chord);
    }
    return true;
}

bool KeyInput::modifiersHeld() const
{
    QMutexLocker lock(&m_mutex);
    return m_modifiersHeld;
}

bool KeyInput::keyboardGrabbedByAnother() const
{
    QMutexLocker lock(&m_mutex);
    return m_grabbed;
}

} // namespace platform::fake
