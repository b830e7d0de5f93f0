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
    switch (icon) {
    case Icon::trash:
        return QStringLiteral(":/settings/icons/trash.svg");
    case Icon::pencil:
        return QStringLiteral(":/settings/icons/pencil.svg");
    case Icon::check:
        return QStringLiteral(":/settings/icons/check.svg");
    case Icon::eye:
        return QStringLiteral(":/settings/icons/eye.svg");
    case Icon::eyeOff:
        return QStringLiteral(":/settings/icons/eye-off.svg");
    case Icon::plus:
        return QStringLiteral(":/settings/icons/plus.svg");
    }
    Q_UNREACHABLE();
    return QString();
}

QString themeName(Icon icon)
{
    switch (icon) {
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
    }
    Q_UNREACHABLE();
    return QString();
}

// Draws a one-colour SVG in the colour asked for: a fixed one, or the
// application palette's at the time of painting.
class TintedSvgEngine : public QIconEngine {
public:
    TintedSvgEngine(QString path, QPalette::ColorRole role, std::optional<QColor> fixed)
        : m_path(std::move(path)), m_role(role), m_fixed(fixed)
    {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        painter->drawImage(rect, render(rect.size() * ratio, mode));
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return QPixmap::fromImage(render(size, mode));
    }

    QIconEngine *clone() const override { return new TintedSvgEngine(m_path, m_role, m_fixed); }
    QString key() const override { return QStringLiteral("vellumo-tinted-svg"); }

private:
    QImage render(const QSize &size, QIcon::Mode mode) const
    {
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QSvgRenderer renderer(m_path);
        QPainter painter(&image);
        renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(size)));
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), colour(mode));
        return image;
    }

    QColor colour(QIcon::Mode mode) const
    {
        const QPalette palette = QGuiApplication::palette();
        QColor colour = m_fixed.value_or(palette.color(QPalette::Active, m_role));
        if (mode == QIcon::Disabled) {
            colour = m_fixed ? QColor(m_fixed->red(), m_fixed->green(), m_fixed->blue(), 110)
                             : palette.color(QPalette::Disabled, m_role);
        }
        return colour;
    }

    QString m_path;
    QPalette::ColorRole m_role;
    std::optional<QColor> m_fixed;
};

QIcon themedOrBundled(Icon icon, QPalette::ColorRole role, std::optional<QColor> fixed)
{
    const QString name = themeName(icon);
    if (QIcon::hasThemeIcon(name)) {
        return QIcon::fromTheme(name);
    }
    return QIcon(new TintedSvgEngine(resource(icon), role, fixed));
}

} // namespace

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

QColor errorColor(const QPalette &palette)
{
    return PopupStyle::errorColor(palette);
}

QColor successColor(const QPalette &palette)
{
    return isDark(palette) ? QColor(70, 200, 100) : QColor(26, 127, 55);
}

QIcon icon(Icon icon, QPalette::ColorRole role)
{
    return themedOrBundled(icon, role, std::nullopt);
}

QIcon icon(Icon icon, const QColor &color)
{
    return themedOrBundled(icon, QPalette::ButtonText, color);
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
