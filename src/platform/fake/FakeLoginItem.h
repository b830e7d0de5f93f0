// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LoginItem.h"

namespace platform::fake {

class LoginItem final : public platform::LoginItem {
public:
    // A desktop that cannot store the change.
    void setFailing(bool failing) { m_failing = failing; }

    bool isEnabled() const override { return m_enabled; }
    bool setEnabled(bool enabled) const override;

private:
    mutable bool m_enabled = false;
    bool m_failing = false;
};

} // namespace platform::fake
