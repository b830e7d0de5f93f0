// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AXError.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QString>
#include <QVariant>

// The accessibility thread's own connection to the AT-SPI bus, through QtDBus.
// Every call blocks its caller for at most the given time-out; nothing else of
// the process touches this connection, and no signal is ever subscribed, so
// the bus sends it replies only: no event traffic, no cache to grow, no
// wake-ups while idle. Accessibility thread only.
namespace AtspiBus {

inline constexpr char registryService[] = "org.a11y.atspi.Registry";
inline constexpr char rootPath[] = "/org/a11y/atspi/accessible/root";
inline constexpr char nullPath[] = "/org/a11y/atspi/null";

struct Reply {
    AXError error = AXError::Success;
    QVariantList arguments;
    bool failed() const { return error != AXError::Success; }
};

// One method call; the answer's arguments, or the failure mapped to an AXError.
Reply call(const QString &service, const QString &path, const QString &interface,
           const QString &method, const QVariantList &arguments, int timeoutMs);
// One property (org.freedesktop.DBus.Properties.Get), unwrapped from its variant.
Reply property(const QString &service, const QString &path, const QString &interface,
               const QString &name, int timeoutMs);
// Several calls sent at once and waited for together: they cost one round
// trip instead of one each.
class Batch {
public:
    // The index of the call's reply.
    int call(const QString &service, const QString &path, const QString &interface,
             const QString &method, const QVariantList &arguments = {});
    int property(const QString &service, const QString &path, const QString &interface,
                 const QString &name);
    // Sends every call and waits for every reply, each for at most timeoutMs.
    void run(int timeoutMs);
    const Reply &reply(int index) const { return m_replies.at(index); }

private:
    QList<QDBusMessage> m_messages;
    QList<bool> m_isProperty;
    QList<Reply> m_replies;
};

// The process id behind a bus name, from the bus daemon (cached: unique
// names are never reused while the bus runs).
AXResult<qint64> processIdOf(const QString &service, int timeoutMs);

// The mapping of a D-Bus error name onto the accessibility error codes.
AXError errorFor(const QString &dbusErrorName);

// Reading the AT-SPI wire types out of a reply argument.
bool readObjectReference(const QVariant &value, QString *service, QString *path);
QList<std::pair<QString, QString>> readObjectReferences(const QVariant &value);
QList<uint> readUIntArray(const QVariant &value);
QList<int> readIntStruct(const QVariant &value);

} // namespace AtspiBus
