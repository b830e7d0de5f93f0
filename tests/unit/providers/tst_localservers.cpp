// SPDX-License-Identifier: GPL-3.0-or-later
// A host written with its scheme: plain http reaches a model server on this
// computer, and is refused, before anything is sent, for any other host.
#include "AIVendorFactory.h"
#include "Await.h"
#include "FakeProvider.h"
#include "ModelLists.h"
#include "ProviderRequest.h"
#include "TestSupport.h"

#include <QTest>

Q_DECLARE_METATYPE(AIVendor)

using TestSupport::await;

namespace {

const QString testKey = QStringLiteral("sk-local-0123456789");

} // namespace

class TestLocalServers : public QObject {
    Q_OBJECT

private:
    FakeProvider m_plain; // speaks plain http

    VendorConfig configFor(AIVendor vendor, const QString &host) const
    {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = host;
        return config;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY2(m_plain.start({QStringLiteral("--plain")}), qPrintable(m_plain.errorString()));
    }

    void init() { QVERIFY(m_plain.clear()); }

    // Which endpoints may be used, and why the others may not.
    void endpointRules_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("usable");
        QTest::addColumn<QString>("refusedHost"); // empty: refused as an invalid URL
        QTest::newRow("https anywhere") << "https://api.example.com/v1" << true << "";
        QTest::newRow("http 127.0.0.1") << "http://127.0.0.1:11434/v1" << true << "";
        QTest::newRow("http 127.x.y.z") << "http://127.8.9.10/v1" << true << "";
        QTest::newRow("http ::1") << "http://[::1]:8080/v1" << true << "";
        QTest::newRow("http localhost") << "http://localhost:11434/v1" << true << "";
        QTest::newRow("letter case") << "HTTP://LocalHost:11434/v1" << true << "";
        QTest::newRow("http named host")
            << "http://api.example.com/v1" << false << "api.example.com";
        QTest::newRow("http private address")
            << "http://192.168.1.20:8080/v1" << false << "192.168.1.20";
        QTest::newRow("http all addresses") << "http://0.0.0.0:8080/v1" << false << "0.0.0.0";
        QTest::newRow("http loopback-looking name")
            << "http://127.0.0.1.example.com/v1" << false << "127.0.0.1.example.com";
        QTest::newRow("http localhost subdomain")
            << "http://localhost.example.com/v1" << false << "localhost.example.com";
        QTest::newRow("http 128.0.0.1") << "http://128.0.0.1/v1" << false << "128.0.0.1";
        QTest::newRow("other scheme") << "ftp://localhost/v1" << false << "";
        QTest::newRow("no host") << "http:///v1" << false << "";
        QTest::newRow("https no host") << "https:///v1" << false << "";
    }

    void endpointRules()
    {
        QFETCH(QString, text);
        QFETCH(bool, usable);
        QFETCH(QString, refusedHost);
        QCOMPARE(ProviderRequest::endpointURL(text).has_value(), usable);
        if (usable) {
            return;
        }
        const APIError error = ProviderRequest::endpointError(text);
        if (refusedHost.isEmpty()) {
            QCOMPARE(error, APIError::invalidURL());
        } else {
            QCOMPARE(error, APIError::insecureHost(refusedHost));
            QVERIFY2(error.description().contains(refusedHost) &&
                         error.description().contains(QLatin1String("https://")),
                     qPrintable(error.description()));
        }
    }

    // Each wire format over plain http to the stand-in: the answer, and the
    // live model list. 0.0.0.0 is not loopback by the rule, though a
    // connection to it would land on this computer; so a fault there sends
    // nothing off the machine.
    void plainHttpReachesOnlyALocalServer_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        for (AIVendor vendor : AIVendors::allCases()) {
            QTest::newRow(qPrintable(AIVendors::rawValue(vendor))) << vendor;
        }
    }

    void plainHttpReachesOnlyALocalServer()
    {
        QFETCH(AIVendor, vendor);
        const QString port = QString::number(m_plain.port());
        VendorConfig config = configFor(vendor, "http://0.0.0.0:" + port);
        const auto refused =
            await(AIVendorFactory::makeClient(config, testKey)->sendMessage(QStringLiteral("hi")));
        QVERIFY2(refused.error, qPrintable(refused.said()));
        QCOMPARE(*refused.error, APIError::insecureHost(QStringLiteral("0.0.0.0")));
        QCOMPARE(errorText(*refused.error), refused.error->description());
        QVERIFY(!refused.error->description().contains(testKey));
        const auto noModels = await(ModelLists::fetch(config, testKey));
        QVERIFY2(noModels.error, qPrintable(noModels.said()));
        QCOMPARE(*noModels.error, APIError::insecureHost(QStringLiteral("0.0.0.0")));
        QVERIFY(m_plain.requests().isEmpty());

        config = configFor(vendor, "http://127.0.0.1:" + port + u'/');
        const auto answer =
            await(AIVendorFactory::makeClient(config, testKey)->sendMessage(QStringLiteral("hi")));
        QVERIFY2(answer.value, qPrintable(answer.said()));
        QCOMPARE(*answer.value,
                 QStringLiteral("Answer from fake %1: hi").arg(AIVendors::rawValue(vendor)));
        const auto models = await(ModelLists::fetch(config, testKey));
        QVERIFY2(models.value, qPrintable(models.said()));
        QVERIFY(!models.value->isEmpty());
        const QList<FakeProvider::Request> sent = m_plain.requests();
        QVERIFY(!sent.isEmpty());
        // The closing slash of the host is not doubled.
        QVERIFY2(sent.first().path.startsWith(config.subPath + u'/'),
                 qPrintable(sent.first().path));
        for (const FakeProvider::Request &request : sent) {
            QCOMPARE(request.vendor, AIVendors::rawValue(vendor));
        }
    }
};

QTEST_GUILESS_MAIN(TestLocalServers)
#include "tst_localservers.moc"
