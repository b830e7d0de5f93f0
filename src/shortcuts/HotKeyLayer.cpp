// SPDX-License-Identifier: GPL-3.0-or-later
#include "HotKeyLayer.h"

#include "Console.h"
#include "KeyTable.h"

#include <algorithm>

namespace GlobalShortcuts {

platform::HotKey hotKeyFor(const Shortcut &shortcut)
{
    using platform::HotKey;
    const std::optional<KeyTable::KeyInfo> key = KeyTable::keyForMacKeyCode(shortcut.carbonKeyCode);
    const int bits = shortcut.carbonModifiers;
    unsigned modifiers = 0;
    if (bits & KeyTable::controlKey) {
        modifiers |= HotKey::Control;
    }
    if (bits & KeyTable::optionKey) {
        modifiers |= HotKey::Alt;
    }
    if (bits & KeyTable::shiftKey) {
        modifiers |= HotKey::Shift;
    }
    if (bits & KeyTable::cmdKey) {
        modifiers |= HotKey::Super;
    }
    if (bits & KeyTable::functionKey) {
        modifiers |= HotKey::Function;
    }
    return {shortcut.carbonKeyCode, key ? key->keysym : 0, modifiers};
}

HotKeyLayer &HotKeyLayer::shared()
{
    static HotKeyLayer layer;
    return layer;
}

void HotKeyLayer::setBackend(std::unique_ptr<platform::HotKeyBackend> backend)
{
    m_backend = std::move(backend);
    if (m_backend) {
        m_backend->deliver = [this](int hotKeyId, platform::HotKeyEvent event) {
            handle(hotKeyId,
                   event == platform::HotKeyEvent::Pressed ? EventType::keyDown : EventType::keyUp);
        };
        m_backend->lost = [this](int hotKeyId, const QString &status) { lost(hotKeyId, status); };
    }
}

QString HotKeyLayer::grab(const Record &record)
{
    if (!m_backend) {
        return QStringLiteral("no way to take keys on this desktop");
    }
    return m_backend->grab(record.hotKeyId, hotKeyFor(record.shortcut));
}

void HotKeyLayer::lost(int hotKeyId, const QString &status) const
{
    const auto it = m_hotKeys.constFind(hotKeyId);
    if (it != m_hotKeys.constEnd()) {
        printRegistrationError(it->shortcut, status);
    }
}

bool HotKeyLayer::registerHotKey(const Shortcut &shortcut, Callback onKeyDown, Callback onKeyUp)
{
    Record record{shortcut, ++m_lastId, false, std::move(onKeyDown), std::move(onKeyUp)};
    if (m_enabled) {
        const QString status = grab(record);
        if (!status.isEmpty()) {
            printRegistrationError(shortcut, status);
            return false;
        }
        record.grabbed = true;
    }
    const int id = record.hotKeyId;
    m_hotKeys.emplace(id, std::move(record));
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
                       [&](const Record &record) { return record.shortcut == shortcut; });
}

QString HotKeyLayer::availability(const Shortcut &shortcut)
{
    const platform::HotKey hotKey = hotKeyFor(shortcut);
    const bool ours = std::any_of(m_hotKeys.cbegin(), m_hotKeys.cend(), [&](const Record &record) {
        return record.grabbed && hotKeyFor(record.shortcut) == hotKey;
    });
    if (ours) {
        return {};
    }
    if (!m_backend) {
        return QStringLiteral("no way to take keys on this desktop");
    }
    const QString status = m_backend->grab(probeId, hotKey);
    if (status.isEmpty()) {
        m_backend->ungrab(probeId);
    }
    return status;
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
