#pragma once

#include "AIVendor.h"

#include <QString>
#include <chrono>
#include <memory>
#include <optional>

class QThread;
class QObject;

// One API key per provider in the desktop's Secret Service (gnome-keyring,
// KWallet, KeePassXC...), addressed by service "com.vellumo.Vellumo.<provider>"
// and account "api_key". There is no plaintext fallback: without a Secret
// Service, storing fails.
//
// The operations are synchronous for their callers but bounded: the secret
// jobs run on a thread of their own and a caller waits at most callTimeout
// (a locked keyring may prompt and never answer). Failures are printed to
// standard output, never thrown; a missing key is silent.
class KeychainService {
public:
    static inline const QString serviceName = QStringLiteral("com.vellumo.Vellumo");
    static inline const QString account = QStringLiteral("api_key");
    static constexpr std::chrono::milliseconds callTimeout{3000};

    static KeychainService &shared();

    KeychainService();
    ~KeychainService();
    KeychainService(const KeychainService &) = delete;
    KeychainService &operator=(const KeychainService &) = delete;

    bool storeAPIKey(const QString &key, AIVendor vendor);
    std::optional<QString> retrieveAPIKey(AIVendor vendor);
    // True when no key remains, including when there was none.
    bool deleteAPIKey(AIVendor vendor);

    static QString service(AIVendor vendor);

    // The outcome of one secret job: the backend's numeric error code (0 for
    // success) with its text, or a time-out.
    struct Outcome {
        int code = 0;
        QString errorText;
        QByteArray data;
    };

private:
    enum class Operation { Read, Write, Delete };
    Outcome run(Operation operation, AIVendor vendor, const QByteArray &data = {});

    std::unique_ptr<QThread> m_thread;
    QObject *m_context = nullptr; // lives on m_thread
};
