// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>
#include <optional>

// The guide's six steps, in the order the guide walks them and the
// progress view numbers them.
enum class OnboardingStep { welcome, accessibility, shortcut, vendor, prompts, tryIt };

namespace OnboardingSteps {

const QList<OnboardingStep> &allCases();
int position(OnboardingStep step);
// The step after this one; nothing after the last (which finishes).
std::optional<OnboardingStep> next(OnboardingStep step);
// The step before this one; nothing before the first.
std::optional<OnboardingStep> previous(OnboardingStep step);
// "Get Started" on the welcome step, "Finish" on the last, else "Next".
QString nextButtonTitle(OnboardingStep step);

} // namespace OnboardingSteps
