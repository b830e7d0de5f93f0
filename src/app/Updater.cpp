// SPDX-License-Identifier: GPL-3.0-or-later
#include "Updater.h"

#include "Console.h"
#include "Network.h"
#include "SemanticVersion.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

// The identifier of the update notification, so a newer one replaces it.
const QString notificationTag = QStringLiteral("UpdateCheck");

} // namespace

QUrl Updater::configuredFeed()
{
    if (qEnvironmentVariableIsSet("VELLUMO_UPDATE_FEED")) {
        return QUrl(qEnvironmentVariable("VELLUMO_UPDATE_FEED"));
    }
    return QUrl(QStringLiteral(VELLUMO_UPDATE_FEED_URL));
}

Updater::Updater(QUrl feed, QString currentVersion, platform::Notifications &notifications,
                 QObject *parent)
    : QObject(parent), m_feed(std::move(feed)), m_currentVersion(std::move(currentVersion)),
      m_notifications(notifications)
{
    // Wakes the process once a day at most: idle means idle.
    m_daily.setTimerType(Qt::VeryCoarseTimer);
    m_daily.setInterval(checkInterval);
    connect(&m_daily, &QTimer::timeout, this, [this] { check(Initiator::scheduled); });
}

Updater::~Updater()
{
    if (m_reply) {
        m_reply->abort();
    }
}

void Updater::start()
{
    if (!isEnabled()) {
        return;
    }
    check(Initiator::scheduled);
    m_daily.start();
}

void Updater::checkForUpdates()
{
    check(Initiator::user);
}

void Updater::check(Initiator initiator)
{
    if (!isEnabled()) {
        return;
    }
    if (m_reply) {
        // A click on the notification during a scheduled check: its answer
        // is shown to the user instead.
        if (initiator == Initiator::user) {
            m_initiator = Initiator::user;
        }
        return;
    }
    m_initiator = initiator;
    if (m_feed.scheme() != QLatin1String("https")) {
        UpdateOutcome outcome;
        outcome.problem = QStringLiteral("the feed address %1 is not an https address")
                              .arg(m_feed.toDisplayString());
        Console::printLine(QStringLiteral("Update check failed: ") + outcome.problem);
        if (initiator == Initiator::user) {
            Q_EMIT userCheckFinished(outcome);
        }
        return;
    }

    QNetworkRequest request(m_feed);
    request.setSslConfiguration(Network::tlsConfiguration());
    request.setRawHeader("Accept", "application/json");
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("Vellumo/%1").arg(m_currentVersion));
    // A forge may move its endpoint, never to plain http.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setTransferTimeout(30000);
    QNetworkReply *reply = Network::accessManager().get(request);
    m_reply = reply;
    auto tooLarge = std::make_shared<bool>(false);
    connect(reply, &QNetworkReply::downloadProgress, reply,
            [reply, tooLarge](qint64 received, qint64 total) {
                if (received > maxFeedBytes || total > maxFeedBytes) {
                    *tooLarge = true;
                    reply->abort();
                }
            });
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, tooLarge] { finish(reply, *tooLarge); });
    Q_EMIT canCheckForUpdatesChanged(false);
}

UpdateOutcome Updater::outcomeOf(QNetworkReply *reply, bool tooLarge) const
{
    UpdateOutcome outcome;
    if (tooLarge) {
        outcome.problem =
            QStringLiteral("the feed's answer is larger than %1 bytes").arg(maxFeedBytes);
        return outcome;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        outcome.unreachable = true;
        outcome.problem = reply->errorString();
        return outcome;
    }
    if (status.toInt() != 200) {
        outcome.problem =
            QStringLiteral("the feed answered with HTTP status %1").arg(status.toInt());
        return outcome;
    }
    if (reply->error() != QNetworkReply::NoError) {
        outcome.unreachable = true;
        outcome.problem = reply->errorString();
        return outcome;
    }
    const QJsonObject json = QJsonDocument::fromJson(reply->readAll()).object();
    const QString tag = json.value(QLatin1String("tag_name")).toString();
    if (tag.isEmpty()) {
        outcome.problem = QStringLiteral("the feed's answer names no release (no tag_name)");
        return outcome;
    }
    const std::optional<SemanticVersion> latest = SemanticVersion::parse(tag);
    if (!latest) {
        outcome.problem =
            QStringLiteral("the release's tag \"%1\" is not a version number").arg(tag.left(64));
        return outcome;
    }
    const std::optional<SemanticVersion> current = SemanticVersion::parse(m_currentVersion);
    if (current && *latest <= *current) {
        outcome.kind = UpdateOutcome::Kind::upToDate;
        return outcome;
    }
    outcome.kind = UpdateOutcome::Kind::newer;
    outcome.release.version = latest->toString();
    outcome.release.name = json.value(QLatin1String("name")).toString();
    outcome.release.notes = json.value(QLatin1String("body")).toString();
    const QUrl page(json.value(QLatin1String("html_url")).toString());
    if (page.isValid() && page.scheme() == QLatin1String("https")) {
        outcome.release.page = page;
    }
    return outcome;
}

void Updater::finish(QNetworkReply *reply, bool tooLarge)
{
    reply->deleteLater();
    m_reply.clear();
    const UpdateOutcome outcome = outcomeOf(reply, tooLarge);
    const Initiator initiator = m_initiator;
    Q_EMIT canCheckForUpdatesChanged(true);

    switch (outcome.kind) {
    case UpdateOutcome::Kind::failed:
        Console::printLine(QStringLiteral("Update check failed: ") + outcome.problem);
        break;
    case UpdateOutcome::Kind::upToDate:
        Console::printLine(
            QStringLiteral("Update check: Vellumo %1 is up to date").arg(m_currentVersion));
        break;
    case UpdateOutcome::Kind::newer:
        Console::printLine(
            QStringLiteral("Update check: version %1 is available").arg(outcome.release.version));
        break;
    }
    if (initiator == Initiator::user) {
        if (outcome.kind != UpdateOutcome::Kind::failed) {
            userHasLooked();
        }
        Q_EMIT userCheckFinished(outcome);
        return;
    }
    if (outcome.kind == UpdateOutcome::Kind::newer) {
        announce(outcome.release);
    }
}

void Updater::announce(const Release &release)
{
    setBadge(true);
    QPointer<Updater> self(this);
    m_notifications.post(
        notificationTag, QStringLiteral("Update Available"),
        QStringLiteral("Version %1 is now available").arg(release.version),
        {.clicked =
             [self] {
                 // Queued, so the notification's own
                 // handling ends first.
                 if (self) {
                     QMetaObject::invokeMethod(self.data(), &Updater::checkForUpdates,
                                               Qt::QueuedConnection);
                 }
             },
         .failed =
             [](const QString &reason) {
                 Console::printLine(QStringLiteral("Failed to add notification: ") + reason);
             }});
}

void Updater::userHasLooked()
{
    setBadge(false);
    m_notifications.withdraw(notificationTag);
}

void Updater::setBadge(bool badge)
{
    if (m_badge != badge) {
        m_badge = badge;
        Q_EMIT badgeChanged(badge);
    }
}
