// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnboardingWindowManager.h"

#include "OnboardingStyle.h"
#include "Settings.h"

#include <QGuiApplication>
#include <QHideEvent>
#include <QMoveEvent>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

namespace {

// The guide's top-level window: the view, a title, and the memory of where
// the user put it.
class OnboardingWindow : public QWidget {
public:
    OnboardingWindow(const OnboardingView::Services &services)
        : QWidget(nullptr, Qt::Window), m_view(new OnboardingView(services, this))
    {
        setObjectName(QStringLiteral("onboardingWindow"));
        setWindowTitle(QStringLiteral("Welcome to Vellumo"));
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(m_view);
        setMinimumSize(OnboardingStyle::windowWidth - 80, OnboardingStyle::minimumHeight);
        // A move is kept once the window rests, not at every step of a drag.
        m_save.setSingleShot(true);
        m_save.setInterval(400);
        connect(&m_save, &QTimer::timeout, this, &OnboardingWindow::savePosition);
    }

    OnboardingView *view() const { return m_view; }

    // As tall as the guide when the screen has room, else as the screen;
    // where it was left when that is still on a screen, else centred.
    void place()
    {
        const QScreen *primary = QGuiApplication::primaryScreen();
        const int room = primary ? primary->availableGeometry().height() - titleBarAllowance
                                 : OnboardingStyle::contentHeight;
        resize(OnboardingStyle::windowWidth,
               std::clamp(room, OnboardingStyle::minimumHeight, OnboardingStyle::contentHeight));
        const auto saved =
            Settings::standard().windowPosition(OnboardingWindowManager::autosaveName);
        if (saved) {
            // Most of the title bar must be reachable for the user to move it back.
            const QRect titleBar(*saved, QSize(width(), 30));
            for (const QScreen *screen : QGuiApplication::screens()) {
                const QRect shared = screen->availableGeometry().intersected(titleBar);
                if (shared.width() >= width() / 2 && shared.height() > 0) {
                    move(*saved);
                    return;
                }
            }
        }
        if (primary) {
            const QRect area = primary->availableGeometry();
            move(area.center() - QPoint(width() / 2, (height() + titleBarAllowance) / 2));
        }
    }

protected:
    void moveEvent(QMoveEvent *event) override
    {
        QWidget::moveEvent(event);
        if (isVisible()) {
            m_save.start();
        }
    }

    void hideEvent(QHideEvent *event) override
    {
        QWidget::hideEvent(event);
        if (m_save.isActive()) {
            m_save.stop();
            savePosition();
        }
    }

private:
    // What a window manager's frame takes above the window.
    static constexpr int titleBarAllowance = 40;

    void savePosition()
    {
        Settings::standard().setWindowPosition(OnboardingWindowManager::autosaveName, pos());
    }

    OnboardingView *m_view;
    QTimer m_save;
};

} // namespace

OnboardingWindowManager::OnboardingWindowManager(const OnboardingView::Services &services,
                                                 QObject *parent)
    : QObject(parent), m_services(services)
{}

OnboardingWindowManager::~OnboardingWindowManager()
{
    delete m_window.data();
}

OnboardingView *OnboardingWindowManager::view() const
{
    const auto *window = static_cast<OnboardingWindow *>(m_window.data());
    return window ? window->view() : nullptr;
}

void OnboardingWindowManager::showOnboarding()
{
    if (m_window) {
        m_window->close();
        m_window->deleteLater();
        m_window = nullptr;
    }
    auto *window = new OnboardingWindow(m_services);
    m_window = window;
    connect(window->view(), &OnboardingView::finished, this, [this] {
        closeOnboarding();
        Q_EMIT finished();
    });
    window->place();
    window->show();
    window->raise();
    window->activateWindow();
}

void OnboardingWindowManager::closeOnboarding()
{
    if (m_window) {
        m_window->close();
        m_window->deleteLater();
        m_window = nullptr;
    }
}
