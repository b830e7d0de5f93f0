// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnboardingProgressView.h"

#include "OnboardingStyle.h"

#include <QPainter>

namespace {

int stepCount()
{
    return int(OnboardingSteps::allCases().size());
}

} // namespace

OnboardingProgressView::OnboardingProgressView(QWidget *parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("progress"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(QStringLiteral("Progress"));
}

void OnboardingProgressView::setCurrentStep(OnboardingStep step)
{
    m_currentStep = step;
    setAccessibleDescription(
        QStringLiteral("Step %1 of %2").arg(OnboardingSteps::position(step) + 1).arg(stepCount()));
    update();
}

QSize OnboardingProgressView::sizeHint() const
{
    return {stepCount() * circleSize + (stepCount() - 1) * 60, circleSize};
}

QSize OnboardingProgressView::minimumSizeHint() const
{
    return {stepCount() * circleSize + (stepCount() - 1) * 8, circleSize};
}

qreal OnboardingProgressView::lineWidth() const
{
    // The lines take what the circles leave.
    return std::max(0.0, qreal(width() - stepCount() * circleSize) / (stepCount() - 1));
}

QRectF OnboardingProgressView::circleRect(int i) const
{
    const qreal top = (height() - circleSize) / 2.0;
    return {i * (circleSize + lineWidth()), top, qreal(circleSize), qreal(circleSize)};
}

QRectF OnboardingProgressView::lineRect(int i) const
{
    if (i < 0 || i >= stepCount() - 1) {
        return {};
    }
    const QRectF circle = circleRect(i);
    return {circle.right(), circle.center().y() - lineHeight / 2.0, lineWidth(), qreal(lineHeight)};
}

void OnboardingProgressView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QColor accent = OnboardingStyle::accentColor(pal);
    const QColor separator = OnboardingStyle::separatorColor(pal);
    const int current = OnboardingSteps::position(m_currentStep);
    painter.setFont(OnboardingStyle::font(12, QFont::DemiBold));
    for (int i = 0; i < stepCount(); ++i) {
        if (i < stepCount() - 1) {
            painter.fillRect(lineRect(i), i < current ? accent : separator);
        }
        const bool reached = i <= current;
        painter.setPen(Qt::NoPen);
        painter.setBrush(reached ? accent : separator);
        painter.drawEllipse(circleRect(i));
        painter.setPen(reached ? QColor(Qt::white) : OnboardingStyle::secondaryTextColor(pal));
        painter.drawText(circleRect(i), Qt::AlignCenter, QString::number(i + 1));
    }
}
