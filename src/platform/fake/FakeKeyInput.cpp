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
    if (grabbed && !m_grabbed) {
        ++m_grabsTaken;
    }
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

void KeyInput::onGrabLook(std::function<void()> looked)
{
    QMutexLocker lock(&m_mutex);
    m_looked = std::move(looked);
}

bool KeyInput::lookForGrab() const
{
    std::function<void()> looked;
    bool grabbed = false;
    {
        QMutexLocker lock(&m_mutex);
        grabbed = m_grabbed;
        looked = m_looked;
    }
    if (looked) {
        looked();
    }
    return grabbed;
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
    return lookForGrab();
}

namespace {

// Counts from the grabs the keyboard had taken when it began.
class GrabWatch final : public KeyboardGrabWatch {
public:
    GrabWatch(std::function<int()> taken, std::function<bool()> held)
        : m_taken(std::move(taken)), m_held(std::move(held)), m_start(m_taken())
    {}

    int grabsTaken() override { return m_taken() - m_start; }
    bool grabHeld() override { return m_held(); }

private:
    std::function<int()> m_taken;
    std::function<bool()> m_held;
    int m_start;
};

} // namespace

std::unique_ptr<KeyboardGrabWatch> KeyInput::watchKeyboardGrabs() const
{
    return std::make_unique<GrabWatch>(
        [this] {
            QMutexLocker lock(&m_mutex);
            return m_grabsTaken;
        },
        [this] { return lookForGrab(); });
}

} // namespace platform::fake
