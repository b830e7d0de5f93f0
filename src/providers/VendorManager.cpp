// SPDX-License-Identifier: GPL-3.0-or-later
#include "VendorManager.h"

#include "AIVendorFactory.h"
#include "APIError.h"
#include "BaseInstructionsService.h"
#include "KeychainService.h"
#include "ModelLists.h"
#include "ProviderRequest.h"
#include "Settings.h"

#include <QCoreApplication>
#include <QPointer>
#include <QPromise>

VendorManager &VendorManager::shared()
{
    // Never destroyed: continuations may still be queued when the
    // application object goes away.
    static VendorManager *instance = new VendorManager();
    return *instance;
}

VendorManager::VendorManager(QObject *parent) : QObject(parent)
{
    connect(&KeychainService::shared(), &KeychainService::presenceChanged, this,
            &VendorManager::keyPresenceChanged);
    loadConfigurations();
}

void VendorManager::loadConfigurations()
{
    const Settings &settings = Settings::standard();
    for (AIVendor vendor : AIVendors::allCases()) {
        const std::optional<QByteArray> data = settings.vendorConfig(AIVendors::rawValue(vendor));
        std::optional<VendorConfig> config = data ? VendorConfig::decode(*data) : std::nullopt;
        // Keyed by the slot even when the record names another provider.
        m_configurations.insert(vendor, config.value_or(AIVendors::defaultConfig(vendor)));
    }
    Q_EMIT configurationsChanged();

    const std::optional<QString> stored = settings.defaultVendor();
    const std::optional<AIVendor> vendor = stored ? AIVendors::fromRawValue(*stored) : std::nullopt;
    if (vendor != m_defaultVendor) {
        m_defaultVendor = vendor;
        Q_EMIT defaultVendorChanged();
    }
    m_loadRulesApplied = false;
    applyLoadRulesWhenKeysKnown();
}

void VendorManager::applyLoadRulesWhenKeysKnown()
{
    if (m_loadRulesApplied) {
        return;
    }
    if (vendorsWithAPIKey()) {
        m_loadRulesApplied = true;
        ensureValidDefaultVendor();
        return;
    }
    // The key store has not told yet, or could not: nothing is decided, and
    // nothing written, until it does.
    if (!m_waitingForKeys) {
        m_waitingForKeys = true;
        connect(&KeychainService::shared(), &KeychainService::presenceChanged, this,
                &VendorManager::applyLoadRulesWhenKeysKnown);
    }
    KeychainService::shared().refreshPresence();
}

void VendorManager::ensureValidDefaultVendor()
{
    const QList<AIVendor> withKey = vendorsWithAPIKey().value_or(QList<AIVendor>());
    if (m_defaultVendor && !withKey.contains(*m_defaultVendor)) {
        setDefaultVendor(std::nullopt);
    }
    if (!m_defaultVendor && !withKey.isEmpty()) {
        setDefaultVendor(withKey.first());
    }
    saveDefaultVendor();
}

void VendorManager::saveDefaultVendor()
{
    Settings::standard().setDefaultVendor(
        m_defaultVendor ? std::optional(AIVendors::rawValue(*m_defaultVendor)) : std::nullopt);
}

VendorConfig VendorManager::configuration(AIVendor vendor)
{
    const auto found = m_configurations.constFind(vendor);
    if (found != m_configurations.cend()) {
        return *found;
    }
    const VendorConfig config = AIVendors::defaultConfig(vendor);
    m_configurations.insert(vendor, config);
    Q_EMIT configurationsChanged();
    return config;
}

void VendorManager::updateConfiguration(AIVendor vendor, const VendorConfig &config)
{
    m_configurations.insert(vendor, config);
    Q_EMIT configurationsChanged();
}

std::optional<QList<AIVendor>> VendorManager::vendorsWithAPIKey()
{
    const KeychainService &keys = KeychainService::shared();
    QList<AIVendor> vendors;
    for (AIVendor vendor : AIVendors::allCases()) {
        switch (keys.presence(configuration(vendor).vendor)) {
        case KeychainService::Presence::stored:
            vendors << vendor;
            break;
        case KeychainService::Presence::missing:
            break;
        case KeychainService::Presence::unknown:
        case KeychainService::Presence::unavailable:
            return std::nullopt;
        }
    }
    return vendors;
}

void VendorManager::setDefaultVendor(std::optional<AIVendor> vendor)
{
    if (vendor == m_defaultVendor) {
        return;
    }
    m_defaultVendor = vendor;
    Q_EMIT defaultVendorChanged();
}

void VendorManager::setValidationStates(const QMap<AIVendor, ValidationState> &states)
{
    if (states == m_validationStates) {
        return;
    }
    m_validationStates = states;
    Q_EMIT validationStatesChanged();
}

void VendorManager::setValidationState(AIVendor vendor, const ValidationState &state)
{
    m_validationStates.insert(vendor, state);
    Q_EMIT validationStatesChanged();
}

void VendorManager::saveConfiguration(const VendorConfig &config)
{
    Settings::standard().setVendorConfig(AIVendors::rawValue(config.vendor), config.encode());
}

