// The popup's content driven by keys and clicks, against the local HTTPS
// provider and a real keyring.
#include "APIError.h"
#include "BaseInstructionsService.h"
#include "CommandStore.h"
#include "CommandsList.h"
#include "ContentView.h"
#include "DefaultsStore.h"
#include "ErrorMessageView.h"
#include "KeychainService.h"
#include "LoadingOverlay.h"
#include "NotConfiguredView.h"
#include "PopupHarness.h"
#include "SearchField.h"
#include "TestSupport.h"
#include "VendorManager.h"

#include <QApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QtTest>
#include <stdexcept>

namespace {

const QString apiKey = QStringLiteral("sk-popup-test-key");
const QString baseInstructions = QStringLiteral("Reply with the result only.");
const QString selectedText = QStringLiteral("The quick brown fox.");

QStringList titles(const QList<AICommand> &commands)
{
    QStringList result;
    for (const AICommand &command : commands) {
        result << command.title;
    }
    return result;
}

QString promptSent(const FakeProvider::Request &request)
{
    const QJsonObject body = request.json();
    if (request.vendor == "openai") {
        return body["messages"].toArray().last()["content"].toString();
    }
    if (request.vendor == "anthropic") {
        return body["messages"].toArray().last()["content"].toArray().first()["text"].toString();
    }
    return body["contents"].toArray().last()["parts"].toArray().first()["text"].toString();
}

QString expectedPrompt(const QString &commandPart)
{
    return baseInstructions + QStringLiteral("\n\n---\n\n") + commandPart;
}

void storeCommands(const QList<std::pair<QString, QString>> &titleAndPrompt)
{
    QList<AICommand> commands;
    for (const auto &[title, prompt] : titleAndPrompt) {
        commands.append(AICommand(title, prompt));
    }
    CommandStore::saveStoredCommands(commands);
}

QLineEdit *searchLine(PopupWindow &popup)
{
    return popup.view->searchField()->lineEdit();
}

QPoint rowCentre(CommandsList *list, int row)
{
    return list->visualRect(list->model()->index(row, 0)).center();
}

} // namespace

class ContentViewTest : public QObject {
    Q_OBJECT

private:
    ProviderSetup m_setup;

    std::unique_ptr<PopupWindow> openPopup(const QString &text = selectedText)
    {
        auto popup = std::make_unique<PopupWindow>(text, m_setup.vendors());
        if (!showPopup(*popup)) {
            return nullptr;
        }
        return popup;
    }

    // Requests that reached the provider after a short grace period, so a
    // request that should not exist has had the time to arrive.
    QList<FakeProvider::Request> settledRequests()
    {
        QTest::qWait(300);
        return m_setup.standIn().requests();
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        quietOffscreenWarnings();
        QString error;
        QVERIFY2(m_setup.start(&error), qPrintable(error));
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        BaseInstructionsService::shared().setBaseInstructions(baseInstructions);
        m_setup.reset();
        m_setup.configure(AIVendor::openai, apiKey);
    }

    void cleanupTestCase() { ProviderSetup::removeAllKeys(); }

    void searchFieldHasFocusAndEscapeGoesToTheWindow()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        QTRY_COMPARE(QApplication::focusWidget(), searchLine(*popup));
        QTest::keyClicks(QApplication::focusWidget(), "ger");
        QCOMPARE(popup->view->searchText(), QStringLiteral("ger"));

