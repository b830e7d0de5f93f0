// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsWindow.h"

#include "ScreenActivation.h"
#include "SettingsStyle.h"

#include <QApplication>
#include <QShowEvent>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

SettingsWindow::SettingsWindow(const QList<Page> &pages, QWidget *parent)
    : QWidget(parent, Qt::Window), m_tabs(new QTabWidget(this))
{
    setObjectName(QStringLiteral("settingsWindow"));
    setWindowTitle(QStringLiteral("Vellumo Settings"));
    // Its content is laid out for this size, and only this.
    setFixedSize(contentSize);
    m_tabs->setObjectName(QStringLiteral("settingsTabs"));
    m_tabs->setDocumentMode(true);
    m_tabs->setIconSize(QSize(16, 16));
    for (const Page &page : pages) {
        // A bundled icon follows the palette by itself.
        m_tabs->addTab(page.widget, SettingsStyle::icon(page.icon, QPalette::WindowText),
                       page.title);
    }
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 6, 0, 0);
    layout->addWidget(m_tabs);
    // The tabs take the keyboard first: a field that acts on focus (the
    // shortcut recorder) must not start on its own when the window opens.
    m_tabs->tabBar()->setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(m_tabs->tabBar());
    // A field that gives its focus up (the recorder, when it is done) hands
    // it back to the tabs, so Tab always starts from the same place.
    m_focusWatch =
        connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) {
            if (!now && isActiveWindow()) {
                m_tabs->tabBar()->setFocus(Qt::OtherFocusReason);
            }
        });

    ScreenActivation::setSwitch([this](bool activate) {
        if (activate) {
            bringToFront();
        }
    });
}

SettingsWindow::~SettingsWindow()
{
    // The focus moves while the widget parts are taken down, after this
    // window is no longer one.
    disconnect(m_focusWatch);
    ScreenActivation::setSwitch({});
}

void SettingsWindow::open()
{
    if (!m_openedBefore) {
        m_openedBefore = true;
        m_tabs->setCurrentIndex(0);
    }
    show();
    bringToFront();
}

void SettingsWindow::bringToFront()
{
    if (isMinimized()) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
    }
    raise();
    activateWindow();
}

void SettingsWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!event->spontaneous()) {
        ScreenActivation::activateScreen();
    }
}

void SettingsWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (!event->spontaneous()) {
        ScreenActivation::deactivateScreen();
    }
}
