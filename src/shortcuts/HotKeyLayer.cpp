#include "HotKeyLayer.h"

#include "Console.h"
#include "HotKeyBackendX11.h"

#include <algorithm>

namespace GlobalShortcuts {

HotKeyLayer &HotKeyLayer::shared()
{
    static HotKeyLayer layer;
    return layer;
}

void HotKeyLayer::setBackend(std::unique_ptr<HotKeyBackend> backend)
{
    m_backend = std::move(backend);
    if (m_backend) {
        m_backend->deliver = [this](int hotKeyId, EventType type) { handle(hotKeyId, type); };
    }
}

HotKeyBackend *HotKeyLayer::backend()
{
    ensureBackend();
    return m_backend.get();
}

void HotKeyLayer::ensureBackend()
{
    if (!m_backend) {
        setBackend(makeX11HotKeyBackend());
    }
}

QString HotKeyLayer::grab(const HotKey &hotKey)
{
    ensureBackend();
    if (!m_backend) {
        return QStringLiteral("no X11 display");
    }
    return m_backend->grab(hotKey.hotKeyId, hotKey.shortcut);
}

bool HotKeyLayer::registerHotKey(const Shortcut &shortcut, Callback onKeyDown, Callback onKeyUp)
{
    HotKey hotKey{shortcut, ++m_lastId, false, std::move(onKeyDown), std::move(onKeyUp)};
    if (m_enabled) {
        const QString status = grab(hotKey);
        if (!status.isEmpty()) {
            printRegistrationError(shortcut, status);
            return false;
        }
        hotKey.grabbed = true;
    }
    m_hotKeys.insert(hotKey.hotKeyId, std::move(hotKey));
    return true;
}

void HotKeyLayer::unregisterHotKey(const Shortcut &shortcut)
{
    for (auto it = m_hotKeys.begin(); it != m_hotKeys.end();) {
        if (it->shortcut == shortcut) {
            if (it->grabbed && m_backend) {
                m_backend->ungrab(it->hotKeyId);
            }
            it = m_hotKeys.erase(it);
        } else {
            ++it;
        }
    }
}

bool HotKeyLayer::hasHotKey(const Shortcut &shortcut) const
{
    return std::any_of(m_hotKeys.cbegin(), m_hotKeys.cend(),
                       [&](const HotKey &hotKey) { return hotKey.shortcut == shortcut; });
}

void HotKeyLayer::setEnabled(bool enabled)
{
    if (enabled == m_enabled) {
        return;
    }
    m_enabled = enabled;
    for (auto it = m_hotKeys.begin(); it != m_hotKeys.end();) {
        if (!enabled && it->grabbed) {
            if (m_backend) {
                m_backend->ungrab(it->hotKeyId);
            }
            it->grabbed = false;
        } else if (enabled && !it->grabbed) {
            // Same id as before; a combination taken meanwhile drops the record.
            const QString status = grab(*it);
            if (!status.isEmpty()) {
                printRegistrationError(it->shortcut, status);
                it = m_hotKeys.erase(it);
                continue;
            }
            it->grabbed = true;
        }
        ++it;
    }
}

void HotKeyLayer::handle(int hotKeyId, EventType type)
{
    const auto it = m_hotKeys.constFind(hotKeyId);
    if (it == m_hotKeys.constEnd() || !it->grabbed) {
        return;
    }
    // Copied: a handler may change the shortcuts and so this table.
    const Shortcut shortcut = it->shortcut;
    const Callback callback = type == EventType::keyDown ? it->onKeyDown : it->onKeyUp;
    if (callback) {
        callback(shortcut);
    }
}

void HotKeyLayer::printRegistrationError(const Shortcut &shortcut, const QString &status)
{
    Console::printLine(QStringLiteral("Error registering hotkey ") + shortcutDescription(shortcut) +
                       QStringLiteral(": ") + status);
}

} // namespace GlobalShortcuts
