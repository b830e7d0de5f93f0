#pragma once

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPalette>

class QLabel;
class QWidget;

// The settings tabs' measures, fonts, colours and icons. Colours come from
// the palette (the few that carry a meaning, red and green, are tuned for a
// light or a dark one), so the tabs follow the desktop's theme.
namespace SettingsStyle {

inline constexpr int sidebarWidth = 200;
inline constexpr int formSpacing = 16;
inline constexpr int formRadius = 8;
inline constexpr int noticeRadius = 6;
inline constexpr int formPadding = 20;

QFont headingFont(); // a provider's name over its form, a dialog's title
QFont captionFont(); // the small label over a field, small buttons

// The small label over a field, in the secondary text colour; it names the
// field for assistive tools too.
QLabel *fieldCaption(const QString &text, QWidget *field, QWidget *parent);

bool isDark(const QPalette &palette);
QColor errorColor(const QPalette &palette);
QColor successColor(const QPalette &palette);

enum class Icon { trash, pencil, check, eye, eyeOff, plus };

// The desktop theme's icon when the theme has one; otherwise the bundled
// drawing in the application palette's colour for role, which follows a
// change of palette (and its disabled colour for a disabled button).
QIcon icon(Icon icon, QPalette::ColorRole role = QPalette::ButtonText);
// The theme's icon, or the bundled drawing in one colour (a red for a
// button that deletes).
QIcon icon(Icon icon, const QColor &color);
// One frame of a small spinning arc; step counts twelfths of a turn.
QIcon spinnerFrame(int step, const QColor &color);

} // namespace SettingsStyle