        QSignalSpy escape(popup->view, &ContentView::escapePressed);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QCOMPARE(escape.count(), 1);
        QCOMPARE(popup->keysPassedOn, QList<int>{Qt::Key_Escape});
    }

    void listFollowsTheSearch_data()
    {
        QTest::addColumn<QStringList>("stored");
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("expected");

        const QStringList defaults = titles(CommandStore::defaultCommands());
        QTest::newRow("empty search: stored first, then defaults")
            << QStringList{"Tidy my text", "🇩🇪 Translate to German"} << QString()
            << QStringList{"Tidy my text", "🇩🇪 Translate to German",
                           defaults[0],    defaults[1],
                           defaults[3],    defaults[4],
                           defaults[5],    defaults[6],
                           defaults[7]};
        QTest::newRow("capitals match any letter case, in list order")
            << QStringList{"Tidy my text"} << "TEXT"
            << QStringList{"Tidy my text", defaults[0], defaults[1],
                           defaults[3],    defaults[4], defaults[6]};
        QTest::newRow("leading blank is part of the search")
            << QStringList() << " German" << QStringList{defaults[2]};
        QTest::newRow("trailing blank is not trimmed away")
            << QStringList() << "German " << QStringList{"💬 German "};
        QTest::newRow("text only in prompts gives the one-off command")
            << QStringList() << "maintaining" << QStringList{"💬 maintaining"};
        QTest::newRow("no match gives the one-off command")
            << QStringList() << "Make it rhyme" << QStringList{"💬 Make it rhyme"};
    }

    void listFollowsTheSearch()
    {
        QFETCH(QStringList, stored);
        QFETCH(QString, search);
        QFETCH(QStringList, expected);
        QList<std::pair<QString, QString>> commands;
        for (const QString &title : stored) {
            commands.append({title, "Do it: {text}"});
        }
        storeCommands(commands);

        auto popup = openPopup();
        QVERIFY(popup);
        QTest::keyClicks(searchLine(*popup), search);
        QCOMPARE(popup->view->searchText(), search);
        QCOMPARE(titles(popup->view->commandsList()->commands()), expected);
        QCOMPARE(titles(popup->view->filteredCommands()), expected);
        QCOMPARE(popup->view->selectedIndex(), 0);
        QCOMPARE(popup->view->commandsList()->selectedIndex(), 0);
    }

    void highlightStopsAtTheEnds()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        QLineEdit *line = searchLine(*popup);
        const int count = int(popup->view->filteredCommands().size());
        QCOMPARE(count, 8);

        QTest::keyClick(line, Qt::Key_Up);
        QCOMPARE(popup->view->selectedIndex(), 0);
        for (int i = 0; i < count + 3; ++i) {
            QTest::keyClick(line, Qt::Key_Down);
        }
        QCOMPARE(popup->view->selectedIndex(), count - 1);
        QCOMPARE(popup->view->commandsList()->selectedIndex(), count - 1);
        QTest::keyClick(line, Qt::Key_Up);
        QCOMPARE(popup->view->selectedIndex(), count - 2);

        // A one-row list: Down has nowhere to go.
        QTest::keyClicks(line, "zzz");
        QCOMPARE(popup->view->selectedIndex(), 0);
        QTest::keyClick(line, Qt::Key_Down);
        QCOMPARE(popup->view->selectedIndex(), 0);

        // The keys were consumed even where they changed nothing.
        QVERIFY(popup->keysPassedOn.isEmpty());
        QCOMPARE(popup->view->searchText(), QStringLiteral("zzz"));
        QVERIFY(settledRequests().isEmpty());
    }

    void returnRunsTheHighlightedCommand_data()
    {
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("commandPart");

        QTest::newRow("two placeholders") << "Compare {text} with {text}"
                                          << "abc"
                                          << "Compare abc with abc";
        QTest::newRow("placeholder in other letter case") << "Say {Text}"
                                                          << "abc"
                                                          << "Say {Text}\n\nText to process: abc";
        QTest::newRow("no placeholder") << "Polish it"
                                        << "abc"
                                        << "Polish it\n\nText to process: abc";
        QTest::newRow("empty selection") << "Fix: {text}"
                                         << ""
                                         << "Fix: ";
        QTest::newRow("text kept as captured") << "X {text}"
                                               << "  line one\nline two  "
                                               << "X   line one\nline two  ";
    }

    void returnRunsTheHighlightedCommand()
    {
        QFETCH(QString, prompt);
        QFETCH(QString, text);
        QFETCH(QString, commandPart);
        storeCommands({{"Alpha", "Alpha: {text}"}, {"🧪 Probe", prompt}});
        // Blank lines around the answer reach the owner as they are.
        const QString answer = QStringLiteral("\n\nRewritten text.\n\n");
        m_setup.standIn().setAnswer(answer);

        auto popup = openPopup(text);
        QVERIFY(popup);
        QSignalSpy returnPressed(searchLine(*popup), &QLineEdit::returnPressed);
        QTest::keyClick(searchLine(*popup), Qt::Key_Down);
        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QVERIFY(popup->view->isLoading());

        QTRY_COMPARE(popup->answers, QStringList{answer});
        QVERIFY(!popup->view->isLoading());
        QVERIFY(!popup->view->errorMessage().has_value());
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        const FakeProvider::Request &request = requests.first();
        QCOMPARE(request.vendor, QStringLiteral("openai"));
        QCOMPARE(request.headers.value("authorization"), "Bearer " + apiKey);
        QCOMPARE(promptSent(request), expectedPrompt(commandPart));
        // Return belongs to the popup, not to the field.
        QCOMPARE(returnPressed.count(), 0);
        QVERIFY(popup->calls.isEmpty());
    }

    void runGoesToTheDefaultProvider_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::newRow("openai") << AIVendor::openai;
        QTest::newRow("anthropic") << AIVendor::anthropic;
        QTest::newRow("gemini") << AIVendor::gemini;
    }

    void runGoesToTheDefaultProvider()
    {
        QFETCH(AIVendor, vendor);
        m_setup.configure(vendor, apiKey);
        auto popup = openPopup();
        QVERIFY(popup);
        QTest::keyClick(searchLine(*popup), Qt::Key_Enter); // the keypad's Enter
        QTRY_COMPARE(popup->answers.size(), 1);
        const QString raw = AIVendors::rawValue(vendor);
        const QString sent =
            composeCommandPrompt(CommandStore::defaultCommands().first().prompt, selectedText);
        QCOMPARE(popup->answers.first(), "Answer from fake " + raw + ": " + sent);
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(requests.first().vendor, raw);
        QCOMPARE(promptSent(requests.first()), expectedPrompt(sent));
    }

    // A keyring that does not answer never freezes the popup: the key is read
    // off the UI thread, and the popup says why the command did not run.
    void aFrozenKeyringNeverFreezesThePopup()
    {
        m_setup.configure(AIVendor::openai, apiKey);
        QVERIFY(TestSupport::freezeKeyring(true));
        auto thaw = qScopeGuard([] { TestSupport::freezeKeyring(false); });
        TestSupport::StallWatch stalls;
        auto popup = openPopup();
        QVERIFY(popup);
        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QTRY_VERIFY_WITH_TIMEOUT(popup->view->errorMessage().has_value(), 10000);
        stalls.stop();
        QVERIFY2(popup->view->errorMessage()->startsWith(u"The keyring is not answering"_qs),
                 qPrintable(*popup->view->errorMessage()));
        QVERIFY(popup->answers.isEmpty());
        QVERIFY(m_setup.standIn().requests().isEmpty());
        qInfo("longest UI stall with a frozen keyring: %lld ms (the reason shown after %lld ms)",
              stalls.longest(), stalls.elapsed());
        // The store's time-out is 2 s; a blocked UI thread would show it here.
        QVERIFY2(stalls.longest() < 1000, qPrintable(QString::number(stalls.longest())));
    }

    void clickRunsTheClickedRowWithoutMovingTheHighlight()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        CommandsList *list = popup->view->commandsList();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rowCentre(list, 3));
        QCOMPARE(popup->view->selectedIndex(), 0);
        QCOMPARE(list->selectedIndex(), 0);
        QTRY_COMPARE(popup->answers.size(), 1);
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        const AICommand fourth = CommandStore::defaultCommands().at(3);
        QCOMPARE(promptSent(requests.first()),
                 expectedPrompt(composeCommandPrompt(fourth.prompt, selectedText)));
        // Focus stays in the search field after a click on the list.
        QCOMPARE(QApplication::focusWidget(), searchLine(*popup));
    }

    void oneOffCommandRunsTheSearchText_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QString>("commandPart");
        QTest::newRow("plain instruction") << "Make it rhyme"
                                           << "Make it rhyme\n\nText to process: " + selectedText;
        QTest::newRow("instruction with placeholder") << "Quote {text} twice"
                                                      << "Quote " + selectedText + " twice";
    }

    void oneOffCommandRunsTheSearchText()
    {
        QFETCH(QString, search);
        QFETCH(QString, commandPart);
        auto popup = openPopup();
        QVERIFY(popup);
        QTest::keyClicks(searchLine(*popup), search);
        QCOMPARE(titles(popup->view->commandsList()->commands()),
                 QStringList{QStringLiteral("💬 ") + search});
        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QTRY_COMPARE(popup->answers.size(), 1);
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(promptSent(requests.first()), expectedPrompt(commandPart));
        // The one-off command is never stored.
        QVERIFY(CommandStore::loadStoredCommands().isEmpty());
    }

    void overlayTakesClicksButKeysStillWork()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        m_setup.standIn().fail("slow:1.5");
        QLineEdit *line = searchLine(*popup);
        QTest::keyClick(line, Qt::Key_Return);

        LoadingOverlay *overlay = popup->view->loadingOverlay();
        QVERIFY(popup->view->isLoading());
        QVERIFY(overlay->isVisible());
        QVERIFY(overlay->isSpinning());
        QCOMPARE(overlay->text(), QStringLiteral("Processing..."));

        // A click aimed at a row lands on the overlay and runs nothing.
        CommandsList *list = popup->view->commandsList();
        const QPoint inWindow = list->viewport()->mapTo(popup.get(), rowCentre(list, 2));
        QWidget *hit = popup->childAt(inWindow);
        QVERIFY(hit == overlay || overlay->isAncestorOf(hit));
        QTest::mouseClick(hit, Qt::LeftButton, {}, hit->mapFrom(popup.get(), inWindow));

        // Keys still reach the popup: the highlight moves, and Return starts
        // a second run while the first is in flight.
        QTest::keyClick(line, Qt::Key_Down);
        QCOMPARE(popup->view->selectedIndex(), 1);
        QTest::keyClick(line, Qt::Key_Return);

        // The second (quick) run finishes first and hides the overlay.
        QTRY_COMPARE(popup->answers.size(), 1);
        QVERIFY(!popup->view->isLoading());
        QVERIFY(!overlay->isVisible());
        QTRY_COMPARE_WITH_TIMEOUT(popup->answers.size(), 2, 10000);

        const QList<FakeProvider::Request> requests = settledRequests();
        QCOMPARE(requests.size(), 2);
        const QList<AICommand> &defaults = CommandStore::defaultCommands();
        QCOMPARE(promptSent(requests[0]),
                 expectedPrompt(composeCommandPrompt(defaults[0].prompt, selectedText)));
        QCOMPARE(promptSent(requests[1]),
                 expectedPrompt(composeCommandPrompt(defaults[1].prompt, selectedText)));
    }

    void answerAfterThePopupIsGoneStillReachesTheOwner()
    {
        auto answers = std::make_shared<QStringList>();
        auto popup = openPopup();
        QVERIFY(popup);
        popup->view->setOnTextReplace(
            [answers](const QString &answer) { answers->append(answer); });
        m_setup.standIn().setAnswer(QStringLiteral("late answer"));
        m_setup.standIn().fail("slow:0.5");
        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QVERIFY(popup->view->isLoading());
        popup.reset(); // the owner closed and dropped the popup meanwhile

        QTRY_COMPARE(*answers, QStringList{QStringLiteral("late answer")});
    }

    void failuresShowTheirSentence_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("sentence");
        QTest::addColumn<bool>("prefixOnly");

        QTest::newRow("401") << "401" << QString()
                             << "Invalid API key. Please check your API key in settings." << false;
        QTest::newRow("403") << "403" << QString()
                             << "API key doesn't have permission for this operation." << false;
        QTest::newRow("429") << "429" << QString() << "Rate limit exceeded. Please try again later."
                             << false;
        QTest::newRow("500") << "500" << QString() << "Server error (500). Please try again later."
                             << false;
        QTest::newRow("503") << "503" << QString() << "Server error (503). Please try again later."
                             << false;
        QTest::newRow("529") << "529" << QString() << "Server error (529). Please try again later."
                             << false;
        QTest::newRow("404") << "404" << QString() << "HTTP error: 404" << false;
        QTest::newRow("201") << "201" << QString() << "HTTP error: 201" << false;
        QTest::newRow("empty answer list")
            << "empty" << QString() << "No content received from API." << false;
        QTest::newRow("body not JSON") << "nonjson" << QString() << "Network error: " << true;
        QTest::newRow("connection dropped") << "drop" << QString() << "Network error: " << true;
        QTest::newRow("host with a blank")
            << QString() << "bad host"
            << "Invalid API URL. Please check your host and path settings." << false;
    }

    void failuresShowTheirSentence()
    {
        QFETCH(QString, failure);
        QFETCH(QString, host);
        QFETCH(QString, sentence);
        QFETCH(bool, prefixOnly);
        if (!host.isNull()) {
            m_setup.configure(AIVendor::openai, apiKey, host);
        }
        if (!failure.isNull()) {
            // Qt's HTTP layer re-sends a request whose connection closed
            // before any answer (four attempts in all); drop every one.
            m_setup.standIn().fail(failure, failure == "drop" ? 10 : 1);
        }
        auto popup = openPopup();
        QVERIFY(popup);
        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QTRY_VERIFY(!popup->view->isLoading());

        const std::optional<QString> shown = popup->view->errorMessage();
        QVERIFY(shown.has_value());
        if (prefixOnly) {
            QVERIFY2(shown->startsWith(sentence) && shown->size() > sentence.size(),
                     qPrintable(*shown));
        } else {
            QCOMPARE(*shown, sentence);
        }
        ErrorMessageView *banner = popup->view->errorMessageView();
        QVERIFY(banner->isVisible());
        QCOMPARE(banner->message(), *shown);
        QVERIFY(!shown->contains(apiKey));
        QVERIFY(!popup->view->loadingOverlay()->isVisible());
        QVERIFY(popup->answers.isEmpty());
        QVERIFY(popup->calls.isEmpty());
        QVERIFY(!popup->view->isShowingNotConfigured());
        const qsizetype requests = settledRequests().size();
        if (failure == "drop") {
            QVERIFY(requests >= 1);
        } else {
            QCOMPARE(requests, host.isNull() ? 1 : 0);
        }
    }

    // Failures the stand-in cannot provoke, mapped by the same function the
    // popup uses.
    void otherFailuresShowTheirSentence_data()
    {
        QTest::addColumn<std::exception_ptr>("failure");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("invalid response") << std::make_exception_ptr(APIError::invalidResponse())
                                          << "Invalid response from API server.";
        QTest::newRow("encoding") << std::make_exception_ptr(APIError::encodingError())
                                  << "Failed to encode request. Please try again.";
        QTest::newRow("not an APIError")
            << std::make_exception_ptr(std::runtime_error("disk on fire")) << "Error: disk on fire";
    }

    void otherFailuresShowTheirSentence()
    {
        QFETCH(std::exception_ptr, failure);
        QFETCH(QString, sentence);
        QCOMPARE(errorText(failure), sentence);
    }

    void typingClearsTheErrorAndResetsTheHighlight()
    {
        m_setup.standIn().fail("429");
        auto popup = openPopup();
        QVERIFY(popup);
        QLineEdit *line = searchLine(*popup);
        QTest::keyClick(line, Qt::Key_Down);
        QTest::keyClick(line, Qt::Key_Down);
        QTest::keyClick(line, Qt::Key_Return);
        QTRY_VERIFY(popup->view->errorMessage().has_value());
        QCOMPARE(popup->view->selectedIndex(), 2);

        QTest::keyClicks(line, "t");
        QVERIFY(!popup->view->errorMessage().has_value());
        QVERIFY(!popup->view->errorMessageView()->isVisible());
        QCOMPARE(popup->view->selectedIndex(), 0);

        // A new run clears a shown error at its start and succeeds.
        m_setup.standIn().fail("500");
        QTest::keyClick(line, Qt::Key_Return);
        QTRY_COMPARE(*popup->view->errorMessage(),
                     QStringLiteral("Server error (500). Please try again later."));
        QTest::keyClick(line, Qt::Key_Return);
        QVERIFY(!popup->view->errorMessage().has_value());
        QTRY_COMPARE(popup->answers.size(), 1);
        QVERIFY(!popup->view->errorMessage().has_value());
    }

    void notConfiguredPanel_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::newRow("no provider has a key") << "none";
        QTest::newRow("key is only blanks") << "blank";
        QTest::newRow("default provider has no key, another has") << "other";
    }

    void notConfiguredPanel()
    {
        QFETCH(QString, situation);
        if (situation == "none") {
            QVERIFY(!m_setup.configureNone().defaultVendor().has_value());
        } else if (situation == "blank") {
            m_setup.configure(AIVendor::anthropic, QStringLiteral(" \n\t "));
        } else {
            m_setup.configure(AIVendor::gemini, apiKey);
            m_setup.vendors().setDefaultVendor(AIVendor::openai);
        }
        auto popup = openPopup();
        QVERIFY(popup);
        ContentView *view = popup->view;
        QVERIFY(!view->providerReady());
        QVERIFY(view->isShowingNotConfigured());
        QVERIFY(view->notConfiguredView()->isVisible());
        QVERIFY(!view->searchField()->isVisible());
        QVERIFY(!view->commandsList()->isVisible());
        QStringList texts;
        for (QLabel *label : view->notConfiguredView()->findChildren<QLabel *>()) {
            texts << label->text();
        }
        QCOMPARE(texts, (QStringList{"AI Provider Not Configured",
                                     "Please configure an AI provider API key to use "
                                     "Vellumo commands."}));
        QPushButton *button = view->notConfiguredView()->openSettingsButton();
        QCOMPARE(button->text(), QStringLiteral("Open Settings"));

        // Plain Return and the arrows do nothing here.
        QWidget *focus = QApplication::focusWidget();
        QVERIFY(focus == view || view->isAncestorOf(focus));
        QTest::keyClick(focus, Qt::Key_Return);
        QTest::keyClick(focus, Qt::Key_Down);
        QVERIFY(popup->calls.isEmpty());

        QTest::keyClick(focus, Qt::Key_Return, Qt::ControlModifier);
        QCOMPARE(popup->calls, (QStringList{"openSettings", "close"}));
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(popup->calls, (QStringList{"openSettings", "close", "openSettings", "close"}));
        QVERIFY(settledRequests().isEmpty());
    }

    void keyRemovedBetweenDisplayAndReturn()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        QVERIFY(!popup->view->isShowingNotConfigured());
        QVERIFY(KeychainService::shared().deleteAPIKey(AIVendor::openai));

        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QCOMPARE(popup->view->errorMessage().value_or(QString()), ContentView::noProviderMessage);
        QCOMPARE(ContentView::noProviderMessage,
                 QStringLiteral("No valid AI provider configured. Please configure an API key "
                                "in settings."));
        QVERIFY(popup->view->errorMessageView()->isVisible());
        QVERIFY(!popup->view->isLoading());
        QVERIFY(popup->answers.isEmpty());
        QVERIFY(settledRequests().isEmpty());

        // The next rebuild (any typing) finds no provider and shows the panel.
        QTest::keyClicks(searchLine(*popup), "x");
        QVERIFY(popup->view->isShowingNotConfigured());
    }

    void keyConfiguredWhileOpenShowsTheList()
    {
        m_setup.configureNone();
        auto popup = openPopup();
        QVERIFY(popup);
        QVERIFY(popup->view->isShowingNotConfigured());

        QVERIFY(KeychainService::shared().storeAPIKey(apiKey, AIVendor::anthropic));
        m_setup.vendors().setDefaultVendor(AIVendor::anthropic);
        QTRY_VERIFY(!popup->view->isShowingNotConfigured());
        QVERIFY(popup->view->commandsList()->isVisible());
        QTRY_COMPARE(QApplication::focusWidget(), searchLine(*popup));
    }

    void highlightedRowGlidesToTheCentre()
    {
        QList<std::pair<QString, QString>> many;
        for (int i = 0; i < 80; ++i) {
            many.append({QStringLiteral("Command %1").arg(i), "Prompt {text}"});
        }
        storeCommands(many);
        auto popup = openPopup();
        QVERIFY(popup);
        CommandsList *list = popup->view->commandsList();
        QScrollBar *bar = list->verticalScrollBar();
        QLineEdit *line = searchLine(*popup);
        QCOMPARE(bar->value(), 0);

        auto distanceFromCentre = [&](int row) {
            const QRect rect = list->visualRect(list->model()->index(row, 0));
            return qAbs(rect.center().y() - list->viewport()->height() / 2);
        };

        for (int i = 0; i < 40; ++i) {
            QTest::keyClick(line, Qt::Key_Down);
        }
        QTRY_VERIFY(!list->isScrolling());
        QVERIFY2(distanceFromCentre(40) <= 1, qPrintable(QString::number(distanceFromCentre(40))));

        // The move is animated: right after the key the list has not jumped.
        const int before = bar->value();
        QTest::keyClick(line, Qt::Key_Down);
        QVERIFY(list->isScrolling());
        QCOMPARE(bar->value(), before);
        QTRY_VERIFY(!list->isScrolling());
        QVERIFY(distanceFromCentre(41) <= 1);
        QVERIFY(bar->value() > before);

        // At the ends the list stops at its scroll limits.
        const int total = int(popup->view->filteredCommands().size());
        for (int i = 0; i < total; ++i) {
            QTest::keyClick(line, Qt::Key_Down);
        }
        QTRY_VERIFY(!list->isScrolling());
        QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(list->viewport()->rect().contains(
            list->visualRect(list->model()->index(total - 1, 0))));

        // Typing resets the highlight to the first row, back at the top.
        QTest::keyClicks(line, "Command");
        QTRY_VERIFY(!list->isScrolling());
        QCOMPARE(bar->value(), 0);
    }
};

QTEST_MAIN(ContentViewTest)
#include "tst_contentview.moc"
