// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Windows.h"

#include <QList>
#include <QMutex>

namespace platform::fake {

// Windows that a test opens, closes and brings to the front. Activation
// takes effect at once, unless the test makes the window manager refuse it.
class Windows final : public platform::Windows {
public:
    // frame also serves as the window's own area.
    void add(const Window &window, const QRect &frame = {});
    void close(quint64 windowId);
    void setActive(quint64 windowId); // 0: no window is active
    void setActivationRefused(bool refused);
    // Every window that activate() was asked for, in order.
    QList<quint64> activations() const;

    std::optional<Window> active() const override;
    bool exists(quint64 windowId) const override;
    bool activate(quint64 windowId) const override;
    qint64 clientProcessId(quint64 windowId) const override;
    std::optional<QRect> frame(quint64 windowId) const override;
    std::optional<QRect> clientArea(quint64 windowId) const override;
    PasteChord pasteChordFor(const Window &window) const override;

private:
    struct Entry {
        Window window;
        QRect frame;
    };
    const Entry *find(quint64 windowId) const;

    // The fake stands for the desktop, which activate() changes.
    mutable QMutex m_mutex;
    QList<Entry> m_windows;
    mutable quint64 m_active = 0;
    bool m_activationRefused = false;
    mutable QList<quint64> m_activations;
};

} // namespace platform::fake
