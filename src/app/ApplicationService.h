// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>

// Vellumo on the session bus: the name com.vellumo.Vellumo, owned by the one
// running instance, with the freedesktop.org Application interface at
// /com/vellumo/Vellumo. Activate and Open open the settings (what a second
// start from the application menu asks for); ActivateAction runs one of
// the actions settings, onboarding, popup and quit.
class ApplicationService : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    static const QString serviceName;
    static const QString objectPath;
    static const QStringList actionNames;

    enum class Claim {
        owned, // this process is the running instance now
        taken, // another process is
        noBus, // no session bus: nobody can ask this one anything
    };

    explicit ApplicationService(QDBusConnection bus = QDBusConnection::sessionBus(),
                                QObject *parent = nullptr);
    ~ApplicationService() override;

    // Exports the interface and claims the name, never queueing for it; the
    // name is given up with the object.
    Claim claim();

    // What an action does; an action without one answers with an error.
    void setAction(const QString &name, const std::function<void()> &action);

    // From another process: asks the running instance to activate (empty
    // action) or to run an action. An empty string when it did, else why not.
    static QString ask(const QString &action = QString(),
                       const QDBusConnection &bus = QDBusConnection::sessionBus());

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QVariantMap &platformData);
    Q_SCRIPTABLE void ActivateAction(const QString &actionName, const QVariantList &parameter,
                                     const QVariantMap &platformData);
    Q_SCRIPTABLE void Open(const QStringList &uris, const QVariantMap &platformData);

private:
    bool run(const QString &name);

    QDBusConnection m_bus;
    QMap<QString, std::function<void()>> m_actions;
    bool m_exported = false;
    bool m_owned = false;
};
