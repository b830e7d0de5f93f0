// SPDX-License-Identifier: GPL-3.0-or-later
#include "PromptsTable.h"

#include <QApplication>
#include <QDrag>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QProxyStyle>
#include <QStyledItemDelegate>

namespace {

constexpr int titleInset = 8;
constexpr int rowHeightPx = 36;

class RowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override
    {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        const QString text = opt.text;
        opt.text.clear();
        // The selected row shows where the keyboard is; no dotted cell frame.
        opt.state &= ~QStyle::State_HasFocus;
        const QWidget *widget = opt.widget;
        QStyle *style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, widget);

        const QPalette::ColorGroup group =
            opt.state & QStyle::State_Enabled ? QPalette::Active : QPalette::Disabled;
        painter->save();
        if (!text.isEmpty()) {
            const QRect area = opt.rect.adjusted(titleInset, 0, -titleInset / 2, 0);
            painter->setPen(opt.palette.color(group, opt.state & QStyle::State_Selected
                                                         ? QPalette::HighlightedText
                                                         : QPalette::Text));
            painter->setFont(opt.font);
            painter->drawText(area, Qt::AlignLeft | Qt::AlignVCenter,
                              opt.fontMetrics.elidedText(text, Qt::ElideRight, area.width()));
        }
        QColor line = opt.palette.color(group, QPalette::Text);
        line.setAlphaF(0.18f);
        QPen pen(line, 1, Qt::CustomDashLine);
        pen.setDashPattern({3, 3});
        painter->setPen(pen);
        painter->drawLine(opt.rect.bottomLeft(), opt.rect.bottomRight());
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        size.setHeight(std::max(size.height(), rowHeightPx));
        return size;
    }
};

// Starts a left-aligned header label where the titles under it start.
class HeaderStyle : public QProxyStyle {
public:
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override
    {
        const auto *header = qstyleoption_cast<const QStyleOptionHeader *>(option);
        if (element == CE_HeaderLabel && header && (header->textAlignment & Qt::AlignLeft)) {
            QStyleOptionHeader inset = *header;
            const int margin = pixelMetric(PM_HeaderMargin, option, widget);
            inset.rect.adjust(std::max(0, titleInset - margin), 0, 0, 0);
            QProxyStyle::drawControl(element, &inset, painter, widget);
            return;
        }
        QProxyStyle::drawControl(element, option, painter, widget);
    }
};

} // namespace

PromptsTable::PromptsTable(QWidget *parent) : QTableView(parent)
{
    setItemDelegate(new RowDelegate(this));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setAlternatingRowColors(true);
    setShowGrid(false);
    setFrameShape(QFrame::NoFrame);
    setWordWrap(false);
    setTextElideMode(Qt::ElideRight);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    // Tab leaves the table; arrows move between rows.
    setTabKeyNavigation(false);

    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDragDropOverwriteMode(false);
    setDragDropMode(QAbstractItemView::InternalMove);
    setDefaultDropAction(Qt::MoveAction);

    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(rowHeightPx);
    auto *headerStyle = new HeaderStyle;
    headerStyle->setParent(horizontalHeader());
    horizontalHeader()->setStyle(headerStyle);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsClickable(false);
}

void PromptsTable::keyPressEvent(QKeyEvent *event)
{
    const QModelIndex current = currentIndex();
    // The keypad's Enter comes with the keypad modifier.
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (current.isValid() && modifiers == Qt::NoModifier) {
        switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            Q_EMIT editRequested(current.row());
            return;
        case Qt::Key_Delete:
            Q_EMIT deleteRequested(current.row());
            return;
        default:
            break;
        }
    }
    QTableView::keyPressEvent(event);
}

void PromptsTable::startDrag(Qt::DropActions supportedActions)
{
    // The model moves the row when it is dropped; the view must not then
    // remove the "moved away" row as it would after a move to elsewhere.
    const QModelIndex index = currentIndex();
    if (!index.isValid() || !(supportedActions & Qt::MoveAction)) {
        return;
    }
    QMimeData *data = model()->mimeData({index.siblingAtColumn(0)});
    if (!data) {
        return;
    }
    auto *drag = new QDrag(this);
    drag->setMimeData(data);
    const QRect row = visualRect(index.siblingAtColumn(0));
    drag->setPixmap(
        viewport()->grab(QRect(row.topLeft(), QSize(viewport()->width(), row.height()))));
    drag->setHotSpot(QPoint(20, row.height() / 2));
    drag->exec(Qt::MoveAction, Qt::MoveAction);
}
