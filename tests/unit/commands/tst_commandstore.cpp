// SPDX-License-Identifier: GPL-3.0-or-later
#include "AICommand.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "Settings.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QtTest>

using namespace CommandStore;

namespace {

QStringList titles(const QList<AICommand> &commands)
{
    QStringList result;
    for (const AICommand &command : commands) {
        result << command.title;
    }
    return result;
}

QStringList defaultTitles()
{
    return titles(defaultCommands());
}

DefaultsStore &store()
{
    return DefaultsStore::standard();
}

void storeRaw(const QByteArray &bytes)
{
    store().setData(Settings::promptsKey, bytes);
}

QByteArray storedRaw()
{
    return store().data(Settings::promptsKey).value_or(QByteArray());
}

} // namespace

class CommandStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }
    void init() { store().removeAll(); }

    void defaultsAreTheEightBuiltInCommands()
    {
        const QList<AICommand> &defaults = defaultCommands();
        QCOMPARE(defaults.size(), 8);
        QCOMPARE(defaults.at(0).title,
                 QStringLiteral("✍️ Rewrite this text in a different way"));
        QCOMPARE(defaults.at(2).title, QStringLiteral("🇩🇪 Translate to German"));
        QCOMPARE(defaults.at(7).prompt,
                 QStringLiteral("Continue writing from this point, maintaining the same style "
                                "and tone: {text}"));
        QSet<QUuid> ids;
        for (const AICommand &command : defaults) {
            QVERIFY(command.prompt.endsWith(QStringLiteral(": {text}")));
            ids.insert(command.id);
        }
        QCOMPARE(ids.size(), 8);
        // Built once per process: the same ids on every call.
        QCOMPARE(defaultCommands().at(3).id, defaults.at(3).id);
    }

    void defaultIdsDifferBetweenRuns()
    {
        auto idsOfOneRun = [] {
            QProcess process;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert(QStringLiteral("VELLUMO_PRINT_DEFAULT_IDS"), QStringLiteral("1"));
            process.setProcessEnvironment(env);
            process.start(QCoreApplication::applicationFilePath(), {});
            process.waitForFinished(10000);
            return QString::fromUtf8(process.readAllStandardOutput())
                .split(u'\n', Qt::SkipEmptyParts);
        };
        const QStringList first = idsOfOneRun();
        const QStringList second = idsOfOneRun();
        QCOMPARE(first.size(), 8);
        QCOMPARE(second.size(), 8);
        for (int i = 0; i < 8; ++i) {
            QVERIFY(first.at(i) != second.at(i));
        }
    }

    void firstTitleWinsAndStoredCommandsComeFirst()
    {
        const AICommand a(QStringLiteral("Alpha"), QStringLiteral("A {text}"));
        const AICommand b(QStringLiteral("Alpha"), QStringLiteral("B {text}"));
        const AICommand c(defaultCommands().at(1).title, QStringLiteral("my own shortening"));
        saveStoredCommands({a, b, c});

        const QList<AICommand> list = availableCommands(QString());
        QStringList expected{a.title, c.title};
        for (int i : {0, 2, 3, 4, 5, 6, 7}) {
            expected << defaultCommands().at(i).title;
        }
        QCOMPARE(titles(list), expected);
        QCOMPARE(list.at(0), a);
        QCOMPARE(list.at(1), c); // the stored C replaces default 2 at C's position
    }

    void titlesCompareUnderCanonicalEquivalence()
    {
        const QString precomposed = QStringLiteral("Caf\u00e9");
        const QString decomposed = QStringLiteral("Cafe\u0301");
        saveStoredCommands({AICommand(precomposed, QStringLiteral("x")),
                            AICommand(decomposed, QStringLiteral("y"))});
        const QList<AICommand> list = availableCommands(QString());
        QCOMPARE(list.size(), 9);
        QCOMPARE(list.at(0).prompt, QStringLiteral("x"));
        QCOMPARE(availableCommands(QStringLiteral("CAFE\u0301")).size(), 1);
    }

    void searchIsCaseInsensitiveOnTitlesOnly_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("capitals") << QStringLiteral("GERMAN")
                                  << QStringList{QStringLiteral("🇩🇪 Translate to German")};
        QTest::newRow("prompt words are not searched")
            << QStringLiteral("following") << QStringList{};
        QTest::newRow("several matches keep list order")
            << QStringLiteral("THIS TEXT")
            << QStringList{defaultCommands().at(0).title, defaultCommands().at(1).title,
                           defaultCommands().at(3).title, defaultCommands().at(4).title,
                           defaultCommands().at(6).title};
        // The search text is not trimmed: a single blank matches every title.
        QTest::newRow("a blank is a search") << QStringLiteral(" ") << defaultTitles();
        QTest::newRow("trailing blank narrows") << QStringLiteral("German ") << QStringList{};
    }

    void searchIsCaseInsensitiveOnTitlesOnly()
    {
        QFETCH(QString, search);
        QFETCH(QStringList, expected);
        QCOMPARE(titles(availableCommands(search)), expected);
    }

    void addDefaultCommandsAddsOnlyMissingTitles()
    {
        addDefaultCommands();
        QCOMPARE(titles(loadStoredCommands()), defaultTitles());
        // The stored defaults keep the ids they had when copied.
        QCOMPARE(loadStoredCommands().at(5).id, defaultCommands().at(5).id);

        // A second call writes nothing: an equivalent but differently
        // formatted value stays byte for byte.
        const QByteArray pretty =
            QJsonDocument::fromJson(storedRaw()).toJson(QJsonDocument::Indented);
        storeRaw(pretty);
        addDefaultCommands();
        QCOMPARE(storedRaw(), pretty);
    }

    void addDefaultCommandsReaddsAnEditedDefault()
    {
        addDefaultCommands();
        QList<AICommand> stored = loadStoredCommands();
        stored[2].title = QStringLiteral("🇩🇪 translate to german"); // only the case differs
        saveStoredCommands(stored);

        addDefaultCommands();
        const QList<AICommand> after = loadStoredCommands();
        QCOMPARE(after.size(), 9);
        QCOMPARE(after.at(2).title, QStringLiteral("🇩🇪 translate to german"));
        QCOMPARE(after.at(8).title, defaultCommands().at(2).title);
    }

    void absentOrUnreadableValuesBehaveAsEmpty_data()
    {
        QTest::addColumn<QByteArray>("stored"); // null: nothing stored
        QTest::newRow("nothing stored") << QByteArray();
        QByteArray random(4096, '\0');
        QRandomGenerator generator(42);
        for (char &byte : random) {
            byte = static_cast<char>(generator.bounded(256));
        }
        QTest::newRow("random bytes") << random;
        QTest::newRow("invalid JSON") << QByteArray("[{\"id\":");
        QTest::newRow("an object, not a list") << QByteArray("{\"title\":\"x\"}");
        QTest::newRow("title of the wrong type") << QByteArray(
            R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","title":5,"prompt":"p"}])");
        QTest::newRow("missing prompt")
            << QByteArray(R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","title":"t"}])");
        QTest::newRow("id that is no UUID")
            << QByteArray(R"([{"id":"not-a-uuid","title":"t","prompt":"p"}])");
        QTest::newRow("id in braces") << QByteArray(
            R"([{"id":"{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}","title":"t","prompt":"p"}])");
        QTest::newRow("one bad element spoils the list") << QByteArray(
            R"([{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","title":"t","prompt":"p"},)"
            R"({"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E60","title":null,"prompt":"p"}])");
        QTest::newRow("10 MB of text") << QByteArray(10 * 1024 * 1024, 'x');
    }

    void absentOrUnreadableValuesBehaveAsEmpty()
    {
        QFETCH(QByteArray, stored);
        if (!stored.isNull()) {
            storeRaw(stored);
        }
        QVERIFY(loadStoredCommands().isEmpty());
        QCOMPARE(titles(availableCommands(QString())), defaultTitles());
        // Reading never writes the value...
        QCOMPARE(store().data(Settings::promptsKey),
                 stored.isNull() ? std::nullopt : std::optional(stored));
        // ...but adding the defaults replaces it with the eight defaults.
        addDefaultCommands();
        QCOMPARE(titles(loadStoredCommands()), defaultTitles());
    }

    void jsonFormUsesUpperCaseIdsAndReadsEitherCase()
    {
        const AICommand command(
            QUuid::fromString(QStringLiteral("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")),
            QStringLiteral("T"), QStringLiteral("P {text}"));
        saveStoredCommands({command});
        const QJsonArray array = QJsonDocument::fromJson(storedRaw()).array();
        QCOMPARE(array.size(), 1);
        const QJsonObject object = array.at(0).toObject();
        QCOMPARE(object.value(QLatin1String("id")).toString(),
                 QStringLiteral("E621E1F8-C36C-495A-93FC-0C247A3E6E5F"));
        QCOMPARE(object.keys().size(), 3);

        storeRaw(
            R"([{"prompt":"P","title":"T","id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","extra":1}])");
        const QList<AICommand> loaded = loadStoredCommands();
        QCOMPARE(loaded.size(), 1);
        QCOMPARE(loaded.at(0).id, command.id);
    }

    void largeListsRoundTrip()
    {
        QList<AICommand> many;
        for (int i = 0; i < 10000; ++i) {
            many.append(AICommand(QStringLiteral("Command %1").arg(i), QStringLiteral("Do %1")));
        }
        saveStoredCommands(many);
        QCOMPARE(loadStoredCommands(), many);
        QCOMPARE(availableCommands(QString()).size(), 10008);
        QCOMPARE(availableCommands(QStringLiteral("command 9999")).size(), 1);
    }

    void commandEqualityComparesAllFields()
    {
        const AICommand a(QStringLiteral("T"), QStringLiteral("P"));
        AICommand b = a;
        QCOMPARE(a, b);
        QCOMPARE(qHash(a), qHash(b));
        b.prompt = QStringLiteral("Q");
        QVERIFY(a != b);
        QVERIFY(AICommand(QStringLiteral("T"), QStringLiteral("P")).id != a.id);
    }

    void composingTheCommandPrompt_data()
    {
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("placeholder")
            << QStringLiteral("Translate: {text}") << QStringLiteral("Hallo")
            << QStringLiteral("Translate: Hallo");
        QTest::newRow("two placeholders") << QStringLiteral("{text} and {text}")
                                          << QStringLiteral("x") << QStringLiteral("x and x");
        QTest::newRow("placeholder in other case")
            << QStringLiteral("Fix {Text}") << QStringLiteral("abc")
            << QStringLiteral("Fix {Text}\n\nText to process: abc");
        QTest::newRow("no placeholder")
            << QStringLiteral("make it formal") << QStringLiteral(" hi \n")
            << QStringLiteral("make it formal\n\nText to process:  hi \n");
        QTest::newRow("empty text")
            << QStringLiteral("Say: {text}") << QString() << QStringLiteral("Say: ");
        QTest::newRow("text holding the placeholder")
            << QStringLiteral("A {text} B") << QStringLiteral("{text}")
            << QStringLiteral("A {text} B");
    }

    void composingTheCommandPrompt()
    {
        QFETCH(QString, prompt);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(composeCommandPrompt(prompt, text), expected);
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("VELLUMO_PRINT_DEFAULT_IDS")) {
        for (const AICommand &command : defaultCommands()) {
            std::printf("%s\n", qPrintable(command.id.toString()));
        }
        return 0;
    }
    CommandStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_commandstore.moc"
