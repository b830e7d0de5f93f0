// SPDX-License-Identifier: GPL-3.0-or-later
#include "Symbols.h"

#include <QPainter>
#include <QPainterPath>

namespace Symbols {

namespace {

// Each symbol is drawn in a 24 by 24 design square, then scaled.
void paintMagnifier(QPainter &painter, const QColor &color)
{
    QPen pen(color, 2.6, Qt::SolidLine, Qt::RoundCap);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(10, 10), 6.5, 6.5);
    painter.drawLine(QPointF(15, 15), QPointF(21, 21));
}

void paintWarningTriangle(QPainter &painter, const QColor &color)
{
    QPainterPath triangle;
    triangle.moveTo(12, 2.5);
    triangle.lineTo(22.5, 21);
    triangle.lineTo(1.5, 21);
    triangle.closeSubpath();

    // The exclamation mark is cut out of the filled triangle.
    QPainterPath mark;
    mark.addRoundedRect(QRectF(10.8, 8, 2.4, 7.5), 1.2, 1.2);
    mark.addEllipse(QPointF(12, 18.2), 1.4, 1.4);

    QPainterPathStroker stroker;
    stroker.setWidth(2.0);
    stroker.setJoinStyle(Qt::RoundJoin);
    const QPainterPath rounded = triangle.united(stroker.createStroke(triangle));

    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPath(rounded.subtracted(mark));
}

void paintKey(QPainter &painter, const QColor &color)
{
    QPainterPath key;
    key.addEllipse(QPointF(7, 12), 5.5, 5.5);
    key.addRoundedRect(QRectF(11, 10.4, 12, 3.2), 1.2, 1.2);
    key.addRoundedRect(QRectF(16.2, 12, 2.4, 4.6), 0.6, 0.6);
    key.addRoundedRect(QRectF(20.2, 12, 2.4, 3.4), 0.6, 0.6);
    key.setFillRule(Qt::WindingFill);
    QPainterPath hole;
    hole.addEllipse(QPointF(5.6, 12), 1.8, 1.8);

    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPath(key.simplified().subtracted(hole));
}

} // namespace

void paint(QPainter &painter, Kind kind, const QRectF &rect, const QColor &color)
{
    const qreal side = qMin(rect.width(), rect.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect.center().x() - side / 2, rect.center().y() - side / 2);
    painter.scale(side / 24.0, side / 24.0);
    switch (kind) {
    case Kind::magnifier:
        paintMagnifier(painter, color);
        break;
    case Kind::warningTriangle:
        paintWarningTriangle(painter, color);
        break;
    case Kind::key:
        paintKey(painter, color);
        break;
    }
    painter.restore();
}

} // namespace Symbols

SymbolView::SymbolView(Symbols::Kind kind, int size, QWidget *parent)
    : QWidget(parent), m_kind(kind), m_color(palette().color(QPalette::WindowText))
{
    setFixedSize(size, size);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void SymbolView::setColor(const QColor &color)
{
    m_color = color;
    update();
}

void SymbolView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    Symbols::paint(painter, m_kind, rect(), m_color);
}
