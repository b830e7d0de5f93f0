#include "ToggleSwitch.h"

#include "PopupStyle.h"
#include "SettingsStyle.h"

#include <QPainter>

ToggleSwitch::ToggleSwitch(const QString &text, QWidget *parent) : QAbstractButton(parent)
{
    setText(text);
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::StrongFocus);
    setFont(SettingsStyle::bodyFont());
}

QSize ToggleSwitch::sizeHint() const
{
    const int textWidth = fontMetrics().horizontalAdvance(text());
    return {trackWidth + gap + textWidth + 4, std::max(trackHeight + 4, fontMetrics().height())};
}

bool ToggleSwitch::hitButton(const QPoint &pos) const
{
    // The label counts too, as with a check box.
    return rect().contains(pos);
}

void ToggleSwitch::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QRectF track(2, (height() - trackHeight) / 2.0, trackWidth, trackHeight);
    const bool on = isChecked();
    QColor fill = on ? SettingsStyle::accentColor(pal) : SettingsStyle::borderColor(pal);
    if (!on) {
        fill = PopupStyle::isDark(pal) ? fill.lighter(140) : fill.darker(115);
    }
    if (!isEnabled()) {
        fill.setAlphaF(0.4f);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(track, trackHeight / 2.0, trackHeight / 2.0);

    const qreal knob = trackHeight - 4;
    const qreal x = on ? track.right() - knob - 2 : track.left() + 2;
    painter.setBrush(QColor(255, 255, 255));
    painter.setPen(QPen(QColor(0, 0, 0, 40), 0.5));
    painter.drawEllipse(QRectF(x, track.top() + 2, knob, knob));

    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(SettingsStyle::accentColor(pal), 1.5));
        painter.drawRoundedRect(track.adjusted(-1.5, -1.5, 1.5, 1.5), trackHeight / 2.0 + 1.5,
                                trackHeight / 2.0 + 1.5);
    }

    painter.setPen(
        pal.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::WindowText));
    const QRect label(int(track.right()) + gap, 0, width() - int(track.right()) - gap, height());
    painter.drawText(label, Qt::AlignVCenter | Qt::AlignLeft, text());
}
