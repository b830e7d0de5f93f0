// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsStyle.h"

#include "PopupStyle.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QLabel>
#include <QPainter>
#include <QSvgRenderer>
#include <optional>

namespace SettingsStyle {

namespace {

QString resource(Icon icon)
{
    static const QString names[] = {
        QStringLiteral("general"),      QStringLiteral("vendors"),  QStringLiteral("prompts"),
        QStringLiteral("keyboard"),     QStringLiteral("login"),    QStringLiteral("accessibility"),
        QStringLiteral("instructions"), QStringLiteral("defaults"), QStringLiteral("check"),
        QStringLiteral("cross"),        QStringLiteral("trash"),    QStringLiteral("pencil"),
        QStringLiteral("eye"),          QStringLiteral("eye-off"),  QStringLiteral("plus"),
    };
    static_assert(std::size(names) == size_t(Icon::plus) + 1);
    return QStringLiteral(":/settings/icons/%1.svg").arg(names[size_t(icon)]);
}

// The freedesktop name of an icon a theme may have; none for the card
// icons and marks, which are drawn in a colour that means something.
QString themeName(Icon icon)
{
    switch (icon) {
    case Icon::general:
        return QStringLiteral("preferences-system");
    case Icon::vendors:
        return QStringLiteral("network-server");
    case Icon::prompts:
        return QStringLiteral("accessories-text-editor");
    case Icon::trash:
        return QStringLiteral("edit-delete");
    case Icon::pencil:
        return QStringLiteral("document-edit");
    case Icon::check:
        return QStringLiteral("dialog-ok-apply");
    case Icon::eye:
        return QStringLiteral("view-visible");
    case Icon::eyeOff:
        return QStringLiteral("view-hidden");
    case Icon::plus:
        return QStringLiteral("list-add");
    case Icon::keyboard:
    case Icon::login:
    case Icon::accessibility:
    case Icon::instructions:
    case Icon::defaults:
    case Icon::cross:
        return {};
    }
    Q_UNREACHABLE();
    return {};
}

QImage renderTinted(const QString &path, const QSize &size, const QColor &color)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(path);
    QPainter painter(&image);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(size)));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    return image;
}

// Draws a one-colour SVG in the colour asked for: a fixed one, or the
// application palette's at the time of painting.
class TintedSvgEngine : public QIconEngine {
public:
    TintedSvgEngine(QString path, QPalette::ColorRole role, std::optional<QColor> fixed)
        : m_path(std::move(path)), m_role(role), m_fixed(fixed)
    {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        painter->drawImage(rect, renderTinted(m_path, rect.size() * ratio, colour(mode)));
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) override
    {
        return QPixmap::fromImage(renderTinted(m_path, size, colour(mode)));
    }

    QIconEngine *clone() const override { return new TintedSvgEngine(m_path, m_role, m_fixed); }
    QString key() const override { return QStringLiteral("vellumo-tinted-svg"); }

private:
    QColor colour(QIcon::Mode mode) const
    {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled) {
            return m_fixed ? QColor(m_fixed->red(), m_fixed->green(), m_fixed->blue(), 110)
                           : palette.color(QPalette::Disabled, m_role);
        }
        return m_fixed.value_or(palette.color(QPalette::Active, m_role));
    }

    QString m_path;
    QPalette::ColorRole m_role;
    std::optional<QColor> m_fixed;
};

QIcon themedOrBundled(Icon icon, QPalette::ColorRole role, std::optional<QColor> fixed)
{
    const QString name = themeName(icon);
    if (!name.isEmpty() && QIcon::hasThemeIcon(name)) {
        return QIcon::fromTheme(name);
    }
    return QIcon(new TintedSvgEngine(resource(icon), role, fixed));
}

} // namespace

QColor mixed(const QColor &a, const QColor &b, qreal amountOfB)
{
    return QColor::fromRgbF(float(a.redF() * (1 - amountOfB) + b.redF() * amountOfB),
                            float(a.greenF() * (1 - amountOfB) + b.greenF() * amountOfB),
                            float(a.blueF() * (1 - amountOfB) + b.blueF() * amountOfB));
}

QFont cardTitleFont()
{
    return PopupStyle::sizedFont(15, QFont::DemiBold);
}

QFont descriptionFont()
{
    return PopupStyle::sizedFont(11, QFont::Normal);
}

QFont bodyFont()
{
    return PopupStyle::sizedFont(13, QFont::Normal);
}

