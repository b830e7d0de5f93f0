// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SettingsStyle.h"

#include <QList>
#include <QWidget>

class QTabWidget;

// The settings: one window with a tab per page it is given, in order.
// Closing it hides it; the process goes on. Main thread.
class SettingsWindow : public QWidget {
    Q_OBJECT

public:
    struct Page {
        QWidget *widget = nullptr; // taken over by the window
        QString title;
        // The desktop theme's icon where it has one, else a bundled drawing.
        SettingsStyle::Icon icon;
    };

    static constexpr QSize contentSize{780, 600};

    explicit SettingsWindow(const QList<Page> &pages, QWidget *parent = nullptr);
    ~SettingsWindow() override;

    // Shows the window, raised and active, also when it is open already
    // behind other windows. The first opening shows the first tab.
    void open();

    QTabWidget *tabs() const { return m_tabs; }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void bringToFront();

    QTabWidget *m_tabs;
    QMetaObject::Connection m_focusWatch;
    bool m_openedBefore = false;
};
