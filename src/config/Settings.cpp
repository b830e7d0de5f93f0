// SPDX-License-Identifier: GPL-3.0-or-later
#include "Settings.h"

#include "DefaultsStore.h"

QString Settings::vendorConfigKey(const QString &vendor)
{
    return QStringLiteral("vendor_config_") + vendor;
}

QString Settings::shortcutKey(const QString &name)
{
    return QStringLiteral("GlobalShortcuts_") + name;
}

QString Settings::windowPositionKey(const QString &autosaveName)
{
    return QStringLiteral("window_position_") + autosaveName;
}

Settings &Settings::standard()
{
    static Settings *instance = new Settings(DefaultsStore::standard()); // lives for the process
    return *instance;
}

Settings::Settings(DefaultsStore &store, QObject *parent) : QObject(parent), m_store(store) {}

QString Settings::filePath() const
{
    return m_store.filePath();
}

std::optional<QByteArray> Settings::prompts() const
{
    return m_store.data(promptsKey);
}

void Settings::setPrompts(const QByteArray &json)
{
    if (m_store.data(promptsKey) != json || !m_store.contains(promptsKey)) {
        m_store.setData(promptsKey, json);
        Q_EMIT promptsChanged();
    }
}

bool Settings::hasSeededDefaultPrompts() const
{
    return m_store.boolean(hasSeededDefaultPromptsKey).value_or(false);
}

void Settings::setHasSeededDefaultPrompts(bool seeded)
{
    if (m_store.boolean(hasSeededDefaultPromptsKey) != seeded) {
        m_store.setBoolean(hasSeededDefaultPromptsKey, seeded);
        Q_EMIT hasSeededDefaultPromptsChanged();
    }
}

std::optional<QString> Settings::baseInstructions() const
{
    return m_store.text(baseInstructionsKey);
}

void Settings::setBaseInstructions(const QString &text)
{
    if (m_store.text(baseInstructionsKey) != text) {
        m_store.setText(baseInstructionsKey, text);
        Q_EMIT baseInstructionsChanged();
    }
}

std::optional<QByteArray> Settings::vendorConfig(const QString &vendor) const
{
    return m_store.data(vendorConfigKey(vendor));
}

void Settings::setVendorConfig(const QString &vendor, const QByteArray &json)
{
    const QString key = vendorConfigKey(vendor);
    if (m_store.data(key) != json || !m_store.contains(key)) {
        m_store.setData(key, json);
        Q_EMIT vendorConfigChanged(vendor);
    }
}

std::optional<QString> Settings::defaultVendor() const
{
    return m_store.text(defaultVendorKey);
}

void Settings::setDefaultVendor(const std::optional<QString> &vendor)
{
    if (m_store.text(defaultVendorKey) == vendor &&
        (vendor.has_value() || !m_store.contains(defaultVendorKey))) {
        return;
    }
    if (vendor) {
        m_store.setText(defaultVendorKey, *vendor);
    } else {
        m_store.remove(defaultVendorKey);
    }
    Q_EMIT defaultVendorChanged();
}

bool Settings::onboardingCompleted() const
{
    return m_store.boolean(onboardingCompletedKey).value_or(false);
}

void Settings::setOnboardingCompleted(bool completed)
{
    if (m_store.boolean(onboardingCompletedKey) != completed) {
        m_store.setBoolean(onboardingCompletedKey, completed);
        Q_EMIT onboardingCompletedChanged();
    }
}

std::optional<QString> Settings::shortcutJson(const QString &name) const
{
    // A Boolean false reads as the text "false", which is no shortcut either.
    const std::optional<QString> text = m_store.text(shortcutKey(name));
    if (!text || m_store.boolean(shortcutKey(name)).has_value()) {
        return std::nullopt;
    }
    return text;
}

bool Settings::hasShortcutEntry(const QString &name) const
{
    return m_store.contains(shortcutKey(name));
}

std::optional<QString> Settings::shortcutEntryText(const QString &name) const
{
    if (const auto flag = m_store.boolean(shortcutKey(name))) {
        return *flag ? QStringLiteral("true") : QStringLiteral("false");
    }
    return m_store.text(shortcutKey(name));
}

void Settings::setShortcutJson(const QString &name, const QString &json)
{
    if (shortcutJson(name) != json) {
        m_store.setText(shortcutKey(name), json);
        Q_EMIT shortcutChanged(name);
    }
}

void Settings::setShortcutRemoved(const QString &name)
{
    if (m_store.boolean(shortcutKey(name)) != false) {
        m_store.setBoolean(shortcutKey(name), false);
        Q_EMIT shortcutChanged(name);
    }
}

void Settings::removeShortcutEntry(const QString &name)
{
    if (hasShortcutEntry(name)) {
        m_store.remove(shortcutKey(name));
        Q_EMIT shortcutChanged(name);
    }
}

std::optional<QPoint> Settings::windowPosition(const QString &autosaveName) const
{
    const std::optional<QString> text = m_store.text(windowPositionKey(autosaveName));
    const QStringList parts = text.value_or(QString()).split(u' ', Qt::SkipEmptyParts);
    bool xOk = false;
    bool yOk = false;
    const int x = parts.value(0).trimmed().toInt(&xOk);
    const int y = parts.value(1).trimmed().toInt(&yOk);
    if (parts.size() != 2 || !xOk || !yOk) {
        return std::nullopt;
    }
    return QPoint(x, y);
}

void Settings::setWindowPosition(const QString &autosaveName, QPoint position)
{
    const QString text = QStringLiteral("%1 %2").arg(position.x()).arg(position.y());
    if (m_store.text(windowPositionKey(autosaveName)) != text) {
        m_store.setText(windowPositionKey(autosaveName), text);
    }
}
