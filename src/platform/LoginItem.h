// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace platform {

// Whether Vellumo starts when the user logs in.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    virtual bool isEnabled() const = 0;
    // False when the change could not be made; the reason is logged.
    virtual bool setEnabled(bool enabled) const = 0;
};

} // namespace platform
