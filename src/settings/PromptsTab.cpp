// SPDX-License-Identifier: GPL-3.0-or-later
#include "PromptsTab.h"

#include "PromptEditDialog.h"
#include "PromptListModel.h"
#include "PromptsTable.h"
#include "SettingsStyle.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr int actionsWidth = 60;

QToolButton *rowButton(SettingsStyle::Icon icon, const QString &name, const QString &tip,
                       QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setIcon(SettingsStyle::icon(icon));
    button->setIconSize(QSize(15, 15));
    button->setAutoRaise(true);
    button->setFixedSize(24, 24);
    button->setAccessibleName(name);
    button->setToolTip(tip);
    // The keyboard has Enter and Delete on the row; Tab does not stop here.
    button->setFocusPolicy(Qt::NoFocus);
    return button;
}

} // namespace

PromptsTab::PromptsTab(QWidget *parent)
    : QWidget(parent), m_model(new PromptListModel(this)), m_table(new PromptsTable(this)),
      m_add(new QToolButton(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_add->setIcon(SettingsStyle::icon(SettingsStyle::Icon::plus));
    m_add->setIconSize(QSize(14, 14));
    m_add->setFixedSize(20, 20);
    m_add->setAutoRaise(true);
    m_add->setToolTip(tr("Add new custom prompt"));
    m_add->setAccessibleName(tr("Add new custom prompt"));
    auto *header = new QHBoxLayout;
    header->setContentsMargins(12, 8, 12, 8);
    header->addStretch(1);
    header->addWidget(m_add);
    layout->addLayout(header);

    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    layout->addWidget(divider);

    m_table->setModel(m_model);
    m_table->setAccessibleName(tr("Custom prompts"));
    QHeaderView *columns = m_table->horizontalHeader();
    columns->setSectionResizeMode(PromptListModel::titleColumn, QHeaderView::Stretch);
    columns->setSectionResizeMode(PromptListModel::actionsColumn, QHeaderView::Fixed);
    columns->resizeSection(PromptListModel::actionsColumn, actionsWidth);
    columns->setMinimumSectionSize(actionsWidth);
    layout->addWidget(m_table, 1);

    connect(m_add, &QToolButton::clicked, this, &PromptsTab::addPrompt);
    auto *addShortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_N), this);
    addShortcut->setContext(Qt::WidgetWithChildrenShortcut);
    connect(addShortcut, &QShortcut::activated, this, &PromptsTab::addPrompt);
    const auto idAt = [this](int row) {
        return m_model->index(row, 0).data(PromptListModel::idRole).toUuid();
    };
    connect(m_table, &PromptsTable::editRequested, this,
            [this, idAt](int row) { editPrompt(idAt(row)); });
    connect(m_table, &PromptsTable::deleteRequested, this,
            [this, idAt](int row) { deletePrompt(idAt(row)); });
    // Each row's buttons act on its command's id, so they are made again
    // whenever rows come, go or move.
    connect(m_model, &PromptListModel::modelReset, this, &PromptsTab::placeRowButtons);
    connect(m_model, &PromptListModel::rowsInserted, this, &PromptsTab::placeRowButtons);
    connect(m_model, &PromptListModel::rowsRemoved, this, &PromptsTab::placeRowButtons);
    connect(m_model, &PromptListModel::rowsMoved, this, &PromptsTab::placeRowButtons);
    connect(m_model, &PromptListModel::dataChanged, this, &PromptsTab::placeRowButtons);
}

PromptEditDialog *PromptsTab::dialog() const
{
    return m_dialog;
}

void PromptsTab::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    const int row = m_table->currentIndex().row();
    m_model->reload();
    selectRow(std::min(row, m_model->rowCount() - 1));
}

void PromptsTab::placeRowButtons()
{
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QUuid id = m_model->index(row, 0).data(PromptListModel::idRole).toUuid();
        auto *cell = new QWidget;
        auto *buttons = new QHBoxLayout(cell);
        buttons->setContentsMargins(4, 0, 4, 0);
        buttons->setSpacing(4);
        QToolButton *edit = rowButton(SettingsStyle::Icon::pencil, tr("Edit"),
                                      tr("Edit this prompt (Enter)"), cell);
        QToolButton *remove = rowButton(SettingsStyle::Icon::trash, tr("Delete"),
                                        tr("Delete this prompt (Delete)"), cell);
        buttons->addWidget(edit);
        buttons->addWidget(remove);
        connect(edit, &QToolButton::clicked, this, [this, id] { editPrompt(id); });
        connect(remove, &QToolButton::clicked, this, [this, id] { deletePrompt(id); });
        m_table->setIndexWidget(m_model->index(row, PromptListModel::actionsColumn), cell);
    }
}

void PromptsTab::selectRow(int row)
{
    if (row >= 0) {
        m_table->setCurrentIndex(m_model->index(row, PromptListModel::titleColumn));
    }
}

void PromptsTab::openDialog(PromptEditDialog *dialog)
{
    if (m_dialog) {
        m_dialog->close();
    }
    m_dialog = dialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

void PromptsTab::addPrompt()
{
    auto *dialog = new PromptEditDialog(PromptEditDialog::Mode::add, this);
    dialog->setSaveHandler([this](const QString &title, const QString &prompt) {
        selectRow(m_model->addCommand(title, prompt));
        return true;
    });
    openDialog(dialog);
}

void PromptsTab::editPrompt(const QUuid &id)
{
    const int row = m_model->rowOf(id);
    if (row < 0) {
        return;
    }
    const AICommand command = m_model->commands().at(row);
    auto *dialog = new PromptEditDialog(PromptEditDialog::Mode::edit, this);
    dialog->setFields(command.title, command.prompt);
    dialog->setSaveHandler([this, id](const QString &title, const QString &prompt) {
        // The command may have gone meanwhile (the list was read again).
        return m_model->replaceCommand(id, title, prompt);
    });
    openDialog(dialog);
}

void PromptsTab::deletePrompt(const QUuid &id)
{
    const int row = m_model->rowOf(id);
    m_model->removeCommand(id);
    selectRow(std::min(row, m_model->rowCount() - 1));
}
