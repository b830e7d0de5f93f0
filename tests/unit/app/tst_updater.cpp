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

// Runs one check and waits for its end (a check that sends nothing ends at
// once); the user's outcome, if one came.
std::optional<UpdateOutcome> runCheck(Updater &updater, bool userInitiated)
{
    QSignalSpy answered(&updater, &Updater::userCheckFinished);
    if (userInitiated) {
        updater.checkForUpdates();
    } else {
        updater.start();
    }
    if (!QTest::qWaitFor([&] { return updater.canCheckForUpdates(); }, 20000) ||
        answered.isEmpty()) {
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

    void checks_data()
    {
        QTest::addColumn<QString>("latest");
        QTest::addColumn<QString>("announced"); // empty: up to date
        // Which tags count as newer is tst_semanticversion's; here what each outcome shows.
        QTest::newRow("newer patch") << u"v1.0.1"_qs << u"1.0.1"_qs;
        QTest::newRow("newer major, short tag") << u"v2"_qs << u"2.0.0"_qs;
        QTest::newRow("pre-release of the next version") << u"1.1.0-rc.1"_qs << u"1.1.0-rc.1"_qs;
        QTest::newRow("same version") << u"v1.0.0"_qs << QString();
        QTest::newRow("older") << u"v0.9.12"_qs << QString();
    }

    // A newer version found on a schedule: badge and one notification, and
    // nothing for the user's window; otherwise nothing at all. Asked for by
    // the user: the outcome goes to the window, never to a notification or
    // the badge.
    void checks()
    {
        QFETCH(QString, latest);
        QFETCH(QString, announced);
        QVERIFY(m_fake.setRelease(release(latest)));
        platform::fake::Notifications notifications;
        Updater scheduled(QUrl(m_fake.releaseFeed()), current, notifications);
        QSignalSpy badge(&scheduled, &Updater::badgeChanged);
        QCOMPARE(runCheck(scheduled, false).has_value(), false);
        QCOMPARE(m_fake.requests().size(), 1);
        QCOMPARE(scheduled.hasBadge(), !announced.isEmpty());
        QCOMPARE(badge.size(), announced.isEmpty() ? 0 : 1);
        QCOMPARE(notifications.postCount(), announced.isEmpty() ? 0 : 1);
        if (!announced.isEmpty()) {
            const auto posted = notifications.posted().value(tag);
            QCOMPARE(posted.title, QStringLiteral("Update Available"));
            QCOMPARE(posted.body, QStringLiteral("Version %1 is now available").arg(announced));
        }

        platform::fake::Notifications none;
        Updater asked(QUrl(m_fake.releaseFeed()), current, none);
        const std::optional<UpdateOutcome> outcome = runCheck(asked, true);
        QVERIFY(outcome);
        QCOMPARE(outcome->kind,
                 announced.isEmpty() ? UpdateOutcome::Kind::upToDate : UpdateOutcome::Kind::newer);
        QCOMPARE(none.postCount(), 0);
        QVERIFY(!asked.hasBadge());
        QCOMPARE(outcome->release.version, announced);
        if (!announced.isEmpty()) {
            QCOMPARE(outcome->release.name, "Vellumo " + latest);
            QCOMPARE(outcome->release.page.toString(),
                     "https://forge.invalid/vellumo/releases/tag/" + latest);
            QCOMPARE(outcome->release.notes, QStringLiteral("## Changes\n\n- Faster popup"));
        }
    }

    void aUserCheckAfterAnAnnouncement_data()
    {
        QTest::addColumn<bool>("click");
        QTest::newRow("the notification clicked") << true;
        QTest::newRow("from the menu, the notification still shown") << false;
    }

    // A click on the notification runs a user-initiated check, as the menu
    // does; its outcome shown means the user has looked: badge and
    // notification go.
    void aUserCheckAfterAnAnnouncement()
    {
        QFETCH(bool, click);
        QVERIFY(m_fake.setRelease(release(QStringLiteral("v1.3.0"))));
        platform::fake::Notifications notifications;
        Updater updater(QUrl(m_fake.releaseFeed()), current, notifications);
        QVERIFY(!runCheck(updater, false));
        QVERIFY(updater.hasBadge());
        QVERIFY(notifications.posted().contains(tag));

        QSignalSpy answered(&updater, &Updater::userCheckFinished);
        if (click) {
            QVERIFY(notifications.click(tag));
        } else {
            updater.checkForUpdates();
        }
        QTRY_COMPARE_WITH_TIMEOUT(answered.size(), 1, 20000);
        const auto outcome = answered.first().first().value<UpdateOutcome>();
        QCOMPARE(outcome.kind, UpdateOutcome::Kind::newer);
        QCOMPARE(outcome.release.version, QStringLiteral("1.3.0"));
        QVERIFY(!updater.hasBadge());
        QVERIFY(!notifications.posted().contains(tag));
        QCOMPARE(m_fake.requests().size(), 2);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("failure"); // queued on the stand-in
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<QString>("feed"); // empty: the stand-in's, trusted
        QTest::addColumn<bool>("unreachable");

        const QJsonObject newer = release(QStringLiteral("v9.0.0"));
        QTest::newRow("server error") << "500" << newer << "" << false;
        QTest::newRow("no release published") << "" << QJsonObject() << "" << false;
        QTest::newRow("not JSON") << "nonjson" << newer << "" << false;
        QTest::newRow("tag is not a version")
            << "" << release(QStringLiteral("nightly")) << "" << false;
        QTest::newRow("no tag") << "" << QJsonObject{{"name", "Vellumo 9"}} << "" << false;
        QTest::newRow("answer too large") << "huge:2" << newer << "" << false;
        // Every attempt: Qt sends a GET again, a few times, when the
        // connection closes before the answer.
        QTest::newRow("connection dropped") << "drop" << newer << "" << true;
        // These three send nothing to the stand-in.
        QTest::newRow("certificate not trusted") << "" << newer << "untrusted" << true;
        QTest::newRow("nobody listening") << "" << newer << "closed" << true;
        // Only https: a plain-http feed is refused before anything is sent.
        QTest::newRow("plain http") << "" << newer << "http" << false;
    }

    // Failures change nothing on a schedule; asked for, they are the
    // window's one sentence (which one depends on unreachable).
    void failures()
    {
        QFETCH(QString, failure);
        QFETCH(QJsonObject, answer);
        QFETCH(QString, feed);
        QFETCH(bool, unreachable);
        QVERIFY(m_fake.setRelease(answer.isEmpty() ? std::nullopt
                                                   : std::optional<QJsonObject>(answer)));
        QUrl address(m_fake.releaseFeed());
        if (feed == QLatin1String("untrusted")) {
            qunsetenv("VELLUMO_CA_FILE");
        } else if (feed == QLatin1String("http")) {
            address.setScheme(QStringLiteral("http"));
        } else if (feed == QLatin1String("closed")) {
            QTcpServer closed;
            QVERIFY(closed.listen(QHostAddress::LocalHost));
            address.setPort(closed.serverPort());
        }
        platform::fake::Notifications notifications;
        Updater updater(address, current, notifications);

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
        if (!feed.isEmpty()) {
            QVERIFY(m_fake.requests().isEmpty());
        }
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

    void theEnvironmentOverridesTheBuiltInFeed()
    {
        for (const QByteArray value : {"https://127.0.0.1:1/releases/latest", ""}) {
            qputenv("VELLUMO_UPDATE_FEED", value); // empty turns checks off
            QCOMPARE(Updater::configuredFeed(), QUrl(QString::fromUtf8(value)));
        }
        qunsetenv("VELLUMO_UPDATE_FEED");
    }
};

QTEST_GUILESS_MAIN(UpdaterTest)
#include "tst_updater.moc"
