// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakePopupSupport.h"

namespace platform::fake {

PopupSupport::GrabOutcome PopupSupport::grabKeyboard(QWindow *window) const
{
    ++m_attempts;
    return window ? m_outcome : GrabOutcome::Failed;
}

} // namespace platform::fake
