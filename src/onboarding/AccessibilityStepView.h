// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "StepView.h"

class AccessibilityPermission;
class QLabel;
class QPushButton;

// The second step: whether Vellumo may read the text of other applications
// (the session's accessibility interface), and a button that turns it on.
// The check every second that the button starts belongs to the guide, not
// to this step, so it goes on when the user moves to another step.
class AccessibilityStepView : public StepView {
    Q_OBJECT

public:
    explicit AccessibilityStepView(AccessibilityPermission &permission, QWidget *parent = nullptr);

    QLabel *statusLabel() const { return m_status; }
    QPushButton *grantButton() const { return m_grant; }
    QLabel *restartNote() const { return m_restartNote; }
    QWidget *initialFocus() const override;

protected:
    void applyColors() override;

private:
    void showPermission(bool granted);

    AccessibilityPermission &m_permission;
    QLabel *m_mark;
    QLabel *m_status;
    QPushButton *m_grant;
    QLabel *m_restartNote;
};
