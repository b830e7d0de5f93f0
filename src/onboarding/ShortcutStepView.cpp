// SPDX-License-Identifier: GPL-3.0-or-later
#include "ShortcutStepView.h"

#include "GlobalShortcuts.h"
#include "OnboardingStyle.h"
#include "ShortcutRecorder.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

ShortcutStepView::ShortcutStepView(QWidget *parent)
    : StepView(OnboardingStyle::Symbol::keyboard, QStringLiteral("Customize Your Shortcut"),
               QStringLiteral("Set the keyboard shortcut to show the AI popup when text is "
                              "selected. You can change this later in settings."),
               parent)
{
    auto *card = new OnboardingCard(this);
    auto *row = new QHBoxLayout;
    auto *label = new QLabel(QStringLiteral("Show AI Popup:"), card);
    label->setFont(OnboardingStyle::font(16, QFont::Medium));
    m_recorder = new ShortcutRecorder(GlobalShortcuts::Name::showPopup(), card);
    label->setBuddy(m_recorder);
    row->addWidget(label);
    row->addStretch(1);
    row->addWidget(m_recorder);
    card->contentLayout()->addLayout(row);
    addContent(card);
}
