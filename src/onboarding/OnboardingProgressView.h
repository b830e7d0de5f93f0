// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OnboardingStep.h"

#include <QWidget>

// Six numbered circles joined by lines, one circle a step: the circles up
// to the current step are filled with the accent colour and carry a white
// number, the others are grey; the line after a circle is in the accent
// colour once the guide is past that circle.
class OnboardingProgressView : public QWidget {
    Q_OBJECT

public:
    static constexpr int circleSize = 20;
    static constexpr int lineHeight = 2;

    explicit OnboardingProgressView(QWidget *parent = nullptr);

    OnboardingStep currentStep() const { return m_currentStep; }
    void setCurrentStep(OnboardingStep step);

    // Where the circle of the step at position i is, and the line after it
    // (none after the last step).
    QRectF circleRect(int i) const;
    QRectF lineRect(int i) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    qreal lineWidth() const;

    OnboardingStep m_currentStep = OnboardingStep::welcome;
};
