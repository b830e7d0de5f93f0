// SPDX-License-Identifier: GPL-3.0-or-later
// The provider manager: what it loads, which provider becomes the default,
// what a validation stores, what a send composes, and the live model lists.
// Keys live in a real keyring; requests go to the local HTTPS provider.
#include "Await.h"
#include "BaseInstructionsService.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "Settings.h"
#include "TestSupport.h"
#include "VendorManager.h"

#include <QSignalSpy>
#include <QTest>

Q_DECLARE_METATYPE(AIVendor)

using TestSupport::await;
using TestSupport::finishes;

namespace {

const QString testKey = QStringLiteral("sk-manager-test");

AIVendor vendorOf(const QString &raw)
{
    return *AIVendors::fromRawValue(raw);
}

// Where a validated configuration of the provider is stored.
QString configKey(AIVendor vendor)
{
    return Settings::vendorConfigKey(AIVendors::rawValue(vendor));
}

} // namespace

class TestVendorManager : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;
    DefaultsStore &store() { return DefaultsStore::standard(); }

    VendorConfig fakeConfig(AIVendor vendor) const
    {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = m_fake.host();
        return config;
    }

    void storeKey(AIVendor vendor, const QString &key = testKey)
    {
        QVERIFY(KeychainService::shared().storeAPIKey(key, vendor));
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
    }

    void init()
    {
        store().removeAll();
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(KeychainService::shared().deleteAPIKey(vendor));
        }
        QVERIFY(m_fake.clear());
        QVERIFY(m_fake.setKey(std::nullopt));
    }

    void theDefaultProviderIsChosenAtLoad_data()
    {
        QTest::addColumn<QStringList>("keys"); // "vendor" or "vendor=key"
        QTest::addColumn<QString>("stored");   // null: nothing stored
        QTest::addColumn<QString>("expected"); // empty: none, and the key removed
        QTest::newRow("no keys, nothing stored") << QStringList{} << QString() << "";
        QTest::newRow("anthropic and gemini: the first in order")
            << QStringList{"gemini", "anthropic"} << QString() << "anthropic";
        QTest::newRow("stored gemini without its key")
            << QStringList{"openai"} << "gemini" << u"openai"_qs;
        QTest::newRow("stored gemini with its key is kept")
            << QStringList{"openai", "anthropic", "gemini"} << "gemini" << u"gemini"_qs;
        QTest::newRow("unknown stored value") << QStringList{"gemini"} << "Gemini" << u"gemini"_qs;
        QTest::newRow("unknown stored value, no keys") << QStringList{} << "bogus" << u""_qs;
        QTest::newRow("stored value without any key") << QStringList{} << "openai" << u""_qs;
        QTest::newRow("a blank key does not count")
            << QStringList{"openai=   ", "anthropic"} << QString() << "anthropic";
        QTest::newRow("a padded key counts")
            << QStringList{"openai= sk "} << "anthropic" << u"openai"_qs;
    }

    void theDefaultProviderIsChosenAtLoad()
    {
        QFETCH(QStringList, keys);
        QFETCH(QString, stored);
        QFETCH(QString, expected);
        for (const QString &entry : keys) {
            const QString raw = entry.section(u'=', 0, 0);
            storeKey(vendorOf(raw), entry.contains(u'=') ? entry.section(u'=', 1) : testKey);
        }
        if (!stored.isNull()) {
            store().setText(Settings::defaultVendorKey, stored);
        }
        VendorManager manager;
        if (expected.isEmpty()) {
            QCOMPARE(manager.defaultVendor(), std::nullopt);
            QVERIFY(!store().contains(Settings::defaultVendorKey));
        } else {
            QCOMPARE(manager.defaultVendor(), std::optional(vendorOf(expected)));
            QCOMPARE(store().text(Settings::defaultVendorKey), std::optional(expected));
        }
        // Nothing else is stored: every provider has its default configuration,
        // none is written back, and none is validated.
        QMap<AIVendor, VendorConfig> defaults;
        for (AIVendor vendor : AIVendors::allCases()) {
            defaults.insert(vendor, AIVendors::defaultConfig(vendor));
            QVERIFY(!store().contains(configKey(vendor)));
        }
        QCOMPARE(manager.configurations(), defaults);
        QVERIFY(manager.validationStates().isEmpty());
    }

    // A key store that cannot answer is not "no key": the stored default
    // stays, nothing is written, a send fails with the keyring's sentence
    // and sends nothing, and the load rules run once it answers (here: the
    // stored default has no key, so the first provider with one takes over).
    void aLockedKeyringDecidesNothingUntilItAnswers()
    {
        storeKey(AIVendor::anthropic);
        store().setText(Settings::defaultVendorKey, QStringLiteral("openai"));
        QVERIFY(TestSupport::lockKeyring());
        const bool presenceRead = KeychainService::shared().refreshPresenceNow();
        VendorManager manager;
        const std::optional<AIVendor> loaded = manager.defaultVendor();
        manager.setDefaultVendor(AIVendor::anthropic); // a provider with a key, in memory
        const auto sent = await(manager.sendMessage(QStringLiteral("x")));
        manager.setDefaultVendor(loaded);
        const std::optional<QString> storedWhileLocked = store().text(Settings::defaultVendorKey);
        QVERIFY(TestSupport::unlockKeyring());

        QVERIFY(!presenceRead);
        QCOMPARE(loaded, std::optional(AIVendor::openai));
        QVERIFY2(sent.otherFailure.startsWith(QStringLiteral("The keyring is locked")),
                 qPrintable(sent.said()));
        QCOMPARE(m_fake.requests().size(), 0);
        QCOMPARE(storedWhileLocked, std::optional(u"openai"_qs));
        KeychainService::shared().refreshPresence();
        QTRY_COMPARE_WITH_TIMEOUT(manager.defaultVendor(), std::optional(AIVendor::anthropic),
                                  5000);
        QCOMPARE(store().text(Settings::defaultVendorKey), std::optional(u"anthropic"_qs));
    }

    void storedConfigurationsAreLoadedAsDecoded()
    {
        VendorConfig openai = AIVendors::defaultConfig(AIVendor::openai);
        openai.selectedModel = QStringLiteral("gpt-4.1");
        store().setData(configKey(AIVendor::openai), openai.encode());
        const QByteArray garbage("{\"vendor\":\"anthropic\",\"selectedModel\":1}");
        store().setData(configKey(AIVendor::anthropic), garbage);
        // A record in another provider's slot stays as it is, under the slot.
        VendorConfig misplaced = AIVendors::defaultConfig(AIVendor::openai);
        misplaced.apiHost = QStringLiteral("gateway.example");
        store().setData(configKey(AIVendor::gemini), misplaced.encode());

        VendorManager manager;
        QCOMPARE(manager.configuration(AIVendor::openai).selectedModel, QStringLiteral("gpt-4.1"));
        QCOMPARE(manager.configuration(AIVendor::anthropic),
                 AIVendors::defaultConfig(AIVendor::anthropic));
        const VendorConfig gemini = manager.configuration(AIVendor::gemini);
        QCOMPARE(gemini.vendor, AIVendor::openai);
        QCOMPARE(gemini.apiHost, QStringLiteral("gateway.example"));
        // The unreadable value is not replaced.
        QCOMPARE(store().data(configKey(AIVendor::anthropic)), std::optional(garbage));
    }

    void laterChangesStayInMemory()
    {
        storeKey(AIVendor::openai);
        storeKey(AIVendor::gemini);
        {
            VendorManager manager;
            QCOMPARE(manager.defaultVendor(), std::optional(AIVendor::openai));
            QSignalSpy defaultSpy(&manager, &VendorManager::defaultVendorChanged);
            QSignalSpy configSpy(&manager, &VendorManager::configurationsChanged);
            manager.setDefaultVendor(AIVendor::gemini);
            QCOMPARE(defaultSpy.size(), 1);
            manager.setDefaultVendor(AIVendor::gemini);
            QCOMPARE(defaultSpy.size(), 1);

            VendorConfig edited = manager.configuration(AIVendor::openai);
            edited.selectedModel = QStringLiteral("gpt-5-mini");
            manager.updateConfiguration(AIVendor::openai, edited);
            QCOMPARE(configSpy.size(), 1);
            QCOMPARE(manager.configuration(AIVendor::openai).selectedModel,
                     QStringLiteral("gpt-5-mini"));
            QCOMPARE(manager.property("defaultVendor").value<std::optional<AIVendor>>(),
                     std::optional(AIVendor::gemini));
        }
        QCOMPARE(store().text(Settings::defaultVendorKey), std::optional(QStringLiteral("openai")));
        QVERIFY(!store().contains(configKey(AIVendor::openai)));

        // Deleting the default provider's key changes nothing until the next start.
        VendorManager again;
        QCOMPARE(again.defaultVendor(), std::optional(AIVendor::openai));
        QCOMPARE(again.configuration(AIVendor::openai).selectedModel,
                 QStringLiteral("gpt-4o-mini"));
        QVERIFY(KeychainService::shared().deleteAPIKey(AIVendor::openai));
        QCOMPARE(again.defaultVendor(), std::optional(AIVendor::openai));
        QCOMPARE(again.vendorsWithAPIKey(), QList<AIVendor>{AIVendor::gemini});
        VendorManager third;
        QCOMPARE(third.defaultVendor(), std::optional(AIVendor::gemini));
    }

    void aRefusedValidationSavesNothing()
    {
        storeKey(AIVendor::anthropic);
        VendorManager manager;
        QList<ValidationState> seen;
        connect(&manager, &VendorManager::validationStatesChanged, this,
                [&]() { seen << manager.validationStates().value(AIVendor::anthropic); });
        QVERIFY(m_fake.fail(QStringLiteral("401")));
        QVERIFY(finishes(manager.validateVendor(fakeConfig(AIVendor::anthropic))));

        const QList<ValidationState> expected{ValidationState::validating(),
                                              ValidationState::invalid("HTTP error: 401")};
        QCOMPARE(seen, expected);
        QCOMPARE(manager.validationStates().value(AIVendor::anthropic),
                 ValidationState::invalid("HTTP error: 401"));
        QVERIFY(!store().contains(configKey(AIVendor::anthropic)));
    }

    void aSuccessfulValidationSavesTheRecordPassedIn()
    {
        storeKey(AIVendor::gemini);
        VendorManager manager;
        VendorConfig edited = fakeConfig(AIVendor::gemini);
        edited.selectedModel = QStringLiteral("gemini-2.5-flash");
        const QFuture<void> done = manager.validateVendor(edited);
        QCOMPARE(manager.validationStates().value(AIVendor::gemini), ValidationState::validating());
        QVERIFY(finishes(done));
        QCOMPARE(manager.validationStates().value(AIVendor::gemini), ValidationState::valid());

        // The prompt is exactly "Test": no base instructions.
        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QVERIFY(sent[0].path.contains("/models/gemini-2.5-flash:generateContent"));
        QCOMPARE(sent[0].json()["contents"][0]["parts"][0]["text"].toString(),
                 QStringLiteral("Test"));

        // The record passed in is stored, not the manager's own entry.
        QCOMPARE(manager.configuration(AIVendor::gemini),
                 AIVendors::defaultConfig(AIVendor::gemini));
        const auto saved =
            VendorConfig::decode(store().data(configKey(AIVendor::gemini)).value_or(QByteArray()));
        QVERIFY(saved);
        QCOMPARE(*saved, edited);
        VendorManager restarted;
        QCOMPARE(restarted.configuration(AIVendor::gemini).selectedModel,
                 QStringLiteral("gemini-2.5-flash"));
    }

    void aValidationWithoutKeyResetsTheState()
    {
        storeKey(AIVendor::openai);
        VendorManager manager;
        manager.setValidationStates({{AIVendor::openai, ValidationState::valid()}});
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("   "), AIVendor::openai));

        const QFuture<void> done = manager.validateVendor(fakeConfig(AIVendor::openai));
        QVERIFY(done.isFinished());
        QCOMPARE(manager.validationStates().value(AIVendor::openai),
                 ValidationState::notValidated());
        QVERIFY(m_fake.requests().isEmpty());
        QVERIFY(!store().contains(configKey(AIVendor::openai)));
    }

    // No default, then a default chosen in memory whose key is missing.
    void sendingWithoutAUsableProviderFailsLocally()
    {
        VendorManager manager;
        QCOMPARE(manager.defaultVendor(), std::nullopt);
        for (const auto vendor : {std::optional<AIVendor>(), std::optional(AIVendor::anthropic)}) {
            manager.setDefaultVendor(vendor);
            const auto outcome = await(manager.sendMessage(QStringLiteral("Hello")));
            QVERIFY2(outcome.error, qPrintable(outcome.said()));
            QCOMPARE(*outcome.error, APIError::invalidResponse());
        }
        QVERIFY(m_fake.requests().isEmpty());
    }

    void sendingComposesTheBaseInstructions()
    {
        storeKey(AIVendor::openai);
        storeKey(AIVendor::anthropic);
        // Stored as a successful validation would, so the manager talks to the stand-in.
        store().setData(configKey(AIVendor::anthropic), fakeConfig(AIVendor::anthropic).encode());
        VendorManager manager;
        manager.setDefaultVendor(AIVendor::anthropic);
        BaseInstructionsService &base = BaseInstructionsService::shared();
        base.setBaseInstructions(QStringLiteral("Be brief.\n"));

        const QString prompt = QStringLiteral("Translate the following text to German: Good day");
        const auto outcome = await(manager.sendMessage(prompt));
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QCOMPARE(sent[0].vendor, QStringLiteral("anthropic"));
        QCOMPARE(sent[0].json()["messages"][0]["content"][0]["text"].toString(),
                 QStringLiteral("Be brief.\n\n\n---\n\n") + prompt);

        base.setBaseInstructions(QStringLiteral(" \n "));
        QVERIFY(await(manager.sendMessage(prompt)).value);
        QCOMPARE(m_fake.requests().value(1).json()["messages"][0]["content"][0]["text"].toString(),
                 prompt);
        base.setBaseInstructions(BaseInstructionsService::defaultBaseInstructions);
    }

    // The live models follow the built-in ones, fetched page by page with
    // the provider's own key header; a later fetch that fails drops them
    // again and says why. Fetching changes nothing stored.
    void liveModelListsAreMergedAndDroppedOnFailure_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QStringList>("added"); // after the built-in list
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QStringList>("failures"); // of the second fetch, one per request
        QTest::addColumn<QString>("sentence");     // how its reason begins
        QTest::newRow("openai, 401")
            << AIVendor::openai << QStringList{"gpt-5-mini", "o3-mini", "gpt-4.1"}
            << QStringList{"/v1/models"} << QStringList{"401"}
            << "Could not load the model list from OpenAI (HTTP error: 401), "
               "so only the built-in models are offered.";
        QTest::newRow("anthropic, three pages, the second fails")
            << AIVendor::anthropic
            << QStringList{"claude-sonnet-4-5", "claude-opus-4-1", "claude-haiku-4-5",
                           "claude-sonnet-4-0"}
            << QStringList{"/v1/models", "/v1/models?after_id=claude-sonnet-4-5",
                           "/v1/models?after_id=claude-haiku-4-5"}
            << QStringList{"ok", "500"}
            << "Could not load the model list from Anthropic (HTTP error: 500), so only the "
               "built-in models are offered.";
        QTest::newRow("gemini, three pages, generating models only, not JSON")
            << AIVendor::gemini
            << QStringList{"gemini-2.5-flash", "gemini-2.5-pro", "gemini-2.0-flash"}
            << QStringList{"/v1beta/models?key=" + testKey,
                           "/v1beta/models?key=" + testKey + "&pageToken=2",
                           "/v1beta/models?key=" + testKey + "&pageToken=4"}
            << QStringList{"nonjson"}
            << "Could not load the model list from Google Gemini "
               "(Network error: The response could not be read";
    }

    void liveModelListsAreMergedAndDroppedOnFailure()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QStringList, added);
        QFETCH(QStringList, paths);
        QFETCH(QStringList, failures);
        QFETCH(QString, sentence);
        storeKey(vendor);
        QVERIFY(m_fake.setKey(testKey));
        VendorManager manager;
        manager.updateConfiguration(vendor, fakeConfig(vendor));
        const QStringList builtIn = AIVendors::availableModels(vendor);
        QCOMPARE(manager.offeredModels(vendor), builtIn);
        QSignalSpy changed(&manager, &VendorManager::offeredModelsChanged);

        auto outcome = await(manager.fetchModels(vendor));
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        QCOMPARE(*outcome.value, builtIn + added);
        QCOMPARE(manager.offeredModels(vendor), builtIn + added);
        QCOMPARE(manager.modelListError(vendor), QString());
        QCOMPARE(changed.size(), 1);
        const auto sent = m_fake.requests();
        QStringList sentPaths;
        for (const auto &request : sent) {
            QCOMPARE(request.method, QStringLiteral("GET"));
            sentPaths << request.path;
        }
        QCOMPARE(sentPaths, paths);
        if (vendor == AIVendor::openai) {
            QCOMPARE(sent[0].headers.value("authorization"), "Bearer " + testKey);
        } else if (vendor == AIVendor::anthropic) {
            QCOMPARE(sent[0].headers.value("x-api-key"), testKey);
            QCOMPARE(sent[0].headers.value("anthropic-version"), QStringLiteral("2023-06-01"));
        }

        for (const QString &failure : failures) {
            QVERIFY(m_fake.fail(failure));
        }
        outcome = await(manager.fetchModels(vendor));
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        QCOMPARE(*outcome.value, builtIn);
        QCOMPARE(manager.offeredModels(vendor), builtIn);
        QCOMPARE(changed.size(), 2);
        const QString reason = manager.modelListError(vendor);
        QVERIFY2(reason.startsWith(sentence), qPrintable(reason));
        QVERIFY(reason.endsWith(QStringLiteral("so only the built-in models are offered.")));
        QVERIFY(!reason.contains(testKey));
        QVERIFY(!store().contains(configKey(vendor)));
    }
};

QTEST_GUILESS_MAIN(TestVendorManager)
#include "tst_vendormanager.moc"
