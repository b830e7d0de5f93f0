#include "VendorManager.h"

#include "AIVendorFactory.h"
#include "APIError.h"
#include "BaseInstructionsService.h"
#include "DefaultsStore.h"
#include "KeychainService.h"
#include "ModelLists.h"
#include "ProviderRequest.h"

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
    loadConfigurations();
}

void VendorManager::loadConfigurations()
{
    DefaultsStore &store = DefaultsStore::standard();
    for (AIVendor vendor : AIVendors::allCases()) {
        const std::optional<QByteArray> data = store.data(VendorConfig::storageKey(vendor));
        std::optional<VendorConfig> config = data ? VendorConfig::decode(*data) : std::nullopt;
        // Keyed by the slot even when the record names another provider.
        m_configurations.insert(vendor, config.value_or(AIVendors::defaultConfig(vendor)));
    }
    Q_EMIT configurationsChanged();

    const std::optional<QString> stored = store.text(VendorConfig::defaultVendorKey);
    const std::optional<AIVendor> vendor = stored ? AIVendors::fromRawValue(*stored) : std::nullopt;
    if (vendor != m_defaultVendor) {
        m_defaultVendor = vendor;
        Q_EMIT defaultVendorChanged();
    }
    ensureValidDefaultVendor();
}

void VendorManager::ensureValidDefaultVendor()
{
    const QList<AIVendor> withKey = vendorsWithAPIKey();
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
    DefaultsStore &store = DefaultsStore::standard();
    if (m_defaultVendor) {
        store.setText(VendorConfig::defaultVendorKey, AIVendors::rawValue(*m_defaultVendor));
    } else {
        store.remove(VendorConfig::defaultVendorKey);
    }
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

QList<AIVendor> VendorManager::vendorsWithAPIKey()
{
    QList<AIVendor> vendors;
    for (AIVendor vendor : AIVendors::allCases()) {
        const VendorConfig config = configuration(vendor);
        const QString key =
            KeychainService::shared().retrieveAPIKey(config.vendor).value_or(QString());
        if (!key.trimmed().isEmpty()) {
            vendors << vendor;
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
    DefaultsStore::standard().setData(VendorConfig::storageKey(config.vendor), config.encode());
}

QFuture<void> VendorManager::validateVendor(const VendorConfig &config)
{
    QPromise<void> promise;
    QFuture<void> done = promise.future();
    promise.start();
    if (!config.hasAPIKey()) {
        setValidationState(config.vendor, ValidationState::notValidated());
        promise.finish();
        return done;
    }
    setValidationState(config.vendor, ValidationState::validating());

    auto finished = std::make_shared<QPromise<void>>(std::move(promise));
    const QPointer<VendorManager> self(this);
    AIVendorFactory::makeClient(config)
        ->sendMessage(QStringLiteral("Test"))
        .then(this,
              [self, config, finished](const QString &) {
                  self->setValidationState(config.vendor, ValidationState::valid());
                  self->saveConfiguration(config);
                  finished->finish();
              })
        .onFailed(this,
                  [self, config, finished](const APIError &error) {
                      self->setValidationState(config.vendor,
                                               ValidationState::invalid(error.description()));
                      finished->finish();
                  })
        .onFailed(this, [self, config, finished](const std::exception &error) {
            self->setValidationState(config.vendor,
                                     ValidationState::invalid(QString::fromUtf8(error.what())));
            finished->finish();
        });
    return done;
}

QFuture<QString> VendorManager::sendMessage(const QString &prompt)
{
    if (!m_defaultVendor) {
        return ProviderRequest::failedFuture<QString>(APIError::invalidResponse());
    }
    const VendorConfig config = configuration(*m_defaultVendor);
    if (!config.hasAPIKey()) {
        return ProviderRequest::failedFuture<QString>(APIError::invalidResponse());
    }
    const auto client = AIVendorFactory::makeClient(config);
    return client->sendMessage(BaseInstructionsService::shared().composePrompt(prompt));
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
    return ModelLists::fetch(configuration(vendor))
        .then(this,
              [this, vendor](const QStringList &live) {
                  m_liveModels.insert(vendor, live);
                  m_modelListErrors.remove(vendor);
                  Q_EMIT offeredModelsChanged(vendor);
                  return offeredModels(vendor);
              })
        .onFailed(this, [this, vendor](const APIError &error) {
            m_liveModels.remove(vendor);
            m_modelListErrors.insert(vendor, ModelLists::failureSentence(vendor, error));
            Q_EMIT offeredModelsChanged(vendor);
            return offeredModels(vendor);
        });
}
