// SPDX-License-Identifier: GPL-3.0-or-later
// The popup's content driven by keys and clicks, against the local HTTPS
// provider and a real keyring.
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
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QtTest>

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

// What the provider receives for a command's part: the base instructions first.
QString expectedPrompt(const QString &commandPart)
{
    return baseInstructions + QStringLiteral("\n\n---\n\n") + commandPart;
}

// The same for one of the default commands, run on the selected text.
QString expectedDefaultPrompt(int index)
{
    return expectedPrompt(
        composeCommandPrompt(CommandStore::defaultCommands().at(index).prompt, selectedText));
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
        return showPopup(*popup) ? std::move(popup) : nullptr;
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

    // Typing goes to the search field. Up and Down are the popup's, even
    // where the highlight stops at an end, and the highlighted row glides to
    // the list's centre. Escape goes on to the window.
    void keyboard()
    {
        QList<std::pair<QString, QString>> many;
        for (int i = 0; i < 80; ++i) {
            many.append({QStringLiteral("Command %1").arg(i), "Prompt {text}"});
        }
        storeCommands(many);
        auto popup = openPopup();
        QVERIFY(popup);
        QLineEdit *line = searchLine(*popup);
        QTRY_COMPARE(QApplication::focusWidget(), line);
        CommandsList *list = popup->view->commandsList();
        QScrollBar *bar = list->verticalScrollBar();
        auto press = [line](Qt::Key key, int times = 1) {
            for (int i = 0; i < times; ++i) {
                QTest::keyClick(line, key);
            }
        };
        auto distanceFromCentre = [list](int row) {
            const QRect rect = list->visualRect(list->model()->index(row, 0));
            return qAbs(rect.center().y() - list->viewport()->height() / 2);
        };

        press(Qt::Key_Up);
        QCOMPARE(popup->view->selectedIndex(), 0);
        QCOMPARE(bar->value(), 0);
        press(Qt::Key_Down, 40);
        QTRY_VERIFY(!list->isScrolling());
        QVERIFY2(distanceFromCentre(40) <= 1, qPrintable(QString::number(distanceFromCentre(40))));
        // The move is animated: right after the key the list has not jumped.
        const int before = bar->value();
        press(Qt::Key_Down);
        QVERIFY(list->isScrolling());
        QCOMPARE(bar->value(), before);
        QTRY_VERIFY(!list->isScrolling());
        QVERIFY(distanceFromCentre(41) <= 1);
        QVERIFY(bar->value() > before);

        // At the last row the highlight and the list stop.
        const int count = int(popup->view->filteredCommands().size());
        QCOMPARE(count, 88);
        press(Qt::Key_Down, count);
        QCOMPARE(popup->view->selectedIndex(), count - 1);
        QCOMPARE(list->selectedIndex(), count - 1);
        QTRY_VERIFY(!list->isScrolling());
        QCOMPARE(bar->value(), bar->maximum());
        QVERIFY(list->viewport()->rect().contains(
            list->visualRect(list->model()->index(count - 1, 0))));
        press(Qt::Key_Up);
        QCOMPARE(popup->view->selectedIndex(), count - 2);

        // Typing resets the highlight to the first row, back at the top.
        QTest::keyClicks(QApplication::focusWidget(), "Command");
        QCOMPARE(popup->view->searchText(), QStringLiteral("Command"));
        QCOMPARE(popup->view->selectedIndex(), 0);
        QTRY_VERIFY(!list->isScrolling());
        QCOMPARE(bar->value(), 0);
        // In a one-row list Down goes nowhere.
        QTest::keyClicks(line, "zzz");
        press(Qt::Key_Down);
        QCOMPARE(popup->view->selectedIndex(), 0);
        QVERIFY(popup->keysPassedOn.isEmpty());

        QSignalSpy escape(popup->view, &ContentView::escapePressed);
        press(Qt::Key_Escape);
        QCOMPARE(escape.count(), 1);
        QCOMPARE(popup->keysPassedOn, QList<int>{Qt::Key_Escape});
        QVERIFY(settledRequests().isEmpty());
    }

    void theHighlightedCommandRunsOnTheDefaultProvider_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("commandPart");
        QTest::newRow("openai, selection kept as captured")
            << AIVendor::openai << int(Qt::Key_Return) << "X {text}" << u"  line one\nline two  "_qs
            << "X   line one\nline two  ";
        QTest::newRow("anthropic, keypad Enter")
            << AIVendor::anthropic << int(Qt::Key_Enter) << "Polish it" << u"abc"_qs
            << "Polish it\n\nText to process: abc";
        QTest::newRow("gemini, empty selection")
            << AIVendor::gemini << int(Qt::Key_Return) << "Fix: {text}" << u""_qs << "Fix: ";
        // A click runs its row without moving the highlight.
        QTest::newRow("openai, a click on the row")
            << AIVendor::openai << 0 << "Y: {text}" << u"abc"_qs << "Y: abc";
    }

    void theHighlightedCommandRunsOnTheDefaultProvider()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(int, key);
        QFETCH(QString, prompt);
        QFETCH(QString, text);
        QFETCH(QString, commandPart);
        m_setup.configure(vendor, apiKey);
        storeCommands({{"Alpha", "Alpha: {text}"}, {"🧪 Probe", prompt}});
        // Blank lines around the answer reach the owner as they are.
        const QString answer = QStringLiteral("\n\nRewritten text.\n\n");
        m_setup.standIn().setAnswer(answer);

        auto popup = openPopup(text);
        QVERIFY(popup);
        QLineEdit *line = searchLine(*popup);
        QSignalSpy returnPressed(line, &QLineEdit::returnPressed);
        CommandsList *list = popup->view->commandsList();
        if (key) {
            QTest::keyClick(line, Qt::Key_Down);
            QTest::keyClick(line, Qt::Key(key));
        } else {
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rowCentre(list, 1));
        }
        QVERIFY(popup->view->isLoading());
        QCOMPARE(popup->view->selectedIndex(), key ? 1 : 0);
        QCOMPARE(list->selectedIndex(), key ? 1 : 0);

        QTRY_COMPARE(popup->answers, QStringList{answer});
        QVERIFY(!popup->view->isLoading());
        QVERIFY(!popup->view->errorMessage().has_value());
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        const FakeProvider::Request &request = requests.first();
        QCOMPARE(request.vendor, AIVendors::rawValue(vendor));
        // The stored key went out, in a header or (Gemini) in the address.
        const QString bearer = QStringLiteral("Bearer ") + apiKey;
        QVERIFY(request.headers.values().contains(apiKey) ||
                request.headers.values().contains(bearer) || request.path.contains(apiKey));
        QCOMPARE(promptSent(request), expectedPrompt(commandPart));
        // Return belongs to the popup, not to the field, which keeps the focus.
        QCOMPARE(returnPressed.count(), 0);
        QVERIFY(popup->calls.isEmpty());
        QCOMPARE(QApplication::focusWidget(), line);
    }

    // A keyring that does not answer never freezes the popup: the key is read
    // off the UI thread, and the popup says why the command did not run.
    void aFrozenKeyringNeverFreezesThePopup()
    {
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
        // The store's time-out is 2 s; a blocked UI thread would show it here.
        QVERIFY2(stalls.longest() < 1000, qPrintable(QString::number(stalls.longest())));
    }

    // The search narrows the list, stored commands first, in any letter
    // case; a search no title matches becomes a one-off command, as typed.
    // Return runs the first row.
    void theSearchNarrowsTheList_data()
    {
        QTest::addColumn<QString>("search");
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QString>("commandPart");
        const QStringList defaults = titles(CommandStore::defaultCommands());
        QTest::newRow("capitals") << "TEXT" << QStringList{"Tidy my text", defaults[0], defaults[1],
                                                           defaults[3],    defaults[4], defaults[6]}
                                  << "Tidy: " + selectedText;
        QTest::newRow("no match") << "Make it rhyme" << QStringList{"💬 Make it rhyme"}
                                  << "Make it rhyme\n\nText to process: " + selectedText;
        QTest::newRow("no match, blanks kept, placeholder filled")
            << " Quote {text} twice " << QStringList{"💬  Quote {text} twice "}
            << " Quote " + selectedText + " twice ";
    }

    void theSearchNarrowsTheList()
    {
        QFETCH(QString, search);
        QFETCH(QStringList, list);
        QFETCH(QString, commandPart);
        storeCommands({{"Tidy my text", "Tidy: {text}"}});
        auto popup = openPopup();
        QVERIFY(popup);
        QTest::keyClicks(searchLine(*popup), search);
        QCOMPARE(popup->view->searchText(), search);
        QCOMPARE(titles(popup->view->commandsList()->commands()), list);
        QCOMPARE(titles(popup->view->filteredCommands()), list);
        QCOMPARE(popup->view->commandsList()->selectedIndex(), 0);
        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QTRY_COMPARE(popup->answers.size(), 1);
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        QCOMPARE(promptSent(requests.first()), expectedPrompt(commandPart));
        // A one-off command is never stored.
        QCOMPARE(titles(CommandStore::loadStoredCommands()), QStringList{"Tidy my text"});
    }

    // While a run is in flight the overlay takes the clicks but the keys
    // still work, and an answer reaches the owner even after the popup is gone.
    void overlayTakesClicksButKeysStillWork()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        auto answers = std::make_shared<QStringList>();
        popup->view->setOnTextReplace(
            [answers](const QString &answer) { answers->append(answer); });
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
        QTRY_COMPARE(answers->size(), 1);
        QVERIFY(!popup->view->isLoading());
        QVERIFY(!overlay->isVisible());
        popup.reset(); // the owner closed and dropped the popup meanwhile
        QTRY_COMPARE_WITH_TIMEOUT(answers->size(), 2, 10000);

        const QList<FakeProvider::Request> requests = settledRequests();
        QCOMPARE(requests.size(), 2);
        // Two connections race to the server, so they may arrive in either order.
        QCOMPARE((QSet<QString>{promptSent(requests[0]), promptSent(requests[1])}),
                 (QSet<QString>{expectedDefaultPrompt(0), expectedDefaultPrompt(1)}));
    }

    // A failed request's sentence shows in the banner, once, and the popup
    // stays usable: typing clears it, and the next run starts without it.
    void aFailureIsShownAndThePopupStaysUsable()
    {
        m_setup.standIn().fail("401");
        auto popup = openPopup();
        QVERIFY(popup);
        ContentView *view = popup->view;
        QLineEdit *line = searchLine(*popup);
        QTest::keyClick(line, Qt::Key_Down);
        QTest::keyClick(line, Qt::Key_Down);
        QTest::keyClick(line, Qt::Key_Return);
        QTRY_VERIFY(!view->isLoading());

        const QString sentence =
            QStringLiteral("Invalid API key. Please check your API key in settings.");
        QCOMPARE(view->errorMessage().value_or(QString()), sentence);
        QVERIFY(view->errorMessageView()->isVisible());
        QCOMPARE(view->errorMessageView()->message(), sentence);
        QVERIFY(!view->loadingOverlay()->isVisible());
        QVERIFY(!view->isShowingNotConfigured());
        QCOMPARE(view->selectedIndex(), 2);
        QVERIFY(popup->answers.isEmpty());
        QVERIFY(popup->calls.isEmpty());
        QCOMPARE(settledRequests().size(), 1);

        QTest::keyClicks(line, "t");
        QVERIFY(!view->errorMessage().has_value());
        QVERIFY(!view->errorMessageView()->isVisible());
        QCOMPARE(view->selectedIndex(), 0);

        // Another failure's sentence takes the banner's place; the next run
        // clears it at its start and succeeds.
        m_setup.standIn().fail("500");
        QTest::keyClick(line, Qt::Key_Return);
        const QString serverError = QStringLiteral("Server error (500). Please try again later.");
        QTRY_COMPARE(view->errorMessage().value_or(QString()), serverError);
        QCOMPARE(view->errorMessageView()->message(), serverError);
        QTest::keyClick(line, Qt::Key_Return);
        QVERIFY(!view->errorMessage().has_value());
        QVERIFY(!view->errorMessageView()->isVisible());
        QTRY_COMPARE(popup->answers.size(), 1);
        QVERIFY(!view->errorMessage().has_value());
        QCOMPARE(m_setup.standIn().requests().size(), 3);
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
            m_setup.configure(AIVendor::anthropic, QStringLiteral("   "));
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

    // The key can go while the popup is open, and come back.
    void keyRemovedAndConfiguredWhileOpen()
    {
        auto popup = openPopup();
        QVERIFY(popup);
        QVERIFY(!popup->view->isShowingNotConfigured());
        QVERIFY(KeychainService::shared().deleteAPIKey(AIVendor::openai));

        QTest::keyClick(searchLine(*popup), Qt::Key_Return);
        QCOMPARE(popup->view->errorMessage().value_or(QString()),
                 QStringLiteral("No valid AI provider configured. Please configure an API key "
                                "in settings."));
        QVERIFY(popup->view->errorMessageView()->isVisible());
        QVERIFY(!popup->view->isLoading());
        QVERIFY(popup->answers.isEmpty());
        QVERIFY(settledRequests().isEmpty());

        // The next rebuild (any typing) finds no provider and shows the panel.
        QTest::keyClicks(searchLine(*popup), "x");
        QVERIFY(popup->view->isShowingNotConfigured());

        // A provider configured meanwhile brings the list back at once.
        QVERIFY(KeychainService::shared().storeAPIKey(apiKey, AIVendor::anthropic));
        m_setup.vendors().setDefaultVendor(AIVendor::anthropic);
        QTRY_VERIFY(!popup->view->isShowingNotConfigured());
        QVERIFY(popup->view->commandsList()->isVisible());
        QTRY_COMPARE(QApplication::focusWidget(), searchLine(*popup));
    }
};

QTEST_MAIN(ContentViewTest)
#include "tst_contentview.moc"
