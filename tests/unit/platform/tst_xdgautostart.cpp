// SPDX-License-Identifier: GPL-3.0-or-later
// The autostart entry as the freedesktop.org desktops read it: where it
// lies, what turns it off, and an Exec line that GLib's own launcher runs.
#include "TestSupport.h"
#include "XdgAutostart.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using platform::XdgAutostart;

namespace {

QStringList loginItemLog;

void collect(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArray(context.category) == "vellumo.loginitem") {
        loginItemLog.append(message);
    }
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class XdgAutostartTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        qInstallMessageHandler(&collect);
    }

    void init()
    {
        loginItemLog.clear();
        QDir(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/autostart"))
            .removeRecursively();
        QFile::remove(qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/autostart"));
    }

    void entryComesAndGoes()
    {
        const QString path = qEnvironmentVariable("XDG_CONFIG_HOME") +
                             QStringLiteral("/autostart/com.vellumo.Vellumo.desktop");
        QCOMPARE(XdgAutostart::entryPath(), path);
        const XdgAutostart item(QStringLiteral("/opt/vellumo/bin/vellumo"));
        QVERIFY(!item.isEnabled());

        QVERIFY(item.setEnabled(true));
        QVERIFY(item.isEnabled());
        const QList<QByteArray> lines = readAll(path).split('\n');
        QCOMPARE(lines.value(0), QByteArray("[Desktop Entry]"));
        QVERIFY(lines.contains("Type=Application"));
        QVERIFY(lines.contains("Exec=/opt/vellumo/bin/vellumo"));

        QVERIFY(item.setEnabled(false));
        QVERIFY(!QFile::exists(path));
        QVERIFY(!item.isEnabled());
        QVERIFY(item.setEnabled(false));
        QVERIFY(loginItemLog.isEmpty());
    }

    // What the desktop's own settings write to turn an entry off.
    void desktopSettingsTurnItOff_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addRow("hidden") << QByteArray("Hidden=true");
        QTest::addRow("GNOME") << QByteArray("X-GNOME-Autostart-enabled=false");
    }

    void desktopSettingsTurnItOff()
    {
        QFETCH(QByteArray, line);
        const XdgAutostart item(QStringLiteral("/usr/bin/vellumo"));
        QVERIFY(item.setEnabled(true));
        QFile entry(XdgAutostart::entryPath());
        QVERIFY(entry.open(QIODevice::Append));
        entry.write(line + '\n');
        entry.close();
        QVERIFY(!item.isEnabled());
    }

    // GLib's launcher, as the session starts autostart entries, runs the
    // program however odd its folder's name.
    void execStartsTheProgramItNames()
    {
        QTemporaryDir root;
        const QString folder = root.filePath(QStringLiteral("odd $HOME `id` \"x\\y 'z'"));
        QVERIFY(QDir().mkpath(folder));
        const QString program = folder + QStringLiteral("/stand in");
        QFile script(program);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\necho started > \"$VELLUMO_TEST_MARKER\"\n");
        script.close();
        QVERIFY(script.setPermissions(script.permissions() | QFile::ExeOwner));

        QVERIFY(XdgAutostart(program).setEnabled(true));
        const QString marker = root.filePath(QStringLiteral("marker"));
        QProcess gio;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("VELLUMO_TEST_MARKER"), marker);
        gio.setProcessEnvironment(environment);
        gio.start(QStringLiteral("gio"), {QStringLiteral("launch"), XdgAutostart::entryPath()});
        QVERIFY2(gio.waitForFinished(10000) && gio.exitCode() == 0,
                 qPrintable(readAll(XdgAutostart::entryPath()) + gio.readAllStandardError()));
        QTRY_COMPARE(readAll(marker), QByteArray("started\n"));
    }

    // The Desktop Entry specification's rules: reserved characters quote
    // the argument, ", `, $ and \ are escaped inside the quotes, the string
    // escape then doubles each backslash, and % starts a field code. GLib
    // reads some of it leniently and cannot run a path with % (it looks for
    // the program before it expands field codes), so the text is compared.
    void execFollowsTheSpecification_data()
    {
        QTest::addColumn<QString>("executable");
        QTest::addColumn<QString>("exec");
        QTest::addRow("plain") << "/usr/bin/vellumo" << u"/usr/bin/vellumo"_qs;
        QTest::addRow("space") << "/opt/my apps/vellumo" << u"\"/opt/my apps/vellumo\""_qs;
        QTest::addRow("dollar") << "/opt/$x/vellumo" << u"\"/opt/\\\\$x/vellumo\""_qs;
        QTest::addRow("backslash") << "/opt/a\\b/vellumo" << u"\"/opt/a\\\\\\\\b/vellumo\""_qs;
        QTest::addRow("percent") << "/opt/100%/vellumo" << u"/opt/100%%/vellumo"_qs;
        QTest::addRow("percent, quoted")
            << "/opt/100% sure/vellumo" << u"\"/opt/100%% sure/vellumo\""_qs;
    }

    void execFollowsTheSpecification()
    {
        QFETCH(QString, executable);
        QFETCH(QString, exec);
        QCOMPARE(XdgAutostart::execValue(executable), exec);
    }

    void failuresAreLogged()
    {
        const QString autostart = qEnvironmentVariable("XDG_CONFIG_HOME") + "/autostart";
        QFile blocker(autostart);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const XdgAutostart item(QStringLiteral("/usr/bin/vellumo"));
        QVERIFY(!item.setEnabled(true));
        QCOMPARE(loginItemLog,
                 QStringList{QStringLiteral("Failed to enable launch at login: cannot create the "
                                            "autostart folder ") +
                             autostart});

        // An entry that is a folder with something in it cannot be removed.
        loginItemLog.clear();
        QVERIFY(QFile::remove(autostart));
        QVERIFY(QDir().mkpath(XdgAutostart::entryPath() + QStringLiteral("/inside")));
        QVERIFY(!item.setEnabled(false));
        QCOMPARE(loginItemLog.size(), 1);
        QVERIFY2(loginItemLog.first().startsWith(
                     QStringLiteral("Failed to disable launch at login: cannot remove the "
                                    "autostart entry ") +
                     XdgAutostart::entryPath() + u':'),
                 qPrintable(loginItemLog.first()));
        // Enabling removes the old entry first, and says so in its own words.
        loginItemLog.clear();
        QVERIFY(!item.setEnabled(true));
        QCOMPARE(loginItemLog.size(), 1);
        QVERIFY2(loginItemLog.first().startsWith(
                     QStringLiteral("Failed to enable launch at login: cannot remove the "
                                    "autostart entry ")),
                 qPrintable(loginItemLog.first()));
    }

    // Enabling an enabled entry writes it anew: one turned off by the
    // desktop's settings, or naming another program, is on and current after.
    void enablingAgainReplacesTheEntry()
    {
        QVERIFY(XdgAutostart(QStringLiteral("/old/vellumo")).setEnabled(true));
        QFile entry(XdgAutostart::entryPath());
        QVERIFY(entry.open(QIODevice::Append));
        entry.write("Hidden=true\n");
        entry.close();
        const XdgAutostart item(QStringLiteral("/new/vellumo"));
        QVERIFY(!item.isEnabled());
        QVERIFY(item.setEnabled(true));
        QVERIFY(item.isEnabled());
        const QByteArray text = readAll(XdgAutostart::entryPath());
        QVERIFY(text.contains("Exec=/new/vellumo\n"));
        QVERIFY(!text.contains("/old/"));
        QVERIFY(!text.contains("Hidden"));
        QVERIFY(loginItemLog.isEmpty());
    }

    // The installed program when it is there and runs, else the running one.
    void startsTheInstalledProgramWhenThereIsOne()
    {
        QTemporaryDir root;
        const QString running = QStringLiteral("/build/src/app/vellumo");
        const QString installed = root.filePath(QStringLiteral("vellumo"));
        QCOMPARE(XdgAutostart::executableToStart(installed, running), running);
        QFile program(installed);
        QVERIFY(program.open(QIODevice::WriteOnly));
        program.close();
        QCOMPARE(XdgAutostart::executableToStart(installed, running), running);
        QVERIFY(program.setPermissions(program.permissions() | QFile::ExeOwner));
        QCOMPARE(XdgAutostart::executableToStart(installed, running), installed);
        QCOMPARE(XdgAutostart::executableToStart(root.path(), running), running);
    }
};

QTEST_GUILESS_MAIN(XdgAutostartTest)
#include "tst_xdgautostart.moc"
