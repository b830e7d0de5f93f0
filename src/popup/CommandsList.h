// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AICommand.h"

#include <QListView>

class CommandsListModel;
class QPropertyAnimation;

// The scrollable list of commands. It never takes the keyboard focus (the
// search field keeps it) and never moves the highlight by itself: a click
// reports the clicked command, and the owner decides what is highlighted.
// Whenever the highlight moves, the highlighted row glides to the vertical
// centre of the visible area.
class CommandsList : public QListView {
    Q_OBJECT

public:
    static constexpr int scrollDurationMs = 200;

    explicit CommandsList(QWidget *parent = nullptr);

    void setCommands(const QList<AICommand> &commands);
    const QList<AICommand> &commands() const;
    void setSelectedIndex(int index);
    int selectedIndex() const;

    bool isScrolling() const;
    // The scroll position that puts row in the middle of the visible area,
    // within the scroll range.
    int centredScrollValue(int row);

Q_SIGNALS:
    void commandSelected(const AICommand &command);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void scrollToCentre(int row);

    CommandsListModel *m_model;
    QPropertyAnimation *m_scrollAnimation;
};
