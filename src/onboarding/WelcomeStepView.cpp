// SPDX-License-Identifier: GPL-3.0-or-later
#include "WelcomeStepView.h"

#include "OnboardingStyle.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

constexpr int featureIconSize = 20;

} // namespace

FeatureRow::FeatureRow(OnboardingStyle::Symbol symbol, const QString &title,
                       const QString &description, QWidget *parent)
    : QWidget(parent), m_symbol(symbol), m_icon(new QLabel(this)),
      m_description(new QLabel(description, this))
{
    setObjectName(QStringLiteral("featureRow"));
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    m_icon->setFixedWidth(24);
    m_icon->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    row->addWidget(m_icon, 0, Qt::AlignTop);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(4);
    auto *heading = new QLabel(title, this);
    heading->setObjectName(QStringLiteral("featureTitle"));
    heading->setFont(OnboardingStyle::font(16, QFont::Medium));
    m_description->setObjectName(QStringLiteral("featureDescription"));
    m_description->setFont(OnboardingStyle::font(14));
    texts->addWidget(heading);
    texts->addWidget(m_description);
    row->addLayout(texts, 1);
    applyColors();
}

void FeatureRow::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
}

void FeatureRow::applyColors()
{
    m_icon->setPixmap(OnboardingStyle::symbol(m_symbol, OnboardingStyle::accentColor(palette()),
                                              featureIconSize, devicePixelRatioF()));
    makeSecondary(m_description);
}

WelcomeStepView::WelcomeStepView(QWidget *parent)
    : StepView(OnboardingStyle::Symbol::ibeam, QStringLiteral("Your AI Writing Assistant"),
               QString(), parent)
{
    auto *features = new QWidget(this);
    features->setObjectName(QStringLiteral("features"));
    auto *rows = new QVBoxLayout(features);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(16);
    rows->addWidget(new FeatureRow(OnboardingStyle::Symbol::ibeam,
                                   QStringLiteral("Select any text"),
                                   QStringLiteral("Works in any application"), features));
    rows->addWidget(
        new FeatureRow(OnboardingStyle::Symbol::shortcut, QStringLiteral("Press your shortcut"),
                       QStringLiteral("Instantly get AI-powered suggestions"), features));
    rows->addWidget(
        new FeatureRow(OnboardingStyle::Symbol::bubble, QStringLiteral("Choose an action"),
                       QStringLiteral("Rewrite, summarize, translate, and more"), features));
    addContent(features, Qt::AlignHCenter);
}
