// SPDX-License-Identifier: GPL-3.0-or-later
// Notifications on the session bus, with this test as the notification
// daemon on a connection of its own.
#include "FreedesktopNotifications.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QtTest>

namespace {

QStringList notificationLog;

void collect(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArray(context.category) == "vellumo.notifications") {
        notificationLog.append(message);
    }
}

class Daemon : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QList<QVariantList> calls;

public Q_SLOTS:
    uint Notify(const QString &appName, uint replacesId, const QString &appIcon,
                const QString &summary, const QString &body, const QStringList &actions,
                const QVariantMap &hints, int expireTimeout)
    {
        calls.append({appName, replacesId, appIcon, summary, body, actions, hints, expireTimeout});
        return uint(calls.size());
    }
};

const QString service = QStringLiteral("org.freedesktop.Notifications");

} // namespace

class NotificationsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(QDBusConnection::sessionBus().isConnected());
        qInstallMessageHandler(&collect);
    }

    void withoutADaemonTheFailureIsLogged()
    {
        notificationLog.clear();
        const platform::FreedesktopNotifications notifications;
        notifications.notify(QStringLiteral("Vellumo"), QStringLiteral("Nobody listens"));
        QTRY_COMPARE(notificationLog.size(), 1);
        QVERIFY2(
            notificationLog.first().startsWith(QStringLiteral("Cannot show a notification: ")) &&
                notificationLog.first().endsWith(
                    QStringLiteral("(org.freedesktop.DBus.Error.ServiceUnknown)")),
            qPrintable(notificationLog.first()));
        QVERIFY(!notificationLog.first().contains(QStringLiteral("Nobody listens")));
    }

    void theDaemonGetsTitleAndBody()
    {
        QDBusConnection own =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("daemon"));
        auto disconnect =
            qScopeGuard([] { QDBusConnection::disconnectFromBus(QStringLiteral("daemon")); });
        Daemon daemon;
        QVERIFY(own.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &daemon,
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(own.registerService(service));
        QTRY_VERIFY(QDBusConnection::sessionBus().interface()->isServiceRegistered(service));

        notificationLog.clear();
        const platform::FreedesktopNotifications notifications;
        notifications.notify(QStringLiteral("Answer ready"),
                             QStringLiteral("It is on the clipboard."));
        QTRY_COMPARE(daemon.calls.size(), 1);
        QCOMPARE(daemon.calls.first(),
                 (QVariantList{u"Vellumo"_qs, 0u, QString(), u"Answer ready"_qs,
                               u"It is on the clipboard."_qs, QStringList(), QVariantMap(), -1}));
        QTest::qWait(50);
        QVERIFY2(notificationLog.isEmpty(), qPrintable(notificationLog.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(NotificationsTest)
#include "tst_notifications.moc"
