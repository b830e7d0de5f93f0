// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <chrono>

// A small synchronous client of the freedesktop Secret Service
// (org.freedesktop.secrets: gnome-keyring, KWallet, KeePassXC) on the session
// bus. Every call is bounded by a time-out and never starts a prompt: a locked
// keyring is reported as locked, not unlocked behind the user's back, and a
// daemon that does not answer costs one time-out, not a hang.
//
// Safe to use from any thread; each thread gets a connection of its own.
namespace SecretService {

using Attributes = QMap<QString, QString>;

enum class Status {
    ok,
    notFound,     // no item with these attributes
    locked,       // the item, or the keyring it would go to, is locked
    noService,    // nothing serves org.freedesktop.secrets (or no session bus)
    notAnswering, // the service did not answer within the time-out
    failed,       // any other error; the detail says which
};

struct Result {
    Status status = Status::failed;
    QString detail;    // the D-Bus error's name and message; never a secret
    QByteArray secret; // find only
};

// The bound of one D-Bus call.
inline constexpr std::chrono::milliseconds callTimeout{2000};

// The secret of the first unlocked item whose attributes include these.
// notFound when there is none; locked when matching items exist only in a
// locked keyring.
Result find(const Attributes &attributes);
// Stores secret as text in the default keyring, replacing an item with the
// same attributes.
Result store(const QString &label, const Attributes &attributes, const QByteArray &secret);
// Deletes every item whose attributes include these; ok also when there was
// none. locked when a matching item is locked (nothing is deleted then).
Result remove(const Attributes &attributes);

// The sentence a user reads for a failed status (ok and notFound give "").
QString sentence(const Result &result);

} // namespace SecretService
