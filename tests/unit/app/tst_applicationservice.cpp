// SPDX-License-Identifier: GPL-3.0-or-later
// One instance per session bus and what other processes may ask of it, on
// a private session bus. The asking side runs on a thread of its own, as it
// would in another process: its calls block.
#include "ApplicationService.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFuture>
#include <QtConcurrent>
#include <QtTest>

namespace {

// A bus connection of its own, as a second process has.
class OtherProcess {
public:
    explicit OtherProcess(const QString &name)
        : m_name(name), m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name))
    {}
    ~OtherProcess() { QDBusConnection::disconnectFromBus(m_name); }
    QDBusConnection bus() const { return m_bus; }

private:
    QString m_name;
    QDBusConnection m_bus;
};

// A call from another thread, as from another process, with this thread's
// event loop serving the running instance meanwhile: ask() for an action, or
// Open with a file (files or addresses handed to the application).
QString askFromOutside(const QString &action)
{
    QFuture<QString> asked = QtConcurrent::run([action] {
        const OtherProcess other(QStringLiteral("asker"));
        if (action != QLatin1String("Open")) {
            return ApplicationService::ask(action, other.bus());
        }
        QDBusMessage call = QDBusMessage::createMethodCall(
            ApplicationService::serviceName, ApplicationService::objectPath,
            QStringLiteral("org.freedesktop.Application"), QStringLiteral("Open"));
        call << QStringList{QStringLiteral("file:///tmp/x.txt")} << QVariantMap();
        return other.bus().call(call, QDBus::Block, 5000).errorMessage();
    });
    if (!QTest::qWaitFor([&asked] { return asked.isFinished(); }, 10000)) {
        return QStringLiteral("no answer");
    }
    return asked.result();
}

} // namespace

class ApplicationServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void withoutAnInstanceNobodyAnswers()
    {
        QCOMPARE(askFromOutside(QStringLiteral("popup")), QStringLiteral("Vellumo is not running"));
    }

    // The first claim wins; the second finds the name taken, and a claim
    // given up (the first instance quit) leaves it free again.
    void oneInstanceOwnsTheName()
    {
        auto first = std::make_unique<ApplicationService>();
        QCOMPARE(first->claim(), ApplicationService::Claim::owned);
        {
            const OtherProcess other(QStringLiteral("second"));
            ApplicationService second(other.bus());
            QCOMPARE(second.claim(), ApplicationService::Claim::taken);
        }
        first.reset();
        const OtherProcess other(QStringLiteral("third"));
        ApplicationService third(other.bus());
        QCOMPARE(third.claim(), ApplicationService::Claim::owned);
    }

    void calls_data()
    {
        QTest::addColumn<QString>("asked"); // empty: Activate
        QTest::addColumn<QString>("runs");  // the action that runs; empty: none
        QTest::newRow("a second start activates: settings") << QString() << u"settings"_qs;
        for (const char *action : {"settings", "onboarding", "popup", "quit"}) {
            QTest::newRow(action) << QString::fromLatin1(action) << QString::fromLatin1(action);
        }
        QTest::newRow("Open: settings") << u"Open"_qs << u"settings"_qs;
        QTest::newRow("unknown action") << u"preferences"_qs << QString();
    }

    void calls()
    {
        QFETCH(QString, asked);
        QFETCH(QString, runs);
        ApplicationService service;
        QStringList ran;
        for (const QString &name : ApplicationService::actionNames) {
            service.setAction(name, [&ran, name] { ran.append(name); });
        }
        QCOMPARE(service.claim(), ApplicationService::Claim::owned);

        const QString problem = askFromOutside(asked);
        if (runs.isEmpty()) {
            QVERIFY2(problem.contains(QStringLiteral("has no action \"preferences\"")),
                     qPrintable(problem));
            QTest::qWait(50);
            QVERIFY(ran.isEmpty());
            return;
        }
        QCOMPARE(problem, QString());
        // The action runs once the caller has its answer.
        QTRY_COMPARE(ran, QStringList{runs});
    }
};

QTEST_GUILESS_MAIN(ApplicationServiceTest)
#include "tst_applicationservice.moc"
