// SPDX-License-Identifier: GPL-3.0-or-later
// The key store against the test session's own gnome-keyring: what it keeps,
// under which attributes, and what it says when the keyring is locked or
// frozen (a store that cannot answer is never taken for "no key").
#include "APIError.h"
#include "Await.h"
#include "KeychainService.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

using TestSupport::captureStderr;

namespace {

using TestSupport::secretTool;

KeychainService &keys()
{
    return KeychainService::shared();
}

QByteArray lookup(AIVendor vendor)
{
    return secretTool(
        {"lookup", "service", KeychainService::service(vendor), "account", "api_key"});
}

} // namespace

class KeychainTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void init()
    {
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(keys().deleteAPIKey(vendor));
        }
    }

    void keysRoundTripExactlyAsStoredAndAreFoundByTheUsualTool_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("plain") << QStringLiteral("sk-test-123");
        QTest::newRow("surrounding blanks kept") << QStringLiteral("  sk-with spaces ");
        QTest::newRow("non-ASCII") << QStringLiteral("clé-🔑-ключ");
        QTest::newRow("long") << QString(10000, u'k');
    }

    void keysRoundTripExactlyAsStoredAndAreFoundByTheUsualTool()
    {
        QFETCH(QString, key);
        const QString output =
            captureStderr([&] { QVERIFY(keys().storeAPIKey(key, AIVendor::openai)); });
        QCOMPARE(output, QString());
        QCOMPARE(keys().retrieveAPIKey(AIVendor::openai), std::optional<QString>(key));
        QCOMPARE(QString::fromUtf8(lookup(AIVendor::openai)), key);
        // Storing again replaces the item rather than adding a second one.
        QVERIFY(keys().storeAPIKey(key + QStringLiteral("2"), AIVendor::openai));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::openai), std::optional<QString>(key + u'2'));
        const QByteArray all =
            secretTool({"search", "--all", "service", KeychainService::service(AIVendor::openai)});
        QCOMPARE(all.count("[/"), 1);
    }

    void keysWithControlCharactersAreRefused_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("header injection") << QStringLiteral("sk-a\nX-Injected: yes");
        QTest::newRow("trailing line break") << QStringLiteral("sk-a\n");
        QTest::newRow("carriage return") << QStringLiteral("sk-a\r");
        QTest::newRow("tab") << QStringLiteral("sk\t-a");
        QTest::newRow("NUL") << QStringLiteral("sk-a") + QChar(0);
        QTest::newRow("line separator") << QStringLiteral("sk-a") + QChar(0x2028);
    }

    void keysWithControlCharactersAreRefused()
    {
        QFETCH(QString, key);
        QVERIFY(keys().storeAPIKey(QStringLiteral("sk-before"), AIVendor::anthropic));
        const QString output =
            captureStderr([&] { QVERIFY(!keys().storeAPIKey(key, AIVendor::anthropic)); });
        QVERIFY2(output.startsWith(QStringLiteral("Failed to store API key for Anthropic: ")),
                 qPrintable(output));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::anthropic),
                 std::optional<QString>(u"sk-before"_qs));
    }

    // Deleting a missing key, and reading one, succeed without a word.
    void deletingTwiceAndReadingAMissingKeyAreSilent()
    {
        QVERIFY(keys().storeAPIKey(u"k"_qs, AIVendor::anthropic));
        KeychainService::KeyRead read;
        const QString output = captureStderr([&] {
            QVERIFY(keys().deleteAPIKey(AIVendor::anthropic));
            QVERIFY(keys().deleteAPIKey(AIVendor::anthropic));
            read = keys().readAPIKey(AIVendor::anthropic);
        });
        QCOMPARE(output, QString());
        QVERIFY(!read.key.has_value());
        QVERIFY(!read.failed());
        QVERIFY(lookup(AIVendor::anthropic).isEmpty());
        QCOMPARE(keys().presence(AIVendor::anthropic), KeychainService::Presence::missing);
    }

    // Items of earlier versions carried the attributes server and user.
    void anEarlierItemIsMovedOverOnce()
    {
        const QString service = KeychainService::service(AIVendor::gemini);
        secretTool({"store", "--label=old", "server", service, "user", "api_key"}, "AIza-earlier");
        QCOMPARE(keys().retrieveAPIKey(AIVendor::gemini),
                 std::optional<QString>(u"AIza-earlier"_qs));
        QCOMPARE(lookup(AIVendor::gemini), QByteArray("AIza-earlier"));
        QCOMPARE(secretTool({"lookup", "server", service, "user", "api_key"}), QByteArray());
        // Deleting removes both forms, so the old key cannot come back.
        secretTool({"store", "--label=old", "server", service, "user", "api_key"}, "AIza-stale");
        QVERIFY(keys().deleteAPIKey(AIVendor::gemini));
        QVERIFY(!keys().retrieveAPIKey(AIVendor::gemini).has_value());
    }

    // A locked keyring is reported as locked by every operation, changes
    // nothing, and is never taken for a missing key.
    void aLockedKeyringIsSaidAndNothingChanges()
    {
        QVERIFY(keys().storeAPIKey(QStringLiteral("sk-kept"), AIVendor::openai));
        QVERIFY(TestSupport::lockKeyring());
        KeychainService::KeyRead read;
        bool deleted = true;
        bool stored = true;
        const QString output = captureStderr([&] {
            read = keys().readAPIKey(AIVendor::openai);
            deleted = keys().deleteAPIKey(AIVendor::openai);
            stored = keys().storeAPIKey(QStringLiteral("sk-new"), AIVendor::gemini);
        });
        const bool presenceUnavailable =
            keys().presence(AIVendor::anthropic) == KeychainService::Presence::unavailable;
        const QString problem = keys().problem();
        QVERIFY(TestSupport::unlockKeyring());

        QVERIFY(read.failed());
        QVERIFY(!read.key.has_value());
        QVERIFY(!deleted);
        QVERIFY(!stored);
        QVERIFY(presenceUnavailable);
        QVERIFY2(problem.startsWith(QStringLiteral("The keyring is locked")), qPrintable(problem));
        const QStringList lines = output.split(u'\n', Qt::SkipEmptyParts);
        const QStringList failed{u"retrieve API key for OpenAI"_qs, u"delete API key for OpenAI"_qs,
                                 u"store API key for Google Gemini"_qs};
        QCOMPARE(lines.size(), failed.size());
        for (int i = 0; i < lines.size(); ++i) {
            QVERIFY2(lines[i].startsWith("Failed to " + failed[i] + ": The keyring is locked"),
                     qPrintable(output));
        }
        // Unlocked, everything is as it was.
        QCOMPARE(keys().retrieveAPIKey(AIVendor::openai), std::optional<QString>(u"sk-kept"_qs));
        QVERIFY(!keys().retrieveAPIKey(AIVendor::gemini).has_value());
        QVERIFY(keys().refreshPresenceNow());
        QCOMPARE(keys().presence(AIVendor::openai), KeychainService::Presence::stored);
        QCOMPARE(keys().problem(), QString());
    }

    // A keyring that never answers costs one bounded wait for a whole
    // refresh, and nothing on the thread that asks for a key.
    void aFrozenKeyringCostsOneTimeOutAndNeverTheCaller()
    {
        QVERIFY(keys().storeAPIKey(QStringLiteral("sk-frozen"), AIVendor::anthropic));
        QVERIFY(TestSupport::freezeKeyring(true));
        QElapsedTimer timer;
        timer.start();
        QFuture<QString> future = keys().keyForRequest(AIVendor::anthropic);
        const qint64 callerTime = timer.elapsed();
        QString failure;
        captureStderr([&] {
            try {
                future.waitForFinished(); // rethrows the read's failure
            } catch (const KeyStoreError &error) {
                failure = error.sentence();
            }
        });
        bool refreshed = true;
        qint64 refreshTime = 0;
        const QString output = captureStderr([&] {
            QElapsedTimer refresh;
            refresh.start();
            refreshed = keys().refreshPresenceNow();
            refreshTime = refresh.elapsed();
        });
        QVERIFY(TestSupport::freezeKeyring(false));

        QVERIFY2(callerTime < 100, qPrintable(QString::number(callerTime)));
        QVERIFY2(failure.startsWith(QStringLiteral("The keyring is not answering")),
                 qPrintable(failure));
        QVERIFY(!refreshed);
        // One time-out, not one per provider.
        QVERIFY2(refreshTime < 2 * 2000, qPrintable(QString::number(refreshTime)));
        QVERIFY2(output.startsWith(QStringLiteral("Failed to retrieve API key for OpenAI: The "
                                                  "keyring is not answering")),
                 qPrintable(output));
        QCOMPARE(output.count(u'\n'), 1);
        // The service works again once the keyring answers.
        QCOMPARE(keys().retrieveAPIKey(AIVendor::anthropic),
                 std::optional<QString>(u"sk-frozen"_qs));
    }

    // Writes in the background return at once and land in the order asked,
    // each one's outcome in its future, a read asked afterwards seeing the
    // last of them.
    void backgroundWritesGoOutInOrder()
    {
        QElapsedTimer timer;
        timer.start();
        const QList<QFuture<bool>> writes{
            keys().setAPIKeyInBackground(QStringLiteral("sk-first"), AIVendor::openai),
            keys().setAPIKeyInBackground(QString(), AIVendor::openai),
            keys().setAPIKeyInBackground(QStringLiteral("sk-second"), AIVendor::openai),
            keys().setAPIKeyInBackground(QStringLiteral("sk-other"), AIVendor::gemini),
            keys().setAPIKeyInBackground(QStringLiteral("sk-third"), AIVendor::openai),
            keys().setAPIKeyInBackground(QString(), AIVendor::gemini)};
        const QFuture<QString> read = keys().keyForRequest(AIVendor::openai);
        QVERIFY2(timer.elapsed() < 100, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(TestSupport::finishes(read, 10000));
        QCOMPARE(read.result(), QStringLiteral("sk-third"));
        for (const QFuture<bool> &write : writes) {
            QVERIFY(write.isFinished());
            QVERIFY(write.result());
        }
        QCOMPARE(lookup(AIVendor::openai), QByteArray("sk-third"));
        QCOMPARE(lookup(AIVendor::gemini), QByteArray());
        QCOMPARE(lookup(AIVendor::anthropic), QByteArray()); // each provider has its own item
        QCOMPARE(keys().presence(AIVendor::gemini), KeychainService::Presence::missing);
    }

    void presenceIsAnnouncedOnTheObjectsThread()
    {
        QSignalSpy changed(&keys(), &KeychainService::presenceChanged);
        keys().refreshPresence();
        QVERIFY(changed.wait(5000));
        for (AIVendor vendor : AIVendors::allCases()) {
            QCOMPARE(keys().presence(vendor), KeychainService::Presence::missing);
        }
    }
};

QTEST_GUILESS_MAIN(KeychainTest)
#include "tst_keychain.moc"
