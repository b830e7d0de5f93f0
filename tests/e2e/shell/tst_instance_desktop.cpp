// SPDX-License-Identifier: GPL-3.0-or-later
// One Vellumo per session on a desktop without a tray: the notification
// that says how to reach the settings, a second start, `vellumo popup` with
// text selected in mousepad, and Quit asked for over the session bus.
#include "Desktop.h"
#include "FakeProvider.h"
#include "ShellDesktop.h"
#include "TestSupport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTest>

using namespace Desktop;
using namespace ShellDesktop;

namespace {

const QString sentence = QStringLiteral("The quick brown fox jumps over the lazy dog.");

int runVellumo(const QStringList &arguments, QString *printed = nullptr)
{
    int code = -1;
    const QByteArray out = run(qEnvironmentVariable("VELLUMO_BINARY"), arguments, 10000, &code);
    if (printed) {
        *printed = QString::fromUtf8(out);
    }
    return code;
}

} // namespace

class InstanceDesktopTest : public QObject {
    Q_OBJECT

    FakeProvider m_fake;
    NotificationDaemon m_daemon;
    Vellumo m_vellumo;

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(useFakeProvider(m_fake, QStringLiteral("sk-instance")));
        QVERIFY(m_daemon.start());
        QVERIFY(m_vellumo.start({QStringLiteral("VELLUMO_UPDATE_FEED=")}));
    }

    void cleanupTestCase() { m_vellumo.stop(); }

    void withoutATrayOneNotificationSaysHowToReachTheSettings()
    {
        QTRY_COMPARE(displayedCount(), 1);
        int code = -1;
        run(QStringLiteral("dunstctl"), {QStringLiteral("close-all")}, 5000, &code);
        QCOMPARE(code, 0);
        QTRY_COMPARE(history().size(), 1);
        const Notification shown = history().first();
        QCOMPARE(shown.summary, QStringLiteral("Vellumo is running"));
        QVERIFY2(
            shown.body.contains(QStringLiteral("start Vellumo again from the application menu")),
            qPrintable(shown.body));
    }

    // The second start asks the first to open its settings and ends.
    void aSecondStartOpensTheSettingsOfTheFirst()
    {
        const qsizetype from = m_vellumo.mark();
        QString printed;
        QCOMPARE(runVellumo({}, &printed), 0);
        QCOMPARE(printed, QStringLiteral("Vellumo is already running: its settings open there.\n"));
        QVERIFY(m_vellumo.waitFor(QStringLiteral("Activating screen"), from));
        QTRY_VERIFY(windowFrame(QStringLiteral("Vellumo Settings")).has_value());
        QVERIFY(m_vellumo.isRunning());
    }

    // `vellumo popup`, as a desktop's own key binding runs it: the popup
    // opens beside the selection, as with the shortcut.
    void vellumoPopupOpensThePopupBesideTheSelection()
    {
        const QString path = homePath(QStringLiteral("popup.txt"));
        QVERIFY(writeFile(path, sentence + u'\n'));
        App editor;
        QVERIFY(editor.start(QStringLiteral("mousepad"), {path}));
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")}));
        const QRect editorFrame = clientFrame(editor.window());

        const qsizetype from = m_vellumo.mark();
        QCOMPARE(runVellumo({QStringLiteral("popup")}), 0);
        QVERIFY(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), from));
        QTRY_VERIFY(popupFrame().has_value());
        const QRect popup = *popupFrame();
        grabScreen(QStringLiteral("shell-vellumo-popup"));
        // Below the selected first line, inside the editor's width.
        QVERIFY(popup.top() > editorFrame.top() && popup.top() < editorFrame.top() + 200);
        QVERIFY(popup.left() >= editorFrame.left() - 20 && popup.left() < editorFrame.right());

        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY(!popupFrame().has_value());
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+s")}));
        QTRY_COMPARE(readFile(path), sentence + u'\n');
    }

    // Quit asked for over the bus ends the process with its line; then
    // nobody answers `vellumo popup`.
    void quitOverTheBusThenNobodyAnswers()
    {
        const qsizetype from = m_vellumo.mark();
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("com.vellumo.Vellumo"), QStringLiteral("/com/vellumo/Vellumo"),
            QStringLiteral("org.freedesktop.Application"), QStringLiteral("ActivateAction"));
        call << QStringLiteral("quit") << QVariantList() << QVariantMap();
        const QDBusMessage answer = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
        QCOMPARE(answer.type(), QDBusMessage::ReplyMessage);
        QTRY_VERIFY_WITH_TIMEOUT(!m_vellumo.isRunning(), 5000);
        QVERIFY(m_vellumo.output().mid(from).contains(QStringLiteral("Deactivating screen\n")));
        QCOMPARE(runVellumo({QStringLiteral("popup")}), 1);
    }
};

QTEST_MAIN(InstanceDesktopTest)
#include "tst_instance_desktop.moc"
