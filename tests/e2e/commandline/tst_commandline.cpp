// The vellumo executable's window-less commands, run as a user's script
// would run them: a real process, a real keyring, the local HTTPS provider,
// and no display server.
#include "AICommand.h"
#include "BaseInstructionsService.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QProcess>
#include <QTest>

namespace {

struct Run {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

const QString translate = QStringLiteral("🇩🇪 Translate to German");

} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;

    Run vellumo(const QStringList &arguments, const QByteArray &input = {})
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        // Proof that no display server is needed.
        environment.remove(QStringLiteral("DISPLAY"));
        environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        process.setProcessEnvironment(environment);
        process.start(qEnvironmentVariable("VELLUMO_BINARY"), arguments);
        Run run;
        if (!process.waitForStarted(10000)) {
            return run;
        }
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            return run;
        }
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
        run.out = process.readAllStandardOutput();
        run.err = process.readAllStandardError();
        return run;
    }

    void useFakeProvider(AIVendor vendor)
    {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = m_fake.host();
        DefaultsStore::standard().setData(VendorConfig::storageKey(vendor), config.encode());
    }

    QString sentPrompt(int index = 0)
    {
        return m_fake.requests().value(index).json()["messages"][0]["content"].toString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(!qEnvironmentVariableIsEmpty("VELLUMO_BINARY"));
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(KeychainService::shared().deleteAPIKey(vendor));
        }
        QVERIFY(m_fake.clear());
        QVERIFY(m_fake.setAnswer(std::nullopt));
        QVERIFY(m_fake.setKey(std::nullopt));
    }

    void helpNamesEveryCommand()
    {
        const Run run = vellumo({QStringLiteral("--help")});
        QCOMPARE(run.exitCode, 0);
        for (const char *text :
             {"run [--keep-input] \"TITLE OR INSTRUCTION\"", "models PROVIDER", "key set PROVIDER",
              "key delete PROVIDER", "openai, anthropic or gemini"}) {
            QVERIFY2(run.out.contains(text), text);
        }
    }

    void keysAreSetFromStandardInputAndDeleted()
    {
        Run run = vellumo({"key", "set", "anthropic"}, "  sk-ant spaced  \n");
        QCOMPARE(run.exitCode, 0);
        QVERIFY(!run.out.contains("sk-ant"));
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::anthropic),
                 std::optional(QStringLiteral("  sk-ant spaced  ")));

        run = vellumo({"key", "set", "gemini"}, "AIza-no-newline");
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::gemini),
                 std::optional(QStringLiteral("AIza-no-newline")));

        run = vellumo({"key", "delete", "anthropic"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::anthropic), std::nullopt);
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::gemini),
                 std::optional(QStringLiteral("AIza-no-newline")));
        // Deleting a missing key succeeds.
        QCOMPARE(vellumo({"key", "delete", "anthropic"}).exitCode, 0);
    }

    void badKeyCommandsChangeNothing_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("empty input")
            << QStringList{"key", "set", "openai"} << QByteArray("\n") << 1;
        QTest::newRow("unknown provider")
            << QStringList{"key", "set", "OpenAI"} << QByteArray("sk") << 2;
        QTest::newRow("key as an argument")
            << QStringList{"key", "set", "openai", "sk-x"} << QByteArray("sk") << 2;
        QTest::newRow("unknown action")
            << QStringList{"key", "show", "openai"} << QByteArray() << 2;
    }

    void badKeyCommandsChangeNothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(int, exitCode);
        QVERIFY(
            KeychainService::shared().storeAPIKey(QStringLiteral("sk-before"), AIVendor::openai));
        const Run run = vellumo(arguments, input);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY(!run.err.isEmpty());
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::openai),
                 std::optional(QStringLiteral("sk-before")));
    }

    void runPrintsTheAnswerOfADefaultCommand()
    {
        useFakeProvider(AIVendor::openai);
        QCOMPARE(vellumo({"key", "set", "openai"}, "sk-cli\n").exitCode, 0);
        QVERIFY(m_fake.setKey(QStringLiteral("sk-cli")));
        const QString answer = QStringLiteral("Guten Tag! 🇩🇪\n");
        QVERIFY(m_fake.setAnswer(answer));

        const Run run = vellumo({"run", translate}, "Guten Tag\n");
        QCOMPARE(run.err, QByteArray());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, answer.toUtf8());
        QCOMPARE(sentPrompt(), BaseInstructionsService::defaultBaseInstructions +
                                   QStringLiteral("\n\n---\n\nTranslate the following text to "
                                                  "German: Guten Tag\n"));
        QCOMPARE(m_fake.requests().value(0).headers.value("authorization"),
                 QStringLiteral("Bearer sk-cli"));
    }

    void runPrintsTheSentenceOfAFailure_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QByteArray>("sentence");
        QTest::newRow("401") << "401"
                             << QByteArray(
                                    "Invalid API key. Please check your API key in settings.\n");
        QTest::newRow("503") << "503"
                             << QByteArray("Server error (503). Please try again later.\n");
        QTest::newRow("404") << "404" << QByteArray("HTTP error: 404\n");
        QTest::newRow("empty") << "empty" << QByteArray("No content received from API.\n");
    }

    void runPrintsTheSentenceOfAFailure()
    {
        QFETCH(QString, failure);
        QFETCH(QByteArray, sentence);
        useFakeProvider(AIVendor::anthropic);
        QVERIFY(
            KeychainService::shared().storeAPIKey(QStringLiteral("sk-ant"), AIVendor::anthropic));
        QVERIFY(m_fake.fail(failure));
        const Run run = vellumo({"run", translate}, "Guten Tag\n");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QCOMPARE(run.err, sentence);
    }

    void runFindsStoredCommandsAndOneOffInstructions()
    {
        useFakeProvider(AIVendor::gemini);
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("AIza"), AIVendor::gemini));
        DefaultsStore::standard().setText(BaseInstructionsService::userDefaultsKey, QString());
        // A stored command with a default's title takes its place.
        CommandStore::saveStoredCommands(
            {AICommand(translate, QStringLiteral("Auf Deutsch, bitte: {text} ({text})"))});

        Run run = vellumo({"run", translate}, "Hi");
        QCOMPARE(run.exitCode, 0);
        run = vellumo({"run", "Make it rhyme"}, "Guten Tag");
        QCOMPARE(run.exitCode, 0);
        // A title matches exactly, not in another letter case.
        run = vellumo({"run", "🇩🇪 translate to german"}, "x");
        QCOMPARE(run.exitCode, 0);

        const auto sent = m_fake.requests();
        QCOMPARE(sent.size(), 3);
        auto prompt = [&](int i) {
            return sent[i].json()["contents"][0]["parts"][0]["text"].toString();
        };
        QCOMPARE(prompt(0), QStringLiteral("Auf Deutsch, bitte: Hi (Hi)"));
        QCOMPARE(prompt(1), QStringLiteral("Make it rhyme\n\nText to process: Guten Tag"));
        QCOMPARE(prompt(2), QStringLiteral("🇩🇪 translate to german\n\nText to process: x"));
    }

    void runAnswersAreNotTrimmed()
    {
        useFakeProvider(AIVendor::openai);
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("sk"), AIVendor::openai));
        const QString answer = QStringLiteral("\n\n  two blank lines before, spaces after  \n\n");
        QVERIFY(m_fake.setAnswer(answer));
        const Run run = vellumo({"run", translate}, "x");
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, answer.toUtf8());
    }

    void runWithoutAProviderSendsNothing()
    {
        useFakeProvider(AIVendor::openai);
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("  "), AIVendor::openai));
        const Run run = vellumo({"run", translate}, "Guten Tag");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QByteArray("No valid AI provider configured. Please configure an API key "
                                     "in settings.\n"));
        QVERIFY(m_fake.requests().isEmpty());
    }

    void modelsPrintsTheOfferedList()
    {
        useFakeProvider(AIVendor::anthropic);
        QVERIFY(
            KeychainService::shared().storeAPIKey(QStringLiteral("sk-ant"), AIVendor::anthropic));
        Run run = vellumo({"models", "anthropic"});
        QCOMPARE(run.exitCode, 0);
        const QStringList expected = AIVendors::availableModels(AIVendor::anthropic) +
                                     QStringList{"claude-sonnet-4-5", "claude-opus-4-1",
                                                 "claude-haiku-4-5", "claude-sonnet-4-0"};
        QCOMPARE(QString::fromUtf8(run.out), expected.join(u'\n') + u'\n');

        QVERIFY(m_fake.fail(QStringLiteral("401")));
        run = vellumo({"models", "anthropic"});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(QString::fromUtf8(run.out),
                 AIVendors::availableModels(AIVendor::anthropic).join(u'\n') + u'\n');
        QCOMPARE(run.err,
                 QByteArray("Could not load the model list from Anthropic (HTTP error: 401), "
                            "so only the built-in models are offered.\n"));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("run without text") << QStringList{"run"};
        QTest::newRow("run with two texts") << QStringList{"run", "a", "b"};
        QTest::newRow("models without provider") << QStringList{"models"};
        QTest::newRow("models of an unknown provider") << QStringList{"models", "mistral"};
        QTest::newRow("unknown command") << QStringList{"translate"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, arguments);
        const Run run = vellumo(arguments);
        QCOMPARE(run.exitCode, 2);
        QVERIFY(run.err.contains("vellumo --help"));
        QVERIFY(m_fake.requests().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
