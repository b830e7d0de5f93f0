// The three provider clients against the local HTTPS stand-in: what goes on
// the wire, and how every kind of failure comes back.
#include "AIVendorFactory.h"
#include "AnthropicAPIClient.h"
#include "Await.h"
#include "FakeProvider.h"
#include "GeminiAPIClient.h"
#include "KeychainService.h"
#include "OpenAIAPIClient.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QTest>
#include <QTimer>

Q_DECLARE_METATYPE(AIVendor)
Q_DECLARE_METATYPE(APIError::Kind)

using TestSupport::await;
using TestSupport::Outcome;

namespace {

const QString testKey = QStringLiteral("sk-test-0123456789abcdef");

QString vendorName(AIVendor vendor)
{
    return AIVendors::rawValue(vendor);
}

} // namespace

class TestProviderClients : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;

    VendorConfig configFor(AIVendor vendor, const QString &subPath = QString()) const
    {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = m_fake.host();
        if (!subPath.isNull()) {
            config.subPath = subPath;
        }
        return config;
    }

    Outcome<QString> send(const VendorConfig &config, const QString &prompt)
    {
        return await(AIVendorFactory::makeClient(config)->sendMessage(prompt));
    }

    void storeKeys(const QString &key)
    {
        for (AIVendor vendor : AIVendors::allCases()) {
            if (key.isEmpty()) {
                QVERIFY(KeychainService::shared().deleteAPIKey(vendor));
            } else {
                QVERIFY(KeychainService::shared().storeAPIKey(key, vendor));
            }
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
    }

    void init()
    {
        QVERIFY(m_fake.clear());
        QVERIFY(m_fake.setAnswer(std::nullopt));
        QVERIFY(m_fake.setKey(testKey));
        storeKeys(testKey);
        qputenv("VELLUMO_CA_FILE", m_fake.caFile().toUtf8());
    }

    void factoryPicksTheClientOfTheProvider()
    {
        const auto openai = AIVendorFactory::makeClient(configFor(AIVendor::openai));
        const auto anthropic = AIVendorFactory::makeClient(configFor(AIVendor::anthropic));
        const auto gemini = AIVendorFactory::makeClient(configFor(AIVendor::gemini));
        QVERIFY(dynamic_cast<OpenAIAPIClient *>(openai.get()));
        QVERIFY(dynamic_cast<AnthropicAPIClient *>(anthropic.get()));
        QVERIFY(dynamic_cast<GeminiAPIClient *>(gemini.get()));
        QCOMPARE(dynamic_cast<GeminiAPIClient *>(gemini.get())->config.apiHost, m_fake.host());
    }

    void openAIRequestOnTheWire()
    {
        const auto outcome = send(configFor(AIVendor::openai), QStringLiteral("Say hi\nplease"));
        QVERIFY(outcome.finished);
        QVERIFY2(outcome.value, outcome.error ? qPrintable(outcome.error->description()) : "");
        QCOMPARE(*outcome.value, QStringLiteral("Answer from fake openai: please"));

        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QCOMPARE(sent[0].method, QStringLiteral("POST"));
        QCOMPARE(sent[0].path, QStringLiteral("/v1/chat/completions"));
        QCOMPARE(sent[0].headers.value("authorization"), QStringLiteral("Bearer ") + testKey);
        QCOMPARE(sent[0].headers.value("content-type"), QStringLiteral("application/json"));
        const QJsonObject expected{
            {"model", "gpt-4o-mini"},
            {"messages", QJsonArray{QJsonObject{{"role", "user"}, {"content", "Say hi\nplease"}}}},
            {"max_tokens", 1000},
            {"temperature", 0.7},
        };
        QCOMPARE(sent[0].json(), expected);
        // The shortest decimal form, not 0.69999999999999996.
        QVERIFY2(sent[0].body.contains("\"temperature\":0.7"), sent[0].body.constData());
    }

    void openAINewerModelsGetCompletionTokens_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<bool>("completionTokens");
        QTest::newRow("gpt-4o") << "gpt-4o" << false;
        QTest::newRow("gpt-4o-mini") << "gpt-4o-mini" << false;
        QTest::newRow("gpt-4.1") << "gpt-4.1" << false;
        QTest::newRow("gpt-3.5-turbo") << "gpt-3.5-turbo" << false;
        QTest::newRow("omni-moderation") << "omni-moderation-latest" << false;
        QTest::newRow("o1") << "o1" << true;
        QTest::newRow("o1-mini") << "o1-mini" << true;
        QTest::newRow("o3-mini") << "o3-mini" << true;
        QTest::newRow("o4-mini") << "o4-mini" << true;
        QTest::newRow("gpt-5") << "gpt-5" << true;
        QTest::newRow("gpt-5-mini") << "gpt-5-mini" << true;
        QTest::newRow("gpt-5.1") << "gpt-5.1" << true;
        QTest::newRow("gpt-12") << "gpt-12" << true;
    }

    void openAINewerModelsGetCompletionTokens()
    {
        QFETCH(QString, model);
        QFETCH(bool, completionTokens);
        VendorConfig config = configFor(AIVendor::openai);
        config.selectedModel = model;
        const auto outcome = send(config, QStringLiteral("Hi"));
        QVERIFY(outcome.value);
        const QJsonObject body = m_fake.requests().value(0).json();
        QCOMPARE(body.value("model").toString(), model);
        if (completionTokens) {
            QCOMPARE(body.value("max_completion_tokens").toInt(), 1000);
            QVERIFY(!body.contains("max_tokens"));
            QVERIFY(!body.contains("temperature"));
            QCOMPARE(body.size(), 3);
        } else {
            QCOMPARE(body.value("max_tokens").toInt(), 1000);
            QCOMPARE(body.value("temperature").toDouble(), 0.7);
            QVERIFY(!body.contains("max_completion_tokens"));
            QCOMPARE(body.size(), 4);
        }
    }

    void anthropicRequestOnTheWire()
    {
        const auto outcome = send(configFor(AIVendor::anthropic), QStringLiteral("Bonjour"));
        QVERIFY(outcome.value);
        QCOMPARE(*outcome.value, QStringLiteral("Answer from fake anthropic: Bonjour"));

        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QCOMPARE(sent[0].method, QStringLiteral("POST"));
        QCOMPARE(sent[0].path, QStringLiteral("/v1/messages"));
        QCOMPARE(sent[0].headers.value("x-api-key"), testKey);
        QCOMPARE(sent[0].headers.value("anthropic-version"), QStringLiteral("2023-06-01"));
        QCOMPARE(sent[0].headers.value("content-type"), QStringLiteral("application/json"));
        QVERIFY(!sent[0].headers.contains("authorization"));
        const QJsonObject expected{
            {"model", "claude-3-5-sonnet-20240620"},
            {"max_tokens", 1000},
            {"messages",
             QJsonArray{QJsonObject{
                 {"role", "user"},
                 {"content", QJsonArray{QJsonObject{{"type", "text"}, {"text", "Bonjour"}}}}}}},
        };
        QCOMPARE(sent[0].json(), expected);
    }

    void geminiRequestOnTheWire()
    {
        const auto outcome = send(configFor(AIVendor::gemini), QStringLiteral("Hallo"));
        QVERIFY(outcome.value);
        QCOMPARE(*outcome.value, QStringLiteral("Answer from fake gemini: Hallo"));

        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QCOMPARE(sent[0].method, QStringLiteral("POST"));
        QCOMPARE(sent[0].path,
                 QStringLiteral("/v1beta/models/gemini-1.5-flash:generateContent?key=") + testKey);
        QCOMPARE(sent[0].headers.value("content-type"), QStringLiteral("application/json"));
        QVERIFY(!sent[0].headers.contains("authorization"));
        QVERIFY(!sent[0].headers.contains("x-api-key"));
        const QJsonObject expected{
            {"contents",
             QJsonArray{QJsonObject{{"parts", QJsonArray{QJsonObject{{"text", "Hallo"}}}}}}},
            {"generationConfig", QJsonObject{{"maxOutputTokens", 1000}, {"temperature", 0.7}}},
        };
        QCOMPARE(sent[0].json(), expected);
        QVERIFY2(sent[0].body.contains("\"temperature\":0.7"), sent[0].body.constData());
    }

    void subPathsAreAppendedAsTheyStand_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("subPath");
        QTest::addColumn<QString>("path");
        QTest::newRow("openai trailing slash") << AIVendor::openai << "/v1/"
                                               << "/v1//chat/completions";
        // Qt folds a leading "//" of the request target into "/" (it would
        // read as an authority); inner double slashes go out as they stand.
        QTest::newRow("openai empty") << AIVendor::openai << ""
                                      << "/chat/completions";
        QTest::newRow("openai no slash, spaces") << AIVendor::openai << " v1 \n"
                                                 << "/v1/chat/completions";
        QTest::newRow("openai gateway") << AIVendor::openai << "/openai/deployments/x"
                                        << "/openai/deployments/x/chat/completions";
        QTest::newRow("anthropic trailing slash") << AIVendor::anthropic << "/v1/"
                                                  << "/v1//messages";
        QTest::newRow("anthropic empty") << AIVendor::anthropic << ""
                                         << "/messages";
        QTest::newRow("gemini trailing slash")
            << AIVendor::gemini << "/v1beta/"
            << "/v1beta//models/gemini-1.5-flash:generateContent?key=" + testKey;
    }

    void subPathsAreAppendedAsTheyStand()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, subPath);
        QFETCH(QString, path);
        const auto outcome = send(configFor(vendor, subPath), QStringLiteral("x"));
        QVERIFY(outcome.finished);
        QVERIFY2(outcome.value, outcome.error ? qPrintable(outcome.error->description()) : "");
        QCOMPARE(m_fake.requests().value(0).path, path);
    }

    void theFirstOfSeveralAnswersWins_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::newRow("openai, two choices") << AIVendor::openai;
        QTest::newRow("anthropic, two blocks") << AIVendor::anthropic;
        QTest::newRow("gemini, three parts") << AIVendor::gemini;
    }

    void theFirstOfSeveralAnswersWins()
    {
        QFETCH(AIVendor, vendor);
        QVERIFY(m_fake.fail("multi"));
        QVERIFY(m_fake.setAnswer(QStringLiteral("first")));
        const auto outcome = send(configFor(vendor), QStringLiteral("x"));
        QVERIFY(outcome.value);
        QCOMPARE(*outcome.value, QStringLiteral("first"));
    }

    void answersAreNotTrimmed_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        for (AIVendor vendor : AIVendors::allCases()) {
            QTest::newRow(qPrintable(vendorName(vendor))) << vendor;
        }
    }

    void answersAreNotTrimmed()
    {
        QFETCH(AIVendor, vendor);
        const QString answer = QStringLiteral("\n\n  Grüße, \"Welt\" 🌍\t\n");
        QVERIFY(m_fake.setAnswer(answer));
        const auto outcome = send(configFor(vendor), QStringLiteral("x"));
        QVERIFY(outcome.value);
        QCOMPARE(*outcome.value, answer);
    }

    void failuresMapToErrorsAndSentences_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<APIError::Kind>("kind");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("sentence"); // a prefix for network errors

        const QString keySentence = "Invalid API key. Please check your API key in settings.";
        for (AIVendor vendor : AIVendors::allCases()) {
            const QByteArray v = vendorName(vendor).toLatin1();
            auto row = [&](const char *name) {
                return &QTest::newRow((v + ' ' + name).constData());
            };
            *row("401") << vendor << "401" << APIError::Kind::httpError << 401 << keySentence;
            *row("403") << vendor << "403" << APIError::Kind::httpError << 403
                        << "API key doesn't have permission for this operation.";
            *row("404 model not found")
                << vendor << "404" << APIError::Kind::httpError << 404 << "HTTP error: 404";
            *row("429") << vendor << "429" << APIError::Kind::httpError << 429
                        << "Rate limit exceeded. Please try again later.";
            *row("500") << vendor << "500" << APIError::Kind::httpError << 500
                        << "Server error (500). Please try again later.";
            *row("503") << vendor << "503" << APIError::Kind::httpError << 503
                        << "Server error (503). Please try again later.";
            *row("529 overloaded") << vendor << "529" << APIError::Kind::httpError << 529
                                   << "Server error (529). Please try again later.";
            *row("201 with a valid body")
                << vendor << "201" << APIError::Kind::httpError << 201 << "HTTP error: 201";
            *row("not JSON") << vendor << "nonjson" << APIError::Kind::networkError << 0
                             << "Network error: ";
            *row("empty list") << vendor << "empty" << APIError::Kind::noContent << 0
                               << "No content received from API.";
            *row("no answer key") << vendor << "nokey" << APIError::Kind::networkError << 0
                                  << "Network error: ";
            *row("null content") << vendor << "nullcontent" << APIError::Kind::networkError << 0
                                 << "Network error: ";
            *row("dropped connection")
                << vendor << "drop" << APIError::Kind::networkError << 0 << "Network error: ";
            *row("body cut short")
                << vendor << "cut" << APIError::Kind::networkError << 0 << "Network error: ";
        }
        QTest::newRow("gemini blocked prompt")
            << AIVendor::gemini << "blocked" << APIError::Kind::networkError << 0
            << "Network error: ";
        QTest::newRow("gemini empty parts")
            << AIVendor::gemini << "emptyparts" << APIError::Kind::noContent << 0
            << "No content received from API.";
    }

    void failuresMapToErrorsAndSentences()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, failure);
        QFETCH(APIError::Kind, kind);
        QFETCH(int, status);
        QFETCH(QString, sentence);

        QVERIFY(m_fake.fail(failure));
        const auto outcome = send(configFor(vendor), QStringLiteral("x"));
        QVERIFY(outcome.finished);
        QVERIFY2(outcome.error, outcome.value ? qPrintable("answered " + *outcome.value)
                                              : qPrintable(outcome.otherFailure));
        QCOMPARE(outcome.error->kind(), kind);
        QCOMPARE(outcome.error->statusCode(), status);
        if (kind == APIError::Kind::networkError) {
            QVERIFY(errorText(*outcome.error).startsWith(sentence));
            QVERIFY2(!outcome.error->underlyingDescription().isEmpty(),
                     "the underlying error's text must be kept");
            QCOMPARE(outcome.error->description(), errorText(*outcome.error));
        } else {
            QCOMPARE(errorText(*outcome.error), sentence);
        }
        if (kind == APIError::Kind::httpError) {
            QCOMPARE(outcome.error->description(), QStringLiteral("HTTP error: %1").arg(status));
        }
        // Gemini carries the key in its URL; no error text may repeat it.
        QVERIFY(!outcome.error->description().contains(testKey));
        // Nothing is retried by the client; only Qt's transport resends a
        // request whose connection closed before any answer, at most three times.
        const qsizetype sent = m_fake.requests().size();
        if (failure == "drop") {
            QVERIFY2(sent >= 1 && sent <= 4, qPrintable(QString::number(sent)));
        } else {
            QCOMPARE(sent, 1);
        }
    }

    void aMissingKeyIsSentEmptyAndRefused_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("pathEnd");
        QTest::newRow("openai") << AIVendor::openai << "authorization"
                                << "/chat/completions";
        QTest::newRow("anthropic") << AIVendor::anthropic << "x-api-key"
                                   << "/messages";
        QTest::newRow("gemini") << AIVendor::gemini << ""
                                << ":generateContent?key=";
    }

    void aMissingKeyIsSentEmptyAndRefused()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, header);
        QFETCH(QString, pathEnd);
        storeKeys(QString());
        QVERIFY(m_fake.setKey(std::nullopt));
        const auto outcome = send(configFor(vendor), QStringLiteral("x"));
        QVERIFY(outcome.error);
        QCOMPARE(outcome.error->kind(), APIError::Kind::httpError);
        QCOMPARE(outcome.error->statusCode(), 401);
        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QVERIFY2(sent[0].path.endsWith(pathEnd), qPrintable(sent[0].path));
        if (!header.isEmpty()) {
            QVERIFY2(sent[0].headers.contains(header), "the header is sent even when empty");
            QCOMPARE(sent[0].headers.value(header).trimmed(),
                     header == "authorization" ? QStringLiteral("Bearer") : QString());
        }
    }

    void theKeyIsReadForEveryRequest()
    {
        const VendorConfig config = configFor(AIVendor::anthropic);
        const auto client = AIVendorFactory::makeClient(config);
        QVERIFY(await(client->sendMessage(QStringLiteral("one"))).value);
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("sk-rotated"),
                                                      AIVendor::anthropic));
        QVERIFY(m_fake.setKey(QStringLiteral("sk-rotated")));
        QVERIFY(await(client->sendMessage(QStringLiteral("two"))).value);
        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 2);
        QCOMPARE(sent[0].headers.value("x-api-key"), testKey);
        QCOMPARE(sent[1].headers.value("x-api-key"), QStringLiteral("sk-rotated"));
    }

    // A provider bills every request it reads: one that drops the connection
    // afterwards must not get the same prompt again.
    void aDroppedConnectionIsNeverSentAgain_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::newRow("openai") << AIVendor::openai;
        QTest::newRow("anthropic") << AIVendor::anthropic;
        QTest::newRow("gemini") << AIVendor::gemini;
    }

    void aDroppedConnectionIsNeverSentAgain()
    {
        QFETCH(AIVendor, vendor);
        QVERIFY(m_fake.fail(QStringLiteral("drop")));
        const auto outcome = send(configFor(vendor), QStringLiteral("pay once"));
        QVERIFY(outcome.finished);
        QVERIFY(outcome.error);
        QCOMPARE(outcome.error->kind(), APIError::Kind::networkError);
        QCOMPARE(m_fake.requests().size(), 1);
        // The next request goes out as usual.
        QVERIFY(send(configFor(vendor), QStringLiteral("again")).value);
        QCOMPARE(m_fake.requests().size(), 2);
    }

    void answersHaveACeiling_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("3 MB is an answer") << "huge:3" << true;
        QTest::newRow("20 MB is refused") << "huge:20" << false;
    }

    void answersHaveACeiling()
    {
        QFETCH(QString, failure);
        QFETCH(bool, accepted);
        QVERIFY(m_fake.fail(failure));
        const auto outcome = send(configFor(AIVendor::openai), QStringLiteral("x"));
        QVERIFY(outcome.finished);
        if (accepted) {
            QVERIFY(outcome.value);
            QCOMPARE(outcome.value->size(), 3 * 1024 * 1024);
        } else {
            QVERIFY(outcome.error);
            QCOMPARE(outcome.error->kind(), APIError::Kind::invalidResponse);
            QCOMPARE(errorText(*outcome.error),
                     QStringLiteral("Invalid response from API server."));
        }
    }

    // A key that would break the request (a line break starts a header of
    // its own) never goes out; the provider's invalid-key sentence instead.
    void aKeyWithControlCharactersIsNeverSent_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("key");
        QTest::newRow("openai header injection") << AIVendor::openai << "sk-a\nX-Injected: yes";
        QTest::newRow("anthropic trailing line break") << AIVendor::anthropic << "sk-a\n";
        QTest::newRow("gemini tab") << AIVendor::gemini << "AIza\tb";
    }

    void aKeyWithControlCharactersIsNeverSent()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, key);
        const auto outcome =
            await(AIVendorFactory::makeClient(configFor(vendor), key)->sendMessage("x"));
        QVERIFY(outcome.error);
        QCOMPARE(errorText(*outcome.error),
                 QStringLiteral("Invalid API key. Please check your API key in settings."));
        QCOMPARE(m_fake.requests().size(), 0);
    }

    void invalidURLsFailBeforeSending_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("key");
        for (AIVendor vendor : AIVendors::allCases()) {
            QTest::newRow(qPrintable(vendorName(vendor) + " space in host"))
                << vendor << "api.exa mple.com" << testKey;
            QTest::newRow(qPrintable(vendorName(vendor) + " no host")) << vendor << "" << testKey;
        }
        QTest::newRow("gemini key a URL cannot hold")
            << AIVendor::gemini << QString() << "sk bad key";
    }

    void invalidURLsFailBeforeSending()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, host);
        QFETCH(QString, key);
        QVERIFY(KeychainService::shared().storeAPIKey(key, vendor));
        VendorConfig config = configFor(vendor);
        if (!host.isNull()) {
            config.apiHost = host;
        }
        const auto outcome = send(config, QStringLiteral("x"));
        QVERIFY(outcome.error);
        QCOMPARE(outcome.error->kind(), APIError::Kind::invalidURL);
        QCOMPARE(outcome.error->description(), QStringLiteral("Invalid URL"));
        QCOMPARE(errorText(*outcome.error),
                 QStringLiteral("Invalid API URL. Please check your host and path settings."));
        QVERIFY(m_fake.requests().isEmpty());
    }

    void anUnreachableHostIsANetworkError()
    {
        VendorConfig config = configFor(AIVendor::gemini);
        config.apiHost = QStringLiteral("127.0.0.1:1");
        const auto outcome = send(config, QStringLiteral("x"));
        QVERIFY(outcome.error);
        QCOMPARE(outcome.error->kind(), APIError::Kind::networkError);
        QVERIFY(outcome.error->description().startsWith("Network error: "));
        QVERIFY(outcome.error->description().size() > QString("Network error: ").size());
        QVERIFY(!outcome.error->description().contains(testKey));
    }

    void anUntrustedCertificateIsRefused()
    {
        // A second server with a certificate of its own, while the file
        // names the first one's: a stranger's certificate must not pass.
        FakeProvider stranger;
        QVERIFY2(stranger.start(), qPrintable(stranger.errorString()));
        qputenv("VELLUMO_CA_FILE", m_fake.caFile().toUtf8());
        VendorConfig config = configFor(AIVendor::openai);
        config.apiHost = stranger.host();
        const auto refused = send(config, QStringLiteral("x"));
        QVERIFY(refused.error);
        QCOMPARE(refused.error->kind(), APIError::Kind::networkError);
        QVERIFY2(refused.error->description().contains("SSL", Qt::CaseInsensitive),
                 qPrintable(refused.error->description()));
        // The TLS handshake fails before any request reaches the server.
        QVERIFY(stranger.requests().isEmpty());
    }

    void aSlowAnswerStillArrives()
    {
        QVERIFY(m_fake.fail(QStringLiteral("slow:1.5")));
        const auto outcome = send(configFor(AIVendor::openai), QStringLiteral("patience"));
        QVERIFY(outcome.value);
        QCOMPARE(*outcome.value, QStringLiteral("Answer from fake openai: patience"));
    }

    void requestsCarryTheTransferTimeoutAndVerifyPeers()
    {
        const auto prepared = GeminiAPIClient(configFor(AIVendor::gemini)).buildRequest("x");
        QVERIFY(prepared);
        QCOMPARE(prepared->request.transferTimeout(), 60000);
        QCOMPARE(prepared->request.sslConfiguration().peerVerifyMode(), QSslSocket::VerifyPeer);
        QCOMPARE(prepared->secret, testKey);
    }

    void clientsDoNotBlockTheEventLoop()
    {
        QVERIFY(m_fake.fail(QStringLiteral("slow:1")));
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&ticks]() { ++ticks; });
        timer.start(50);
        const auto outcome = send(configFor(AIVendor::anthropic), QStringLiteral("x"));
        QVERIFY(outcome.value);
        QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
    }
};

QTEST_GUILESS_MAIN(TestProviderClients)
#include "tst_providerclients.moc"
