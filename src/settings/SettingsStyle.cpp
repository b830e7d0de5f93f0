#include "SettingsStyle.h"

#include "PopupStyle.h"

#include <QPainter>
#include <QPalette>

// The icons are compiled into this static library: nothing refers to their
// registration, so the linker would leave it out unless called here.
static void loadBundledIcons()
{
    static const bool loaded = [] {
        Q_INIT_RESOURCE(settings);
        return true;
    }();
    Q_UNUSED(loaded);
}

namespace SettingsStyle {

namespace {

QFont sized(int pixelSize, QFont::Weight weight)
{
    QFont font;
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

QColor mixed(const QColor &a, const QColor &b, qreal amountOfB)
{
    return QColor::fromRgbF(float(a.redF() * (1 - amountOfB) + b.redF() * amountOfB),
                            float(a.greenF() * (1 - amountOfB) + b.greenF() * amountOfB),
                            float(a.blueF() * (1 - amountOfB) + b.blueF() * amountOfB));
}

} // namespace

QFont cardTitleFont()
{
    return sized(15, QFont::DemiBold);
}

QFont descriptionFont()
{
    return sized(11, QFont::Normal);
}

QFont bodyFont()
{
    return sized(13, QFont::Normal);
}

QFont editorFont()
{
    return sized(12, QFont::Normal);
}

QColor accentColor(const QPalette &palette)
{
    return PopupStyle::selectionColor(palette);
}

QColor secondaryTextColor(const QPalette &palette)
{
    return PopupStyle::secondaryTextColor(palette);
}

QColor successColor(const QPalette &palette)
{
    return PopupStyle::isDark(palette) ? QColor(80, 200, 120) : QColor(30, 140, 60);
}

QColor failureColor(const QPalette &palette)
{
    return PopupStyle::errorColor(palette);
}

QColor cardColor(const QPalette &palette)
{
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    const QColor base = palette.color(QPalette::Active, QPalette::Base);
    // Lifted a little off the background: towards the text field colour in
    // a light theme, a touch lighter in a dark one.
    return PopupStyle::isDark(palette) ? window.lighter(115) : mixed(window, base, 0.7);
}

QColor borderColor(const QPalette &palette)
{
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    return mixed(cardColor(palette), text, PopupStyle::isDark(palette) ? 0.18 : 0.14);
}

QPixmap tintedIcon(const QString &name, const QColor &color, int size, qreal devicePixelRatio)
{
    loadBundledIcons();
    const QIcon source(QStringLiteral(":/settings/%1.svg").arg(name));
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap pixmap = source.pixmap(QSize(pixels, pixels));
    if (pixmap.isNull()) {
        return pixmap;
    }
    QPainter painter(&pixmap);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QIcon themedIcon(const QString &themeName, const QString &bundledName, const QPalette &palette)
{
    if (QIcon::hasThemeIcon(themeName)) {
        return QIcon::fromTheme(themeName);
    }
    QIcon icon;
    const QColor color = palette.color(QPalette::Active, QPalette::WindowText);
    for (const int size : {16, 24, 32}) {
        icon.addPixmap(tintedIcon(bundledName, color, size, 1.0));
        icon.addPixmap(tintedIcon(bundledName, color, size, 2.0));
    }
    return icon;
}

} // namespace SettingsStyle
