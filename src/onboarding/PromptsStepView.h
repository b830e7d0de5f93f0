// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "StepView.h"

class QLabel;
class QPushButton;
class QStackedWidget;

// An emoji and a title: one of the commands the default list brings.
class CommandExampleRow : public QWidget {
    Q_OBJECT

public:
    CommandExampleRow(const QString &icon, const QString &title, QWidget *parent = nullptr);
};

// The fifth step: the default commands, added to the user's list at a
// press, which is remembered ("has_seeded_default_prompts"), so the step
// shows them as added when the user comes back.
class PromptsStepView : public StepView {
    Q_OBJECT

public:
    explicit PromptsStepView(QWidget *parent = nullptr);

    bool hasSeededPrompts() const { return m_seeded; }
    QPushButton *addButton() const { return m_add; }
    // The button, or the "added" line once the commands were added.
    QStackedWidget *seededState() const { return m_state; }
    QWidget *initialFocus() const override;

Q_SIGNALS:
    void seededChanged(bool seeded);

protected:
    void applyColors() override;

private:
    void addDefaultCommands();
    void showSeeded(bool seeded);

    bool m_seeded = false;
    QPushButton *m_add;
    QLabel *m_addedMark;
    QLabel *m_added;
    QLabel *m_more;
    QStackedWidget *m_state;
};
