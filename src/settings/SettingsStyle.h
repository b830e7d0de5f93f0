// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPalette>
#include <QPixmap>

class QLabel;
class QWidget;

// The settings window's measures, fonts, colours and icons. Colours come
// from the palette (the popup's where they are the same; the few that carry
// a meaning, red and green, are tuned for a light or a dark one), so the
// window follows the desktop's theme with no second set.
namespace SettingsStyle {

// The General tab's cards.
inline constexpr int cardRadius = 8;
inline constexpr int cardPadding = 16;
inline constexpr int iconSize = 18;
// The Vendors tab.
inline constexpr int sidebarWidth = 200;
inline constexpr int formSpacing = 16;
inline constexpr int formRadius = 8;
inline constexpr int formPadding = 20;
// A red or green line of outcome.
inline constexpr int noticeRadius = 6;

QFont cardTitleFont();   // 15, semibold
QFont descriptionFont(); // 11
QFont bodyFont();        // 13
QFont editorFont();      // 12
QFont headingFont();     // a provider's name over its form, a dialog's title
QFont captionFont();     // the small label over a field, small buttons

// The small label over a field, in the secondary text colour; it names the
// field for assistive tools too.
QLabel *fieldCaption(const QString &text, QWidget *field, QWidget *parent);

bool isDark(const QPalette &palette);
QColor accentColor(const QPalette &palette);
QColor secondaryTextColor(const QPalette &palette);
QColor successColor(const QPalette &palette);
QColor errorColor(const QPalette &palette);
// a, moved towards b by amountOfB (0 to 1).
QColor mixed(const QColor &a, const QColor &b, qreal amountOfB);
// The style sheet of a window's main buttons (Save, Grant Permission): the
// accent colour with the highlight's text, greyed out while disabled, a
// ring while focused. Set again when the palette changes.
QString prominentButtonSheet(const QPalette &palette);
// A card's fill and its thin border.
QColor cardColor(const QPalette &palette);
QColor borderColor(const QPalette &palette);

enum class Icon {
    // The tabs.
    general,
    vendors,
    prompts,
    // The General tab's cards.
    keyboard,
    login,
    accessibility,
    instructions,
    defaults,
    // Marks and buttons.
    check,
    cross,
    trash,
    pencil,
    eye,
    eyeOff,
    plus,
};

// The desktop theme's icon when the theme has one; otherwise the bundled
// drawing in the application palette's colour for role, which follows a
// change of palette (and its disabled colour for a disabled button).
QIcon icon(Icon icon, QPalette::ColorRole role = QPalette::ButtonText);
// The theme's icon, or the bundled drawing in one colour (a red for a
// button that deletes).
QIcon icon(Icon icon, const QColor &color);
// Always the bundled drawing, in the colour: where the colour says
// something (a green mark, a card's accent).
QPixmap tintedPixmap(Icon icon, const QColor &color, int size, qreal devicePixelRatio);
// Another window's one-colour SVG drawing (a resource path), the same way.
QPixmap tintedPixmap(const QString &svgPath, const QColor &color, int size, qreal devicePixelRatio);
// The style sheet of the other push buttons beside a prominent one: the
// button colour with a border, a ring in the accent colour while focused.
QString borderedButtonSheet(const QPalette &palette);

// One frame of a small spinning arc; step counts twelfths of a turn.
QIcon spinnerFrame(int step, const QColor &color);

} // namespace SettingsStyle