QFont editorFont()
{
    return PopupStyle::sizedFont(12, QFont::Normal);
}

QFont headingFont()
{
    return PopupStyle::sizedFont(17, QFont::DemiBold);
}

QFont captionFont()
{
    return PopupStyle::sizedFont(12, QFont::Normal);
}

QLabel *fieldCaption(const QString &text, QWidget *field, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setFont(captionFont());
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setBuddy(field);
    field->setAccessibleName(text);
    return label;
}

bool isDark(const QPalette &palette)
{
    return PopupStyle::isDark(palette);
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
    return isDark(palette) ? QColor(70, 200, 100) : QColor(26, 127, 55);
}

QColor errorColor(const QPalette &palette)
{
    return PopupStyle::errorColor(palette);
}

QString prominentButtonSheet(const QPalette &palette)
{
    const QColor accent = accentColor(palette);
    const QColor text = palette.color(QPalette::Active, QPalette::HighlightedText);
    const QColor button = palette.color(QPalette::Active, QPalette::Button);
    const QColor greyed = mixed(button, palette.color(QPalette::Active, QPalette::ButtonText), 0.4);
    return QStringLiteral("QPushButton { background: %1; color: %2; border: 1px solid %1;"
                          " border-radius: 6px; padding: 4px 14px; }"
                          "QPushButton:hover { background: %3; border-color: %3; }"
                          "QPushButton:pressed { background: %4; border-color: %4; }"
                          "QPushButton:focus { border-color: %5; }"
                          "QPushButton:disabled { background: %6; color: %7;"
                          " border-color: %8; }")
        .arg(accent.name(), text.name(), accent.lighter(110).name(), accent.darker(115).name(),
             mixed(accent, text, 0.6).name(), button.name(), greyed.name(),
             mixed(button, palette.color(QPalette::Active, QPalette::ButtonText), 0.2).name());
}

QColor cardColor(const QPalette &palette)
{
    const QColor window = palette.color(QPalette::Active, QPalette::Window);
    const QColor base = palette.color(QPalette::Active, QPalette::Base);
    // Lifted a little off the background: towards the text field colour in
    // a light theme, a touch lighter in a dark one.
    return isDark(palette) ? window.lighter(115) : mixed(window, base, 0.7);
}

QColor borderColor(const QPalette &palette)
{
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    return mixed(cardColor(palette), text, isDark(palette) ? 0.18 : 0.14);
}

QIcon icon(Icon icon, QPalette::ColorRole role)
{
    return themedOrBundled(icon, role, std::nullopt);
}

QIcon icon(Icon icon, const QColor &color)
{
    return themedOrBundled(icon, QPalette::ButtonText, color);
}

QPixmap tintedPixmap(Icon icon, const QColor &color, int size, qreal devicePixelRatio)
{
    return tintedPixmap(resource(icon), color, size, devicePixelRatio);
}

QPixmap tintedPixmap(const QString &svgPath, const QColor &color, int size, qreal devicePixelRatio)
{
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap pixmap = QPixmap::fromImage(renderTinted(svgPath, QSize(pixels, pixels), color));
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QString borderedButtonSheet(const QPalette &palette)
{
    const QColor face = palette.color(QPalette::Active, QPalette::Button);
    return QStringLiteral("QPushButton { background: %1; color: %2; border: 1px solid %3;"
                          " border-radius: 6px; padding: 5px 15px; }"
                          "QPushButton:hover { border-color: %4; }"
                          "QPushButton:focus { border: 2px solid %4; padding: 4px 14px; }"
                          "QPushButton:pressed { background: %5; }")
        .arg(face.name(), palette.color(QPalette::Active, QPalette::ButtonText).name(),
             borderColor(palette).name(), accentColor(palette).name(), face.darker(110).name());
}

QIcon spinnerFrame(int step, const QColor &color)
{
    constexpr int side = 32; // drawn large, scaled down crisply
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(color, 4.0, Qt::SolidLine, Qt::RoundCap);
    painter.setPen(pen);
    const QRectF circle(4, 4, side - 8, side - 8);
    // Qt counts sixteenths of a degree, counter-clockwise: the arc turns
    // clockwise as the step grows.
    painter.drawArc(circle, -step * 30 * 16, 270 * 16);
    painter.end();
    QIcon icon;
    icon.addPixmap(pixmap, QIcon::Normal);
    icon.addPixmap(pixmap, QIcon::Disabled);
    return icon;
}

} // namespace SettingsStyle
