// The settings window: its pages and their order, opening and closing, the
// 150 ms guard around screen transitions, and pictures of the General tab in
// a light and a dark theme (build/screenshots).
#include "BaseInstructionsService.h"
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
#include <QDir>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QStyleFactory>
#include <QTabBar>
#include <QTabWidget>
#include <QtTest>
#include <memory>

namespace {

void save(QWidget *widget, const QString &name)
{
    const QString dir = qEnvironmentVariable("VELLUMO_BUILD_DIR") + QStringLiteral("/screenshots");
    QDir().mkpath(dir);
    QVERIFY(widget->grab().save(dir + u'/' + name + QStringLiteral(".png")));
}

// The transition lines among what the test printed (QtTest's warnings go to
// standard output too).
QStringList screenLines(const QString &output)
{
    return output.split(u'\n').filter(QRegularExpression(QStringLiteral("^\\w+ screen$")));
}

struct Switches {
    QList<bool> made;

    void install()
    {
        ScreenActivation::setSwitch([this](bool activate) { made.append(activate); });
    }
};

} // namespace

class SettingsWindowTest : public QObject {
    Q_OBJECT

    platform::fake::LoginItem m_loginItem;
    std::unique_ptr<SettingsWindow> m_window;

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
            QVERIFY2(!icon.isNull(), qPrintable(titles.at(i)));
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
        Switches switches;
        switches.install();
        const QString out = TestSupport::captureStdout([&] {
            m_window->open();
            m_window->close();
        });
        QCOMPARE(screenLines(out), (QStringList{"Activating screen", "Deactivating screen"}));
        QCOMPARE(switches.made, QList<bool>{true});
        QTest::qWait(ScreenActivation::transitionGuardMs + 50);
        QCOMPARE(switches.made, QList<bool>{true});

        const QString later = TestSupport::captureStdout([&] {
            m_window->open();
            QTest::qWait(ScreenActivation::transitionGuardMs + 20);
            m_window->close();
        });
        QCOMPARE(screenLines(later), (QStringList{"Activating screen", "Deactivating screen"}));
        QCOMPARE(switches.made, (QList<bool>{true, true, false}));

        // The functions themselves, the same.
        settle();
        ScreenActivation::activateScreen();
        ScreenActivation::activateScreen();
        QVERIFY(ScreenActivation::isGuarded());
        QTRY_VERIFY(!ScreenActivation::isGuarded());
        ScreenActivation::deactivateScreen();
        QCOMPARE(switches.made, (QList<bool>{true, true, false, true, false}));
    }

    void generalTabLooks_data()
    {
        QTest::addColumn<bool>("dark");
        QTest::newRow("light") << false;
        QTest::newRow("dark") << true;
    }

    // Nothing needs a horizontal scroll bar at 780 by 600, every text fits
    // its label, and the pictures are kept for a look.
    void generalTabLooks()
    {
        QFETCH(bool, dark);
        if (dark) {
            QApplication::setPalette(TestSupport::darkPalette());
        }
        m_window->open();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        auto *scroll = m_window->findChild<QScrollArea *>(QStringLiteral("generalScroll"));
        QVERIFY(scroll);
        QVERIFY(scroll->widget()->minimumSizeHint().width() <= scroll->viewport()->width());
        const QList<QLabel *> labels = scroll->widget()->findChildren<QLabel *>();
        QVERIFY(labels.size() >= 10);
        for (const QLabel *label : labels) {
            if (!label->isVisibleTo(m_window.get()) || label->text().isEmpty()) {
                continue;
            }
            // What the label asks for, at the width it got.
            const QSize needed = label->wordWrap() ? QSize(0, label->heightForWidth(label->width()))
                                                   : label->sizeHint();
            QVERIFY2(needed.width() <= label->width() && needed.height() <= label->height(),
                     qPrintable(QStringLiteral("%1: %2x%3 in %4x%5")
                                    .arg(label->text())
                                    .arg(needed.width())
                                    .arg(needed.height())
                                    .arg(label->width())
                                    .arg(label->height())));
        }
        auto *recorder = m_window->findChild<ShortcutRecorder *>();
        QVERIFY(recorder->fontMetrics().horizontalAdvance(recorder->text()) <
                recorder->width() - 2 * recorder->height());
        const QString theme = dark ? QStringLiteral("dark") : QStringLiteral("light");
        save(m_window.get(), QStringLiteral("settings-general-") + theme);
        scroll->verticalScrollBar()->setValue(scroll->verticalScrollBar()->maximum());
        save(m_window.get(), QStringLiteral("settings-general-%1-end").arg(theme));
        scroll->verticalScrollBar()->setValue(0);

        QTest::mouseClick(recorder, Qt::LeftButton);
        QVERIFY(recorder->isRecording());
        save(m_window.get(), QStringLiteral("settings-recorder-recording-") + theme);
        QTest::keyClick(recorder, Qt::Key_Escape);
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "tst_settingswindow.moc"
