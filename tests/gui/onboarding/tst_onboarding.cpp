// SPDX-License-Identifier: GPL-3.0-or-later
// The first-start guide offscreen, against a real keyring and the local
// stand-in provider.
#include "AccessibilityStepView.h"
#include "ApiKeyField.h"
#include "Await.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "OnboardingProgressView.h"
#include "OnboardingStyle.h"
#include "OnboardingWindowManager.h"
#include "PromptsStepView.h"
#include "Settings.h"
#include "TestSupport.h"
#include "TryItStepView.h"
#include "VendorConfig.h"
#include "VendorManager.h"
#include "VendorStepView.h"
#include "WidgetTestSupport.h"

#include <QButtonGroup>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QtTest>
#include <memory>

Q_DECLARE_METATYPE(OnboardingStep)
Q_DECLARE_METATYPE(AIVendor)

namespace {

KeychainService &keys()
{
    return KeychainService::shared();
}

// The session's accessibility as the guide sees it.
struct FakeTrust {
    bool granted = true;
    int prompts = 0;
};

// Where the guide asks the desktop to open a link.
class Browser : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public Q_SLOTS:
    void open(const QUrl &url) { opened.append(url); }
};

bool near(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) <= 12 && std::abs(a.green() - b.green()) <= 12 &&
           std::abs(a.blue() - b.blue()) <= 12;
}

} // namespace

class OnboardingTest : public QObject {
    Q_OBJECT

    FakeProvider m_fake;
    FakeTrust m_trust;
    int m_hooks = 0;
    std::unique_ptr<VendorManager> m_vendors;
    std::unique_ptr<OnboardingWindowManager> m_guide;

    OnboardingView *open()
    {
        if (!m_guide) {
            const auto trusted = [this](bool prompt) {
                m_trust.prompts += prompt ? 1 : 0;
                return m_trust.granted;
            };
            m_guide = std::make_unique<OnboardingWindowManager>(
                OnboardingView::Services{trusted, *m_vendors, keys(), [this] { ++m_hooks; }});
        }
        m_guide->showOnboarding();
        QWidget *window = m_guide->onboardingWindow();
        if (!window || !QTest::qWaitForWindowActive(window)) {
            qWarning("the guide's window did not become active");
        }
        return m_guide->view();
    }

    static void pressNext(OnboardingView *view)
    {
        QTest::keyClick(view->window(), Qt::Key_Return, Qt::ControlModifier);
    }

    static void pressPrevious(OnboardingView *view)
    {
        QTest::keyClick(view->window(), Qt::Key_BracketLeft, Qt::ControlModifier);
    }

    // Walks on from the welcome step with every gate open.
    static bool walkTo(OnboardingView *view, OnboardingStep step)
    {
        while (view->currentStep() != step) {
            const OnboardingStep before = view->currentStep();
            pressNext(view);
            if (view->currentStep() == before) {
                return false;
            }
        }
        return true;
    }

    // A key stored for the provider, which the manager takes as its default.
    void storeValidKey(AIVendor vendor)
    {
        QVERIFY(keys().storeAPIKey(QStringLiteral("sk-stored"), vendor));
        QVERIFY(keys().refreshPresenceNow());
        m_vendors->setDefaultVendor(vendor);
    }

