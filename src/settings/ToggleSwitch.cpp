// SPDX-License-Identifier: GPL-3.0-or-later
#include "ToggleSwitch.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr qreal trackWidth = 36;
constexpr qreal trackHeight = 20;
constexpr int textGap = 10;
constexpr int focusMargin = 2; // room for the focus ring around the track

} // namespace

ToggleSwitch::ToggleSwitch(const QString &text, QWidget *parent) : QAbstractButton(parent)
{
    setText(text);
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize ToggleSwitch::sizeHint() const
{
    const QFontMetrics metrics(font());
    const int width = int(trackWidth) + 2 * focusMargin + textGap +
                      metrics.horizontalAdvance(text()) + focusMargin;
    const int height = std::max(int(trackHeight) + 2 * focusMargin, metrics.height());
    return {width, height};
}

QRectF ToggleSwitch::trackRect() const
{
    return {qreal(focusMargin), (height() - trackHeight) / 2, trackWidth, trackHeight};
}

bool ToggleSwitch::hitButton(const QPoint &pos) const
{
    return rect().contains(pos);
}

void ToggleSwitch::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QRectF track = trackRect();
    const qreal radius = track.height() / 2;

    QColor trackColour = pal.color(group, QPalette::Highlight);
    if (!isChecked()) {
        // A quiet tone of the text colour reads as "off" on light and dark.
        trackColour = pal.color(group, QPalette::WindowText);
        trackColour.setAlphaF(0.28f);
    }
    if (isDown()) {
        trackColour = trackColour.darker(115);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(trackColour);
    painter.drawRoundedRect(track, radius, radius);

    const qreal knobInset = 2;
    const qreal knob = track.height() - 2 * knobInset;
    const qreal knobX = isChecked() ? track.right() - knobInset - knob : track.left() + knobInset;
    QColor knobColour = pal.color(group, QPalette::HighlightedText);
    painter.setBrush(knobColour);
    painter.drawEllipse(QRectF(knobX, track.top() + knobInset, knob, knob));

    if (hasFocus()) {
        QPen ring(pal.color(QPalette::Active, QPalette::Highlight), 1.5);
        painter.setPen(ring);
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(track.adjusted(-1.5, -1.5, 1.5, 1.5), radius + 1.5, radius + 1.5);
    }

    painter.setPen(pal.color(group, foregroundRole()));
    const QRectF label(track.right() + textGap, 0, width() - track.right() - textGap, height());
    painter.drawText(label, Qt::AlignLeft | Qt::AlignVCenter, text());
}
