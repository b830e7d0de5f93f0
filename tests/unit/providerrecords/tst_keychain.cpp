#include "KeychainService.h"
#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QtTest>
#include <csignal>

using TestSupport::captureStdout;

namespace {

KeychainService &keys()
{
    return KeychainService::shared();
}

// The attributes of every item in the private keyring whose service is ours,
// as secret-tool prints them.
QString secretToolSearch(const QString &service)
{
    QProcess process;
    process.start(QStringLiteral("secret-tool"), {QStringLiteral("search"), QStringLiteral("--all"),
                                                  QStringLiteral("server"), service});
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
}

// The gnome-keyring-daemon of this test session (it carries the session's marker).
QList<pid_t> keyringDaemons()
{
    QList<pid_t> pids;
    const QByteArray marker = "VELLUMO_TEST_SESSION=" + qgetenv("VELLUMO_TEST_SESSION");
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool numeric = false;
        const pid_t pid = entry.toInt(&numeric);
        if (!numeric) {
            continue;
        }
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        QFile environ(QStringLiteral("/proc/%1/environ").arg(pid));
        if (!comm.open(QIODevice::ReadOnly) || !environ.open(QIODevice::ReadOnly)) {
            continue;
        }
        if (comm.readAll().trimmed() == "gnome-keyring-d" && environ.readAll().contains(marker)) {
            pids << pid;
        }
    }
    return pids;
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

    void missingKeyIsSilent()
    {
        std::optional<QString> key;
        const QString output =
            captureStdout([&] { key = keys().retrieveAPIKey(AIVendor::gemini); });
        QVERIFY(!key.has_value());
        QCOMPARE(output, QString());
    }

    void keysRoundTripExactlyAsStored_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("plain") << QStringLiteral("sk-test-123");
        QTest::newRow("surrounding blanks kept") << QStringLiteral("  sk-with spaces \n");
        QTest::newRow("non-ASCII") << QStringLiteral("clé-🔑-ключ");
        QTest::newRow("long") << QString(4096, u'k');
    }

    void keysRoundTripExactlyAsStored()
    {
        QFETCH(QString, key);
        QString output = captureStdout([&] { QVERIFY(keys().storeAPIKey(key, AIVendor::openai)); });
        QCOMPARE(output, QString());
        QCOMPARE(keys().retrieveAPIKey(AIVendor::openai), std::optional<QString>(key));
        // Storing again replaces the item rather than adding a second one.
        QVERIFY(keys().storeAPIKey(key + QStringLiteral("2"), AIVendor::openai));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::openai), std::optional<QString>(key + u'2'));
        QCOMPARE(secretToolSearch(KeychainService::service(AIVendor::openai))
                     .count(QStringLiteral("[/")),
                 1);
    }

    void deletingTwiceSucceedsSilently()
    {
        QVERIFY(keys().storeAPIKey(QStringLiteral("k"), AIVendor::anthropic));
        const QString output = captureStdout([&] {
            QVERIFY(keys().deleteAPIKey(AIVendor::anthropic));
            QVERIFY(keys().deleteAPIKey(AIVendor::anthropic));
        });
        QCOMPARE(output, QString());
        QVERIFY(!keys().retrieveAPIKey(AIVendor::anthropic).has_value());
    }

    void eachProviderHasItsOwnItem()
    {
        QVERIFY(keys().storeAPIKey(QStringLiteral("key-openai"), AIVendor::openai));
        QVERIFY(keys().storeAPIKey(QStringLiteral("key-gemini"), AIVendor::gemini));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::openai), std::optional<QString>(u"key-openai"_qs));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::gemini), std::optional<QString>(u"key-gemini"_qs));
        QVERIFY(!keys().retrieveAPIKey(AIVendor::anthropic).has_value());

        const QString openai = secretToolSearch(QStringLiteral("com.vellumo.Vellumo.openai"));
        const QString gemini = secretToolSearch(QStringLiteral("com.vellumo.Vellumo.gemini"));
        QVERIFY2(openai.contains(QStringLiteral("user = api_key")), qPrintable(openai));
        QVERIFY2(gemini.contains(QStringLiteral("user = api_key")), qPrintable(gemini));
        QVERIFY(openai.contains(QStringLiteral("secret = key-openai")));
        QVERIFY(!openai.contains(QStringLiteral("key-gemini")));

        QVERIFY(keys().deleteAPIKey(AIVendor::openai));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::gemini), std::optional<QString>(u"key-gemini"_qs));
    }

    // A keyring that never answers (a stopped daemon stands for a locked one
    // whose prompt nobody answers) costs a bounded wait and a console line.
    void unansweredCallsAreBoundedFailures()
    {
        const QList<pid_t> daemons = keyringDaemons();
        QVERIFY(!daemons.isEmpty());
        for (pid_t pid : daemons) {
            ::kill(pid, SIGSTOP);
        }
        std::optional<QString> key;
        QElapsedTimer timer;
        timer.start();
        const QString output =
            captureStdout([&] { key = keys().retrieveAPIKey(AIVendor::anthropic); });
        const qint64 elapsed = timer.elapsed();
        for (pid_t pid : daemons) {
            ::kill(pid, SIGCONT);
        }
        QVERIFY(!key.has_value());
        QVERIFY2(elapsed >= KeychainService::callTimeout.count() - 50,
                 qPrintable(QString::number(elapsed)));
        QVERIFY2(elapsed < KeychainService::callTimeout.count() + 2000,
                 qPrintable(QString::number(elapsed)));
        QVERIFY2(output.startsWith(QStringLiteral("Failed to retrieve API key for Anthropic: 7 (")),
                 qPrintable(output));
        // The service works again once the keyring answers.
        QVERIFY(keys().storeAPIKey(QStringLiteral("after"), AIVendor::anthropic));
        QCOMPARE(keys().retrieveAPIKey(AIVendor::anthropic), std::optional<QString>(u"after"_qs));
    }
};

QTEST_GUILESS_MAIN(KeychainTest)
#include "tst_keychain.moc"
