// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"
#include "ValidationState.h"
#include "VendorConfig.h"

#include <QFuture>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <optional>

// Owns the three provider configurations, the default provider and the
// validation state of each provider, and runs every command.
//
// What is written when is deliberate: a configuration is stored only by a
// successful validation; the default provider only once, after the load
// rules have been applied, which waits until the key store has told which
// providers have a key (a store that cannot answer decides nothing).
// Everything else changes memory only. Keys are read off the UI thread.
class VendorManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QMap<AIVendor, VendorConfig> configurations READ configurations NOTIFY
                   configurationsChanged)
    Q_PROPERTY(std::optional<AIVendor> defaultVendor READ defaultVendor WRITE setDefaultVendor
                   NOTIFY defaultVendorChanged)
    Q_PROPERTY(QMap<AIVendor, ValidationState> validationStates READ validationStates WRITE
                   setValidationStates NOTIFY validationStatesChanged)

public:
    // Created on first use; loads at once.
    static VendorManager &shared();

    // Loads at once; tests build their own instances.
    explicit VendorManager(QObject *parent = nullptr);

    QMap<AIVendor, VendorConfig> configurations() const { return m_configurations; }
    // Inserts the provider's default configuration on first use.
    VendorConfig configuration(AIVendor vendor);
    // Memory only.
    void updateConfiguration(AIVendor vendor, const VendorConfig &config);
    // In declaration order, those whose stored key is not blank, as the key
    // store last read them; none while it has not told, or could not.
    std::optional<QList<AIVendor>> vendorsWithAPIKey();

    std::optional<AIVendor> defaultVendor() const { return m_defaultVendor; }
    // Memory only; the next start reads the value stored at this start.
    void setDefaultVendor(std::optional<AIVendor> vendor);

    QMap<AIVendor, ValidationState> validationStates() const { return m_validationStates; }
    void setValidationStates(const QMap<AIVendor, ValidationState> &states);

    // A live request with the prompt "Test"; on success the configuration as
    // passed in is stored. Never fails; finishes when the state is set.
    QFuture<void> validateVendor(const VendorConfig &config);

    // The base instructions, then the prompt, to the default provider.
    // Fails with APIError (invalidResponse without a usable provider).
    QFuture<QString> sendMessage(const QString &prompt);

    // The model picker's list: the built-in models, followed by the live ids
    // of the last successful fetchModels not already among them.
    QStringList offeredModels(AIVendor vendor) const;
    // Why the last fetchModels fell back to the built-in list; empty when it
    // did not.
    QString modelListError(AIVendor vendor) const;
    // Asks the provider of configuration(vendor) for its models with the
    // stored key. Never fails: resolves with offeredModels(vendor) afterwards.
    QFuture<QStringList> fetchModels(AIVendor vendor);

    void loadConfigurations();

Q_SIGNALS:
    void configurationsChanged();
    void defaultVendorChanged();
    void validationStatesChanged();
    void offeredModelsChanged(AIVendor vendor);
    // The key store found keys added or removed, or could not answer.
    void keyPresenceChanged();

private:
    void applyLoadRulesWhenKeysKnown();
    void ensureValidDefaultVendor();
    void saveDefaultVendor();
    void saveConfiguration(const VendorConfig &config);
    void setValidationState(AIVendor vendor, const ValidationState &state);

    QMap<AIVendor, VendorConfig> m_configurations;
    std::optional<AIVendor> m_defaultVendor;
    QMap<AIVendor, ValidationState> m_validationStates;
    QHash<AIVendor, QStringList> m_liveModels;
    QHash<AIVendor, QString> m_modelListErrors;
    bool m_loadRulesApplied = false;
    bool m_waitingForKeys = false;
};
