// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QList>
#include <QSize>
#include <QTextLayout>

class QPalette;
class QWidget;

// The popup's measures, fonts and colours in one place. Lengths are logical
// pixels, the unit of the 360 by 340 frame; colours derive from the palette so
// that a dark theme works without a second set.
namespace PopupStyle {

inline constexpr QSize popupSize{360, 340};
inline constexpr int panelRadius = 12;
inline constexpr int shadowRadius = 10;
inline constexpr double shadowOpacity = 0.33;
inline constexpr int fieldRadius = 8;
inline constexpr int rowRadius = 8;
inline constexpr int bannerRadius = 6;

// The application font at a pixel size and weight.
QFont sizedFont(int pixelSize, QFont::Weight weight);
QFont titleFont();    // row titles: 14, medium
QFont captionFont();  // the error banner
QFont headlineFont(); // the not-configured heading
QFont bodyFont();

// The highlight behind a chosen row.
QColor selectionColor(const QPalette &palette);
// Text on top of the highlight.
QColor selectedTextColor(const QPalette &palette);
QColor primaryTextColor(const QPalette &palette);
QColor secondaryTextColor(const QPalette &palette);
QColor textBackgroundColor(const QPalette &palette);
QColor panelColor(const QPalette &palette, bool translucent);
// The banner's red, a little lighter on a dark panel so it stays readable.
QColor errorColor(const QPalette &palette);
bool isDark(const QPalette &palette);

// Emoji written with the emoji presentation selector (U+FE0F), as in "✍️",
// exist as plain text glyphs in common fonts too, and font fallback would
// pick those. These ranges draw such clusters with a colour emoji font when
// one is installed.
QList<QTextLayout::FormatRange> emojiFormats(const QString &text);

} // namespace PopupStyle
