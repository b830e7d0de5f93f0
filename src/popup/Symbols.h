// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QRectF>
#include <QWidget>

class QPainter;

// The few line symbols the popup shows, drawn as paths so they scale crisply
// and take any colour from the palette without icon files.
namespace Symbols {

enum class Kind { magnifier, warningTriangle, key };

// Paints the symbol centred in the square that fits into rect.
void paint(QPainter &painter, Kind kind, const QRectF &rect, const QColor &color);

} // namespace Symbols

// A fixed-size widget showing one symbol.
class SymbolView : public QWidget {
    Q_OBJECT

public:
    SymbolView(Symbols::Kind kind, int size, QWidget *parent = nullptr);

    void setColor(const QColor &color);
    QColor color() const { return m_color; }
    Symbols::Kind kind() const { return m_kind; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Symbols::Kind m_kind;
    QColor m_color;
};
