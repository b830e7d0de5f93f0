// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AICommand.h"

#include <QAbstractTableModel>
#include <QList>
#include <optional>

// The working copy of the user's command list for the settings window:
// read from CommandStore by reload(), and saved back after every change.
// Rows are commands; column 0 the title, column 1 the row's action buttons.
//
// A row is dragged as rowMimeType holding its row number in decimal. Drops
// land only between rows (onto a row is refused), and a drop at line
// dropRow moves the dragged row so that it stands before the command that
// was at dropRow - 1 when dragged downwards, at dropRow otherwise: dragged
// down, a row lands one place above the line it was dropped on.
class PromptListModel : public QAbstractTableModel {
    Q_OBJECT

public:
    static inline const QString rowMimeType = QStringLiteral("com.vellumo.aicommand.row");
    enum Column { titleColumn, actionsColumn, columnCount_ };
    enum Role { idRole = Qt::UserRole + 1 };

    explicit PromptListModel(QObject *parent = nullptr);

    // The stored list as it is now; an unreadable one reads as empty.
    void reload();
    const QList<AICommand> &commands() const { return m_commands; }
    // The first row holding the id, or -1.
    int rowOf(const QUuid &id) const;

    // Each of these saves the list at once.
    // Appends a command with a new id; returns its row.
    int addCommand(const QString &title, const QString &prompt);
    // Replaces the first command with the id, in place, by one with a new
    // id; false, changing nothing, when no command has the id.
    bool replaceCommand(const QUuid &id, const QString &title, const QString &prompt);
    // Removes every command with the id.
    void removeCommand(const QUuid &id);
    // Moves the command at source so it stands before the one now at
    // destination (count: the end).
    void moveCommand(int source, int destination);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                         const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column,
                      const QModelIndex &parent) override;
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }

private:
    // The dragged row a payload names, when it is one of ours and in range.
    std::optional<int> draggedRow(const QMimeData *data) const;
    void save() const;

    QList<AICommand> m_commands;
};
