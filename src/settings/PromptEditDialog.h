// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>
#include <functional>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

// Adds or edits one custom prompt: a title and the prompt text. Save stays
// disabled while either is empty (nothing is trimmed: one space is a
// title). Save hands both to the save handler and closes only when the
// handler took them; Cancel and Escape close without a change.
class PromptEditDialog : public QDialog {
    Q_OBJECT

public:
    enum class Mode { add, edit };
    using SaveHandler = std::function<bool(const QString &title, const QString &prompt)>;

    PromptEditDialog(Mode mode, QWidget *parent = nullptr);

    void setFields(const QString &title, const QString &prompt);
    void setSaveHandler(SaveHandler handler) { m_onSave = std::move(handler); }

    Mode mode() const { return m_mode; }
    QString heading() const;
    QLineEdit *titleField() const { return m_title; }
    QPlainTextEdit *promptField() const { return m_prompt; }
    QPushButton *saveButton() const { return m_save; }
    QPushButton *cancelButton() const { return m_cancel; }

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateSaveButton();
    void trySave();

    Mode m_mode;
    QLabel *m_heading;
    QLineEdit *m_title;
    QPlainTextEdit *m_prompt;
    QPushButton *m_cancel;
    QPushButton *m_save;
    SaveHandler m_onSave;
};
