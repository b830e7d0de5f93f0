// SPDX-License-Identifier: GPL-3.0-or-later
#include "ErrorMessageView.h"

#include "PopupStyle.h"
#include "Symbols.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

namespace {
constexpr int outerHorizontal = 16;
constexpr int outerVertical = 8;
constexpr int innerHorizontal = 12;
constexpr int innerVertical = 8;
} // namespace

ErrorMessageView::ErrorMessageView(QWidget *parent)
    : QWidget(parent), m_triangle(new SymbolView(Symbols::Kind::warningTriangle, 13, this)),
      m_label(new QLabel(this))
{
    m_label->setObjectName(QStringLiteral("errorMessageLabel"));
    m_label->setFont(PopupStyle::captionFont());
    m_label->setWordWrap(true);
    m_label->setTextFormat(Qt::PlainText);
    m_label->setTextInteractionFlags(Qt::NoTextInteraction);

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(outerHorizontal + innerHorizontal, outerVertical + innerVertical,
                               outerHorizontal + innerHorizontal, outerVertical + innerVertical);
    layout->setSpacing(8);
    layout->addWidget(m_triangle, 0, Qt::AlignVCenter);
    layout->addWidget(m_label, 1, Qt::AlignVCenter);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    applyColors();
}

void ErrorMessageView::setMessage(const QString &message)
{
    m_label->setText(message);
}

QString ErrorMessageView::message() const
{
    return m_label->text();
}

void ErrorMessageView::applyColors()
{
    const QColor red = PopupStyle::errorColor(palette());
    m_triangle->setColor(red);
    QPalette labelPalette = m_label->palette();
    labelPalette.setColor(QPalette::WindowText, red);
    m_label->setPalette(labelPalette);
}

void ErrorMessageView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
    QWidget::changeEvent(event);
}

void ErrorMessageView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF banner =
        QRectF(rect())
            .adjusted(outerHorizontal, outerVertical, -outerHorizontal, -outerVertical)
            .adjusted(0.5, 0.5, -0.5, -0.5);
    QColor fill = PopupStyle::errorColor(palette());
    QColor stroke = fill;
    fill.setAlphaF(0.1f);
    stroke.setAlphaF(0.3f);
    painter.setPen(QPen(stroke, 1));
    painter.setBrush(fill);
    painter.drawRoundedRect(banner, PopupStyle::bannerRadius, PopupStyle::bannerRadius);
}
