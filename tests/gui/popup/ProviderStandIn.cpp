#include "ProviderStandIn.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

ProviderStandIn::~ProviderStandIn()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.write("quit\n");
        if (!m_process.waitForFinished(2000)) {
            m_process.kill();
            m_process.waitForFinished(2000);
        }
    }
}

bool ProviderStandIn::start()
{
    const QString script = qEnvironmentVariable("VELLUMO_SOURCE_DIR") + "/scripts/fake-provider";
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QStringLiteral("/usr/bin/python3"), {script});
    if (!m_process.waitForStarted(5000)) {
        m_error = "cannot start " + script + ": " + m_process.errorString();
        return false;
    }
    const QJsonObject info = QJsonDocument::fromJson(readLine()).object();
    m_host = info.value("host").toString();
    m_caFile = info.value("ca").toString();
    if (m_host.isEmpty() || m_caFile.isEmpty()) {
        m_error = QStringLiteral("the provider stand-in did not report its address");
        return false;
    }
    return true;
}

QByteArray ProviderStandIn::readLine()
{
    const QDeadlineTimer deadline(10000);
    while (!m_process.canReadLine() && !deadline.hasExpired()) {
        m_process.waitForReadyRead(int(deadline.remainingTime()));
    }
    return m_process.readLine().trimmed();
}

QByteArray ProviderStandIn::command(const QByteArray &line)
{
    m_process.write(line + '\n');
    m_process.waitForBytesWritten(2000);
    return readLine();
}

void ProviderStandIn::failNext(const QString &kind, int count)
{
    command("fail " + kind.toUtf8() + ' ' + QByteArray::number(count));
}

void ProviderStandIn::setAnswer(const QString &answer)
{
    const QByteArray json = QJsonDocument(QJsonArray{answer}).toJson(QJsonDocument::Compact);
    // The array's single element, as a JSON string.
    command("answer " + json.mid(1, json.size() - 2));
}

void ProviderStandIn::clear()
{
    command("answer null");
    command("clear");
}

QJsonArray ProviderStandIn::requests()
{
    return QJsonDocument::fromJson(command("requests")).array();
}
