// SPDX-License-Identifier: GPL-3.0-or-later
// The vellumo executable's window-less commands, run as a user's script
// would run them: a real process, a real keyring, the local HTTPS provider,
// and no display server.
#include "AICommand.h"
#include "BaseInstructionsService.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "Settings.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTest>

namespace {

using TestSupport::secretTool;

struct Run {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    qint64 milliseconds = 0;
};

// A settings value as the vellumo process left it in the file.
QVariant storedSetting(const QString &key)
{
    return QSettings(DefaultsStore::standard().filePath(), QSettings::IniFormat).value(key);
}

// Runs "vellumo key set openai" on a pseudo-terminal, as typed by a person:
// "long" types a 10,000-character key and Return, "interrupt" presses Ctrl+C
// at the hidden prompt. Prints whether the terminal echoes afterwards and
// how the process ended.
const char *const terminalScript = R"(
import os, pty, select, sys, termios, time
binary, mode = sys.argv[1], sys.argv[2]
pid, fd = pty.fork()
if pid == 0:
    os.execv(binary, [binary, "key", "set", "openai"])
seen = b""
end = time.time() + 10
while b"(not shown):" not in seen and time.time() < end:
    if select.select([fd], [], [], 0.1)[0]:
        seen += os.read(fd, 4096)
time.sleep(0.2)
if mode == "long":
    key = b"k" * 10000
    for i in range(0, len(key), 500):
        os.write(fd, key[i:i + 500])
        time.sleep(0.01)
    os.write(fd, b"\r")
else:
    os.write(fd, b"\x03")
while True:
    try:
        if select.select([fd], [], [], 0.1)[0] and not os.read(fd, 4096):
            break
    except OSError:
        break
    done, status = os.waitpid(pid, os.WNOHANG)
    if done:
        break
else:
    status = 0
if not done:
    done, status = os.waitpid(pid, 0)
echo = termios.tcgetattr(fd)[3] & termios.ECHO
print("echo" if echo else "no-echo", "signal" if os.WIFSIGNALED(status) else os.WEXITSTATUS(status))
)";

const QString translate = QStringLiteral("🇩🇪 Translate to German");

} // namespace

