// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Notifications.h"

#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <chrono>

// A release as the feed describes it: the JSON of a forge's latest-release
// endpoint ("tag_name", "name", "html_url", "body").
struct Release {
    QString version; // "1.2.0", from the tag without its "v"
    QString name;
    QUrl page; // the release page, https only; empty when the feed gave none
    QString notes;
};

// What one update check found.
struct UpdateOutcome {
    enum class Kind { newer, upToDate, failed };
    Kind kind = Kind::failed;
    Release release;          // newer only
    QString problem;          // failed only: why, for the console
    bool unreachable = false; // failed only: the feed could not be reached
};

// Vellumo's update checks. The feed is read over HTTPS with the peer
// verified; an empty feed turns checks off. A scheduled check runs at
// start() and then daily: a newer version found by it puts the badge on
// and posts the "Update Available" notification, whose click runs a
// user-initiated check. A user-initiated check (checkForUpdates()) posts
// nothing: its outcome goes to userCheckFinished(), which shows it, and a
// newer version or none found there means the user has looked, so the
// badge and the notification go. Failures print a line and change nothing
// else. Main thread only.
class Updater : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::hours checkInterval{24};
    static constexpr qint64 maxFeedBytes = qint64(1) << 20;

    // The feed this build checks: VELLUMO_UPDATE_FEED when that is set
    // (even empty), else the address fixed at build time.
    static QUrl configuredFeed();

    Updater(QUrl feed, QString currentVersion, platform::Notifications &notifications,
            QObject *parent = nullptr);
    ~Updater() override;

    bool isEnabled() const { return !m_feed.isEmpty(); }
    // False while a check runs.
    bool canCheckForUpdates() const { return isEnabled() && !m_reply; }
    bool hasBadge() const { return m_badge; }
    QString currentVersion() const { return m_currentVersion; }

    // The first scheduled check now, the next ones daily.
    void start();
    void checkForUpdates();

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    void badgeChanged(bool badge);
    void userCheckFinished(const UpdateOutcome &outcome);

private:
    enum class Initiator { scheduled, user };

    void check(Initiator initiator);
    void finish(QNetworkReply *reply, bool tooLarge);
    UpdateOutcome outcomeOf(QNetworkReply *reply, bool tooLarge) const;
    void announce(const Release &release);
    void userHasLooked();
    void setBadge(bool badge);

    const QUrl m_feed;
    const QString m_currentVersion;
    platform::Notifications &m_notifications;
    QTimer m_daily;
    QPointer<QNetworkReply> m_reply;
    Initiator m_initiator = Initiator::scheduled;
    bool m_badge = false;
};