QFuture<void> VendorManager::validateVendor(const VendorConfig &config)
{
    QPromise<void> promise;
    QFuture<void> done = promise.future();
    promise.start();
    if (KeychainService::shared().presence(config.vendor) == KeychainService::Presence::missing) {
        setValidationState(config.vendor, ValidationState::notValidated());
        promise.finish();
        return done;
    }
    setValidationState(config.vendor, ValidationState::validating());

    auto finished = std::make_shared<QPromise<void>>(std::move(promise));
    const QPointer<VendorManager> self(this);
    const auto fail = [self, config, finished](const QString &why) {
        if (self) {
            self->setValidationState(config.vendor, ValidationState::invalid(why));
        }
        finished->finish();
    };
    KeychainService::shared()
        .keyForRequest(config.vendor)
        .then(this,
              [self, config, finished](const QString &key) {
                  if (key.trimmed().isEmpty()) {
                      // The key went between the check and the read.
                      self->setValidationState(config.vendor, ValidationState::notValidated());
                      finished->finish();
                      return QFuture<bool>();
                  }
                  return AIVendorFactory::makeClient(config, key)
                      ->sendMessage(QStringLiteral("Test"))
                      .then(QtFuture::Launch::Sync, [](const QString &) { return true; });
              })
        .unwrap()
        .then(this,
              [self, config, finished](bool) {
                  if (finished->future().isFinished()) {
                      return;
                  }
                  self->setValidationState(config.vendor, ValidationState::valid());
                  self->saveConfiguration(config);
                  finished->finish();
              })
        .onFailed(this, [fail](const APIError &error) { fail(error.description()); })
        .onFailed(this, [fail](const KeyStoreError &error) { fail(error.sentence()); })
        .onFailed(this,
                  [fail](const std::exception &error) { fail(QString::fromUtf8(error.what())); });
    return done;
}

QFuture<QString> VendorManager::sendMessage(const QString &prompt)
{
    if (!m_defaultVendor) {
        // No provider is usable, or the key store could not tell which.
        const QString problem = KeychainService::shared().problem();
        return problem.isEmpty()
                   ? ProviderRequest::failedFuture<QString>(APIError::invalidResponse())
                   : ProviderRequest::failedFuture<QString>(KeyStoreError(problem));
    }
    const VendorConfig config = configuration(*m_defaultVendor);
    const QString composed = BaseInstructionsService::shared().composePrompt(prompt);
    // The key is read off this thread: a key store that does not answer must
    // not freeze the popup.
    return KeychainService::shared()
        .keyForRequest(config.vendor)
        .then(this,
              [config, composed](const QString &key) {
                  if (key.trimmed().isEmpty()) {
                      return ProviderRequest::failedFuture<QString>(APIError::invalidResponse());
                  }
                  return AIVendorFactory::makeClient(config, key)->sendMessage(composed);
              })
        .unwrap();
}

QStringList VendorManager::offeredModels(AIVendor vendor) const
{
    return ModelLists::merge(AIVendors::availableModels(vendor), m_liveModels.value(vendor));
}

QString VendorManager::modelListError(AIVendor vendor) const
{
    return m_modelListErrors.value(vendor);
}

QFuture<QStringList> VendorManager::fetchModels(AIVendor vendor)
{
    const VendorConfig config = configuration(vendor);
    // The manager may be gone before the provider answers: the steps run on
    // the application object and look for it themselves (Qt 6.4 asserts
    // when a continuation's context object is gone).
    const QPointer<VendorManager> self(this);
    const auto fail = [self, vendor](const QString &why) {
        if (!self) {
            return QStringList();
        }
        self->m_liveModels.remove(vendor);
        self->m_modelListErrors.insert(vendor, ModelLists::failureSentence(vendor, why));
        Q_EMIT self->offeredModelsChanged(vendor);
        return self->offeredModels(vendor);
    };
    return KeychainService::shared()
        .keyForRequest(config.vendor)
        .then(qApp,
              [config](const QString &key) {
                  if (key.trimmed().isEmpty()) {
                      // Asking without a key would only earn a refusal.
                      throw KeyStoreError(QStringLiteral("no API key is stored for ") +
                                          AIVendors::displayName(config.vendor));
                  }
                  return ModelLists::fetch(config, key);
              })
        .unwrap()
        .then(qApp,
              [self, vendor](const QStringList &live) {
                  if (!self) {
                      return QStringList();
                  }
                  self->m_liveModels.insert(vendor, live);
                  self->m_modelListErrors.remove(vendor);
                  Q_EMIT self->offeredModelsChanged(vendor);
                  return self->offeredModels(vendor);
              })
        // A step given up (its answer will never come) changes nothing.
        // Before the failure handlers: in Qt 6.4 they read a result that a
        // given-up step does not have.
        .onCanceled(qApp,
                    [self, vendor] { return self ? self->offeredModels(vendor) : QStringList(); })
        .onFailed(qApp, [fail](const APIError &error) { return fail(error.description()); })
        .onFailed(qApp, [fail](const KeyStoreError &error) { return fail(error.sentence()); });
}
