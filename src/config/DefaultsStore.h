// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>

class QSettings;

// The user's defaults store: typed values under string keys, kept in an INI
// file under $XDG_CONFIG_HOME/vellumo/. The application reads and writes it
// through Settings, which names every key; this layer only knows kinds.
//
// A value of the wrong kind reads as absent, never as a crash: a text where
// data is expected is taken as its UTF-8 bytes, anything else is absent.
class DefaultsStore {
public:
    // The process-wide store. Its file is chosen on first use from
    // $XDG_CONFIG_HOME (or ~/.config), so tests set that variable first.
    static DefaultsStore &standard();

    explicit DefaultsStore(const QString &filePath);
    ~DefaultsStore();
    DefaultsStore(const DefaultsStore &) = delete;
    DefaultsStore &operator=(const DefaultsStore &) = delete;

    QString filePath() const;

    bool contains(const QString &key) const;
    void remove(const QString &key);

    std::optional<QString> text(const QString &key) const;
    void setText(const QString &key, const QString &value);

    std::optional<bool> boolean(const QString &key) const;
    void setBoolean(const QString &key, bool value);

    std::optional<QByteArray> data(const QString &key) const;
    void setData(const QString &key, const QByteArray &value);

    // Forgets every stored value.
    void removeAll();

    // Re-reads the file, picking up changes made by another process.
    void reload();

private:
    void write(const QString &key, const QVariant &value);

    std::unique_ptr<QSettings> m_settings;
};
