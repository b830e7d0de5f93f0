#include "KeychainService.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QRegularExpression>
#include <QtTest>

// Without any Secret Service on the session bus, storing fails with a console
// line and nothing is kept anywhere else.
class KeychainUnavailableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void everyOperationFailsVisiblyAndNothingIsWrittenElsewhere()
    {
        KeychainService &keys = KeychainService::shared();
        bool stored = true;
        const QString storeOutput = TestSupport::captureStdout([&] {
            stored = keys.storeAPIKey(QStringLiteral("sk-secret-value"), AIVendor::gemini);
        });
        QVERIFY(!stored);
        QVERIFY2(
            QRegularExpression(
                QStringLiteral("^Failed to store API key for Google Gemini: \\d+ \\(.+\\)\\n$"))
                .match(storeOutput)
                .hasMatch(),
            qPrintable(storeOutput));
        QVERIFY(!storeOutput.contains(QStringLiteral("sk-secret-value")));

        std::optional<QString> key;
        const QString readOutput =
            TestSupport::captureStdout([&] { key = keys.retrieveAPIKey(AIVendor::gemini); });
        QVERIFY(!key.has_value());
        QVERIFY2(
            readOutput.startsWith(QStringLiteral("Failed to retrieve API key for Google Gemini: ")),
            qPrintable(readOutput));

        const VendorConfig config = AIVendors::defaultConfig(AIVendor::gemini);
        QVERIFY(!config.hasAPIKey());
        QCOMPARE(config.apiKey(), QString());

        // No plaintext fallback: nothing holding the key was written under HOME.
        QProcess grep;
        grep.start(QStringLiteral("grep"),
                   {QStringLiteral("-r"), QStringLiteral("-l"), QStringLiteral("sk-secret-value"),
                    QDir::homePath(), qEnvironmentVariable("XDG_CONFIG_HOME"),
                    qEnvironmentVariable("XDG_DATA_HOME")});
        QVERIFY(grep.waitForFinished(10000));
        QCOMPARE(grep.readAllStandardOutput(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(KeychainUnavailableTest)
#include "tst_keychain_unavailable.moc"
