// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <optional>

// Runs scripts/fake-provider (a local HTTPS stand-in for the three AI
// providers) for one test and talks to it over its standard input and output.
//
//   FakeProvider fake;
//   QVERIFY2(fake.start(), qPrintable(fake.errorString()));
//   VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
//   config.apiHost = fake.host();          // "127.0.0.1:PORT"
//   fake.fail("401");                      // the next request gets a 401
//   ... run the request ...
//   const auto sent = fake.requests();     // what arrived, in order
//
// start() sets VELLUMO_CA_FILE to the server's certificate, so the provider
// clients of this process and of processes it starts trust it.
class FakeProvider {
public:
    struct Request {
        QString method;
        QString path;                   // as sent, query included
        QMap<QString, QString> headers; // names in lower case
        QByteArray body;
        QString vendor; // "openai", "anthropic", "gemini", or empty

        QJsonObject json() const; // the body as a JSON object
    };

    FakeProvider();
    ~FakeProvider();
    FakeProvider(const FakeProvider &) = delete;
    FakeProvider &operator=(const FakeProvider &) = delete;

    // Extra arguments go to the script (--key, --answer, --fail).
    bool start(const QStringList &arguments = {});
    QString errorString() const { return m_error; }

    QString host() const { return QStringLiteral("127.0.0.1:%1").arg(m_port); }
    int port() const { return m_port; }
    // The server's process, for a test that holds it still with SIGSTOP.
    qint64 processId() const { return m_process.processId(); }
    QString caFile() const { return m_caFile; }

    // The next count requests get failure kind ("401", "nonjson",
    // "slow:1.5", "drop"...; the script's header lists them all).
    bool fail(const QString &kind, int count = 1);
    // The answer text from now on; none for the default answer.
    bool setAnswer(const std::optional<QString> &answer);
    // The only key accepted from now on; none accepts any non-empty key.
    bool setKey(const std::optional<QString> &key);
    // What the release feed (GET .../releases/latest) answers from now on;
    // none: 404.
    bool setRelease(const std::optional<QJsonObject> &release);
    // The feed's address on this server.
    QString releaseFeed() const;
    // Forgets the recorded requests and queued failures.
    bool clear();
    QList<Request> requests();

private:
    // Sends one control line and returns the one reply line.
    QByteArray command(const QByteArray &line);
    QByteArray readLine(int timeoutMs);

    QTemporaryDir m_dir;
    QProcess m_process;
    int m_port = 0;
    QString m_caFile;
    QString m_error;
};
