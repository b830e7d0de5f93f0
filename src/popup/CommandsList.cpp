// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandsList.h"

#include "CommandRow.h"
#include "CommandsListModel.h"

#include <QEasingCurve>
#include <QPropertyAnimation>
#include <QScrollBar>

CommandsList::CommandsList(QWidget *parent)
    : QListView(parent), m_model(new CommandsListModel(this)),
      m_scrollAnimation(new QPropertyAnimation(this))
{
    setObjectName(QStringLiteral("commandsList"));
    setModel(m_model);
    setItemDelegate(new CommandRow(this));
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setFocusPolicy(Qt::NoFocus);
    // The highlight is ours; the view must not scroll to its own current index.
    setAutoScroll(false);
    setUniformItemSizes(true);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setFrameShape(QFrame::NoFrame);
    setContentsMargins(0, 8, 0, 8);
    setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_Hover);
    viewport()->setAutoFillBackground(false);
    setAutoFillBackground(false);
    setStyleSheet(QStringLiteral(
        "QListView { background: transparent; }"
        "QScrollBar:vertical { background: transparent; width: 10px; margin: 0; }"
        "QScrollBar::handle:vertical { background: rgba(128, 128, 128, 110);"
        " border-radius: 3px; min-height: 28px; margin: 2px 3px 2px 1px; }"
        "QScrollBar::handle:vertical:hover { background: rgba(128, 128, 128, 170); }"
        "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
        "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: none; }"));

    m_scrollAnimation->setTargetObject(verticalScrollBar());
    m_scrollAnimation->setPropertyName("value");
    m_scrollAnimation->setDuration(scrollDurationMs);
    m_scrollAnimation->setEasingCurve(QEasingCurve::InOutQuad);

    connect(this, &QListView::clicked, this, [this](const QModelIndex &index) {
        if (index.isValid()) {
            Q_EMIT commandSelected(m_model->commandAt(index.row()));
        }
    });
}

void CommandsList::setCommands(const QList<AICommand> &commands)
{
    m_model->setCommands(commands);
}

const QList<AICommand> &CommandsList::commands() const
{
    return m_model->commands();
}

int CommandsList::selectedIndex() const
{
    return m_model->selectedIndex();
}

void CommandsList::setSelectedIndex(int index)
{
    m_model->setSelectedIndex(index);
    scrollToCentre(index);
}

bool CommandsList::isScrolling() const
{
    return m_scrollAnimation->state() == QAbstractAnimation::Running;
}

int CommandsList::centredScrollValue(int row)
{
    QScrollBar *bar = verticalScrollBar();
    const QRect rowRect = visualRect(m_model->index(row));
    if (!rowRect.isValid()) {
        return bar->value();
    }
    // visualRect is relative to the current scroll position.
    const int rowCentre = rowRect.center().y() + bar->value();
    const int target = rowCentre - viewport()->height() / 2;
    return qBound(bar->minimum(), target, bar->maximum());
}

void CommandsList::scrollToCentre(int row)
{
    if (row < 0 || row >= m_model->rowCount()) {
        return;
    }
    m_scrollAnimation->stop();
    if (!isVisible()) {
        // Geometry is not final before the list shows; showEvent centres.
        return;
    }
    const int target = centredScrollValue(row);
    m_scrollAnimation->setStartValue(verticalScrollBar()->value());
    m_scrollAnimation->setEndValue(target);
    m_scrollAnimation->start();
}

void CommandsList::showEvent(QShowEvent *event)
{
    QListView::showEvent(event);
    // The popup opens with the highlighted row in place, without a glide.
    if (selectedIndex() >= 0 && selectedIndex() < m_model->rowCount()) {
        verticalScrollBar()->setValue(centredScrollValue(selectedIndex()));
    }
}
