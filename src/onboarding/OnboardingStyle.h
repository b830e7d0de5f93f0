// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QPixmap>

class QPalette;
class QPushButton;

// The guide's measures, fonts, drawings and marks. Colours are the
// settings window's (SettingsStyle), which come from the palette, so the
// guide follows a light or a dark desktop theme.
namespace OnboardingStyle {

// The window's inner size: the guide's whole height when the screen has
// room for it; on a smaller screen the steps scroll between the heading and
// the navigation row, which stay in view.
inline constexpr int windowWidth = 600;
inline constexpr int contentHeight = 800;
inline constexpr int minimumHeight = 480;
// Every step is a centred column padded this much, its parts this far apart.
inline constexpr int stepPadding = 40;
// Above a step: the progress view has room below it already.
inline constexpr int stepTopPadding = 16;
inline constexpr int stepSpacing = 24;
inline constexpr int cardPadding = 16;
inline constexpr int cardRadius = 8;
inline constexpr int stepIconSize = 60;

QFont font(int pixelSize, QFont::Weight weight = QFont::Normal);
QFont largeTitleFont(); // the window's heading: 26, bold
QFont title2Font();     // a step's title: 20, semibold
QFont title3Font();     // the line under the heading: 15
QFont bodyFont();       // a step's description: 14

QColor accentColor(const QPalette &palette);
QColor secondaryTextColor(const QPalette &palette);
// The unreached circles and lines of the progress, a card's border.
QColor separatorColor(const QPalette &palette);
QColor successColor(const QPalette &palette);
QColor failureColor(const QPalette &palette);

enum class Symbol { ibeam, shortcut, bubble, brain, pointer, accessibility, keyboard };
// A one-colour drawing (the guide's own, or the settings' for the two both
// windows show).
QPixmap symbol(Symbol symbol, const QColor &color, int size, qreal devicePixelRatio);
// A filled circle with a check mark (ok) or cross in it, white unless told.
QPixmap statusMark(bool ok, const QColor &color, int size, qreal devicePixelRatio,
                   const QColor &markColor = Qt::white);
// A filled circle with a white number in it.
QPixmap numberMark(int number, const QColor &color, int size, qreal devicePixelRatio);

// The main action of a step: filled with the accent colour.
void makeProminent(QPushButton *button);
// A secondary action: outlined.
void makeBordered(QPushButton *button);

} // namespace OnboardingStyle
