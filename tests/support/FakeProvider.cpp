// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeProvider.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

QByteArray jsonText(const std::optional<QString> &value)
{
    if (!value) {
        return QByteArrayLiteral("null");
    }
    // A JSON string literal, through an array to get the quoting right.
    const QByteArray array = QJsonDocument(QJsonArray{*value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

} // namespace

QJsonObject FakeProvider::Request::json() const
{
    return QJsonDocument::fromJson(body).object();
}

FakeProvider::FakeProvider() = default;

FakeProvider::~FakeProvider()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.write("quit\n");
        if (!m_process.waitForFinished(2000)) {
            m_process.kill();
            m_process.waitForFinished(2000);
        }
    }
}

bool FakeProvider::start(const QStringList &arguments)
{
    const QString sourceDir = qEnvironmentVariable("VELLUMO_SOURCE_DIR");
    if (sourceDir.isEmpty() || !m_dir.isValid()) {
        m_error = QStringLiteral("VELLUMO_SOURCE_DIR is not set or no temporary folder");
        return false;
    }
    const QString script = QDir(sourceDir).filePath(QStringLiteral("scripts/fake-provider"));
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral("/usr/bin/python3"),
                    QStringList{script, QStringLiteral("--dir"), m_dir.path()} + arguments);
    if (!m_process.waitForStarted(5000)) {
        m_error = m_process.errorString();
        return false;
    }
    const QJsonObject hello = QJsonDocument::fromJson(readLine(15000)).object();
    m_port = hello.value(QLatin1String("port")).toInt();
    m_caFile = hello.value(QLatin1String("ca")).toString();
    if (m_port <= 0 || m_caFile.isEmpty()) {
        m_error = QStringLiteral("the fake provider did not announce its port");
        return false;
    }
    qputenv("VELLUMO_CA_FILE", m_caFile.toUtf8());
    return true;
}

QByteArray FakeProvider::readLine(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!m_process.canReadLine()) {
        if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning ||
            !m_process.waitForReadyRead(int(deadline.remainingTime()))) {
            if (!m_process.canReadLine()) {
                return {};
            }
        }
    }
    return m_process.readLine().trimmed();
}

QByteArray FakeProvider::command(const QByteArray &line)
{
    m_process.write(line + '\n');
    m_process.waitForBytesWritten(2000);
    return readLine(5000);
}

bool FakeProvider::fail(const QString &kind, int count)
{
    return command("fail " + kind.toUtf8() + ' ' + QByteArray::number(count)) == "ok";
}

bool FakeProvider::setAnswer(const std::optional<QString> &answer)
{
    return command("answer " + jsonText(answer)) == "ok";
}

bool FakeProvider::setKey(const std::optional<QString> &key)
{
    return command("key " + jsonText(key)) == "ok";
}

bool FakeProvider::setRelease(const std::optional<QJsonObject> &release)
{
    const QByteArray json =
        release ? QJsonDocument(*release).toJson(QJsonDocument::Compact) : QByteArray("null");
    return command("release " + json) == "ok";
}

QString FakeProvider::releaseFeed() const
{
    return QStringLiteral("https://%1/repos/vellumo/vellumo/releases/latest").arg(host());
}

bool FakeProvider::clear()
{
    return command("clear") == "ok";
}

QList<FakeProvider::Request> FakeProvider::requests()
{
    QList<Request> result;
    const QJsonArray entries = QJsonDocument::fromJson(command("requests")).array();
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        Request request;
        request.method = entry.value(QLatin1String("method")).toString();
        request.path = entry.value(QLatin1String("path")).toString();
        request.body = entry.value(QLatin1String("body")).toString().toUtf8();
        request.vendor = entry.value(QLatin1String("vendor")).toString();
        const QJsonObject headers = entry.value(QLatin1String("headers")).toObject();
        for (auto it = headers.begin(); it != headers.end(); ++it) {
            request.headers.insert(it.key(), it.value().toString());
        }
        result << request;
    }
    return result;
}
