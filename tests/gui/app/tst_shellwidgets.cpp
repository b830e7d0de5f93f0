// SPDX-License-Identifier: GPL-3.0-or-later
// The tray menu and icon, the update window and the shell without a tray.
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
        QTest::addColumn<bool>("checking");
        QTest::addColumn<QStringList>("lines");
        const QStringList head{"Vellumo (disabled)", "-", "Settings\tCtrl+,", "Show Onboarding",
                               "-"};
        const QStringList quit{"-", "Quit\tCtrl+Q"};
        QTest::newRow("with update checks")
            << true << false << head + QStringList{"Check for Updates…"} + quit;
        QTest::newRow("while a check runs")
            << true << true << head + QStringList{"Check for Updates… (disabled)"} + quit;
        // A distribution's build: updates come from the distribution.
        QTest::newRow("without") << false << true << head + quit.mid(1);
    }

    void menu()
    {
        QFETCH(bool, offersUpdates);
        QFETCH(bool, checking);
        QFETCH(QStringList, lines);
        TrayIcon tray(offersUpdates);
        tray.setCanCheckForUpdates(false);
        tray.setCanCheckForUpdates(!checking);
        QCOMPARE(entries(tray.menu()), lines);
    }

    // Each entry emits its own request and no other.
    void entriesSignalTheirRequests()
    {
        const QList<std::pair<QString, QByteArray>> requests{
            {"Settings", "settingsRequested()"},
            {"Show Onboarding", "onboardingRequested()"},
            {"Check for Updates…", "updateCheckRequested()"},
            {"Quit", "quitRequested()"}};
        for (const auto &[text, signal] : requests) {
            TrayIcon tray(true);
            std::vector<std::unique_ptr<QSignalSpy>> spies;
            for (const auto &request : requests) {
                const QMetaObject *meta = tray.metaObject();
                spies.push_back(std::make_unique<QSignalSpy>(
                    &tray, meta->method(meta->indexOfSignal(request.second.constData()))));
            }
            entry(tray.menu(), text)->trigger();
            for (qsizetype i = 0; i < requests.size(); ++i) {
                QVERIFY2(spies[i]->size() == (requests[i].first == text ? 1 : 0),
                         qPrintable(text + " / " + requests[i].second));
            }
        }
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
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("message");
        const QString page = QStringLiteral("https://forge.invalid/releases/v2.0.0");
        QTest::newRow("newer") << int(UpdateOutcome::Kind::newer) << false << page
                               << "Vellumo 2.0.0 is now available; you have 1.0.0.";
        // No button that would open nothing.
        QTest::newRow("newer, without a page")
            << int(UpdateOutcome::Kind::newer) << false << QString()
            << "Vellumo 2.0.0 is now available; you have 1.0.0.";
        QTest::newRow("up to date") << int(UpdateOutcome::Kind::upToDate) << false << page
                                    << "Vellumo 1.0.0 is up to date.";
        QTest::newRow("unreachable")
            << int(UpdateOutcome::Kind::failed) << true << page
            << "Vellumo could not reach the update server; check the network connection and try "
               "again.";
        QTest::newRow("unreadable")
            << int(UpdateOutcome::Kind::failed) << false << page
            << "The update server's answer could not be read; try again later.";
    }

    void updateWindow()
    {
        QFETCH(int, kind);
        QFETCH(bool, unreachable);
        QFETCH(QString, page);
        QFETCH(QString, message);
        UpdateOutcome outcome;
        outcome.kind = UpdateOutcome::Kind(kind);
        outcome.unreachable = unreachable;
        outcome.release = {QStringLiteral("2.0.0"), QStringLiteral("Vellumo 2"), QUrl(page),
                           QStringLiteral("- **Faster** popup")};
        const bool newer = outcome.kind == UpdateOutcome::Kind::newer;
        const bool releasePage = newer && !page.isEmpty();
        UpdateDialog dialog(QStringLiteral("1.0.0"));
        QSignalSpy opened(&dialog, &UpdateDialog::releasePageRequested);
        dialog.showOutcome(outcome);
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.message(), message);
        QCOMPARE(dialog.offersReleasePage(), releasePage);
        QCOMPARE(dialog.notes(), newer ? QStringLiteral("Faster popup") : QString());
        QTest::keyClick(&dialog, Qt::Key_Return);
        QCOMPARE(opened.size(), releasePage ? 1 : 0);
        if (releasePage) {
            QCOMPARE(opened.first().first().toUrl(), outcome.release.page);
        }
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
