// SPDX-License-Identifier: GPL-3.0-or-later
#include "PromptEditDialog.h"

#include "SettingsStyle.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr QSize dialogSize{400, 300};
constexpr int promptHeight = 100;

// The prompt editor's box: a one-pixel rounded border in a quiet tone of
// the text colour (the highlight while the editor has focus) around the
// editor, which draws no frame of its own.
class EditorFrame : public QWidget {
public:
    EditorFrame(QPlainTextEdit *editor, QWidget *parent) : QWidget(parent), m_editor(editor)
    {
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(5, 4, 5, 4);
        layout->addWidget(editor);
        editor->setFrameShape(QFrame::NoFrame);
        editor->installEventFilter(this);
        setFocusProxy(editor);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) {
            update();
        }
        return QWidget::eventFilter(watched, event);
    }

    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor border = palette().color(QPalette::Text);
        border.setAlphaF(0.28f);
        if (m_editor->hasFocus()) {
            border = palette().color(QPalette::Highlight);
        }
        painter.setPen(QPen(border, 1));
        painter.setBrush(palette().color(QPalette::Base));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    }

private:
    QPlainTextEdit *m_editor;
};

} // namespace

PromptEditDialog::PromptEditDialog(Mode mode, QWidget *parent)
    : QDialog(parent), m_mode(mode), m_heading(new QLabel(this)), m_title(new QLineEdit(this)),
      m_prompt(new QPlainTextEdit(this)), m_cancel(new QPushButton(tr("Cancel"), this)),
      m_save(new QPushButton(tr("Save"), this))
{
    setWindowTitle(heading());
    resize(dialogSize);
    setMinimumSize(dialogSize);

    m_heading->setText(heading());
    m_heading->setFont(SettingsStyle::headingFont());

    m_title->setPlaceholderText(tr("Enter prompt title"));
    m_prompt->setTabChangesFocus(true);
    m_prompt->setPlaceholderText(tr("Use {text} where the selected text goes"));
    auto *promptBox = new EditorFrame(m_prompt, this);
    promptBox->setFixedHeight(promptHeight);

    m_cancel->setAutoDefault(false);
    m_save->setDefault(true);
    m_save->setStyleSheet(SettingsStyle::prominentButtonSheet(palette()));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 16);
    layout->setSpacing(6);
    layout->addWidget(m_heading);
    layout->addSpacing(10);
    layout->addWidget(SettingsStyle::fieldCaption(tr("Title"), m_title, this));
    layout->addWidget(m_title);
    layout->addSpacing(8);
    layout->addWidget(SettingsStyle::fieldCaption(tr("Prompt"), m_prompt, this));
    layout->addWidget(promptBox);
    layout->addStretch(1);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_cancel);
    buttons->addStretch(1);
    buttons->addWidget(m_save);
    layout->addLayout(buttons);

    connect(m_title, &QLineEdit::textChanged, this, &PromptEditDialog::updateSaveButton);
    connect(m_prompt, &QPlainTextEdit::textChanged, this, &PromptEditDialog::updateSaveButton);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_save, &QPushButton::clicked, this, &PromptEditDialog::trySave);
    updateSaveButton();
}

void PromptEditDialog::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        m_save->setStyleSheet(SettingsStyle::prominentButtonSheet(palette()));
    }
}

QString PromptEditDialog::heading() const
{
    return m_mode == Mode::add ? tr("Add Custom Prompt") : tr("Edit Custom Prompt");
}

void PromptEditDialog::setFields(const QString &title, const QString &prompt)
{
    m_title->setText(title);
    m_title->setCursorPosition(0); // a long title shows its start
    m_prompt->setPlainText(prompt);
}

void PromptEditDialog::updateSaveButton()
{
    m_save->setEnabled(!m_title->text().isEmpty() && !m_prompt->toPlainText().isEmpty());
}

void PromptEditDialog::trySave()
{
    if (!m_save->isEnabled()) {
        return;
    }
    if (m_onSave && m_onSave(m_title->text(), m_prompt->toPlainText())) {
        accept();
    }
}