    static OnboardingVendorFormView *typeKey(VendorStepView *step, AIVendor vendor,
                                             const QString &key)
    {
        QTest::mouseClick(step->picker()->button(int(vendor)), Qt::LeftButton);
        OnboardingVendorFormView *form = step->form();
        QLineEdit *field = form->keyField()->lineEdit();
        field->setFocus();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, key);
        return form;
    }

    // The key in the store once what was typed is written.
    static QString storedKey(OnboardingVendorFormView *form)
    {
        std::optional<QString> stored;
        form->keyField()->withStoredKey(form, [&stored](const QString &key) { stored = key; });
        if (!QTest::qWaitFor([&stored] { return stored.has_value(); }, 10000)) {
            return QStringLiteral("<not written>");
        }
        return *stored;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        TestSupport::quietOffscreenWarnings();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(keys().deleteAPIKey(vendor));
        }
        QVERIFY(keys().refreshPresenceNow());
        QVERIFY(m_fake.clear());
        QVERIFY(m_fake.setKey(std::nullopt));
        m_trust = FakeTrust{};
        m_hooks = 0;
        m_vendors = std::make_unique<VendorManager>();
        for (AIVendor vendor : AIVendors::allCases()) {
            VendorConfig config = m_vendors->configuration(vendor);
            config.apiHost = m_fake.host();
            m_vendors->updateConfiguration(vendor, config);
        }
    }

    void cleanup()
    {
        m_guide.reset();
        m_vendors.reset();
        // Key writes still queued land before the next test starts.
        QVERIFY(TestSupport::finishes(keys().keyForRequest(AIVendor::openai), 30000));
    }

    // Next and Previous, by key and by button, from each step; Next stays
    // where it is when the step's condition is not met, and its button says so.
    void nextIsGatedOnEachStep_data()
    {
        QTest::addColumn<OnboardingStep>("step");
        QTest::addColumn<bool>("granted");
        QTest::addColumn<bool>("keyStored");
        QTest::addColumn<OnboardingStep>("after"); // step after Next
        QTest::addColumn<QString>("title");        // the Next button's
        using S = OnboardingStep;
        QTest::addRow("welcome") << S::welcome << false << false << S::accessibility
                                 << "Get Started";
        QTest::addRow("accessibility off")
            << S::accessibility << false << false << S::accessibility << "Next";
        QTest::addRow("accessibility on")
            << S::accessibility << true << false << S::shortcut << "Next";
        QTest::addRow("shortcut") << S::shortcut << true << false << S::vendor << "Next";
        QTest::addRow("no provider validated") << S::vendor << true << false << S::vendor << "Next";
        QTest::addRow("default provider with a key")
            << S::vendor << true << true << S::prompts << "Next";
        QTest::addRow("commands") << S::prompts << true << true << S::tryIt << "Next";
    }

    void nextIsGatedOnEachStep()
    {
        QFETCH(OnboardingStep, step);
        QFETCH(bool, granted);
        QFETCH(bool, keyStored);
        QFETCH(OnboardingStep, after);
        QFETCH(QString, title);
        m_trust.granted = granted;
        if (keyStored) {
            storeValidKey(AIVendor::openai);
        }
        OnboardingView *view = open();
        if (step != OnboardingStep::welcome) {
            // The way there is open; only the step's own gate is not.
            m_trust.granted = true;
            view->accessibility().check();
            QVERIFY(walkTo(view, OnboardingStep::accessibility));
            m_trust.granted = granted;
            view->accessibility().check();
            QVERIFY(walkTo(view, step));
        }
        QCOMPARE(view->nextButton()->text(), title);
        QCOMPARE(view->previousButton()->isVisible(), step != OnboardingStep::welcome);
        const bool goesOn = after != step;
        QCOMPARE(view->nextButton()->isEnabled(), goesOn);
        pressNext(view);
        QCOMPARE(view->currentStep(), after);
        if (goesOn) {
            // The buttons do what the keys do.
            QTest::mouseClick(view->previousButton(), Qt::LeftButton);
            QCOMPARE(view->currentStep(), step);
            QTest::mouseClick(view->nextButton(), Qt::LeftButton);
            QCOMPARE(view->currentStep(), after);
            pressPrevious(view);
        } else {
            QTest::mouseClick(view->nextButton(), Qt::LeftButton);
        }
        QCOMPARE(view->currentStep(), step);
        // One step back; on the welcome step Previous does nothing.
        pressPrevious(view);
        const int back = qMax(0, OnboardingSteps::position(step) - 1);
        QCOMPARE(view->currentStep(), OnboardingSteps::allCases().at(back));
    }

    // On step c, circles 0..c are in the accent colour and the others grey;
    // the line after circle i is in the accent colour while i < c.
    void progressFillsUpToTheCurrentStep_data()
    {
        QTest::addColumn<OnboardingStep>("step");
        for (OnboardingStep step : OnboardingSteps::allCases()) {
            QTest::addRow("step %d", OnboardingSteps::position(step) + 1) << step;
        }
    }

    void progressFillsUpToTheCurrentStep()
    {
        QFETCH(OnboardingStep, step);
        storeValidKey(AIVendor::openai);
        OnboardingView *view = open();
        QVERIFY(walkTo(view, step));
        OnboardingProgressView *progress = view->progressView();
        QCOMPARE(progress->currentStep(), step);
        const QImage image = progress->grab().toImage();
        const qreal ratio = image.devicePixelRatio();
        const auto colourAt = [&](QPointF at) { return image.pixelColor((at * ratio).toPoint()); };
        const QColor accent = OnboardingStyle::accentColor(progress->palette());
        const QColor grey = OnboardingStyle::separatorColor(progress->palette());
        QVERIFY(!near(accent, grey));
        const int current = OnboardingSteps::position(step);
        for (int i = 0; i < 6; ++i) {
            // Beside the number, inside the circle.
            const QRectF circle = progress->circleRect(i);
            QVERIFY2(near(colourAt({circle.left() + 4, circle.center().y()}),
                          i <= current ? accent : grey),
                     qPrintable(QStringLiteral("circle %1").arg(i + 1)));
            QVERIFY2(i == 5 || near(colourAt(progress->lineRect(i).center()),
                                    i < current ? accent : grey),
                     qPrintable(QStringLiteral("line %1").arg(i + 1)));
        }
        QVERIFY(!progress->lineRect(5).isValid());
    }

    // Each provider validated in turn, against the stand-in: a good key
    // makes its provider the default and opens Next, a refused one shows
    // Invalid with the sentence and leaves the default as it was.
    void validationDecidesTheDefaultProvider_data()
    {
        QTest::addColumn<QList<AIVendor>>("vendors");
        QTest::addColumn<QList<bool>>("accepted");
        QTest::addColumn<std::optional<AIVendor>>("defaultAfter");
        using V = AIVendor;
        QTest::addRow("a working key")
            << QList<V>{V::openai} << QList<bool>{true} << std::optional<V>(V::openai);
        QTest::addRow("a refused key")
            << QList<V>{V::openai} << QList<bool>{false} << std::optional<V>();
        QTest::addRow("the second provider validated becomes the default")
            << QList<V>{V::openai, V::anthropic} << QList<bool>{true, true}
            << std::optional<V>(V::anthropic);
        QTest::addRow("a refused second provider keeps the first")
            << QList<V>{V::gemini, V::openai} << QList<bool>{true, false}
            << std::optional<V>(V::gemini);
    }

    void validationDecidesTheDefaultProvider()
    {
        QFETCH(QList<AIVendor>, vendors);
        QFETCH(QList<bool>, accepted);
        QFETCH(std::optional<AIVendor>, defaultAfter);
        QVERIFY(m_fake.setKey(QStringLiteral("sk-accepted")));
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::vendor));
        auto *step = qobject_cast<VendorStepView *>(view->stepView());
        QVERIFY(step);
        QCOMPARE(step->selectedVendor(), AIVendor::openai);
        QVERIFY(!view->nextButton()->isEnabled());
        for (int i = 0; i < vendors.size(); ++i) {
            OnboardingVendorFormView *form = typeKey(step, vendors.at(i),
                                                     accepted.at(i) ? QStringLiteral("sk-accepted")
                                                                    : QStringLiteral("sk-refused"));
            // A slow answer, so the button can be seen waiting.
            QVERIFY(m_fake.fail(QStringLiteral("slow:0.4")));
            QTest::mouseClick(form->saveButton(), Qt::LeftButton);
            QCOMPARE(form->saveButton()->text(), QStringLiteral("Validating..."));
            QVERIFY(!form->saveButton()->isEnabled());
            QTRY_VERIFY_WITH_TIMEOUT(!form->isSaving(), 10000);
            QCOMPARE(form->saveButton()->text(), QStringLiteral("Save && Validate"));
            QCOMPARE(form->badge()->text(),
                     accepted.at(i) ? QStringLiteral("Valid") : QStringLiteral("Invalid"));
            NoticeLabel *error = form->errorLine();
            QCOMPARE(error->isVisibleTo(form), !accepted.at(i));
            if (!accepted.at(i)) {
                QVERIFY2(error->text().startsWith(QStringLiteral("Error: ")) &&
                             error->text().size() > 8,
                         qPrintable(error->text()));
            }
        }
        QCOMPARE(m_vendors->defaultVendor(), defaultAfter);
        QCOMPARE(view->nextButton()->isEnabled(), defaultAfter.has_value());
        // Only the stand-in was asked, once a validation, with the key as typed.
        const auto requests = m_fake.requests();
        QCOMPARE(requests.size(), vendors.size());
        for (int i = 0; i < vendors.size(); ++i) {
            QCOMPARE(requests.at(i).vendor, AIVendors::rawValue(vendors.at(i)));
        }
    }

    // The key is stored as it is typed; an emptied field deletes it and
    // leaves nothing to validate.
    void theKeyIsStoredAsTyped()
    {
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::vendor));
        auto *step = qobject_cast<VendorStepView *>(view->stepView());
        OnboardingVendorFormView *form = typeKey(step, AIVendor::anthropic, QStringLiteral("sk-x"));
        QVERIFY(form->saveButton()->isEnabled());
        QCOMPARE(storedKey(form), QStringLiteral("sk-x"));
        QLineEdit *field = form->keyField()->lineEdit();
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(field, Qt::Key_Backspace);
        QVERIFY(!form->saveButton()->isEnabled());
        QCOMPARE(storedKey(form), QString());
        QVERIFY(!keys().retrieveAPIKey(AIVendor::anthropic).has_value());
        // Return in the empty field validates nothing.
        QTest::keyClick(field, Qt::Key_Return);
        QVERIFY(!form->isSaving());
        QCOMPARE(m_fake.requests().size(), 0);
    }

    // The link under each form names the provider's key page and opens it
    // in the desktop's browser.
    void keyPageLinksOpenInTheBrowser_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("page");
        QTest::addRow("openai") << AIVendor::openai
                                << QStringLiteral("https://platform.openai.com/api-keys");
        QTest::addRow("anthropic")
            << AIVendor::anthropic << QStringLiteral("https://console.anthropic.com/settings/keys");
        QTest::addRow("gemini") << AIVendor::gemini
                                << QStringLiteral("https://aistudio.google.com/app/apikey");
    }

    void keyPageLinksOpenInTheBrowser()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, page);
        Browser browser;
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &browser, "open");
        auto unset =
            qScopeGuard([] { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); });
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::vendor));
        auto *step = qobject_cast<VendorStepView *>(view->stepView());
        QTest::mouseClick(step->picker()->button(int(vendor)), Qt::LeftButton);
        QLabel *link = step->form()->keyPageLink();
        QVERIFY(link->isVisible());
        QCOMPARE(link->text().contains(QStringLiteral(">%1</a>").arg(page)), true);
        QTest::mouseClick(link, Qt::LeftButton, {}, QPoint(6, link->height() / 2));
        QCOMPARE(browser.opened, QList<QUrl>{QUrl(page)});
    }

    // Adding the default commands stores them and the flag; the step shows
    // them added at once, and when the user comes back to it.
    void theCommandsStepStoresItsFlag()
    {
        storeValidKey(AIVendor::openai);
        OnboardingView *view = open();
        QVERIFY(!view->hasSeededPrompts());
        QVERIFY(walkTo(view, OnboardingStep::prompts));
        auto *step = qobject_cast<PromptsStepView *>(view->stepView());
        QCOMPARE(step->seededState()->currentIndex(), 0);
        QTest::mouseClick(step->addButton(), Qt::LeftButton);
        QVERIFY(Settings::standard().hasSeededDefaultPrompts());
        QCOMPARE(CommandStore::loadStoredCommands().size(), 8);
        QVERIFY(view->hasSeededPrompts());
        // The button is gone: no second press in this visit.
        QCOMPARE(step->seededState()->currentIndex(), 1);
        QVERIFY(!step->addButton()->isVisible());

        pressPrevious(view);
        pressNext(view);
        step = qobject_cast<PromptsStepView *>(view->stepView());
        QCOMPARE(step->seededState()->currentIndex(), 1);
        QCOMPARE(CommandStore::loadStoredCommands().size(), 8);
    }

    // The button turns accessibility on and starts a check every second
    // that goes on while the user is on another step; once it passes, the
    // accessibility step lets the user on.
    void theAccessibilityCheckOutlivesItsStep()
    {
        m_trust.granted = false;
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::accessibility));
        auto *step = qobject_cast<AccessibilityStepView *>(view->stepView());
        QCOMPARE(step->statusLabel()->text(), QStringLiteral("Permission Not Granted"));
        QVERIFY(step->grantButton()->isVisible());
        QVERIFY(!step->restartNote()->isVisible());
        QTest::mouseClick(step->grantButton(), Qt::LeftButton);
        QCOMPARE(m_trust.prompts, 1);
        QVERIFY(step->restartNote()->isVisible());
        QVERIFY(view->accessibility().isPolling());
        QVERIFY(!view->nextButton()->isEnabled());

        pressPrevious(view);
        m_trust.granted = true;
        QTRY_VERIFY_WITH_TIMEOUT(view->isAccessibilityEnabled(), 3000);
        QVERIFY(!view->accessibility().isPolling());
        QCOMPARE(m_trust.prompts, 1);
        pressNext(view);
        step = qobject_cast<AccessibilityStepView *>(view->stepView());
        QCOMPARE(step->statusLabel()->text(), QStringLiteral("Permission Granted"));
        QVERIFY(!step->grantButton()->isVisible());
        QVERIFY(view->nextButton()->isEnabled());
    }

    // Granted at the press: the Grant button goes, and the keyboard goes
    // to Next, so Space or Return goes on.
    void grantedAtThePressHandsTheKeyboardToNext()
    {
        m_trust.granted = false;
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::accessibility));
        auto *step = qobject_cast<AccessibilityStepView *>(view->stepView());
        QVERIFY(step->grantButton()->hasFocus());
        m_trust.granted = true;
        QTest::keyClick(step->grantButton(), Qt::Key_Space);
        QCOMPARE(m_trust.prompts, 1);
        QVERIFY(!step->grantButton()->isVisible());
        QVERIFY(!view->accessibility().isPolling());
        QTRY_VERIFY(view->nextButton()->hasFocus());
        QTest::keyClick(view->nextButton(), Qt::Key_Space);
        QCOMPARE(view->currentStep(), OnboardingStep::shortcut);
    }

    // Reaching the last step hooks the shortcut and prints that it does,
    // before anything is finished. Finish marks the guide completed and
    // closes the window; it hooks the shortcut again only while accessibility
    // is on.
    void finishing_data()
    {
        QTest::addColumn<bool>("granted");
        QTest::addRow("with accessibility") << true;
        QTest::addRow("accessibility gone meanwhile") << false;
    }

    void finishing()
    {
        QFETCH(bool, granted);
        storeValidKey(AIVendor::openai);
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::prompts));
        QCOMPARE(m_hooks, 0);
        const QString printed = TestSupport::captureStdout([&] { pressNext(view); });
        QCOMPARE(printed, QStringLiteral("trigger global shortcut setup\n"));
        QCOMPARE(m_hooks, 1);
        QVERIFY(!Settings::standard().onboardingCompleted());
        auto *step = qobject_cast<TryItStepView *>(view->stepView());
        QCOMPARE(step->testArea()->toPlainText(), TryItStepView::sampleText);
        QCOMPARE(QApplication::focusWidget(), step->testArea());
        QCOMPARE(view->nextButton()->text(), QStringLiteral("Finish"));

        m_trust.granted = granted;
        view->accessibility().check();
        QSignalSpy finished(m_guide.get(), &OnboardingWindowManager::finished);
        pressNext(view);
        QCOMPARE(finished.size(), 1);
        QVERIFY(Settings::standard().onboardingCompleted());
        QCOMPARE(m_hooks, granted ? 2 : 1);
        QVERIFY(!m_guide->onboardingWindow());
    }

    // Opening while open replaces the window with a fresh one at welcome.
    void showingAgainStartsAtWelcome()
    {
        OnboardingView *view = open();
        QVERIFY(walkTo(view, OnboardingStep::vendor));
        QPointer<QWidget> first = m_guide->onboardingWindow();
        view = open();
        QCOMPARE(view->currentStep(), OnboardingStep::welcome);
        QCOMPARE(view->progressView()->currentStep(), OnboardingStep::welcome);
        QVERIFY(m_guide->onboardingWindow() != first.data());
        QTRY_VERIFY(first.isNull());
        QCOMPARE(m_guide->onboardingWindow()->windowTitle(), QStringLiteral("Welcome to Vellumo"));
    }

    // Closing hides the window without finishing: nothing stored, nothing
    // hooked. A moved window reopens where it was left; a place no longer on
    // any screen is not used.
    void theWindowsPlaceIsRemembered_data()
    {
        QTest::addColumn<QPoint>("movedTo");
        QTest::addColumn<bool>("kept");
        QTest::addRow("on the screen") << QPoint(123, 77) << true;
        QTest::addRow("off every screen") << QPoint(-5000, 4000) << false;
    }

    void theWindowsPlaceIsRemembered()
    {
        QFETCH(QPoint, movedTo);
        QFETCH(bool, kept);
        open();
        QWidget *window = m_guide->onboardingWindow();
        const QPoint centred = window->pos();
        window->move(movedTo);
        QVERIFY(window->close());
        QVERIFY(!window->isVisible());
        QCOMPARE(m_guide->onboardingWindow(), window);
        QVERIFY(!Settings::standard().onboardingCompleted());
        QCOMPARE(m_hooks, 0);
        open();
        QCOMPARE(m_guide->onboardingWindow()->pos(), kept ? movedTo : centred);
    }
};

QTEST_MAIN(OnboardingTest)
#include "tst_onboarding.moc"
