// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestSupport.h"

#include "SecretWire.h"

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryFile>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace TestSupport {

void requireThrowawayEnvironment()
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_SESSION")) {
        std::cerr << "This test must run inside scripts/test-session (ctest does that); "
                     "it would otherwise use your own settings and keyring.\n";
        std::abort();
    }
}

namespace {

QString capture(int descriptor, std::FILE *stream, const std::function<void()> &body)
{
    std::cout.flush();
    std::fflush(stream);
    QTemporaryFile file;
    if (!file.open()) {
        body();
        return {};
    }
    const int saved = dup(descriptor);
    dup2(file.handle(), descriptor);
    body();
    std::cout.flush();
    std::fflush(stream);
    dup2(saved, descriptor);
    close(saved);
    file.seek(0);
    return QString::fromUtf8(file.readAll());
}

const QString secrets = QStringLiteral("org.freedesktop.secrets");
const QString collection = QStringLiteral("/org/freedesktop/secrets/collection/login");

QDBusMessage callSecrets(const QString &path, const QString &interface, const QString &method,
                         const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(secrets, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qWarning("%s: %s", qPrintable(method), qPrintable(reply.errorMessage()));
    }
    return reply;
}

QList<pid_t> keyringDaemons()
{
    QList<pid_t> pids;
    const QByteArray marker = "VELLUMO_TEST_SESSION=" + qgetenv("VELLUMO_TEST_SESSION");
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool numeric = false;
        const pid_t pid = entry.toInt(&numeric);
        if (!numeric) {
            continue;
        }
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        QFile environ(QStringLiteral("/proc/%1/environ").arg(pid));
        if (!comm.open(QIODevice::ReadOnly) || !environ.open(QIODevice::ReadOnly)) {
            continue;
        }
        if (comm.readAll().trimmed() == "gnome-keyring-d" && environ.readAll().contains(marker)) {
            pids << pid;
        }
    }
    return pids;
}

} // namespace

QString captureStdout(const std::function<void()> &body)
{
    return capture(STDOUT_FILENO, stdout, body);
}

QString captureStderr(const std::function<void()> &body)
{
    return capture(STDERR_FILENO, stderr, body);
}

QByteArray secretTool(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    process.start(QStringLiteral("secret-tool"), arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(10000);
    return process.readAllStandardOutput();
}

bool lockKeyring()
{
    const QDBusMessage reply =
        callSecrets(QStringLiteral("/org/freedesktop/secrets"),
                    QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("Lock"),
                    {QVariant::fromValue(QList<QDBusObjectPath>{QDBusObjectPath(collection)})});
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool unlockKeyring()
{
    qDBusRegisterMetaType<SecretWire>();
    const QDBusMessage session =
        callSecrets(QStringLiteral("/org/freedesktop/secrets"),
                    QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("OpenSession"),
                    {QStringLiteral("plain"), QVariant::fromValue(QDBusVariant(QString()))});
    if (session.type() != QDBusMessage::ReplyMessage) {
        return false;
    }
    const QDBusObjectPath sessionPath = qdbus_cast<QDBusObjectPath>(session.arguments().value(1));
    const SecretWire password{
        sessionPath, {}, qgetenv("VELLUMO_TEST_KEYRING_PASSWORD"), QStringLiteral("text/plain")};
    const QDBusMessage reply = callSecrets(
        QStringLiteral("/org/freedesktop/secrets"),
        QStringLiteral("org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface"),
        QStringLiteral("UnlockWithMasterPassword"),
        {QVariant::fromValue(QDBusObjectPath(collection)), QVariant::fromValue(password)});
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool freezeKeyring(bool frozen)
{
    const QList<pid_t> daemons = keyringDaemons();
    for (pid_t pid : daemons) {
        ::kill(pid, frozen ? SIGSTOP : SIGCONT);
    }
    if (daemons.isEmpty()) {
        qWarning("no gnome-keyring-daemon of this test session");
    }
    return !daemons.isEmpty();
}

} // namespace TestSupport
