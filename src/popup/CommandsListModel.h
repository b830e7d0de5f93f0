// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AICommand.h"

#include <QAbstractListModel>
#include <QList>

// The commands the popup lists, by position, with the one highlighted row.
// Rows are identified by index, not by command id: the one-off command gets a
// new id every time the list is computed.
class CommandsListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { isSelectedRole = Qt::UserRole + 1, promptRole };

    explicit CommandsListModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;

    void setCommands(const QList<AICommand> &commands);
    const QList<AICommand> &commands() const { return m_commands; }
    const AICommand &commandAt(int row) const { return m_commands.at(row); }

    void setSelectedIndex(int index);
    int selectedIndex() const { return m_selectedIndex; }

private:
    void emitRowChanged(int row);

    QList<AICommand> m_commands;
    int m_selectedIndex = 0;
};
