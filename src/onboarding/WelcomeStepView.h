// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "StepView.h"

class QLabel;

// A drawing, a title and a description beside each other: one thing the
// welcome step says Vellumo does.
class FeatureRow : public QWidget {
    Q_OBJECT

public:
    FeatureRow(OnboardingStyle::Symbol symbol, const QString &title, const QString &description,
               QWidget *parent = nullptr);

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    OnboardingStyle::Symbol m_symbol;
    QLabel *m_icon;
    QLabel *m_description;
};

// The first step: what Vellumo does, in three rows.
class WelcomeStepView : public StepView {
    Q_OBJECT

public:
    explicit WelcomeStepView(QWidget *parent = nullptr);
};
