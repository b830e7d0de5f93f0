// SPDX-License-Identifier: GPL-3.0-or-later
// The tray menu, the tray icon's badge, the update window and the shell on
// a desktop without a tray, offscreen.
#include "ApplicationService.h"
#include "FakeNotifications.h"
#include "Shell.h"
#include "TestSupport.h"
#include "TrayIcon.h"
#include "UpdateDialog.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSignalSpy>
#include <QtTest>

namespace {

// The menu as lines: "-" for a separator, else the text, then the shortcut
// after a tab and " (disabled)" when it cannot be clicked.
QStringList entries(const QMenu &menu)
{
    QStringList lines;
    for (const QAction *action : menu.actions()) {
        if (!action->isVisible()) {
            continue;
        }
        if (action->isSeparator()) {
            lines << QStringLiteral("-");
            continue;
        }
        QString line = action->text();
        if (!action->shortcut().isEmpty()) {
            line += u'\t' + action->shortcut().toString(QKeySequence::PortableText);
        }
        if (!action->isEnabled()) {
            line += QStringLiteral(" (disabled)");
        }
        lines << line;
    }
    return lines;
}

QAction *entry(QMenu &menu, const QString &text)
{
    for (QAction *action : menu.actions()) {
        if (action->text() == text) {
            return action;
        }
    }
    return nullptr;
}

// Pixels of the badge's red in the upper right quarter of the icon.
int redPixels(const QIcon &icon, int size)
{
    const QImage image = icon.pixmap(size).toImage();
    int red = 0;
    for (int y = 0; y < size / 2; ++y) {
        for (int x = size / 2; x < size; ++x) {
            const QColor c = image.pixelColor(x, y);
            red += c.alpha() > 200 && c.red() > 180 && c.green() < 80 && c.blue() < 80;
        }
    }
    return red;
}

} // namespace

class ShellWidgetsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void menu_data()
    {
        QTest::addColumn<bool>("offersUpdates");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("with update checks")
            << true
            << QStringList{"Vellumo (disabled)", "-", "Settings\tCtrl+,", "Show Onboarding", "-",
                           "Check for Updates…", "-", "Quit\tCtrl+Q"};
        // A distribution's build: updates come from the distribution.
        QTest::newRow("without") << false
                                 << QStringList{"Vellumo (disabled)", "-", "Settings\tCtrl+,",
                                                "Show Onboarding",    "-", "Quit\tCtrl+Q"};
    }

    void menu()
    {
        QFETCH(bool, offersUpdates);
        QFETCH(QStringList, lines);
        TrayIcon tray(offersUpdates);
        QCOMPARE(entries(tray.menu()), lines);
    }

    void entriesSignalTheirRequests_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("signal");
        QTest::newRow("Settings") << "Settings"
                                  << "settingsRequested";
        QTest::newRow("Show Onboarding") << "Show Onboarding"
                                         << "onboardingRequested";
        QTest::newRow("Check for Updates…") << "Check for Updates…"
                                            << "updateCheckRequested";
        QTest::newRow("Quit") << "Quit"
                              << "quitRequested";
    }

    void entriesSignalTheirRequests()
    {
        QFETCH(QString, text);
        QFETCH(QString, signal);
        TrayIcon tray(true);
        const QMetaObject *meta = tray.metaObject();
        std::vector<std::unique_ptr<QSignalSpy>> spies;
        for (const char *name : {"settingsRequested", "onboardingRequested", "updateCheckRequested",
                                 "quitRequested"}) {
            const QByteArray signature = QByteArray(name) + "()";
            spies.push_back(std::make_unique<QSignalSpy>(
                &tray, meta->method(meta->indexOfSignal(signature.constData()))));
        }
        entry(tray.menu(), text)->trigger();
        const QStringList names{"settingsRequested", "onboardingRequested", "updateCheckRequested",
                                "quitRequested"};
        for (qsizetype i = 0; i < names.size(); ++i) {
            QCOMPARE(spies[i]->size(), names[i] == signal ? 1 : 0);
        }
    }

    void theUpdateEntryIsDisabledWhileAChecksRuns()
    {
        TrayIcon tray(true);
        QAction *check = entry(tray.menu(), QStringLiteral("Check for Updates…"));
        tray.setCanCheckForUpdates(false);
        QVERIFY(!check->isEnabled());
        tray.setCanCheckForUpdates(true);
        QVERIFY(check->isEnabled());
    }

    void theBadge_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {16, 22, 32, 48}) {
            QTest::addRow("%d px", size) << size;
        }
    }

    // The red "1" in the corner with the badge, and nothing red without.
    void theBadge()
    {
        QFETCH(int, size);
        QCOMPARE(redPixels(TrayIcon::icon(false), size), 0);
        QVERIFY(redPixels(TrayIcon::icon(true), size) > size * size / 20);
    }

    void updateWindow_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("unreachable");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("releasePage");
        QTest::newRow("newer") << int(UpdateOutcome::Kind::newer) << false
                               << "Vellumo 2.0.0 is now available; you have 1.0.0." << true;
        QTest::newRow("up to date") << int(UpdateOutcome::Kind::upToDate) << false
                                    << "Vellumo 1.0.0 is up to date." << false;
        QTest::newRow("unreachable")
            << int(UpdateOutcome::Kind::failed) << true
            << "Vellumo could not reach the update server; check the network connection and try "
               "again."
            << false;
        QTest::newRow("unreadable") << int(UpdateOutcome::Kind::failed) << false
                                    << "The update server's answer could not be read; try again "
                                       "later."
                                    << false;
    }

    void updateWindow()
    {
        QFETCH(int, kind);
        QFETCH(bool, unreachable);
        QFETCH(QString, message);
        QFETCH(bool, releasePage);
        UpdateOutcome outcome;
        outcome.kind = UpdateOutcome::Kind(kind);
        outcome.unreachable = unreachable;
        outcome.release = {QStringLiteral("2.0.0"), QStringLiteral("Vellumo 2"),
                           QUrl(QStringLiteral("https://forge.invalid/releases/v2.0.0")),
                           QStringLiteral("- **Faster** popup")};
        UpdateDialog dialog(QStringLiteral("1.0.0"));
        QSignalSpy opened(&dialog, &UpdateDialog::releasePageRequested);
        dialog.showOutcome(outcome);
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.message(), message);
        QCOMPARE(dialog.offersReleasePage(), releasePage);
        QCOMPARE(dialog.notes(), releasePage ? QStringLiteral("Faster popup") : QString());
        if (releasePage) {
            QTest::keyClick(&dialog, Qt::Key_Return);
            QCOMPARE(opened.size(), 1);
            QCOMPARE(opened.first().first().toUrl(), outcome.release.page);
        }
    }

    // A release without a page offers no button that would open nothing.
    void aReleaseWithoutAPageOffersNoButton()
    {
        UpdateOutcome outcome;
        outcome.kind = UpdateOutcome::Kind::newer;
        outcome.release.version = QStringLiteral("2.0.0");
        UpdateDialog dialog(QStringLiteral("1.0.0"));
        dialog.showOutcome(outcome);
        QVERIFY(!dialog.offersReleasePage());
        QCOMPARE(dialog.notes(), QString());
    }

    // Offscreen there is no tray: one notification says how to reach the
    // settings.
    void withoutATrayOneNotificationSaysHow()
    {
        platform::fake::Notifications notifications;
        ApplicationService service;
        Shell shell(service, notifications, QUrl(), {});
        shell.start();
        QCOMPARE(notifications.shown().size(), 1);
        QCOMPARE(notifications.shown().first().first, QStringLiteral("Vellumo is running"));
        QVERIFY(notifications.shown().first().second.contains(
            QStringLiteral("start Vellumo again from the application menu")));
    }
};

QTEST_MAIN(ShellWidgetsTest)
#include "tst_shellwidgets.moc"
