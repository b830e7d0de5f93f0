// SPDX-License-Identifier: GPL-3.0-or-later
#include "DefaultsStore.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

namespace {

QString standardFilePath()
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base)) {
        base = QDir::homePath() + QStringLiteral("/.config");
    }
    return base + QStringLiteral("/vellumo/vellumo.conf");
}

} // namespace

DefaultsStore &DefaultsStore::standard()
{
    static DefaultsStore store(standardFilePath());
    return store;
}

DefaultsStore::DefaultsStore(const QString &filePath)
    : m_settings(std::make_unique<QSettings>(filePath, QSettings::IniFormat))
{
    m_settings->setFallbacksEnabled(false);
}

DefaultsStore::~DefaultsStore() = default;

QString DefaultsStore::filePath() const
{
    return m_settings->fileName();
}

bool DefaultsStore::contains(const QString &key) const
{
    return m_settings->contains(key);
}

void DefaultsStore::remove(const QString &key)
{
    m_settings->remove(key);
    m_settings->sync();
}

std::optional<QString> DefaultsStore::text(const QString &key) const
{
    const QVariant value = m_settings->value(key);
    if (value.typeId() == QMetaType::QString) {
        return value.toString();
    }
    return std::nullopt;
}

void DefaultsStore::setText(const QString &key, const QString &value)
{
    write(key, value);
}

std::optional<bool> DefaultsStore::boolean(const QString &key) const
{
    const QVariant value = m_settings->value(key);
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool();
    }
    if (value.typeId() == QMetaType::QString) {
        // INI files carry Booleans as text.
        const QString text = value.toString().trimmed().toLower();
        if (text == u"true" || text == u"1" || text == u"yes") {
            return true;
        }
        if (text == u"false" || text == u"0" || text == u"no") {
            return false;
        }
    }
    return std::nullopt;
}

void DefaultsStore::setBoolean(const QString &key, bool value)
{
    write(key, value);
}

std::optional<QByteArray> DefaultsStore::data(const QString &key) const
{
    const QVariant value = m_settings->value(key);
    if (value.typeId() == QMetaType::QByteArray) {
        return value.toByteArray();
    }
    if (value.typeId() == QMetaType::QString) {
        return value.toString().toUtf8();
    }
    return std::nullopt;
}

void DefaultsStore::setData(const QString &key, const QByteArray &value)
{
    write(key, value);
}

void DefaultsStore::removeAll()
{
    m_settings->clear();
    m_settings->sync();
}

void DefaultsStore::reload()
{
    m_settings->sync();
}

void DefaultsStore::write(const QString &key, const QVariant &value)
{
    m_settings->setValue(key, value);
    // Written at once, so that a crash or a second process never sees an
    // older value than the one the user last set.
    m_settings->sync();
}
