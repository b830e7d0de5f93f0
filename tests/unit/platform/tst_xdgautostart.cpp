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

bool write(const QString &path, const QByteArray &text, QIODevice::OpenMode mode)
{
    QFile file(path);
    return file.open(mode) && file.write(text) == text.size();
}

bool writeProgram(const QString &path, const QByteArray &text)
{
    return write(path, text, QIODevice::WriteOnly) &&
           QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
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

    // GLib's launcher, as the session starts autostart entries, runs the
    // program however odd its folder's name.
    void execStartsTheProgramItNames()
    {
        QTemporaryDir root;
        const QString folder = root.filePath(QStringLiteral("odd $HOME `id` \"x\\y 'z'"));
        QVERIFY(QDir().mkpath(folder));
        const QString program = folder + QStringLiteral("/stand in");
        QVERIFY(writeProgram(program, "#!/bin/sh\necho started > \"$VELLUMO_TEST_MARKER\"\n"));

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

    // The Desktop Entry format's rules: reserved characters quote the
    // argument, ", `, $ and \ are escaped inside the quotes, the string
    // escape then doubles each backslash, and % starts a field code. GLib
    // reads some of it leniently and cannot run a path with % (it looks for
    // the program before it expands field codes), so the text is compared.
    void execFollowsTheDesktopEntryRules()
    {
        const std::pair<QString, QString> rows[] = {
            {u"/usr/bin/vellumo"_qs, u"/usr/bin/vellumo"_qs},
            {u"/opt/my apps/vellumo"_qs, u"\"/opt/my apps/vellumo\""_qs},
            {u"/opt/$x/vellumo"_qs, u"\"/opt/\\\\$x/vellumo\""_qs},
            {u"/opt/a\\b/vellumo"_qs, u"\"/opt/a\\\\\\\\b/vellumo\""_qs},
            {u"/opt/100%/vellumo"_qs, u"/opt/100%%/vellumo"_qs},
            {u"/opt/100% sure/vellumo"_qs, u"\"/opt/100%% sure/vellumo\""_qs},
        };
        for (const auto &[executable, exec] : rows) {
            QCOMPARE(XdgAutostart::execValue(executable), exec);
        }
    }

    void failuresAreLogged()
    {
        const QString autostart = qEnvironmentVariable("XDG_CONFIG_HOME") + "/autostart";
        QVERIFY(write(autostart, {}, QIODevice::WriteOnly));
        const XdgAutostart item(QStringLiteral("/usr/bin/vellumo"));
        QVERIFY(!item.setEnabled(true));
        QCOMPARE(loginItemLog,
                 QStringList{QStringLiteral("Failed to enable launch at login: cannot create the "
                                            "autostart folder ") +
                             autostart});

        // An entry that is a folder with something in it cannot be removed.
        QVERIFY(QFile::remove(autostart));
        QVERIFY(QDir().mkpath(XdgAutostart::entryPath() + QStringLiteral("/inside")));
        // Enabling removes the old entry first, and says so in its own words.
        for (const bool enable : {false, true}) {
            loginItemLog.clear();
            QVERIFY(!item.setEnabled(enable));
            QCOMPARE(loginItemLog.size(), 1);
            const QString said =
                QStringLiteral("Failed to %1 launch at login: cannot remove the "
                               "autostart entry %2:")
                    .arg(enable ? u"enable" : u"disable", XdgAutostart::entryPath());
            QVERIFY2(loginItemLog.first().startsWith(said), qPrintable(loginItemLog.first()));
        }
    }

    // Enabling an enabled entry writes it anew: one turned off by the
    // desktop's own settings, or naming another program, is on and current
    // after.
    void enablingAgainReplacesTheEntry_data()
    {
        QTest::addColumn<QByteArray>("off");
        QTest::addRow("hidden") << QByteArray("Hidden=true");
        QTest::addRow("GNOME") << QByteArray("X-GNOME-Autostart-enabled=false");
    }

    void enablingAgainReplacesTheEntry()
    {
        QFETCH(QByteArray, off);
        QVERIFY(XdgAutostart(QStringLiteral("/old/vellumo")).setEnabled(true));
        QVERIFY(write(XdgAutostart::entryPath(), off + '\n', QIODevice::Append));
        const XdgAutostart item(QStringLiteral("/new/vellumo"));
        QVERIFY(!item.isEnabled());
        QVERIFY(item.setEnabled(true));
        QVERIFY(item.isEnabled());
        const QByteArray text = readAll(XdgAutostart::entryPath());
        QVERIFY(text.contains("Exec=/new/vellumo\n"));
        QVERIFY(!text.contains("/old/"));
        QVERIFY(!text.contains(off));
        QVERIFY(loginItemLog.isEmpty());
    }

    // The installed program when it is there and runs, else the running one.
    void startsTheInstalledProgramWhenThereIsOne()
    {
        QTemporaryDir root;
        const QString running = QStringLiteral("/build/src/app/vellumo");
        const QString installed = root.filePath(QStringLiteral("vellumo"));
        QCOMPARE(XdgAutostart::executableToStart(installed, running), running);
        QVERIFY(write(installed, {}, QIODevice::WriteOnly));
        QCOMPARE(XdgAutostart::executableToStart(installed, running), running);
        QVERIFY(writeProgram(installed, {}));
        QCOMPARE(XdgAutostart::executableToStart(installed, running), installed);
        QCOMPARE(XdgAutostart::executableToStart(root.path(), running), running);
    }
};

QTEST_GUILESS_MAIN(XdgAutostartTest)
#include "tst_xdgautostart.moc"
