#include "CommandRow.h"

#include "CommandsListModel.h"
#include "PopupStyle.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

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
    painter->setFont(font);
    painter->setPen(isSelected ? PopupStyle::selectedTextColor(palette)
                               : PopupStyle::primaryTextColor(palette));
    const QRect textRect = highlight.adjusted(padding, 0, -padding, 0);
    const QString title = QFontMetrics(font).elidedText(index.data(Qt::DisplayRole).toString(),
                                                        Qt::ElideRight, textRect.width());
    painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, title);
    painter->restore();
}
