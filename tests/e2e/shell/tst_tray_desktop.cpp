// SPDX-License-Identifier: GPL-3.0-or-later
// Vellumo in a real tray (trayer), with a real notification daemon (dunst)
// and the release feed of the local HTTPS stand-in: the icon and its menu,
// what each entry does, and an update found on schedule.
#include "Desktop.h"
#include "FakeProvider.h"
#include "ShellDesktop.h"
#include "TestSupport.h"

#include <QImage>
#include <QJsonObject>
#include <QTest>

using namespace Desktop;
using namespace ShellDesktop;

namespace {

const QString current = QStringLiteral(VELLUMO_VERSION);
const QString upToDate = QStringLiteral("Update check: Vellumo %1 is up to date").arg(current);

QJsonObject release(const QString &tag)
{
    return {{"tag_name", tag},
            {"name", "Vellumo " + tag},
            {"html_url", "https://forge.invalid/vellumo/releases/tag/" + tag},
            {"body", "- A faster popup"}};
}

} // namespace

class TrayDesktopTest : public QObject {
    Q_OBJECT

    FakeProvider m_fake;
    App m_tray;
    NotificationDaemon m_daemon;
    Vellumo m_vellumo;

    bool startVellumo()
    {
        // Its output starts afresh.
        return m_vellumo.start({QStringLiteral("VELLUMO_UPDATE_FEED=") + m_fake.releaseFeed()}) &&
               QTest::qWaitFor([] { return trayIconFrame().has_value(); }, 10000) &&
               m_vellumo.waitFor(QStringLiteral("Update check: "), 0);
    }

    // Clicks the icon and waits for the menu.
    static bool openMenu()
    {
        const std::optional<QRect> icon = trayIconFrame();
        return icon && click(icon->center()) &&
               QTest::qWaitFor([] { return trayMenuFrame().has_value(); }, 5000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(useFakeProvider(m_fake, QStringLiteral("sk-tray")));
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v") + current)));
        QVERIFY(m_tray.start(QStringLiteral("trayer"),
                             {QStringLiteral("--edge"), QStringLiteral("top"),
                              QStringLiteral("--align"), QStringLiteral("right"),
                              QStringLiteral("--widthtype"), QStringLiteral("request"),
                              QStringLiteral("--height"), QStringLiteral("24")},
                             {}, {QStringLiteral("--class"), QStringLiteral("Trayer")}));
        QVERIFY(m_daemon.start());
    }

    void cleanupTestCase() { m_vellumo.stop(); }

    // The icon shows in the tray; the scheduled check at start finds this
    // version and shows nothing.
    void theIconAppearsInTheTray()
    {
        QVERIFY(startVellumo());
        QVERIFY(m_vellumo.output().contains(upToDate));
        const QRect icon = *trayIconFrame();
        const QRect panel = clientFrame(m_tray.window());
        QVERIFY2(panel.contains(icon), qPrintable(QStringLiteral("icon %1,%2 %3x%4")
                                                      .arg(icon.x())
                                                      .arg(icon.y())
                                                      .arg(icon.width())
                                                      .arg(icon.height())));
        QCOMPARE(redPixels(icon), 0);
        QCOMPARE(displayedCount(), 0);
        QVERIFY(history().isEmpty());
        grabScreen(QStringLiteral("shell-tray-icon"));
    }

    // A click opens the menu beside the icon (the screenshot shows its
    // eight entries); Escape closes it.
    void aClickOpensTheMenu()
    {
        QVERIFY(openMenu());
        const QRect menu = *trayMenuFrame();
        QVERIFY(menu.height() > 60 && menu.width() > 100);
        grabScreen(QStringLiteral("shell-tray-menu"));
        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY(!trayMenuFrame().has_value());
    }

    void eachEntryDoesWhatItSays_data()
    {
        QTest::addColumn<int>("downs"); // from the top; the disabled title is skipped
        QTest::addColumn<QString>("window");
        QTest::newRow("Settings") << 1 << "Vellumo Settings";
        QTest::newRow("Show Onboarding") << 2 << "Welcome to Vellumo";
        QTest::newRow("Check for Updates…") << 3 << "Software Update";
    }

    void eachEntryDoesWhatItSays()
    {
        QFETCH(int, downs);
        QFETCH(QString, window);
        const qsizetype from = m_vellumo.mark();
        QVERIFY(!windowFrame(window).has_value());
        QVERIFY(openMenu());
        QVERIFY(keys(QStringList(downs, QStringLiteral("Down")) << QStringLiteral("Return")));
        QTRY_VERIFY(windowFrame(window).has_value());
        if (downs == 1) {
            QVERIFY(m_vellumo.waitFor(QStringLiteral("Activating screen"), from));
        }
        if (downs == 3) {
            // A check the user asked for answers in a window, never in a
            // notification.
            QVERIFY(m_vellumo.waitFor(upToDate, from));
            grabScreen(QStringLiteral("shell-up-to-date"));
            QVERIFY(keys({QStringLiteral("Escape")}));
            QTRY_VERIFY(!windowFrame(window).has_value());
            QCOMPARE(displayedCount(), 0);
            QVERIFY(history().isEmpty());
        }
    }

    // The last entry: the process ends, saying so on its way out.
    void quitEndsTheProcess()
    {
        const qsizetype from = m_vellumo.mark();
        QVERIFY(openMenu());
        QVERIFY(keys({QStringLiteral("Up"), QStringLiteral("Return")}));
        QTRY_VERIFY_WITH_TIMEOUT(!m_vellumo.isRunning(), 5000);
        QVERIFY(m_vellumo.output().mid(from).contains(QStringLiteral("Deactivating screen\n")));
        QTRY_VERIFY(!trayIconFrame().has_value());
    }

    // A newer version on schedule: one notification and the badge; a click
    // on the notification (through the daemon) shows the update, and the
    // badge and the notification go.
    void aScheduledCheckAnnouncesANewerVersion()
    {
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v9.9.9"))));
        QVERIFY(startVellumo());
        QVERIFY(m_vellumo.output().contains(
            QStringLiteral("Update check: version 9.9.9 is available")));
        QTRY_COMPARE(displayedCount(), 1);
        QTRY_VERIFY(redPixels(*trayIconFrame()) > 10);
        grabScreen(QStringLiteral("shell-update-available"));

        const qsizetype from = m_vellumo.mark();
        int code = -1;
        run(QStringLiteral("dunstctl"), {QStringLiteral("action"), QStringLiteral("0")}, 5000,
            &code);
        QCOMPARE(code, 0);
        QVERIFY(
            m_vellumo.waitFor(QStringLiteral("Update check: version 9.9.9 is available"), from));
        QTRY_VERIFY(windowFrame(QStringLiteral("Software Update")).has_value());
        grabScreen(QStringLiteral("shell-update-window"));
        QTRY_COMPARE(displayedCount(), 0);
        QTRY_COMPARE(redPixels(*trayIconFrame()), 0);
        const QList<Notification> shown = history();
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.first().appName, QStringLiteral("Vellumo"));
        QCOMPARE(shown.first().summary, QStringLiteral("Update Available"));
        QCOMPARE(shown.first().body, QStringLiteral("Version 9.9.9 is now available"));
    }
};

QTEST_MAIN(TrayDesktopTest)
#include "tst_tray_desktop.moc"
