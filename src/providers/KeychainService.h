// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"

#include <QFuture>
#include <QHash>
#include <QObject>
#include <QString>
#include <mutex>
#include <optional>

class QThreadPool;

// One API key per provider in the desktop's Secret Service (gnome-keyring,
// KWallet, KeePassXC), in an item with the attributes service =
// "com.vellumo.Vellumo.<provider>" and account = "api_key", so that
//   secret-tool lookup service com.vellumo.Vellumo.openai account api_key
// finds it. There is no plaintext fallback.
//
// A key store that cannot answer (locked, absent, not answering) is never
// taken for "no key": its failures are reported as such, and nothing is
// decided from them. Failures are printed to standard error; a missing key is
// silent. No key is ever kept in memory here: what the store keeps current is
// only whether each provider has one.
class KeychainService : public QObject {
    Q_OBJECT

public:
    static inline const QString serviceName = QStringLiteral("com.vellumo.Vellumo");
    static inline const QString account = QStringLiteral("api_key");

    // Whether a provider has a usable (not blank) key, as last read.
    enum class Presence { unknown, stored, missing, unavailable };

    // The outcome of reading one key: the key (none when there is none), or
    // the sentence that says why the store could not tell.
    struct KeyRead {
        std::optional<QString> key;
        QString problem;
        bool failed() const { return !problem.isEmpty(); }
    };

    static KeychainService &shared();

    // The blocking operations, each bounded by the store's call time-out (the
    // command line, and the store's own worker thread).
    bool storeAPIKey(const QString &key, AIVendor vendor);
    std::optional<QString> retrieveAPIKey(AIVendor vendor);
    KeyRead readAPIKey(AIVendor vendor);
    // True when no key remains, including when there was none.
    bool deleteAPIKey(AIVendor vendor);

    // Never waits.
    Presence presence(AIVendor vendor) const;
    // Why the last operation could not reach the keys; empty when it could.
    QString problem() const;

    // Reads whether each provider has a key, off the calling thread, and
    // emits presenceChanged when that is known. Stops at the first failure
    // of the store: one failed read is enough to say so.
    void refreshPresence();
    // The same, waiting for it (the command line). False when the store
    // could not answer.
    bool refreshPresenceNow();
    // A key for a request, read off the calling thread. Fails with
    // KeyStoreError when the store cannot answer; resolves with "" when
    // there is no key.
    QFuture<QString> keyForRequest(AIVendor vendor);

    // VendorConfig::setApiKey's rule ("" deletes the key, anything else is
    // stored) on the store's worker, after every operation asked for before
    // it; never waits. Resolves with whether the store did it (problem()
    // says why not).
    QFuture<bool> setAPIKeyInBackground(const QString &key, AIVendor vendor);

    // A key may hold no control characters (line breaks, tabs, NUL): it goes
    // into an HTTP header or a URL as it is.
    static bool isAcceptableKey(const QString &key);

    static QString service(AIVendor vendor);

Q_SIGNALS:
    // Emitted on the object's thread whenever presence() or problem() may
    // have changed.
    void presenceChanged();

private:
    KeychainService();

    void setOutcome(std::optional<AIVendor> vendor, Presence presence, const QString &problem);
    void readAllPresence();
    void announce();

    QThreadPool *m_worker; // one thread: the store's operations run in order
    mutable std::mutex m_mutex;
    QHash<AIVendor, Presence> m_presence;
    QString m_problem;
    bool m_refreshQueued = false;
};
