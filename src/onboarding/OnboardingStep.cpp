// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnboardingStep.h"

namespace OnboardingSteps {

const QList<OnboardingStep> &allCases()
{
    static const QList<OnboardingStep> steps{
        OnboardingStep::welcome, OnboardingStep::accessibility, OnboardingStep::shortcut,
        OnboardingStep::vendor,  OnboardingStep::prompts,       OnboardingStep::tryIt,
    };
    return steps;
}

int position(OnboardingStep step)
{
    return int(allCases().indexOf(step));
}

std::optional<OnboardingStep> next(OnboardingStep step)
{
    const int at = position(step) + 1;
    if (at >= allCases().size()) {
        return std::nullopt;
    }
    return allCases().at(at);
}

std::optional<OnboardingStep> previous(OnboardingStep step)
{
    const int at = position(step) - 1;
    if (at < 0) {
        return std::nullopt;
    }
    return allCases().at(at);
}

QString nextButtonTitle(OnboardingStep step)
{
    switch (step) {
    case OnboardingStep::welcome:
        return QStringLiteral("Get Started");
    case OnboardingStep::tryIt:
        return QStringLiteral("Finish");
    default:
        return QStringLiteral("Next");
    }
}

} // namespace OnboardingSteps
