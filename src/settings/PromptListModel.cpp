// SPDX-License-Identifier: GPL-3.0-or-later
#include "PromptListModel.h"

#include "CommandStore.h"

#include <QMimeData>
#include <QRegularExpression>

PromptListModel::PromptListModel(QObject *parent) : QAbstractTableModel(parent) {}

void PromptListModel::reload()
{
    beginResetModel();
    m_commands = CommandStore::loadStoredCommands();
    endResetModel();
}

void PromptListModel::save() const
{
    CommandStore::saveStoredCommands(m_commands);
}

int PromptListModel::rowOf(const QUuid &id) const
{
    for (int row = 0; row < m_commands.size(); ++row) {
        if (m_commands.at(row).id == id) {
            return row;
        }
    }
    return -1;
}

int PromptListModel::addCommand(const QString &title, const QString &prompt)
{
    const int row = int(m_commands.size());
    beginInsertRows(QModelIndex(), row, row);
    m_commands.append(AICommand(title, prompt));
    endInsertRows();
    save();
    return row;
}

bool PromptListModel::replaceCommand(const QUuid &id, const QString &title, const QString &prompt)
{
    const int row = rowOf(id);
    if (row < 0) {
        return false;
    }
    m_commands[row] = AICommand(title, prompt);
    Q_EMIT dataChanged(index(row, 0), index(row, columnCount_ - 1));
    save();
    return true;
}

void PromptListModel::removeCommand(const QUuid &id)
{
    for (int row = int(m_commands.size()) - 1; row >= 0; --row) {
        if (m_commands.at(row).id == id) {
            beginRemoveRows(QModelIndex(), row, row);
            m_commands.removeAt(row);
            endRemoveRows();
        }
    }
    save();
}

void PromptListModel::moveCommand(int source, int destination)
{
    const int count = int(m_commands.size());
    if (source < 0 || source >= count || destination < 0 || destination > count ||
        source == destination || source + 1 == destination) {
        return; // out of range, or already standing there
    }
    beginMoveRows(QModelIndex(), source, source, QModelIndex(), destination);
    m_commands.move(source, destination > source ? destination - 1 : destination);
    endMoveRows();
    save();
}

int PromptListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_commands.size());
}

int PromptListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : columnCount_;
}

QVariant PromptListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const AICommand &command = m_commands.at(index.row());
    if (role == idRole) {
        return command.id;
    }
    if (index.column() != titleColumn) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
    case Qt::AccessibleTextRole:
        return command.title;
    default:
        return {};
    }
}

QVariant PromptListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal) {
        return {};
    }
    if (role == Qt::DisplayRole) {
        return section == titleColumn ? tr("Title") : tr("Actions");
    }
    if (role == Qt::TextAlignmentRole) {
        return QVariant::fromValue(Qt::AlignVCenter |
                                   (section == titleColumn ? Qt::AlignLeft : Qt::AlignHCenter));
    }
    return {};
}

Qt::ItemFlags PromptListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid()) {
        // Only the list itself takes drops, so the view offers the lines
        // between rows and never a row.
        return Qt::ItemIsDropEnabled;
    }
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList PromptListModel::mimeTypes() const
{
    return {rowMimeType};
}

QMimeData *PromptListModel::mimeData(const QModelIndexList &indexes) const
{
    for (const QModelIndex &index : indexes) {
        if (index.isValid()) {
            auto *data = new QMimeData;
            data->setData(rowMimeType, QByteArray::number(index.row()));
            return data;
        }
    }
    return nullptr;
}

std::optional<int> PromptListModel::draggedRow(const QMimeData *data) const
{
    if (!data || !data->hasFormat(rowMimeType)) {
        return std::nullopt;
    }
    static const QRegularExpression decimal(QStringLiteral("\\A[+-]?[0-9]+\\z"));
    const QString text = QString::fromLatin1(data->data(rowMimeType));
    if (!decimal.match(text).hasMatch()) {
        return std::nullopt;
    }
    bool ok = false;
    const qlonglong row = text.toLongLong(&ok);
    if (!ok || row < 0 || row >= m_commands.size()) {
        return std::nullopt;
    }
    return int(row);
}

bool PromptListModel::canDropMimeData(const QMimeData *data, Qt::DropAction action, int row,
                                      int column, const QModelIndex &parent) const
{
    // row -1 is a drop onto parent (a row, or the empty space under them).
    const bool betweenRows = !parent.isValid() && row >= 0 && row <= m_commands.size();
    return action == Qt::MoveAction && betweenRows && draggedRow(data).has_value();
}

bool PromptListModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row,
                                   int column, const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent)) {
        return false;
    }
    const int source = *draggedRow(data);
    const int destination = source < row ? row - 1 : row;
    moveCommand(source, destination);
    return true;
}
