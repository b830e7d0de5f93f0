// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeychainService.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QRegularExpression>
#include <QtTest>

// Without any Secret Service on the session bus, every operation fails with a
// line that says so, and nothing is kept anywhere else.
class KeychainUnavailableTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void everyOperationFailsVisiblyAndNothingIsWrittenElsewhere()
    {
        KeychainService &keys = KeychainService::shared();
        bool stored = true;
        const QString storeOutput = TestSupport::captureStderr([&] {
            stored = keys.storeAPIKey(QStringLiteral("sk-secret-value"), AIVendor::gemini);
        });
        QVERIFY(!stored);
        QVERIFY2(storeOutput.startsWith(QStringLiteral(
                     "Failed to store API key for Google Gemini: No keyring is running")),
                 qPrintable(storeOutput));
        QVERIFY(!storeOutput.contains(QStringLiteral("sk-secret-value")));

        KeychainService::KeyRead read;
        const QString readOutput =
            TestSupport::captureStderr([&] { read = keys.readAPIKey(AIVendor::gemini); });
        QVERIFY(read.failed());
        QVERIFY(!read.key.has_value());
        QVERIFY2(readOutput.startsWith(
                     QStringLiteral("Failed to retrieve API key for Google Gemini: No keyring")),
                 qPrintable(readOutput));
        QVERIFY(!keys.refreshPresenceNow());
        QCOMPARE(keys.presence(AIVendor::openai), KeychainService::Presence::unavailable);
        QVERIFY(!TestSupport::captureStderr([&] {
                     QVERIFY(!keys.deleteAPIKey(AIVendor::openai));
                 }).isEmpty());

        const VendorConfig config = AIVendors::defaultConfig(AIVendor::gemini);
        QVERIFY(!config.hasAPIKey());

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
