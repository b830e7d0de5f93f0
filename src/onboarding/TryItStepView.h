// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "StepView.h"

#include <functional>

class QLabel;
class QPlainTextEdit;

// The last step: a test area with a sample text and three lines on what to
// do with it. When it first shows, it hooks the shortcut, so the user can
// try it on the sample text while the guide is still open.
class TryItStepView : public StepView {
    Q_OBJECT

public:
    static inline const QString sampleText = QStringLiteral(
        "This is some sample text that you can experiment with. Try selecting this text and "
        "using your keyboard shortcut to see Vellumo in action!");

    TryItStepView(std::function<void()> setupGlobalShortcut, QWidget *parent = nullptr);

    QPlainTextEdit *testArea() const { return m_testArea; }
    QWidget *initialFocus() const override;

protected:
    void showEvent(QShowEvent *event) override;
    void applyColors() override;

private:
    std::function<void()> m_setupGlobalShortcut;
    bool m_shown = false;
    QPlainTextEdit *m_testArea;
    QList<QLabel *> m_numbers;
};
