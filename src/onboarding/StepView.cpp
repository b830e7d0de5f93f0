// SPDX-License-Identifier: GPL-3.0-or-later
#include "StepView.h"

#include "OnboardingStyle.h"

#include <QEvent>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

StepView::StepView(OnboardingStyle::Symbol symbol, const QString &title, const QString &description,
                   QWidget *parent)
    : QWidget(parent), m_symbol(symbol), m_icon(new QLabel(this)), m_title(new QLabel(title, this)),
      m_column(new QVBoxLayout(this))
{
    const int pad = OnboardingStyle::stepPadding;
    m_column->setContentsMargins(pad, OnboardingStyle::stepTopPadding, pad, pad);
    m_column->setSpacing(OnboardingStyle::stepSpacing);
    // A step shorter than its area sits a little above the middle.
    m_column->addStretch(1);
    m_icon->setObjectName(QStringLiteral("stepIcon"));
    m_icon->setFixedSize(OnboardingStyle::stepIconSize, OnboardingStyle::stepIconSize);
    m_column->addWidget(m_icon, 0, Qt::AlignHCenter);
    m_title->setObjectName(QStringLiteral("stepTitle"));
    m_title->setFont(OnboardingStyle::title2Font());
    m_title->setAlignment(Qt::AlignCenter);
    m_title->setWordWrap(true);
    m_column->addWidget(m_title);
    if (!description.isEmpty()) {
        m_description = new QLabel(description, this);
        m_description->setObjectName(QStringLiteral("stepDescription"));
        m_description->setFont(OnboardingStyle::bodyFont());
        m_description->setAlignment(Qt::AlignCenter);
        m_description->setWordWrap(true);
        m_column->addWidget(m_description);
    }
    // What the step adds goes above this.
    m_column->addStretch(2);
    applyOwnColors();
}

void StepView::addContent(QWidget *widget, Qt::Alignment alignment)
{
    m_column->insertWidget(m_column->count() - 1, widget, 0, alignment);
}

void StepView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyOwnColors();
        applyColors();
    }
}

void StepView::applyOwnColors()
{
    m_icon->setPixmap(OnboardingStyle::symbol(m_symbol, OnboardingStyle::accentColor(palette()),
                                              OnboardingStyle::stepIconSize, devicePixelRatioF()));
    if (m_description) {
        makeSecondary(m_description);
    }
}

OnboardingCard::OnboardingCard(QWidget *parent) : QFrame(parent), m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("card"));
    const int pad = OnboardingStyle::cardPadding;
    m_layout->setContentsMargins(pad, pad, pad, pad);
    m_layout->setSpacing(12);
}

void OnboardingCard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    painter.setBrush(pal.color(QPalette::Active, QPalette::Base));
    painter.setPen(QPen(OnboardingStyle::separatorColor(pal), 1));
    const qreal radius = OnboardingStyle::cardRadius;
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

void makeSecondary(QLabel *label)
{
    const QWidget *around = label->parentWidget();
    setTextColor(
        label, OnboardingStyle::secondaryTextColor(around ? around->palette() : label->palette()));
}

void setTextColor(QLabel *label, const QColor &color)
{
    QPalette pal = label->palette();
    pal.setColor(QPalette::WindowText, color);
    pal.setColor(QPalette::Text, color);
    label->setPalette(pal);
}
