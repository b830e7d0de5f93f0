// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeWindows.h"

namespace platform::fake {

void Windows::add(const Window &window, const QRect &frame)
{
    QMutexLocker lock(&m_mutex);
    m_windows.append({window, frame});
}

void Windows::close(quint64 windowId)
{
    QMutexLocker lock(&m_mutex);
    m_windows.removeIf([windowId](const Entry &entry) { return entry.window.id == windowId; });
    if (m_active == windowId) {
        m_active = 0;
    }
}

void Windows::setActive(quint64 windowId)
{
    QMutexLocker lock(&m_mutex);
    m_active = windowId;
}

void Windows::setActivationRefused(bool refused)
{
    QMutexLocker lock(&m_mutex);
    m_activationRefused = refused;
}

QList<quint64> Windows::activations() const
{
    QMutexLocker lock(&m_mutex);
    return m_activations;
}

const Windows::Entry *Windows::find(quint64 windowId) const
{
    for (const Entry &entry : m_windows) {
        if (entry.window.id == windowId) {
            return &entry;
        }
    }
    return nullptr;
}

std::optional<Window> Windows::active() const
{
    QMutexLocker lock(&m_mutex);
    const Entry *entry = find(m_active);
    return entry ? std::optional(entry->window) : std::nullopt;
}

bool Windows::exists(quint64 windowId) const
{
    QMutexLocker lock(&m_mutex);
    return find(windowId) != nullptr;
}

bool Windows::activate(quint64 windowId) const
{
    QMutexLocker lock(&m_mutex);
    m_activations.append(windowId);
    if (m_activationRefused || !find(windowId)) {
        return false;
    }
    m_active = windowId;
    return true;
}

qint64 Windows::clientProcessId(quint64 windowId) const
{
    QMutexLocker lock(&m_mutex);
    const Entry *entry = find(windowId);
    return entry ? entry->window.processId : 0;
}

std::optional<QRect> Windows::frame(quint64 windowId) const
{
    QMutexLocker lock(&m_mutex);
    const Entry *entry = find(windowId);
    return entry ? std::optional(entry->frame) : std::nullopt;
}

std::optional<QRect> Windows::clientArea(quint64 windowId) const
{
    return frame(windowId);
}

PasteChord Windows::pasteChordFor(const Window &window) const
{
    return pasteChordForClass(window.instanceName, window.className);
}

} // namespace platform::fake
