// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPointer>
#include <QUuid>
#include <QWidget>

class PromptEditDialog;
class PromptListModel;
class PromptsTable;
class QToolButton;

// The settings window's "Prompts" tab: the user's custom prompts in a table,
// with "+" (or Ctrl+N) to add one, and per row Edit (or Enter) and Delete
// (or the Delete key); rows are reordered by dragging. The list is read
// again each time the tab is shown and saved after every change.
class PromptsTab : public QWidget {
    Q_OBJECT

public:
    explicit PromptsTab(QWidget *parent = nullptr);

    PromptListModel *model() const { return m_model; }
    PromptsTable *table() const { return m_table; }
    QToolButton *addButton() const { return m_add; }
    // The add or edit dialog while one is open.
    PromptEditDialog *dialog() const;

    void addPrompt();
    void editPrompt(const QUuid &id);
    void deletePrompt(const QUuid &id);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void openDialog(PromptEditDialog *dialog);
    void placeRowButtons();
    void selectRow(int row);

    PromptListModel *m_model;
    PromptsTable *m_table;
    QToolButton *m_add;
    QPointer<PromptEditDialog> m_dialog;
};
