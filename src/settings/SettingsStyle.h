#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QString>

class QPalette;

// The settings window's fonts, colours and icons. Colours derive from the
// palette (PopupStyle's, where they are the same), so light and dark
// themes need no second set.
namespace SettingsStyle {

inline constexpr int cardRadius = 8;
inline constexpr int cardPadding = 16;
inline constexpr int iconSize = 18;

QFont cardTitleFont();   // 15, semibold
QFont descriptionFont(); // 11
QFont bodyFont();        // 13
QFont editorFont();      // 12

QColor accentColor(const QPalette &palette);
QColor secondaryTextColor(const QPalette &palette);
QColor successColor(const QPalette &palette);
QColor failureColor(const QPalette &palette);
// A card's fill and its thin border.
QColor cardColor(const QPalette &palette);
QColor borderColor(const QPalette &palette);

// A bundled single-colour icon (":/settings/NAME.svg") drawn in the colour.
QPixmap tintedIcon(const QString &name, const QColor &color, int size, qreal devicePixelRatio);
// The desktop theme's icon of that name, else the bundled one, in the
// palette's text colour.
QIcon themedIcon(const QString &themeName, const QString &bundledName, const QPalette &palette);

} // namespace SettingsStyle
