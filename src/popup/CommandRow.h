// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStyledItemDelegate>

// Draws one line of the command list: the title alone, left-aligned, on a
// rounded highlight inset from the panel edges. The highlighted row is the
// selection colour with its text in the highlighted-text colour; a row under
// the pointer gets the selection colour at half opacity.
//
// Rows are painted, not built as widgets, so a list of thousands costs only
// the rows that are visible.
class CommandRow : public QStyledItemDelegate {
    Q_OBJECT

public:
    static constexpr int horizontalInset = 16;
    static constexpr int verticalInset = 2;
    static constexpr int padding = 8;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // The rounded highlight's rectangle inside a row's rectangle.
    static QRect highlightRect(const QRect &rowRect);
};
