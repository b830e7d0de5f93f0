// SPDX-License-Identifier: GPL-3.0-or-later
#include "NotConfiguredView.h"

#include "PopupStyle.h"
#include "Symbols.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

NotConfiguredView::NotConfiguredView(QWidget *parent)
    : QWidget(parent), m_key(new SymbolView(Symbols::Kind::key, 48, this)),
      m_heading(new QLabel(QStringLiteral("AI Provider Not Configured"), this)),
      m_message(new QLabel(
          QStringLiteral("Please configure an AI provider API key to use Vellumo commands."),
          this)),
      m_button(new QPushButton(QStringLiteral("Open Settings"), this))
{
    setObjectName(QStringLiteral("notConfiguredView"));
    m_heading->setObjectName(QStringLiteral("notConfiguredHeading"));
    m_message->setObjectName(QStringLiteral("notConfiguredMessage"));
    m_button->setObjectName(QStringLiteral("openSettingsButton"));

    m_heading->setFont(PopupStyle::headlineFont());
    m_heading->setAlignment(Qt::AlignHCenter);
    m_message->setFont(PopupStyle::bodyFont());
    m_message->setAlignment(Qt::AlignHCenter);
    m_message->setWordWrap(true);
    m_message->setContentsMargins(16, 0, 16, 0);

    m_button->setFont(PopupStyle::bodyFont());
    m_button->setCursor(Qt::PointingHandCursor);
    // The popup's root handles Ctrl+Return, so the keyboard focus can stay
    // on the root and the button needs none.
    m_button->setFocusPolicy(Qt::NoFocus);
    m_button->setToolTip(QStringLiteral("Ctrl+Return"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(16);
    layout->addStretch(1);
    layout->addWidget(m_key, 0, Qt::AlignHCenter);
    layout->addWidget(m_heading);
    layout->addWidget(m_message);
    layout->addWidget(m_button, 0, Qt::AlignHCenter);
    layout->addStretch(1);

    connect(m_button, &QPushButton::clicked, this, &NotConfiguredView::openSettingsRequested);
    applyColors();
}

void NotConfiguredView::applyColors()
{
    const QPalette base = palette();
    m_key->setColor(PopupStyle::secondaryTextColor(base));
    QPalette messagePalette = m_message->palette();
    messagePalette.setColor(QPalette::WindowText, PopupStyle::secondaryTextColor(base));
    m_message->setPalette(messagePalette);

    // The prominent style: filled with the accent colour.
    const QColor accent = PopupStyle::selectionColor(base);
    m_button->setStyleSheet(
        QStringLiteral("QPushButton { background: %1; color: %2; border: none; border-radius: 6px;"
                       " padding: 6px 18px; }"
                       "QPushButton:hover { background: %3; }"
                       "QPushButton:pressed { background: %4; }")
            .arg(accent.name(), PopupStyle::selectedTextColor(base).name(),
                 accent.lighter(110).name(), accent.darker(115).name()));
}

void NotConfiguredView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
    QWidget::changeEvent(event);
}
