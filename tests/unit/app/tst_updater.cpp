// SPDX-License-Identifier: GPL-3.0-or-later
// Update checks against the local HTTPS stand-in's release feed, with the
// desktop's notifications played by the fake platform's.
#include "FakeNotifications.h"
#include "FakeProvider.h"
#include "Network.h"
#include "TestSupport.h"
#include "Updater.h"

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

Q_DECLARE_METATYPE(UpdateOutcome)

namespace {

const QString current = QStringLiteral("1.0.0");
const QString tag = QStringLiteral("UpdateCheck");

QJsonObject release(const QString &tagName)
{
    return {{"tag_name", tagName},
            {"name", "Vellumo " + tagName},
            {"html_url", "https://forge.invalid/vellumo/releases/tag/" + tagName},
            {"body", "## Changes\n\n- Faster popup"}};
}

// Runs one check and waits for its end; the user's outcome, if one came.
std::optional<UpdateOutcome> runCheck(Updater &updater, bool userInitiated)
{
    QSignalSpy ended(&updater, &Updater::canCheckForUpdatesChanged);
    QSignalSpy answered(&updater, &Updater::userCheckFinished);
    if (userInitiated) {
        updater.checkForUpdates();
    } else {
        updater.start();
    }
    if (!QTest::qWaitFor([&] { return !ended.isEmpty() && ended.last().first().toBool(); },
                         20000)) {
        return std::nullopt;
    }
    if (answered.isEmpty()) {
        return std::nullopt;
    }
    return answered.first().first().value<UpdateOutcome>();
}

} // namespace

