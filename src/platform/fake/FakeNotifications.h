// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Notifications.h"

#include <QList>
#include <QMap>
#include <QString>
#include <optional>
#include <utility>

namespace platform::fake {

class Notifications final : public platform::Notifications {
public:
    struct Posted {
        QString title;
        QString body;
        Handlers handlers;
    };

    // Title and body of each notify(), in order.
    QList<std::pair<QString, QString>> shown() const { return m_shown; }
    // What is on screen under each tag of post().
    const QMap<QString, Posted> &posted() const { return m_posted; }
    // How many post() calls there were, replacements included.
    int postCount() const { return m_postCount; }
    // The user clicks the notification of the tag; false when none is shown.
    bool click(const QString &tag);
    // The next post() fails with this reason.
    void failNextPost(const QString &reason) { m_nextFailure = reason; }

    void notify(const QString &title, const QString &body) const override;
    void post(const QString &tag, const QString &title, const QString &body,
              Handlers handlers) override;
    void withdraw(const QString &tag) override;

private:
    mutable QList<std::pair<QString, QString>> m_shown;
    QMap<QString, Posted> m_posted;
    int m_postCount = 0;
    std::optional<QString> m_nextFailure;
};

} // namespace platform::fake