class TestCommandLine : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;

    Run vellumo(const QStringList &arguments, const QByteArray &input = {},
                const QMap<QString, QString> &extraEnvironment = {})
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (auto it = extraEnvironment.begin(); it != extraEnvironment.end(); ++it) {
            environment.insert(it.key(), it.value());
        }
        // Proof that no display server is needed.
        environment.remove(QStringLiteral("DISPLAY"));
        environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
        environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
        process.setProcessEnvironment(environment);
        QElapsedTimer timer;
        timer.start();
        process.start(qEnvironmentVariable("VELLUMO_BINARY"), arguments);
        Run run;
        if (!process.waitForStarted(10000)) {
            return run;
        }
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(90000)) {
            process.kill();
            process.waitForFinished();
            return run;
        }
        run.milliseconds = timer.elapsed();
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
        run.out = process.readAllStandardOutput();
        run.err = process.readAllStandardError();
        return run;
    }

    // The provider's configuration, pointing at the stand-in (or at host),
    // and its key in the keyring unless key is null.
    void useFakeProvider(AIVendor vendor, const QString &key, const QString &host = QString())
    {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = host.isNull() ? m_fake.host() : host;
        Settings::standard().setVendorConfig(AIVendors::rawValue(vendor), config.encode());
        if (!key.isNull()) {
            QVERIFY(KeychainService::shared().storeAPIKey(key, vendor));
        }
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
              "key delete PROVIDER", "popup", "openai, anthropic or gemini"}) {
            QVERIFY2(run.out.contains(text), text);
        }
    }

    void withoutADisplayTheDesktopSaysWhatItNeeds_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("vellumo") << QStringList();
        QTest::newRow("vellumo --verbose") << QStringList{QStringLiteral("--verbose")};
    }

    // One sentence and a failure, where Qt would abort with a core message.
    void withoutADisplayTheDesktopSaysWhatItNeeds()
    {
        QFETCH(QStringList, arguments);
        const Run run = vellumo(arguments);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QVERIFY2(run.err.startsWith("Vellumo needs a desktop session: ") &&
                     run.err.count('\n') == 1 && run.err.count(". ") == 0,
                 run.err.constData());
    }

    // Nobody on the bus to open a popup: said, with a failure.
    void popupWithoutARunningVellumoFails()
    {
        const Run run = vellumo({QStringLiteral("popup")});
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QByteArray("No popup: Vellumo is not running.\n"));
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

    // A usage error exits with 2 and points at --help; a key that cannot be
    // stored exits with 1. Neither prints on standard output, changes the
    // stored key or sends anything.
    void badCommandsChangeNothing_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("said"); // on standard error
        const QByteArray help("vellumo --help");
        const QStringList setKey{"key", "set", "openai"};
        QTest::newRow("run without text") << QStringList{"run"} << QByteArray() << 2 << help;
        QTest::newRow("run with two texts")
            << QStringList{"run", "a", "b"} << QByteArray() << 2 << help;
        QTest::newRow("models without provider")
            << QStringList{"models"} << QByteArray() << 2 << help;
        QTest::newRow("models of an unknown provider")
            << QStringList{"models", "mistral"} << QByteArray() << 2 << help;
        QTest::newRow("unknown command") << QStringList{"translate"} << QByteArray() << 2 << help;
        QTest::newRow("key of an unknown provider")
            << QStringList{"key", "set", "OpenAI"} << QByteArray("sk") << 2 << help;
        QTest::newRow("key as an argument")
            << setKey + QStringList{"sk-x"} << QByteArray("sk") << 2 << help;
        QTest::newRow("unknown key action")
            << QStringList{"key", "show", "openai"} << QByteArray() << 2 << help;
        QTest::newRow("empty key")
            << setKey << QByteArray("\n") << 1 << QByteArray("nothing was stored");
        QTest::newRow("key with a header in it") << setKey << QByteArray("sk-a\nX-Injected: yes\n")
                                                 << 1 << QByteArray("control character");
        QTest::newRow("key with two line ends")
            << setKey << QByteArray("sk-a\n\n") << 1 << QByteArray("control character");
    }

    void badCommandsChangeNothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, input);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, said);
        useFakeProvider(AIVendor::openai, QStringLiteral("sk-before"));
        const Run run = vellumo(arguments, input);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.out, QByteArray());
        QVERIFY2(run.err.contains(said), run.err.constData());
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::openai),
                 std::optional(u"sk-before"_qs));
        QVERIFY(m_fake.requests().isEmpty());
    }

    void runPrintsTheAnswerOfADefaultCommand()
    {
        useFakeProvider(AIVendor::openai, QString());
        QCOMPARE(vellumo({"key", "set", "openai"}, "sk-cli\n").exitCode, 0);
        QVERIFY(m_fake.setKey(QStringLiteral("sk-cli")));
        // Printed exactly as received, blanks and line ends included.
        const QString answer = QStringLiteral("\n\n  Guten Tag! 🇩🇪  \n\n");
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

    // A failed run prints one line, the failure's sentence, on standard
    // error, nothing on standard output, and exits with 1. The request went
    // out once, and was paid once, even when the connection dropped after it.
    void runPrintsTheSentenceOfAFailure_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QByteArray>("sentence"); // how standard error begins
        QTest::newRow("401") << "401"
                             << QByteArray(
                                    "Invalid API key. Please check your API key in settings.\n");
        QTest::newRow("20 MB answer")
            << "huge:20" << QByteArray("Invalid response from API server.\n");
        QTest::newRow("dropped connection") << "drop" << QByteArray("Network error: ");
    }

    void runPrintsTheSentenceOfAFailure()
    {
        QFETCH(QString, failure);
        QFETCH(QByteArray, sentence);
        useFakeProvider(AIVendor::anthropic, QStringLiteral("sk-ant"));
        QVERIFY(m_fake.fail(failure));
        const Run run = vellumo({"run", translate}, "Guten Tag\n");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray());
        QVERIFY2(run.err.startsWith(sentence), run.err.constData());
        QCOMPARE(run.err.count('\n'), 1);
        QCOMPARE(m_fake.requests().size(), 1);
    }

    void runFindsStoredCommandsAndOneOffInstructions()
    {
        useFakeProvider(AIVendor::gemini, QStringLiteral("AIza"));
        DefaultsStore::standard().setText(Settings::baseInstructionsKey, QString());
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

    void runWithoutAProviderSendsNothing()
    {
        useFakeProvider(AIVendor::openai, QStringLiteral("  "));
        const Run run = vellumo({"run", translate}, "Guten Tag");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QByteArray("No valid AI provider configured. Please configure an API key "
                                     "in settings.\n"));
        QVERIFY(m_fake.requests().isEmpty());
    }

    void modelsPrintsTheOfferedList()
    {
        useFakeProvider(AIVendor::anthropic, QStringLiteral("sk-ant"));
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

    // A locked keyring: every command says so, fails, sends nothing and
    // decides nothing; unlocked, all is as before.
    void aLockedKeyringIsSaidAndChangesNothing()
    {
        useFakeProvider(AIVendor::openai, QStringLiteral("sk-o"));
        useFakeProvider(AIVendor::gemini, QStringLiteral("AIza-g"));
        DefaultsStore::standard().setText(Settings::defaultVendorKey, QStringLiteral("gemini"));
        QVERIFY(TestSupport::lockKeyring());
        const Run run = vellumo({"run", translate}, "Guten Tag");
        const Run models = vellumo({"models", "openai"});
        const Run removed = vellumo({"key", "delete", "openai"});
        const Run stored = vellumo({"key", "set", "anthropic"}, "sk-a\n");
        const Run kept = vellumo({"run", "--keep-input", translate}, "Guten Tag");
        QVERIFY(TestSupport::unlockKeyring());

        for (const Run *each : {&run, &models, &removed, &stored, &kept}) {
            QCOMPARE(each->exitCode, 1);
            QVERIFY2(each->err.contains("The keyring is locked"), each->err.constData());
        }
        QCOMPARE(run.out, QByteArray());
        QCOMPARE(removed.err.count('\n'), 1);
        QVERIFY(!removed.err.contains("removed"));
        // Only the built-in list on standard output, the reason on standard error.
        QCOMPARE(QString::fromUtf8(models.out),
                 AIVendors::availableModels(AIVendor::openai).join(u'\n') + u'\n');
        QCOMPARE(kept.out, QByteArray("Guten Tag"));
        QVERIFY2(run.milliseconds < 1000, qPrintable(QString::number(run.milliseconds)));
        qInfo("run failed after %lld ms with a locked keyring", run.milliseconds);
        QVERIFY(m_fake.requests().isEmpty());
        QCOMPARE(storedSetting(Settings::defaultVendorKey).toString(), u"gemini"_qs);

        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::openai),
                 std::optional(u"sk-o"_qs));
        const Run after = vellumo({"run", translate}, "Guten Tag");
        QCOMPARE(after.exitCode, 0);
        QCOMPARE(m_fake.requests().size(), 1);
        QCOMPARE(m_fake.requests().first().vendor, u"gemini"_qs);
    }

    void aFrozenOrAbsentKeyringFailsFast()
    {
        useFakeProvider(AIVendor::openai, QStringLiteral("sk-o"));
        QVERIFY(TestSupport::freezeKeyring(true));
        const Run frozen = vellumo({"run", translate}, "x");
        QVERIFY(TestSupport::freezeKeyring(false));
        const Run absent = vellumo({"run", translate}, "x",
                                   {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"}});
        QCOMPARE(frozen.exitCode, 1);
        QVERIFY2(frozen.err.contains("The keyring is not answering"), frozen.err.constData());
        // One time-out of the store (2 s), then out at once.
        QVERIFY2(frozen.milliseconds < 3000, qPrintable(QString::number(frozen.milliseconds)));
        QCOMPARE(absent.exitCode, 1);
        QVERIFY2(absent.err.contains("No keyring is running"), absent.err.constData());
        QVERIFY2(absent.milliseconds < 1000, qPrintable(QString::number(absent.milliseconds)));
        qInfo("run failed after %lld ms with a frozen keyring, %lld ms without one",
              frozen.milliseconds, absent.milliseconds);
        QCOMPARE(frozen.out + absent.out, QByteArray());
        QVERIFY(m_fake.requests().isEmpty());
    }

    // Requests that cannot be made fail at once, with the sentence, and
    // nothing is sent. The keys come from another tool: Vellumo itself would
    // not store a tab or a line break.
    void invalidRequestsExitAtOnce_data()
    {
        QTest::addColumn<int>("vendor");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("sentence");
        const QByteArray url("Invalid API URL. Please check your host and path settings.\n");
        const QByteArray key("Invalid API key. Please check your API key in settings.\n");
        QTest::newRow("an empty host") << int(AIVendor::anthropic) << "" << u"sk"_qs << url;
        QTest::newRow("port 99999")
            << int(AIVendor::openai) << "127.0.0.1:99999" << u"sk"_qs << url;
        QTest::newRow("a Gemini key with a space")
            << int(AIVendor::gemini) << QString() << "AIza b" << url;
        QTest::newRow("a Gemini key with a tab")
            << int(AIVendor::gemini) << QString() << "AIza\tb" << key;
        QTest::newRow("an OpenAI key with a header in it")
            << int(AIVendor::openai) << QString() << "sk-c\nX-Injected: yes" << key;
    }

    void invalidRequestsExitAtOnce()
    {
        QFETCH(int, vendor);
        QFETCH(QString, host);
        QFETCH(QString, key);
        QFETCH(QByteArray, sentence);
        const auto provider = AIVendor(vendor);
        useFakeProvider(provider, QString(), host);
        secretTool({"store", "--label=x", "service", KeychainService::service(provider), "account",
                    "api_key"},
                   key.toUtf8());
        const Run run = vellumo({"run", translate}, "x");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, sentence);
        QVERIFY2(run.milliseconds < 1000, qPrintable(QString::number(run.milliseconds)));
        const Run models = vellumo({"models", AIVendors::rawValue(provider)});
        QCOMPARE(models.exitCode, 1);
        QVERIFY2(models.milliseconds < 1000, qPrintable(QString::number(models.milliseconds)));
        QVERIFY(m_fake.requests().isEmpty());
    }

    // An editor filter keeps the text whatever happens.
    void keepInputGivesBackTheTextOnFailure()
    {
        useFakeProvider(AIVendor::openai, QStringLiteral("sk"));
        const QByteArray text = "Line one\n  line two, no line end";
        QVERIFY(m_fake.fail(QStringLiteral("401")));
        Run run = vellumo({"run", "--keep-input", translate}, text);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, text);
        QCOMPARE(run.err, QByteArray("Invalid API key. Please check your API key in settings.\n"));
        QVERIFY(m_fake.setAnswer(QStringLiteral("Zeile eins")));
        run = vellumo({"run", "--keep-input", translate}, text);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QByteArray("Zeile eins"));
    }

    void aKeyTypedAtATerminalIsTakenWholeAndCtrlCRestoresEcho()
    {
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"),
                     {"-c", terminalScript, qEnvironmentVariable("VELLUMO_BINARY"), "long"});
        QVERIFY(python.waitForFinished(30000));
        QCOMPARE(python.readAllStandardOutput().trimmed(), QByteArray("echo 0"));
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::openai),
                 std::optional(QString(10000, u'k')));

        QVERIFY(KeychainService::shared().deleteAPIKey(AIVendor::openai));
        python.start(QStringLiteral("/usr/bin/python3"),
                     {"-c", terminalScript, qEnvironmentVariable("VELLUMO_BINARY"), "interrupt"});
        QVERIFY(python.waitForFinished(30000));
        QCOMPARE(python.readAllStandardOutput().trimmed(), QByteArray("echo signal"));
        QCOMPARE(KeychainService::shared().retrieveAPIKey(AIVendor::openai), std::nullopt);
    }

    // No byte for a minute: the request fails at the transfer time-out.
    void aStalledAnswerFailsAfterAMinute()
    {
        useFakeProvider(AIVendor::openai, QStringLiteral("sk"));
        QVERIFY(m_fake.fail(QStringLiteral("slow:75")));
        const Run run = vellumo({"run", translate}, "x");
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, QByteArray("Network error: The request timed out.\n"));
        QVERIFY2(run.milliseconds >= 59000 && run.milliseconds < 66000,
                 qPrintable(QString::number(run.milliseconds)));
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
