// SPDX-License-Identifier: GPL-3.0-or-later
#include "ShortcutStepView.h"

#include "OnboardingStyle.h"
#include "ShortcutRecorder.h"

#include <QVBoxLayout>

ShortcutStepView::ShortcutStepView(QWidget *parent)
    : StepView(OnboardingStyle::Symbol::keyboard, QStringLiteral("Customize Your Shortcut"),
               QStringLiteral("Set the keyboard shortcut to show the AI popup when text is "
                              "selected. You can change this later in settings."),
               parent)
{
    auto *card = new OnboardingCard(this);
    card->contentLayout()->addLayout(
        showPopupRecorderRow(card, OnboardingStyle::font(16, QFont::Medium), &m_recorder));
    addContent(card);
}
