// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PopupSupport.h"

namespace platform::fake {

// No compositor and a keyboard taken at once unless a test says otherwise.
class PopupSupport final : public platform::PopupSupport {
public:
    void setCompositing(bool compositing) { m_compositing = compositing; }
    void setGrabOutcome(GrabOutcome outcome) { m_outcome = outcome; }
    int grabAttempts() const { return m_attempts; }

    bool isCompositing() const override { return m_compositing; }
    GrabOutcome grabKeyboard(QWindow *window) const override;

private:
    bool m_compositing = false;
    GrabOutcome m_outcome = GrabOutcome::Taken;
    mutable int m_attempts = 0;
};

} // namespace platform::fake
