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
        QCOMPARE(defaults.at(0).title, u"✍️ Rewrite this text in a different way"_qs);
        QCOMPARE(defaults.at(2).title, u"🇩🇪 Translate to German"_qs);
        QCOMPARE(defaults.at(7).prompt,
                 QStringLiteral("Continue writing from this point, maintaining the same style "
                                "and tone: {text}"));
        QSet<QUuid> ids;
        for (const AICommand &command : defaults) {
            QVERIFY(command.prompt.endsWith(u": {text}"_qs));
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
            env.insert(u"VELLUMO_PRINT_DEFAULT_IDS"_qs, u"1"_qs);
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
        const AICommand a(u"Alpha"_qs, u"A {text}"_qs);
        const AICommand b(u"Alpha"_qs, u"B {text}"_qs);
        const AICommand c(defaultCommands().at(1).title, u"my own shortening"_qs);
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
        const QString precomposed = u"Caf\u00e9"_qs;
        const QString decomposed = u"Cafe\u0301"_qs;
        saveStoredCommands({AICommand(precomposed, u"x"_qs), AICommand(decomposed, u"y"_qs)});
        const QList<AICommand> list = availableCommands(QString());
        QCOMPARE(list.size(), 9);
        QCOMPARE(list.at(0).prompt, u"x"_qs);
        QCOMPARE(availableCommands(u"CAFE\u0301"_qs).size(), 1);
    }

    void searchIsCaseInsensitiveOnTitlesOnly_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("capitals") << u"GERMAN"_qs << QStringList{u"🇩🇪 Translate to German"_qs};
        QTest::newRow("prompt words are not searched") << u"following"_qs << QStringList{};
        QTest::newRow("several matches keep list order")
            << u"THIS TEXT"_qs
            << QStringList{defaultCommands().at(0).title, defaultCommands().at(1).title,
                           defaultCommands().at(3).title, defaultCommands().at(4).title,
                           defaultCommands().at(6).title};
        // The search text is not trimmed: a single blank matches every title.
        QTest::newRow("a blank is a search") << u" "_qs << defaultTitles();
        QTest::newRow("trailing blank narrows") << u"German "_qs << QStringList{};
    }

    void searchIsCaseInsensitiveOnTitlesOnly()
    {
        QFETCH(QString, search);
        QFETCH(QStringList, expected);
        QCOMPARE(titles(availableCommands(search)), expected);
    }

    // Adding the defaults adds only titles that are missing; a title whose
    // letter case was changed no longer counts as the default's.
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

        QList<AICommand> stored = loadStoredCommands();
        stored[2].title = u"🇩🇪 translate to german"_qs;
        saveStoredCommands(stored);
        addDefaultCommands();
        const QList<AICommand> after = loadStoredCommands();
        QCOMPARE(after.size(), 9);
        QCOMPARE(after.at(2).title, u"🇩🇪 translate to german"_qs);
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
        const AICommand command(QUuid::fromString(u"e621e1f8-c36c-495a-93fc-0c247a3e6e5f"_qs),
                                u"T"_qs, u"P {text}"_qs);
        saveStoredCommands({command});
        const QJsonArray array = QJsonDocument::fromJson(storedRaw()).array();
        QCOMPARE(array.size(), 1);
        const QJsonObject object = array.at(0).toObject();
        QCOMPARE(object.value(QLatin1String("id")).toString(),
                 u"E621E1F8-C36C-495A-93FC-0C247A3E6E5F"_qs);
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
            many.append(AICommand(u"Command %1"_qs.arg(i), u"Do %1"_qs));
        }
        saveStoredCommands(many);
        QCOMPARE(loadStoredCommands(), many);
        QCOMPARE(availableCommands(QString()).size(), 10008);
        QCOMPARE(availableCommands(u"command 9999"_qs).size(), 1);
    }

    void composingTheCommandPrompt_data()
    {
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("placeholder")
            << u"Translate: {text}"_qs << u"Hallo"_qs << u"Translate: Hallo"_qs;
        QTest::newRow("two placeholders") << u"{text} and {text}"_qs << u"x"_qs << u"x and x"_qs;
        QTest::newRow("placeholder in other case")
            << u"Fix {Text}"_qs << u"abc"_qs << u"Fix {Text}\n\nText to process: abc"_qs;
        QTest::newRow("no placeholder") << u"make it formal"_qs << u" hi \n"_qs
                                        << u"make it formal\n\nText to process:  hi \n"_qs;
        QTest::newRow("empty text") << u"Say: {text}"_qs << QString() << u"Say: "_qs;
        QTest::newRow("text holding the placeholder")
            << u"A {text} B"_qs << u"{text}"_qs << u"A {text} B"_qs;
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
