// SPDX-License-Identifier: GPL-3.0-or-later
#include "AIVendor.h"
#include "KeychainService.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QJsonDocument>
#include <QtTest>

Q_DECLARE_METATYPE(AIVendor)

class VendorRecordsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void init()
    {
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(KeychainService::shared().deleteAPIKey(vendor));
        }
    }

    void providersKeepTheirOrderAndFacts()
    {
        QCOMPARE(AIVendors::allCases(),
                 (QList<AIVendor>{AIVendor::openai, AIVendor::anthropic, AIVendor::gemini}));
        QStringList raw;
        QStringList names;
        for (AIVendor vendor : AIVendors::allCases()) {
            raw << AIVendors::rawValue(vendor);
            names << AIVendors::displayName(vendor);
            QCOMPARE(AIVendors::fromRawValue(AIVendors::rawValue(vendor)), vendor);
        }
        QCOMPARE(raw, (QStringList{u"openai"_qs, u"anthropic"_qs, u"gemini"_qs}));
        QCOMPARE(names, (QStringList{u"OpenAI"_qs, u"Anthropic"_qs, u"Google Gemini"_qs}));
        QCOMPARE(AIVendors::fromRawValue(u"OpenAI"_qs), std::nullopt);
        QCOMPARE(AIVendors::fromRawValue(u" openai"_qs), std::nullopt);

        // The default models are not the first of the lists.
        const VendorConfig openai = AIVendors::defaultConfig(AIVendor::openai);
        QCOMPARE(openai.selectedModel, u"gpt-4o-mini"_qs);
        QCOMPARE(AIVendors::availableModels(AIVendor::openai).indexOf(openai.selectedModel), 1);
        const VendorConfig gemini = AIVendors::defaultConfig(AIVendor::gemini);
        QCOMPARE(gemini.baseURL(), u"https://generativelanguage.googleapis.com/v1beta"_qs);
        QCOMPARE(AIVendors::availableModels(AIVendor::gemini).indexOf(gemini.selectedModel), 1);
        QCOMPARE(AIVendors::defaultConfig(AIVendor::anthropic).baseURL(),
                 u"https://api.anthropic.com/v1"_qs);
    }

    void baseURL_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("subPath");
        QTest::addColumn<QString>("expected");
        QTest::newRow("trimmed host, slash added")
            << u"  api.example.com \n"_qs << u"v1"_qs << u"https://api.example.com/v1"_qs;
        QTest::newRow("empty sub-path") << u"h.example"_qs << QString() << u"https://h.example/"_qs;
        QTest::newRow("blank sub-path") << u"h.example"_qs << u" \t"_qs << u"https://h.example/"_qs;
        QTest::newRow("trailing slash kept")
            << u"h.example"_qs << u"/v1/"_qs << u"https://h.example/v1/"_qs;
        QTest::newRow("https written out")
            << u"https://h.example"_qs << u"/v1"_qs << u"https://h.example/v1"_qs;
        QTest::newRow("http written out, closing slashes dropped")
            << u" http://localhost:11434// "_qs << u"/v1"_qs << u"http://localhost:11434/v1"_qs;
        QTest::newRow("scheme in capitals kept")
            << u"HTTP://127.0.0.1:8080"_qs << u"v1"_qs << u"HTTP://127.0.0.1:8080/v1"_qs;
        QTest::newRow("no scheme, a colon is a port")
            << u"localhost:11434"_qs << u"/v1"_qs << u"https://localhost:11434/v1"_qs;
        QTest::newRow("port kept")
            << u"127.0.0.1:8443"_qs << u"/v1"_qs << u"https://127.0.0.1:8443/v1"_qs;
    }

    void baseURL()
    {
        QFETCH(QString, host);
        QFETCH(QString, subPath);
        QFETCH(QString, expected);
        QCOMPARE(VendorConfig(AIVendor::openai, u"m"_qs, host, subPath).baseURL(), expected);
    }

    void jsonRoundTripAndStrictDecoding()
    {
        const VendorConfig config(AIVendor::anthropic, u"claude-x"_qs, u"h"_qs, u"/p"_qs);
        const QJsonObject object = QJsonDocument::fromJson(config.encode()).object();
        QCOMPARE(object.keys(),
                 (QStringList{u"apiHost"_qs, u"selectedModel"_qs, u"subPath"_qs, u"vendor"_qs}));
        QCOMPARE(object.value(u"vendor"_qs).toString(), u"anthropic"_qs);
        const std::optional<VendorConfig> decoded = VendorConfig::decode(config.encode());
        QVERIFY(decoded.has_value());
        QVERIFY(*decoded == config);

        const QList<QByteArray> broken{
            R"({"vendor":"mistral","selectedModel":"m","apiHost":"h","subPath":"/v1"})",
            R"({"vendor":"OpenAI","selectedModel":"m","apiHost":"h","subPath":"/v1"})",
            R"({"vendor":"openai","selectedModel":"m","apiHost":"h"})",
            R"({"vendor":"openai","selectedModel":4,"apiHost":"h","subPath":"/v1"})",
            "not json",
            "[]",
            ""};
        for (const QByteArray &json : broken) {
            QVERIFY2(!VendorConfig::decode(json).has_value(), json.constData());
        }
    }

    void apiKeyGoesThroughTheKeyStore()
    {
        const VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
        QVERIFY(!config.hasAPIKey());
        QCOMPARE(config.apiKey(), QString());

        config.setApiKey(u"   "_qs); // stored as it is, but not a usable key
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::openai),
                 std::optional<QString>(u"   "_qs));
        QVERIFY(!config.hasAPIKey());

        config.setApiKey(u" sk-1 "_qs);
        QVERIFY(config.hasAPIKey());
        QCOMPARE(config.apiKey(), u" sk-1 "_qs);

        config.setApiKey(QString()); // the empty text deletes the key
        QVERIFY(!KeychainService::shared().retrieveAPIKey(AIVendor::openai).has_value());
        QVERIFY(!config.hasAPIKey());
        // The JSON form never carries the key.
        config.setApiKey(u"sk-hidden"_qs);
        QVERIFY(!config.encode().contains("sk-hidden"));
    }

    void equalityReadsTheKeyStore()
    {
        const VendorConfig openai = AIVendors::defaultConfig(AIVendor::openai);
        VendorConfig other = openai;
        QVERIFY(openai == other);

        other.selectedModel = u"gpt-4"_qs;
        QVERIFY(!(openai == other));

        // Same fields, both without keys, but different providers.
        VendorConfig a(AIVendor::openai, u"m"_qs, u"h"_qs, u"/v1"_qs);
        VendorConfig b(AIVendor::anthropic, u"m"_qs, u"h"_qs, u"/v1"_qs);
        QVERIFY(!(a == b));

        // With keys stored, equal records of one provider stay equal.
        QVERIFY(KeychainService::shared().storeAPIKey(u"k1"_qs, AIVendor::openai));
        QVERIFY(a == VendorConfig(AIVendor::openai, u"m"_qs, u"h"_qs, u"/v1"_qs));
    }
};

QTEST_GUILESS_MAIN(VendorRecordsTest)
#include "tst_vendorrecords.moc"
