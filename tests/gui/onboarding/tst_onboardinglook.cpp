// SPDX-License-Identifier: GPL-3.0-or-later
// The guide's steps in a light and a dark theme and on a small screen: a
// picture of each under build/screenshots, and what a picture cannot be
// trusted to show: no text cut short, nothing wider than the window, and
// the navigation row inside it.
#include "DefaultsStore.h"
#include "KeychainService.h"
#include "OnboardingWindowManager.h"
#include "StepView.h"
#include "TestSupport.h"
#include "VendorManager.h"
#include "WidgetTestSupport.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QtTest>

Q_DECLARE_METATYPE(OnboardingStep)

namespace {

QString stepName(OnboardingStep step)
{
    static const QStringList names{QStringLiteral("welcome"),  QStringLiteral("accessibility"),
                                   QStringLiteral("shortcut"), QStringLiteral("provider"),
                                   QStringLiteral("commands"), QStringLiteral("try-it")};
    return names.at(OnboardingSteps::position(step));
}

// Why a label or button cannot show its whole text, or nothing.
QString cutShort(const QWidget *widget)
{
    int needed = 0;
    int has = 0;
    QString text;
    if (const auto *label = qobject_cast<const QLabel *>(widget)) {
        // Rich text and wrapped labels lay themselves out.
        if (!label->wordWrap() && label->pixmap().isNull() && !label->text().startsWith(u'<')) {
            text = label->text();
            needed = label->fontMetrics().horizontalAdvance(text);
            has = label->contentsRect().width();
        }
    } else if (const auto *button = qobject_cast<const QAbstractButton *>(widget)) {
        text = button->text();
        needed = button->minimumSizeHint().width();
        has = button->width();
    }
    return !text.isEmpty() && needed > has
               ? QStringLiteral("\"%1\" needs %2 px, has %3").arg(text).arg(needed).arg(has)
               : QString();
}

} // namespace

class OnboardingLookTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        TestSupport::quietOffscreenWarnings();
        QApplication::setStyle(QStringLiteral("Fusion"));
        DefaultsStore::standard().removeAll();
        // A provider with a key, so every step can be reached.
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("sk-look"), AIVendor::openai));
        QVERIFY(KeychainService::shared().refreshPresenceNow());
    }

    // At the guide's own height, as on a full HD screen, in both themes;
    // and 560 high, as on a small screen, where the steps scroll.
    // The provider step also with a provider validated and with one
    // refused (state).
    void eachStep_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::addColumn<bool>("smallScreen");
        QTest::addColumn<OnboardingStep>("step");
        QTest::addColumn<QString>("state");
        for (const char *theme : {"light", "dark"}) {
            for (OnboardingStep step : OnboardingSteps::allCases()) {
                QTest::addRow("%s %s", theme, qPrintable(stepName(step)))
                    << theme << false << step << QString();
            }
            for (const char *state : {"valid", "invalid"}) {
                QTest::addRow("%s provider %s", theme, state)
                    << theme << false << OnboardingStep::vendor << QString::fromLatin1(state);
            }
        }
        for (OnboardingStep step : OnboardingSteps::allCases()) {
            QTest::addRow("small screen %s", qPrintable(stepName(step)))
                << QStringLiteral("light") << true << step << QString();
        }
    }

    void eachStep()
    {
        QFETCH(QString, theme);
        QFETCH(bool, smallScreen);
        QFETCH(OnboardingStep, step);
        QFETCH(QString, state);
        QApplication::setPalette(theme == u"dark" ? TestSupport::darkPalette()
                                                  : TestSupport::lightPalette());
        VendorManager vendors;
        vendors.setDefaultVendor(AIVendor::openai);
        if (!state.isEmpty()) {
            vendors.setValidationStates(
                {{AIVendor::openai, state == u"valid"
                                        ? ValidationState::valid()
                                        : ValidationState::invalid(QStringLiteral(
                                              "Invalid API key. Please check your API key."))}});
        }
        OnboardingWindowManager guide(
            {[](bool) { return true; }, vendors, KeychainService::shared(), [] {}});
        guide.showOnboarding();
        QWidget *window = guide.onboardingWindow();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        window->resize(600, smallScreen ? 560 : 800);
        OnboardingView *view = guide.view();
        while (view->currentStep() != step) {
            view->goNext();
        }
        // The stored key shows in its field once read.
        QTest::qWait(300);

        QScrollArea *scroll = view->scrollArea();
        StepView *content = view->stepView();
        QVERIFY(content->minimumSizeHint().width() <= scroll->viewport()->width());
        for (QPushButton *button : {view->previousButton(), view->nextButton()}) {
            if (button->isVisible()) {
                QVERIFY(window->rect().contains(
                    QRect(button->mapTo(window, QPoint(0, 0)), button->size())));
            }
        }
        for (const QWidget *widget : window->findChildren<QWidget *>()) {
            const QString problem = widget->isVisible() ? cutShort(widget) : QString();
            QVERIFY2(problem.isEmpty(), qPrintable(problem));
        }

        const QDir folder = TestSupport::screenshotFolder();
        QVERIFY(folder.exists());
        const QString name = QStringLiteral("onboarding-%1%2-%3")
                                 .arg(stepName(step), state.isEmpty() ? QString() : u'-' + state,
                                      smallScreen ? QStringLiteral("small") : theme);
        QVERIFY(window->grab().save(folder.filePath(name + QStringLiteral(".png"))));
        QScrollBar *bar = scroll->verticalScrollBar();
        if (bar->maximum() > 0) {
            bar->setValue(bar->maximum());
            QVERIFY(window->grab().save(folder.filePath(name + QStringLiteral("-end.png"))));
        }
    }
};

QTEST_MAIN(OnboardingLookTest)
#include "tst_onboardinglook.moc"
