// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandsListModel.h"

#include <algorithm>

CommandsListModel::CommandsListModel(QObject *parent) : QAbstractListModel(parent) {}

int CommandsListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_commands.size());
}

QVariant CommandsListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_commands.size()) {
        return {};
    }
    const AICommand &command = m_commands.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return command.title;
    case isSelectedRole:
        return index.row() == m_selectedIndex;
    case promptRole:
        return command.prompt;
    default:
        return {};
    }
}

void CommandsListModel::setCommands(const QList<AICommand> &commands)
{
    // The list is recomputed on every key press; when it shows the same rows
    // (the one-off command differs only by its fresh id) the view keeps its
    // layout and scroll position instead of being rebuilt.
    const bool sameRows = std::equal(m_commands.cbegin(), m_commands.cend(), commands.cbegin(),
                                     commands.cend(), [](const AICommand &a, const AICommand &b) {
                                         return a.title == b.title && a.prompt == b.prompt;
                                     });
    if (sameRows) {
        m_commands = commands;
        return;
    }
    beginResetModel();
    m_commands = commands;
    endResetModel();
}

void CommandsListModel::setSelectedIndex(int index)
{
    if (index == m_selectedIndex) {
        return;
    }
    const int previous = m_selectedIndex;
    m_selectedIndex = index;
    emitRowChanged(previous);
    emitRowChanged(index);
}

void CommandsListModel::emitRowChanged(int row)
{
    if (row >= 0 && row < m_commands.size()) {
        const QModelIndex changed = this->index(row);
        Q_EMIT dataChanged(changed, changed, {isSelectedRole});
    }
}