class UpdaterTest : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;
    QString m_caFile;

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        qRegisterMetaType<UpdateOutcome>();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        m_caFile = m_fake.caFile();
    }

    void init()
    {
        qputenv("VELLUMO_CA_FILE", m_caFile.toLocal8Bit());
        // A cached connection keeps the TLS settings it was made with, and
        // resumes its TLS session: each test starts afresh.
        Network::accessManager().clearConnectionCache();
        QVERIFY(m_fake.clear());
        QVERIFY(m_fake.setRelease(std::nullopt));
    }

    void scheduledCheck_data()
    {
        QTest::addColumn<QString>("latest");
        QTest::addColumn<QString>("announced"); // empty: nothing shown

        QTest::newRow("newer patch") << "v1.0.1"
                                     << "1.0.1";
        QTest::newRow("newer major, short tag") << "v2"
                                                << "2.0.0";
        QTest::newRow("pre-release of the next version") << "1.1.0-rc.1"
                                                         << "1.1.0-rc.1";
        QTest::newRow("same version") << "v1.0.0"
                                      << "";
        QTest::newRow("same version, other build") << "1.0.0+nightly"
                                                   << "";
        QTest::newRow("older") << "v0.9.12"
                               << "";
        QTest::newRow("pre-release of this version") << "1.0.0-rc.2"
                                                     << "";
    }

    // A newer version found on a schedule: badge and one notification, and
    // nothing for the user's window. Otherwise nothing at all.
    void scheduledCheck()
    {
        QFETCH(QString, latest);
        QFETCH(QString, announced);
        QVERIFY(m_fake.setRelease(release(latest)));
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);
        QSignalSpy badge(&updater, &Updater::badgeChanged);

        QCOMPARE(runCheck(updater, false).has_value(), false);
        QCOMPARE(m_fake.requests().size(), 1);
        if (announced.isEmpty()) {
            QVERIFY(!updater.hasBadge());
            QCOMPARE(notifications.postCount(), 0);
            QVERIFY(badge.isEmpty());
            return;
        }
        QVERIFY(updater.hasBadge());
        QCOMPARE(badge.size(), 1);
        QCOMPARE(notifications.postCount(), 1);
        const auto posted = notifications.posted().value(tag);
        QCOMPARE(posted.title, QStringLiteral("Update Available"));
        QCOMPARE(posted.body, QStringLiteral("Version %1 is now available").arg(announced));
    }

    void userCheck_data()
    {
        QTest::addColumn<QString>("latest");
        QTest::addColumn<UpdateOutcome::Kind>("kind");
        QTest::newRow("newer") << "v1.2.0" << UpdateOutcome::Kind::newer;
        QTest::newRow("same") << "v1.0.0" << UpdateOutcome::Kind::upToDate;
        QTest::newRow("older") << "0.1.0" << UpdateOutcome::Kind::upToDate;
    }

    // Asked for by the user: the outcome goes to the window, never to a
    // notification or the badge.
    void userCheck()
    {
        QFETCH(QString, latest);
        QFETCH(UpdateOutcome::Kind, kind);
        QVERIFY(m_fake.setRelease(release(latest)));
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);

        const std::optional<UpdateOutcome> outcome = runCheck(updater, true);
        QVERIFY(outcome);
        QCOMPARE(outcome->kind, kind);
        QCOMPARE(notifications.postCount(), 0);
        QVERIFY(!updater.hasBadge());
        if (kind == UpdateOutcome::Kind::newer) {
            QCOMPARE(outcome->release.version, QStringLiteral("1.2.0"));
            QCOMPARE(outcome->release.name, QStringLiteral("Vellumo v1.2.0"));
            QCOMPARE(outcome->release.page.toString(),
                     QStringLiteral("https://forge.invalid/vellumo/releases/tag/v1.2.0"));
            QCOMPARE(outcome->release.notes, QStringLiteral("## Changes\n\n- Faster popup"));
        }
    }

    // Clicking the notification runs a user-initiated check; its outcome
    // shown means the user has looked: badge and notification go.
    void clickingTheNotificationShowsTheUpdate()
    {
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v1.3.0"))));
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);
        QVERIFY(!runCheck(updater, false));
        QVERIFY(updater.hasBadge());

        QSignalSpy answered(&updater, &Updater::userCheckFinished);
        QVERIFY(notifications.click(tag));
        QTRY_COMPARE_WITH_TIMEOUT(answered.size(), 1, 20000);
        const auto outcome = answered.first().first().value<UpdateOutcome>();
        QCOMPARE(outcome.kind, UpdateOutcome::Kind::newer);
        QCOMPARE(outcome.release.version, QStringLiteral("1.3.0"));
        QVERIFY(!updater.hasBadge());
        QCOMPARE(m_fake.requests().size(), 2);
    }

    // The same through the menu, with the notification still on screen.
    void aCheckFromTheMenuWithdrawsTheNotification()
    {
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v1.3.0"))));
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);
        QVERIFY(!runCheck(updater, false));
        QVERIFY(notifications.posted().contains(tag));

        QVERIFY(runCheck(updater, true));
        QVERIFY(!notifications.posted().contains(tag));
        QVERIFY(!updater.hasBadge());
    }

    void failures_data()
    {
        QTest::addColumn<QString>("failure"); // queued on the stand-in
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("trusted");
        QTest::addColumn<bool>("unreachable");

        const QJsonObject newer = release(QStringLiteral("v9.0.0"));
        QTest::newRow("server error") << "500" << newer << true << false;
        QTest::newRow("no release published") << "" << QJsonObject() << true << false;
        QTest::newRow("not JSON") << "nonjson" << newer << true << false;
        QTest::newRow("tag is not a version")
            << "" << release(QStringLiteral("nightly")) << true << false;
        QTest::newRow("no tag") << "" << QJsonObject{{"name", "Vellumo 9"}} << true << false;
        QTest::newRow("answer too large") << "huge:2" << newer << true << false;
        // Every attempt: Qt sends a GET again, a few times, when the
        // connection closes before the answer.
        QTest::newRow("connection dropped") << "drop" << newer << true << true;
        QTest::newRow("certificate not trusted") << "" << newer << false << true;
    }

    // Failures change nothing on a schedule; asked for, they are the
    // window's one sentence (which one depends on unreachable).
    void failures()
    {
        QFETCH(QString, failure);
        QFETCH(QJsonObject, answer);
        QFETCH(bool, trusted);
        QFETCH(bool, unreachable);
        QVERIFY(m_fake.setRelease(answer.isEmpty() ? std::nullopt
                                                   : std::optional<QJsonObject>(answer)));
        if (!trusted) {
            qunsetenv("VELLUMO_CA_FILE");
        }
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);

        for (const bool userInitiated : {false, true}) {
            if (!failure.isEmpty()) {
                QVERIFY(m_fake.fail(failure, failure == QLatin1String("drop") ? 10 : 1));
            }
            const std::optional<UpdateOutcome> outcome = runCheck(updater, userInitiated);
            QCOMPARE(outcome.has_value(), userInitiated);
            QVERIFY(!updater.hasBadge());
            QCOMPARE(notifications.postCount(), 0);
            if (outcome) {
                QCOMPARE(outcome->kind, UpdateOutcome::Kind::failed);
                QCOMPARE(outcome->unreachable, unreachable);
                QVERIFY(!outcome->problem.isEmpty());
            }
        }
    }

    void anUnreachableHostIsUnreachable()
    {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const QUrl feed(
            QStringLiteral("https://127.0.0.1:%1/releases/latest").arg(closed.serverPort()));
        closed.close();
        platform::fake::Notifications notifications;
        Updater updater(feed, current, notifications);
        const std::optional<UpdateOutcome> outcome = runCheck(updater, true);
        QVERIFY(outcome);
        QCOMPARE(outcome->kind, UpdateOutcome::Kind::failed);
        QVERIFY(outcome->unreachable);
    }

    // Only https: a plain-http feed is refused before anything is sent.
    void aPlainHttpFeedIsRefused()
    {
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v9.0.0"))));
        platform::fake::Notifications notifications;
        QUrl feed(m_fake.releaseFeed());
        feed.setScheme(QStringLiteral("http"));
        Updater updater(feed, current, notifications);
        QSignalSpy answered(&updater, &Updater::userCheckFinished);
        updater.checkForUpdates();
        QCOMPARE(answered.size(), 1);
        QCOMPARE(answered.first().first().value<UpdateOutcome>().kind, UpdateOutcome::Kind::failed);
        QTest::qWait(100);
        QVERIFY(m_fake.requests().isEmpty());
    }

    // While a check runs, another cannot start; a click on the notification
    // meanwhile turns the running check into the user's.
    void oneCheckAtATime()
    {
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v1.5.0"))));
        QVERIFY(m_fake.fail(QStringLiteral("slow:0.5")));
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);
        QSignalSpy answered(&updater, &Updater::userCheckFinished);
        updater.start();
        QVERIFY(!updater.canCheckForUpdates());
        updater.checkForUpdates();
        QTRY_COMPARE_WITH_TIMEOUT(answered.size(), 1, 20000);
        QVERIFY(updater.canCheckForUpdates());
        QCOMPARE(m_fake.requests().size(), 1);
        QCOMPARE(notifications.postCount(), 0);
        QVERIFY(!updater.hasBadge());
    }

    void withoutAFeedNothingIsChecked()
    {
        platform::fake::Notifications notifications;
        Updater updater(QUrl(), current, notifications);
        QSignalSpy answered(&updater, &Updater::userCheckFinished);
        QVERIFY(!updater.isEnabled());
        QVERIFY(!updater.canCheckForUpdates());
        updater.start();
        updater.checkForUpdates();
        QTest::qWait(100);
        QVERIFY(answered.isEmpty());
        QVERIFY(m_fake.requests().isEmpty());
    }

    void theEnvironmentOverridesTheBuiltInFeed_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::newRow("another feed") << QByteArray("https://127.0.0.1:1/releases/latest");
        QTest::newRow("empty turns checks off") << QByteArray("");
    }

    void theEnvironmentOverridesTheBuiltInFeed()
    {
        QFETCH(QByteArray, value);
        qputenv("VELLUMO_UPDATE_FEED", value);
        QCOMPARE(Updater::configuredFeed(), QUrl(QString::fromUtf8(value)));
        qunsetenv("VELLUMO_UPDATE_FEED");
    }
};

QTEST_GUILESS_MAIN(UpdaterTest)
#include "tst_updater.moc"
