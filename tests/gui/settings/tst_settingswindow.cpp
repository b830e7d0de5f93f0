// SPDX-License-Identifier: GPL-3.0-or-later
// The settings window: its pages and their order, opening and closing, and
// the 150 ms guard around screen transitions. (tst_settingslook: its look.)
#include "FakeHotKeys.h"
#include "FakeLoginItem.h"
#include "GeneralTab.h"
#include "HotKeyLayer.h"
#include "KeychainService.h"
#include "ScreenActivation.h"
#include "SettingsPages.h"
#include "SettingsWindow.h"
#include "ShortcutRecorder.h"
#include "TestSupport.h"
#include "VendorManager.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QPointer>
#include <QStyleFactory>
#include <QTabWidget>
#include <QtTest>
#include <memory>

namespace {

// The transition lines among what the test printed (QtTest's warnings go to
// standard output too).
QStringList screenLines(const QString &output)
{
    return output.split(u'\n').filter(QRegularExpression(QStringLiteral("^\\w+ screen$")));
}

} // namespace

class SettingsWindowTest : public QObject {
    Q_OBJECT

    platform::fake::LoginItem m_loginItem;
    std::unique_ptr<SettingsWindow> m_window;
    QList<bool> m_switches; // made by the screen switch, true: activate

    std::unique_ptr<SettingsWindow> makeWindow()
    {
        return makeSettingsWindow({
            .loginItem = m_loginItem,
            .trustTest = [](bool) { return false; },
            .vendors = VendorManager::shared(),
            .keys = KeychainService::shared(),
        });
    }

    // Past the guard of the last transition.
    static void settle() { QTRY_VERIFY(!ScreenActivation::isGuarded()); }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        GlobalShortcuts::HotKeyLayer::shared().setBackend(platform::fake::HotKeys().makeBackend());
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        QApplication::setPalette(TestSupport::lightPalette());
    }

    void init()
    {
        m_window = makeWindow();
        settle();
    }

    void cleanup()
    {
        m_window.reset();
        QApplication::setPalette(TestSupport::lightPalette());
        settle();
    }

    void pagesComeInTheirOrderWithIcons()
    {
        QCOMPARE(m_window->windowTitle(), QStringLiteral("Vellumo Settings"));
        QTabWidget *tabs = m_window->tabs();
        QCOMPARE(tabs->count(), 3);
        const QStringList titles{"General", "Vendors", "Prompts"};
        for (int i = 0; i < tabs->count(); ++i) {
            QCOMPARE(tabs->tabText(i), titles.at(i));
            // Bundled or from the theme, never an empty square.
            const QImage icon = tabs->tabIcon(i).pixmap(16, 16).toImage();
            int drawn = 0;
            for (int y = 0; y < icon.height(); ++y) {
                for (int x = 0; x < icon.width(); ++x) {
                    drawn += qAlpha(icon.pixel(x, y)) > 128;
                }
            }
            QVERIFY2(drawn > 10, qPrintable(titles.at(i)));
        }
        QVERIFY(qobject_cast<GeneralTab *>(tabs->widget(0)));
    }

    // Raised and active on every opening; the first one shows the first
    // tab; closing only hides.
    void opensActiveAndClosesToHidden()
    {
        QTabWidget *tabs = m_window->tabs();
        tabs->setCurrentIndex(2);
        m_window->open();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QCOMPARE(tabs->currentIndex(), 0);
        QCOMPARE(m_window->size(), SettingsWindow::contentSize);
        m_window->resize(1000, 800);
        QCOMPARE(m_window->size(), SettingsWindow::contentSize);
        // The recorder does not start on its own at opening.
        auto *recorder = m_window->findChild<ShortcutRecorder *>();
        QVERIFY(recorder && !recorder->isRecording());

        QWidget other;
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        tabs->setCurrentIndex(1);
        m_window->open();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QCOMPARE(tabs->currentIndex(), 1);

        QPointer<SettingsWindow> alive(m_window.get());
        QVERIFY(m_window->close());
        QVERIFY(alive);
        QVERIFY(m_window->isHidden());
        settle();
        m_window->open();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    }

    // Every call prints; a switch within 150 ms of the last one is dropped,
    // not done later.
    void transitionsWithin150msAreDropped()
    {
        ScreenActivation::setSwitch([this](bool activate) { m_switches.append(activate); });
        const QString out = TestSupport::captureStdout([&] {
            m_window->open();
            m_window->close();
        });
        QCOMPARE(screenLines(out), (QStringList{"Activating screen", "Deactivating screen"}));
        QCOMPARE(m_switches, QList<bool>{true});
        // Dropped, not done once the guard is over.
        settle();
        QCOMPARE(m_switches, QList<bool>{true});

        const QString later = TestSupport::captureStdout([&] {
            m_window->open();
            settle();
            m_window->close();
        });
        QCOMPARE(screenLines(later), (QStringList{"Activating screen", "Deactivating screen"}));
        QCOMPARE(m_switches, (QList<bool>{true, true, false}));

        // The functions themselves, the same.
        settle();
        ScreenActivation::activateScreen();
        ScreenActivation::activateScreen();
        QVERIFY(ScreenActivation::isGuarded());
        QTRY_VERIFY(!ScreenActivation::isGuarded());
        ScreenActivation::deactivateScreen();
        QCOMPARE(m_switches, (QList<bool>{true, true, false, true, false}));
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "tst_settingswindow.moc"
