// SPDX-License-Identifier: GPL-3.0-or-later
#include "SearchField.h"

#include "PopupStyle.h"
#include "Symbols.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int innerPadding = 8;
constexpr int outerHorizontal = 16;
constexpr int outerTop = 8;
} // namespace

SearchField::SearchField(QWidget *parent)
    : QWidget(parent), m_magnifier(new SymbolView(Symbols::Kind::magnifier, 16, this)),
      m_lineEdit(new QLineEdit(this))
{
    m_lineEdit->setObjectName(QStringLiteral("searchLineEdit"));
    m_lineEdit->setFrame(false);
    m_lineEdit->setFont(PopupStyle::bodyFont());
    m_lineEdit->setAttribute(Qt::WA_MacShowFocusRect, false);
    m_lineEdit->setClearButtonEnabled(false);

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(outerHorizontal + innerPadding, outerTop + innerPadding,
                               outerHorizontal + innerPadding, innerPadding);
    layout->setSpacing(8);
    layout->addWidget(m_magnifier, 0, Qt::AlignVCenter);
    layout->addWidget(m_lineEdit, 1, Qt::AlignVCenter);

    // The field is the popup's keyboard target: whoever focuses the search
    // field focuses the line edit.
    setFocusProxy(m_lineEdit);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);

    connect(m_lineEdit, &QLineEdit::textChanged, this, &SearchField::searchTextChanged);
    applyColors();
}

QString SearchField::searchText() const
{
    return m_lineEdit->text();
}

void SearchField::setSearchText(const QString &text)
{
    m_lineEdit->setText(text);
}

void SearchField::applyColors()
{
    const QPalette base = palette();
    m_magnifier->setColor(PopupStyle::secondaryTextColor(base));
    QPalette editPalette = m_lineEdit->palette();
    // The rounded background is painted here; the line edit stays clear on it.
    editPalette.setColor(QPalette::Base, Qt::transparent);
    editPalette.setColor(QPalette::Text, PopupStyle::primaryTextColor(base));
    m_lineEdit->setPalette(editPalette);
}

void SearchField::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
    QWidget::changeEvent(event);
}

void SearchField::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Typing goes straight into the search without a click.
    m_lineEdit->setFocus(Qt::PopupFocusReason);
}

void SearchField::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF field = QRectF(rect()).adjusted(outerHorizontal, outerTop, -outerHorizontal, 0);
    QPainterPath path;
    path.addRoundedRect(field, PopupStyle::fieldRadius, PopupStyle::fieldRadius);
    painter.fillPath(path, PopupStyle::textBackgroundColor(palette()));
    // A hairline keeps the field visible where Base and Window colours meet.
    QColor edge = PopupStyle::primaryTextColor(palette());
    edge.setAlphaF(0.10f);
    painter.setPen(QPen(edge, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(field.adjusted(0.5, 0.5, -0.5, -0.5), PopupStyle::fieldRadius,
                            PopupStyle::fieldRadius);
}
