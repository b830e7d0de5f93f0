// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandRow.h"

#include "CommandsListModel.h"
#include "PopupStyle.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>

QRect CommandRow::highlightRect(const QRect &rowRect)
{
    return rowRect.adjusted(horizontalInset, verticalInset, -horizontalInset, -verticalInset);
}

QSize CommandRow::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    const QFontMetrics metrics(PopupStyle::titleFont());
    return {option.rect.width(), metrics.height() + 2 * padding + 2 * verticalInset};
}

void CommandRow::paint(QPainter *painter, const QStyleOptionViewItem &option,
                       const QModelIndex &index) const
{
    const bool isSelected = index.data(CommandsListModel::isSelectedRole).toBool();
    const bool isHovered = option.state.testFlag(QStyle::State_MouseOver);
    const QPalette &palette = option.palette;

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect highlight = highlightRect(option.rect);
    if (isSelected || isHovered) {
        QColor background = PopupStyle::selectionColor(palette);
        if (!isSelected) {
            background.setAlphaF(0.5f);
        }
        QPainterPath path;
        path.addRoundedRect(QRectF(highlight), PopupStyle::rowRadius, PopupStyle::rowRadius);
        painter->fillPath(path, background);
    }

    const QFont font = PopupStyle::titleFont();
    painter->setPen(isSelected ? PopupStyle::selectedTextColor(palette)
                               : PopupStyle::primaryTextColor(palette));
    const QRect textRect = highlight.adjusted(padding, 0, -padding, 0);
    QString title = index.data(Qt::DisplayRole).toString();
    title.replace(QLatin1Char('\n'), QLatin1Char(' '));
    title = QFontMetrics(font).elidedText(title, Qt::ElideRight, textRect.width());

    QTextLayout layout(title, font);
    layout.setFormats(PopupStyle::emojiFormats(title));
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(textRect.width());
    layout.endLayout();
    const qreal top = textRect.top() + (textRect.height() - line.height()) / 2;
    layout.draw(painter, QPointF(textRect.left(), top));
    painter->restore();
}
