// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QTableView>

// The prompt list's table: whole rows selected one at a time, a row dragged
// to a line between rows to move it (the model does the move), Enter or
// Return to edit the current row and Delete to delete it. The title column
// draws its text 8 px in, elided at the right; rows are parted by dashed
// lines.
class PromptsTable : public QTableView {
    Q_OBJECT

public:
    explicit PromptsTable(QWidget *parent = nullptr);

Q_SIGNALS:
    void editRequested(int row);
    void deleteRequested(int row);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void startDrag(Qt::DropActions supportedActions) override;
};
