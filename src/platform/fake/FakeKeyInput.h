// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "KeyInput.h"

#include <QList>
#include <QMutex>
#include <functional>

namespace platform::fake {

// Records the chords posted; a test sets what the keyboard looks like and
// plays the application that receives the keys (onPost).
class KeyInput final : public platform::KeyInput {
public:
    QList<KeyChord> posted() const;
    void setAvailable(bool available);
    void setModifiersHeld(bool held);
    // A grab that begins counts for the grab watches then running.
    void setKeyboardGrabbedByAnother(bool grabbed);
    // Keys the keyboard map lacks: a chord of one of them is refused.
    void setLacking(const QList<quint32> &keysyms);
    // Called after each chord posted, on the posting thread.
    void onPost(std::function<void(const KeyChord &)> received);
    // Called each time a grab is looked for, after the answer was taken (an
    // application that takes the keyboard just after Vellumo looked).
    void onGrabLook(std::function<void()> looked);

    bool isAvailable() const override;
    bool post(const KeyChord &chord, bool sendKeyUp) const override;
    bool modifiersHeld() const override;
    bool keyboardGrabbedByAnother() const override;
    std::unique_ptr<KeyboardGrabWatch> watchKeyboardGrabs() const override;

private:
    bool lookForGrab() const;

    mutable QMutex m_mutex;
    mutable QList<KeyChord> m_posted;
    std::function<void(const KeyChord &)> m_received;
    std::function<void()> m_looked;
    QList<quint32> m_lacking;
    bool m_available = true;
    bool m_modifiersHeld = false;
    bool m_grabbed = false;
    int m_grabsTaken = 0;
};

} // namespace platform::fake
