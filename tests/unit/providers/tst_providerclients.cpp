// SPDX-License-Identifier: GPL-3.0-or-later
// The three provider clients against the local HTTPS stand-in: what goes on
// the wire, and what comes back for each kind of answer and failure. The
// sentence the user reads for an APIError is errorText's (tst_apierror); here
// each client must hand over the right APIError.
#include "AIVendorFactory.h"
#include "Await.h"
#include "FakeProvider.h"
#include "GeminiAPIClient.h"
#include "KeychainService.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <QTimer>

Q_DECLARE_METATYPE(AIVendor)
Q_DECLARE_METATYPE(APIError::Kind)

using TestSupport::await;
using TestSupport::Outcome;
using Headers = QMap<QString, QString>;

namespace {

const QString testKey = QStringLiteral("sk-test-0123456789abcdef");

} // namespace

class TestProviderClients : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;

    VendorConfig configFor(AIVendor vendor) const
    {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = m_fake.host();
        return config;
    }

    Outcome<QString> send(const VendorConfig &config, const QString &prompt = QStringLiteral("x"))
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

    // Each provider's own request, and its own reading of the answer: the
    // first of several, exactly as sent, blanks and all. The stand-in tells
    // the providers apart by path and headers, so the factory making the
    // wrong client, or one that lost its configuration, fails here too.
    void requestOnTheWire_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("path");
        QTest::addColumn<Headers>("headers"); // a null value: not sent at all
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("openai") << AIVendor::openai << "/v1/chat/completions"
                                << Headers{{"authorization", "Bearer " + testKey}}
                                << QByteArray(R"({"model": "gpt-4o-mini", "max_tokens": 1000,
            "temperature": 0.7, "messages": [{"role": "user", "content": "Say hi\nplease"}]})");
        QTest::newRow("anthropic") << AIVendor::anthropic << "/v1/messages"
                                   << Headers{{"x-api-key", testKey},
                                              {"anthropic-version", "2023-06-01"},
                                              {"authorization", QString()}}
                                   << QByteArray(R"({"model": "claude-3-5-sonnet-20240620",
            "max_tokens": 1000, "messages": [{"role": "user",
            "content": [{"type": "text", "text": "Say hi\nplease"}]}]})");
        QTest::newRow("gemini") << AIVendor::gemini
                                << "/v1beta/models/gemini-1.5-flash:generateContent?key=" + testKey
                                << Headers{{"authorization", QString()}, {"x-api-key", QString()}}
                                << QByteArray(
                                       R"({"contents": [{"parts": [{"text": "Say hi\nplease"}]}],
            "generationConfig": {"maxOutputTokens": 1000, "temperature": 0.7}})");
    }

    void requestOnTheWire()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, path);
        QFETCH(Headers, headers);
        QFETCH(QByteArray, body);
        const QString answer = QStringLiteral("\n\n  Grüße, \"Welt\" 🌍\t\n");
        QVERIFY(m_fake.setAnswer(answer));
        QVERIFY(m_fake.fail(QStringLiteral("multi"))); // two choices, two blocks, three parts
        const auto outcome = send(configFor(vendor), QStringLiteral("Say hi\nplease"));
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        QCOMPARE(*outcome.value, answer);

        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 1);
        QCOMPARE(sent[0].method, QStringLiteral("POST"));
        QCOMPARE(sent[0].path, path);
        headers.insert(QStringLiteral("content-type"), QStringLiteral("application/json"));
        for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
            if (it.value().isNull()) {
                QVERIFY2(!sent[0].headers.contains(it.key()), qPrintable(it.key()));
            } else {
                QCOMPARE(sent[0].headers.value(it.key()), it.value());
            }
        }
        const QJsonObject expected = QJsonDocument::fromJson(body).object();
        QVERIFY(!expected.isEmpty());
        QCOMPARE(sent[0].json(), expected);
        if (vendor != AIVendor::anthropic) {
            // The shortest decimal form, not 0.69999999999999996.
            QVERIFY2(sent[0].body.contains("\"temperature\":0.7"), sent[0].body.constData());
        }
    }

    void openAINewerModelsGetCompletionTokens_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<bool>("completionTokens");
        QTest::newRow("gpt-4o") << "gpt-4o" << false;
        QTest::newRow("gpt-4.1") << "gpt-4.1" << false;
        QTest::newRow("gpt-3.5-turbo") << "gpt-3.5-turbo" << false;
        QTest::newRow("omni-moderation") << "omni-moderation-latest" << false;
        QTest::newRow("o1") << "o1" << true;
        QTest::newRow("o3-mini") << "o3-mini" << true;
        QTest::newRow("o4-mini") << "o4-mini" << true;
        QTest::newRow("gpt-5") << "gpt-5" << true;
        QTest::newRow("gpt-5.1") << "gpt-5.1" << true;
        QTest::newRow("gpt-12") << "gpt-12" << true;
    }

    void openAINewerModelsGetCompletionTokens()
    {
        QFETCH(QString, model);
        QFETCH(bool, completionTokens);
        VendorConfig config = configFor(AIVendor::openai);
        config.selectedModel = model;
        QVERIFY(send(config).value);
        QJsonObject expected{
            {"model", model},
            {"messages", QJsonArray{QJsonObject{{"role", "user"}, {"content", "x"}}}},
        };
        if (completionTokens) {
            expected.insert("max_completion_tokens", 1000);
        } else {
            expected.insert("max_tokens", 1000);
            expected.insert("temperature", 0.7);
        }
        QCOMPARE(m_fake.requests().value(0).json(), expected);
    }

    void subPathsAreAppendedAsTheyStand_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("subPath");
        QTest::addColumn<QString>("path");
        QTest::newRow("openai trailing slash")
            << AIVendor::openai << "/v1/" << u"/v1//chat/completions"_qs;
        // Qt folds a leading "//" of the request target into "/" (it would
        // read as an authority); inner double slashes go out as they stand.
        QTest::newRow("openai empty") << AIVendor::openai << "" << u"/chat/completions"_qs;
        QTest::newRow("openai no slash, spaces") << AIVendor::openai << " v1 \n"
                                                 << u"/v1/chat/completions"_qs;
        QTest::newRow("anthropic trailing slash")
            << AIVendor::anthropic << "/v1/" << u"/v1//messages"_qs;
        QTest::newRow("gemini trailing slash")
            << AIVendor::gemini << "/v1beta/"
            << u"/v1beta//models/gemini-1.5-flash:generateContent?key="_qs + testKey;
    }

    void subPathsAreAppendedAsTheyStand()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, subPath);
        QFETCH(QString, path);
        VendorConfig config = configFor(vendor);
        config.subPath = subPath;
        const auto outcome = send(config);
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        QCOMPARE(m_fake.requests().value(0).path, path);
    }

    // Every failure is the APIError the user's sentence is made from, after
    // exactly one request (a provider bills every request it reads, even one
    // whose connection drops), and the next request goes out as usual. A
    // status is read by the transport all clients share and its sentence is
    // tst_apierror's: one status a provider here (a 401 for each is
    // aMissingKeyIsSentEmptyAndRefused). What a client reads from a body
    // appears for each provider.
    void failuresComeBackAsErrors_data()
    {
        using Kind = APIError::Kind;
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("status");
        const AIVendor openai = AIVendor::openai;
        const AIVendor anthropic = AIVendor::anthropic;
        const AIVendor gemini = AIVendor::gemini;
        QTest::newRow("gemini 404 model not found") << gemini << "404" << Kind::httpError << 404;
        QTest::newRow("anthropic 529 overloaded") << anthropic << "529" << Kind::httpError << 529;
        QTest::newRow("openai 201 with a valid body") << openai << "201" << Kind::httpError << 201;
        QTest::newRow("anthropic not JSON") << anthropic << "nonjson" << Kind::networkError << 0;
        QTest::newRow("openai 20 MB answer") << openai << "huge:20" << Kind::invalidResponse << 0;
        // Gemini's URL carries the key, and a transport error may quote it.
        QTest::newRow("gemini dropped connection") << gemini << "drop" << Kind::networkError << 0;
        QTest::newRow("gemini body cut short") << gemini << "cut" << Kind::networkError << 0;
        for (AIVendor vendor : AIVendors::allCases()) {
            const QByteArray name = AIVendors::rawValue(vendor).toLatin1();
            QTest::addRow("%s empty list", name.constData())
                << vendor << "empty" << Kind::noContent << 0;
            QTest::addRow("%s no answer key", name.constData())
                << vendor << "nokey" << Kind::networkError << 0;
            QTest::addRow("%s null content", name.constData())
                << vendor << "nullcontent" << Kind::networkError << 0;
        }
        QTest::newRow("gemini blocked prompt") << gemini << "blocked" << Kind::networkError << 0;
        QTest::newRow("gemini empty parts") << gemini << "emptyparts" << Kind::noContent << 0;
    }

    void failuresComeBackAsErrors()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, failure);
        QFETCH(APIError::Kind, kind);
        QFETCH(int, status);
        QVERIFY(m_fake.fail(failure));
        const auto outcome = send(configFor(vendor));
        QVERIFY2(outcome.error, qPrintable(outcome.said()));
        QCOMPARE(outcome.error->kind(), kind);
        QCOMPARE(outcome.error->statusCode(), status);
        if (kind == APIError::Kind::networkError) {
            QVERIFY2(!outcome.error->underlyingDescription().isEmpty(),
                     "the underlying error's text must be kept");
        }
        QVERIFY(!outcome.error->description().contains(testKey));
        QCOMPARE(m_fake.requests().size(), 1);
        QVERIFY(send(configFor(vendor)).value);
        QCOMPARE(m_fake.requests().size(), 2);
    }

    void aMissingKeyIsSentEmptyAndRefused_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("pathEnd");
        QTest::newRow("openai") << AIVendor::openai << "authorization" << u"/chat/completions"_qs;
        QTest::newRow("anthropic") << AIVendor::anthropic << "x-api-key" << u"/messages"_qs;
        QTest::newRow("gemini") << AIVendor::gemini << "" << u":generateContent?key="_qs;
    }

    void aMissingKeyIsSentEmptyAndRefused()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, header);
        QFETCH(QString, pathEnd);
        storeKeys(QString());
        QVERIFY(m_fake.setKey(std::nullopt));
        const auto outcome = send(configFor(vendor));
        QVERIFY2(outcome.error, qPrintable(outcome.said()));
        QCOMPARE(*outcome.error, APIError::httpError(401));
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

    // The ceiling is 4 MB (a 20 MB answer is a failure row above).
    void anAnswerUnderTheCeilingArrives()
    {
        QVERIFY(m_fake.fail(QStringLiteral("huge:3")));
        const auto outcome = send(configFor(AIVendor::openai));
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        QCOMPARE(outcome.value->size(), 3 * 1024 * 1024);
    }

    // A request that cannot be made fails before anything is sent: a URL
    // that does not form, or a key that would break the request (a line
    // break starts a header of its own), refused as an invalid key.
    void unsendableRequestsFailBeforeSending_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("host"); // null: the stand-in's
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("keyRefused"); // otherwise an invalid URL
        for (AIVendor vendor : AIVendors::allCases()) {
            const QByteArray name = AIVendors::rawValue(vendor).toLatin1();
            QTest::addRow("%s space in host", name.constData())
                << vendor << "api.exa mple.com" << testKey << false;
            QTest::addRow("%s no host", name.constData()) << vendor << "" << testKey << false;
        }
        QTest::newRow("gemini key a URL cannot hold")
            << AIVendor::gemini << QString() << "sk bad key" << false;
        QTest::newRow("openai header injection")
            << AIVendor::openai << QString() << "sk-a\nX-Injected: yes" << true;
        QTest::newRow("anthropic trailing line break")
            << AIVendor::anthropic << QString() << "sk-a\n"
            << true;
        QTest::newRow("gemini tab") << AIVendor::gemini << QString() << "AIza\tb" << true;
    }

    void unsendableRequestsFailBeforeSending()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, host);
        QFETCH(QString, key);
        QFETCH(bool, keyRefused);
        VendorConfig config = configFor(vendor);
        if (!host.isNull()) {
            config.apiHost = host;
        }
        const auto outcome =
            await(AIVendorFactory::makeClient(config, key)->sendMessage(QStringLiteral("x")));
        QVERIFY2(outcome.error, qPrintable(outcome.said()));
        QCOMPARE(*outcome.error, keyRefused ? APIError::httpError(401) : APIError::invalidURL());
        QVERIFY(m_fake.requests().isEmpty());
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
        const auto refused = send(config);
        QVERIFY2(refused.error, qPrintable(refused.said()));
        QCOMPARE(refused.error->kind(), APIError::Kind::networkError);
        QVERIFY2(refused.error->description().contains("SSL", Qt::CaseInsensitive),
                 qPrintable(refused.error->description()));
        // The TLS handshake fails before any request reaches the server.
        QVERIFY(stranger.requests().isEmpty());
    }

    void requestsCarryTheTransferTimeoutAndVerifyPeers()
    {
        const auto prepared = GeminiAPIClient(configFor(AIVendor::gemini)).buildRequest("x");
        QVERIFY(prepared);
        QCOMPARE(prepared->request.transferTimeout(), 60000);
        QCOMPARE(prepared->request.sslConfiguration().peerVerifyMode(), QSslSocket::VerifyPeer);
        QCOMPARE(prepared->secret, testKey);
    }

    // A slow answer still arrives; the call returns at once, and the event
    // loop runs while the answer comes.
    void aSlowAnswerArrivesWithoutBlockingTheEventLoop()
    {
        QVERIFY(m_fake.fail(QStringLiteral("slow:1.5")));
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&ticks]() { ++ticks; });
        timer.start(50);
        QElapsedTimer clock;
        clock.start();
        const auto client = AIVendorFactory::makeClient(configFor(AIVendor::anthropic), testKey);
        const QFuture<QString> future = client->sendMessage(QStringLiteral("patience"));
        const qint64 returnedAfter = clock.elapsed();
        const auto outcome = await(future);
        QVERIFY2(outcome.value, qPrintable(outcome.said()));
        QCOMPARE(*outcome.value, QStringLiteral("Answer from fake anthropic: patience"));
        QVERIFY2(returnedAfter < 500, qPrintable(QString::number(returnedAfter)));
        QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
    }
};

QTEST_GUILESS_MAIN(TestProviderClients)
#include "tst_providerclients.moc"
