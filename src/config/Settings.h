// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QObject>
#include <QPoint>
#include <QString>
#include <optional>

class DefaultsStore;

// Every value Vellumo keeps in the user's defaults store, declared here and
// nowhere else: its key, its kind, and a signal that tells when it changed,
// so that windows showing a value follow edits made elsewhere in the
// process. A read of a missing or unreadable value answers nothing; callers
// decide what that means (empty, or the built-in default). A write that
// stores what is already there changes nothing and signals nothing.
class Settings : public QObject {
    Q_OBJECT
public:
    // The registry over the process-wide store (see DefaultsStore::standard).
    static Settings &standard();

    explicit Settings(DefaultsStore &store, QObject *parent = nullptr);

    // The keys as the file names them (tests and messages to the user read
    // the file under these names).
    static inline const QString promptsKey = QStringLiteral("prompts");
    static inline const QString hasSeededDefaultPromptsKey =
        QStringLiteral("has_seeded_default_prompts");
    static inline const QString baseInstructionsKey = QStringLiteral("base_ai_instructions");
    static inline const QString defaultVendorKey = QStringLiteral("default_vendor");
    static inline const QString onboardingCompletedKey = QStringLiteral("onboarding_completed");
    static QString vendorConfigKey(const QString &vendor);
    static QString shortcutKey(const QString &name);
    static QString windowPositionKey(const QString &autosaveName);

    // Where the values live, for messages that tell the user how to edit it.
    QString filePath() const;

    // "prompts": the user's command list, a JSON array of commands.
    std::optional<QByteArray> prompts() const;
    void setPrompts(const QByteArray &json);

    // "has_seeded_default_prompts": the built-in commands were offered once.
    bool hasSeededDefaultPrompts() const;
    void setHasSeededDefaultPrompts(bool seeded);

    // "base_ai_instructions": the text put in front of every prompt.
    std::optional<QString> baseInstructions() const;
    void setBaseInstructions(const QString &text);

    // "vendor_config_" + provider: one provider's configuration, JSON.
    std::optional<QByteArray> vendorConfig(const QString &vendor) const;
    void setVendorConfig(const QString &vendor, const QByteArray &json);

    // "default_vendor": the provider the popup sends to; none removes it.
    std::optional<QString> defaultVendor() const;
    void setDefaultVendor(const std::optional<QString> &vendor);

    // "onboarding_completed": the first-start guide was finished.
    bool onboardingCompleted() const;
    void setOnboardingCompleted(bool completed);

    // "window_position_" + a window's autosave name: where the user left
    // the window's top-left corner, as "x y".
    std::optional<QPoint> windowPosition(const QString &autosaveName) const;
    void setWindowPosition(const QString &autosaveName, QPoint position);

    // "GlobalShortcuts_" + name: a shortcut as the JSON text of its key code
    // and modifiers; the Boolean false when the user removed a shortcut that
    // has a default (so the default does not come back); absent otherwise.
    // The stored JSON text, or nothing (absent, false, not text).
    std::optional<QString> shortcutJson(const QString &name) const;
    // Whether anything at all is stored for the name, false included.
    bool hasShortcutEntry(const QString &name) const;
    // The stored value as the file holds it, for telling the user about it.
    std::optional<QString> shortcutEntryText(const QString &name) const;
    void setShortcutJson(const QString &name, const QString &json);
    void setShortcutRemoved(const QString &name);
    void removeShortcutEntry(const QString &name);

Q_SIGNALS:
    void promptsChanged();
    void hasSeededDefaultPromptsChanged();
    void baseInstructionsChanged();
    void vendorConfigChanged(const QString &vendor);
    void defaultVendorChanged();
    void onboardingCompletedChanged();
    void shortcutChanged(const QString &name);

private:
    DefaultsStore &m_store;
};
