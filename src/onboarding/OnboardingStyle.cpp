// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnboardingStyle.h"

#include "PopupStyle.h"
#include "SettingsStyle.h"

#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPushButton>

namespace OnboardingStyle {

namespace {

QPixmap canvas(int size, qreal devicePixelRatio)
{
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

// A filled circle to draw a white mark on.
QPixmap disc(const QColor &color, int size, qreal devicePixelRatio, QPainter &painter)
{
    QPixmap pixmap = canvas(size, devicePixelRatio);
    painter.begin(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0, 0, size, size));
    return pixmap;
}

} // namespace

QFont font(int pixelSize, QFont::Weight weight)
{
    return PopupStyle::sizedFont(pixelSize, weight);
}

QFont largeTitleFont()
{
    return font(26, QFont::Bold);
}

QFont title2Font()
{
    return font(20, QFont::DemiBold);
}

QFont title3Font()
{
    return font(15);
}

QFont bodyFont()
{
    return font(14);
}

QColor accentColor(const QPalette &palette)
{
    return SettingsStyle::accentColor(palette);
}

QColor secondaryTextColor(const QPalette &palette)
{
    return SettingsStyle::secondaryTextColor(palette);
}

QColor separatorColor(const QPalette &palette)
{
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    return SettingsStyle::mixed(window, text, SettingsStyle::isDark(palette) ? 0.28 : 0.22);
}

QColor successColor(const QPalette &palette)
{
    return SettingsStyle::successColor(palette);
}

QColor failureColor(const QPalette &palette)
{
    return SettingsStyle::errorColor(palette);
}

QPixmap symbol(Symbol symbol, const QColor &color, int size, qreal devicePixelRatio)
{
    const auto own = [&](const char *name) {
        return SettingsStyle::tintedPixmap(
            QStringLiteral(":/onboarding/icons/%1.svg").arg(QLatin1String(name)), color, size,
            devicePixelRatio);
    };
    switch (symbol) {
    case Symbol::ibeam:
        return own("ibeam");
    case Symbol::shortcut:
        return own("shortcut");
    case Symbol::bubble:
        return own("bubble");
    case Symbol::brain:
        return own("brain");
    case Symbol::pointer:
        return own("pointer");
    case Symbol::accessibility:
        return SettingsStyle::tintedPixmap(SettingsStyle::Icon::accessibility, color, size,
                                           devicePixelRatio);
    case Symbol::keyboard:
        return SettingsStyle::tintedPixmap(SettingsStyle::Icon::keyboard, color, size,
                                           devicePixelRatio);
    }
    Q_UNREACHABLE();
    return {};
}

QPixmap statusMark(bool ok, const QColor &color, int size, qreal devicePixelRatio,
                   const QColor &markColor)
{
    QPainter painter;
    QPixmap pixmap = disc(color, size, devicePixelRatio, painter);
    const qreal s = size / 24.0;
    painter.setPen(QPen(markColor, 2.4 * s, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    QPainterPath mark;
    if (ok) {
        mark.moveTo(7 * s, 12.5 * s);
        mark.lineTo(10.5 * s, 16 * s);
        mark.lineTo(17 * s, 8.5 * s);
    } else {
        mark.moveTo(8.5 * s, 8.5 * s);
        mark.lineTo(15.5 * s, 15.5 * s);
        mark.moveTo(15.5 * s, 8.5 * s);
        mark.lineTo(8.5 * s, 15.5 * s);
    }
    painter.drawPath(mark);
    painter.end();
    return pixmap;
}

QPixmap numberMark(int number, const QColor &color, int size, qreal devicePixelRatio)
{
    QPainter painter;
    QPixmap pixmap = disc(color, size, devicePixelRatio, painter);
    painter.setPen(Qt::white);
    painter.setFont(font(qRound(size * 0.6), QFont::Bold));
    painter.drawText(QRectF(0, 0, size, size), Qt::AlignCenter, QString::number(number));
    painter.end();
    return pixmap;
}

void makeProminent(QPushButton *button)
{
    button->setFont(font(13));
    button->setStyleSheet(SettingsStyle::prominentButtonSheet(button->palette()));
}

void makeBordered(QPushButton *button)
{
    button->setFont(font(13));
    button->setStyleSheet(SettingsStyle::borderedButtonSheet(button->palette()));
}

} // namespace OnboardingStyle
