// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Selections.h"

namespace platform::x11 {

// ICCCM selections. Each reader holds a connection of its own, so an owner
// that does not answer costs only the time-out; large data arrives in
// increments (INCR), which are followed.
class Selections final : public platform::Selections {
public:
    qint64 ownerProcessId(Selection selection) const override;
    std::unique_ptr<SelectionReader> reader(Selection selection) const override;
    std::unique_ptr<ClipboardReadWatch> watchReads(qint64 readerProcessId, bool clipboard,
                                                   bool primary) const override;
};

} // namespace platform::x11
