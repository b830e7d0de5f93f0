// SPDX-License-Identifier: GPL-3.0-or-later
#include "ShellDesktop.h"

#include "Desktop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

namespace ShellDesktop {

namespace {

const QString notificationService = QStringLiteral("org.freedesktop.Notifications");

struct TreeWindow {
    int depth;
    quint64 id;
    QString title;
    QString wmClass;
    QRect frame; // absolute
};

// Every window of the screen, as xwininfo lists the tree.
QList<TreeWindow> windowTree()
{
    static const QRegularExpression line(QString::fromLatin1(
        R"re(^(\s*)0x([0-9a-f]+) (?:"([^"]*)"|\(has no name\)): \(([^)]*)\)\s+(\d+)x(\d+)[+-]-?\d+[+-]-?\d+\s+\+?(-?\d+)\+?(-?\d+))re"));
    QList<TreeWindow> windows;
    const QString tree = QString::fromUtf8(Desktop::run(
        QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")}));
    for (const QString &text : tree.split(u'\n')) {
        const QRegularExpressionMatch m = line.match(text);
        if (m.hasMatch()) {
            windows.append({int(m.capturedLength(1)), m.captured(2).toULongLong(nullptr, 16),
                            m.captured(3), m.captured(4),
                            QRect(m.captured(7).toInt(), m.captured(8).toInt(),
                                  m.captured(5).toInt(), m.captured(6).toInt())});
        }
    }
    return windows;
}

bool isMapped(quint64 id)
{
    return QString::fromUtf8(Desktop::run(QStringLiteral("xwininfo"),
                                          {QStringLiteral("-id"), QString::number(id)}))
        .contains(QStringLiteral("Map State: IsViewable"));
}

const QString vellumoClass = QStringLiteral("\"vellumo\" \"vellumo\"");

} // namespace

NotificationDaemon::~NotificationDaemon()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        m_process.waitForFinished(3000);
    }
}

bool NotificationDaemon::start()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.start(QStringLiteral("dunst"), {});
    return m_process.waitForStarted(5000) && QTest::qWaitFor(
                                                 [] {
                                                     return QDBusConnection::sessionBus()
                                                         .interface()
                                                         ->isServiceRegistered(notificationService)
                                                         .value();
                                                 },
                                                 10000);
}

int displayedCount()
{
    return QString::fromLatin1(Desktop::run(QStringLiteral("dunstctl"),
                                            {QStringLiteral("count"), QStringLiteral("displayed")}))
        .trimmed()
        .toInt();
}

QList<Notification> history()
{
    const QJsonObject json = QJsonDocument::fromJson(Desktop::run(QStringLiteral("dunstctl"),
                                                                  {QStringLiteral("history")}))
                                 .object();
    QList<Notification> notifications;
    for (const QJsonValue &entry : json.value(QLatin1String("data")).toArray().at(0).toArray()) {
        const QJsonObject o = entry.toObject();
        const auto field = [&o](const char *name) {
            return o.value(QLatin1String(name)).toObject().value(QLatin1String("data")).toString();
        };
        notifications.append({field("appname"), field("summary"), field("body")});
    }
    return notifications;
}

std::optional<QRect> trayIconFrame()
{
    int panelDepth = -1;
    for (const TreeWindow &w : windowTree()) {
        if (panelDepth >= 0 && w.depth <= panelDepth) {
            panelDepth = -1;
        }
        if (w.wmClass == QLatin1String("\"panel\" \"trayer\"")) {
            panelDepth = w.depth;
        } else if (panelDepth >= 0 && w.wmClass == vellumoClass && isMapped(w.id)) {
            return w.frame;
        }
    }
    return std::nullopt;
}

std::optional<QRect> windowFrame(const QString &title)
{
    const std::optional<QRect> icon = trayIconFrame();
    for (const TreeWindow &w : windowTree()) {
        if (w.title.startsWith(title) && w.wmClass == vellumoClass && w.frame != icon &&
            isMapped(w.id)) {
            return w.frame;
        }
    }
    return std::nullopt;
}

std::optional<QRect> trayMenuFrame()
{
    const std::optional<QRect> icon = trayIconFrame();
    if (!icon) {
        return std::nullopt;
    }
    for (const TreeWindow &w : windowTree()) {
        // A menu is a top-level window of its own, beside the icon.
        if (w.wmClass == vellumoClass && w.frame != *icon && w.depth <= 5 &&
            std::abs(w.frame.top() - icon->bottom()) < 40 && isMapped(w.id)) {
            return w.frame;
        }
    }
    return std::nullopt;
}

int redPixels(const QRect &area)
{
    const QImage image = Desktop::grabScreen().copy(area);
    int red = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            red += c.red() > 180 && c.green() < 80 && c.blue() < 80;
        }
    }
    return red;
}

} // namespace ShellDesktop
