#pragma once

#include <QJsonArray>
#include <QProcess>
#include <QString>

// The local HTTPS provider of scripts/fake-provider, started for one test
// program and driven through its control lines.
class ProviderStandIn {
public:
    ProviderStandIn() = default;
    ~ProviderStandIn();

    // Starts the server; false (with the reason in error()) when it did not
    // come up.
    bool start();
    QString error() const { return m_error; }

    QString host() const { return m_host; } // "127.0.0.1:PORT"
    QString caFile() const { return m_caFile; }

    // One control line; returns the one-line reply.
    QByteArray command(const QByteArray &line);
    void failNext(const QString &kind, int count = 1);
    void setAnswer(const QString &answer);
    void clear();
    QJsonArray requests();

private:
    QByteArray readLine();

    QProcess m_process;
    QString m_host;
    QString m_caFile;
    QString m_error;
};
