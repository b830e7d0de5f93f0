// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Notifications.h"

#include <QList>
#include <QString>
#include <utility>

namespace platform::fake {

class Notifications final : public platform::Notifications {
public:
    // Title and body of each notification, in order.
    QList<std::pair<QString, QString>> shown() const { return m_shown; }

    void notify(const QString &title, const QString &body) const override;

private:
    mutable QList<std::pair<QString, QString>> m_shown;
};

} // namespace platform::fake
