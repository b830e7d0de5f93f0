// SPDX-License-Identifier: GPL-3.0-or-later
#include "TrayIcon.h"

#include <QCursor>
#include <QFont>
#include <QKeySequence>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace {

// The sizes trays ask for, from a 16 px panel to a large StatusNotifier host.
constexpr int iconSizes[] = {16, 22, 24, 32, 48, 64};

QPixmap render(int size, bool badge)
{
    static QSvgRenderer artwork(QStringLiteral(":/vellumo/icons/tray.svg"));
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    artwork.render(&painter, QRectF(0, 0, size, size));
    if (badge) {
        // A red disc in the upper right corner with a white "1".
        const qreal diameter = std::max(9.0, size * 0.55);
        const QRectF disc(size - diameter, 0, diameter, diameter);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0xd7, 0x26, 0x1e));
        painter.drawEllipse(disc);
        QFont font = painter.font();
        font.setBold(true);
        font.setPixelSize(std::max(7, int(diameter * 0.8)));
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(disc, Qt::AlignCenter, QStringLiteral("1"));
    }
    return pixmap;
}

} // namespace

TrayIcon::TrayIcon(bool offersUpdates, QObject *parent) : QObject(parent)
{
    QAction *title = m_menu.addAction(QStringLiteral("Vellumo"));
    title->setEnabled(false);
    m_menu.addSeparator();
    QAction *settings = m_menu.addAction(QStringLiteral("Settings"));
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    connect(settings, &QAction::triggered, this, &TrayIcon::settingsRequested);
    QAction *onboarding = m_menu.addAction(QStringLiteral("Show Onboarding"));
    connect(onboarding, &QAction::triggered, this, &TrayIcon::onboardingRequested);
    if (offersUpdates) {
        m_menu.addSeparator();
        m_checkForUpdates = m_menu.addAction(QStringLiteral("Check for Updates…"));
        connect(m_checkForUpdates, &QAction::triggered, this, &TrayIcon::updateCheckRequested);
    }
    m_menu.addSeparator();
    QAction *quit = m_menu.addAction(QStringLiteral("Quit"));
    // The capital Q, as the menu has always shown it.
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    connect(quit, &QAction::triggered, this, &TrayIcon::quitRequested);

    m_tray.setIcon(icon(false));
    m_tray.setToolTip(QStringLiteral("Vellumo"));
    m_tray.setContextMenu(&m_menu);
    // A left click opens the same menu as a right click. A second click
    // soon after the first is a double click to Qt, and opens it too.
    connect(
        &m_tray, &QSystemTrayIcon::activated, this,
        [this](QSystemTrayIcon::ActivationReason reason) {
            if ((reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) &&
                !m_menu.isVisible()) {
                m_menu.popup(QCursor::pos());
            }
        });
}

TrayIcon::~TrayIcon() = default;

QIcon TrayIcon::icon(bool badge)
{
    QIcon icon;
    for (const int size : iconSizes) {
        icon.addPixmap(render(size, badge));
    }
    return icon;
}

bool TrayIcon::show()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        return false;
    }
    m_tray.show();
    return true;
}

void TrayIcon::setBadge(bool badge)
{
    if (badge != m_badge) {
        m_badge = badge;
        m_tray.setIcon(icon(badge));
    }
}

void TrayIcon::setCanCheckForUpdates(bool canCheck)
{
    if (m_checkForUpdates) {
        m_checkForUpdates->setEnabled(canCheck);
    }
}
