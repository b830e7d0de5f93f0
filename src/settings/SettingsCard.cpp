// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsCard.h"

#include "PopupStyle.h"
#include "SettingsStyle.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

SettingsCard::SettingsCard(SettingsStyle::Icon icon, const QString &title,
                           const QString &description, QWidget *parent)
    : QWidget(parent), m_iconKind(icon), m_icon(new QLabel(this)), m_title(new QLabel(title, this)),
      m_description(makeDescription(description, this)), m_content(new QVBoxLayout)
{
    setObjectName(QStringLiteral("card"));
    m_title->setFont(SettingsStyle::cardTitleFont());
    m_title->setObjectName(QStringLiteral("cardTitle"));
    m_icon->setFixedSize(SettingsStyle::iconSize, SettingsStyle::iconSize);

    auto *header = new QHBoxLayout;
    header->setSpacing(8);
    header->addWidget(m_icon);
    header->addWidget(m_title, 1);

    auto *layout = new QVBoxLayout(this);
    const int inset = shadowMargin + SettingsStyle::cardPadding;
    layout->setContentsMargins(inset, inset - 2, inset, inset + 1);
    layout->setSpacing(6);
    layout->addLayout(header);
    layout->addWidget(m_description);
    m_content->setContentsMargins(0, 6, 0, 0);
    m_content->setSpacing(8);
    layout->addLayout(m_content);
    applyColors();
}

void SettingsCard::applyColors()
{
    m_icon->setPixmap(SettingsStyle::tintedPixmap(m_iconKind, SettingsStyle::accentColor(palette()),
                                                  SettingsStyle::iconSize, devicePixelRatioF()));
    applyDescriptionColor(m_description);
}

void SettingsCard::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
    QWidget::changeEvent(event);
}

void SettingsCard::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF face =
        QRectF(rect()).adjusted(shadowMargin, shadowMargin - 1, -shadowMargin, -shadowMargin - 1);
    const qreal radius = SettingsStyle::cardRadius;
    // The shadow: a few widening outlines, fainter as they go out, a little
    // lower than the card.
    const bool dark = PopupStyle::isDark(palette());
    for (int step = shadowMargin; step >= 1; --step) {
        QColor shade(0, 0, 0, (dark ? 14 : 4) * (shadowMargin + 1 - step));
        painter.setPen(Qt::NoPen);
        painter.setBrush(shade);
        painter.drawRoundedRect(face.adjusted(-step, -step + 1, step, step + 1), radius + step,
                                radius + step);
    }
    painter.setBrush(SettingsStyle::cardColor(palette()));
    painter.setPen(QPen(SettingsStyle::borderColor(palette()), 1));
    painter.drawRoundedRect(face.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

void GradientBackground::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QColor window = palette().color(QPalette::Active, QPalette::Window);
    QLinearGradient gradient(0, 0, 0, height());
    gradient.setColorAt(0, window);
    gradient.setColorAt(1,
                        PopupStyle::isDark(palette()) ? window.lighter(112) : window.darker(104));
    painter.fillRect(rect(), gradient);
}

QLabel *makeDescription(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("description"));
    label->setFont(SettingsStyle::descriptionFont());
    label->setWordWrap(true);
    applyDescriptionColor(label);
    return label;
}

void applyDescriptionColor(QLabel *label)
{
    // From the surroundings: the label's own text colour is this one already.
    const QWidget *around = label->parentWidget();
    const QPalette source = around ? around->palette() : QPalette();
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, SettingsStyle::secondaryTextColor(source));
    label->setPalette(palette);
}
