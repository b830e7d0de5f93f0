// SPDX-License-Identifier: GPL-3.0-or-later
#include "PopupStyle.h"

#include <QFontDatabase>
#include <QPalette>
#include <QTextBoundaryFinder>

namespace PopupStyle {

QFont sizedFont(int pixelSize, QFont::Weight weight)
{
    QFont font;
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

QFont titleFont()
{
    return sizedFont(14, QFont::Medium);
}

QFont captionFont()
{
    return sizedFont(11, QFont::Normal);
}

QFont headlineFont()
{
    return sizedFont(15, QFont::DemiBold);
}

QFont bodyFont()
{
    return sizedFont(13, QFont::Normal);
}

bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}

QColor selectionColor(const QPalette &palette)
{
    return palette.color(QPalette::Active, QPalette::Highlight);
}

QColor selectedTextColor(const QPalette &palette)
{
    return palette.color(QPalette::Active, QPalette::HighlightedText);
}

QColor primaryTextColor(const QPalette &palette)
{
    return palette.color(QPalette::Active, QPalette::WindowText);
}

QColor secondaryTextColor(const QPalette &palette)
{
    QColor color = primaryTextColor(palette);
    color.setAlphaF(0.6f);
    return color;
}

QColor textBackgroundColor(const QPalette &palette)
{
    return palette.color(QPalette::Active, QPalette::Base);
}

QColor panelColor(const QPalette &palette, bool translucent)
{
    QColor color = palette.color(QPalette::Active, QPalette::Window);
    if (translucent) {
        // A thin veil: what lies behind shows through a little, as on a
        // frosted sheet, while text stays readable.
        color.setAlphaF(0.92f);
    }
    return color;
}

QColor errorColor(const QPalette &palette)
{
    return isDark(palette) ? QColor(255, 105, 97) : QColor(215, 38, 30);
}

QList<QTextLayout::FormatRange> emojiFormats(const QString &text)
{
    static const QString emojiFamily = [] {
        const QStringList installed = QFontDatabase::families();
        for (const char *family :
             {"Noto Color Emoji", "Apple Color Emoji", "Segoe UI Emoji", "Twemoji", "JoyPixels"}) {
            if (installed.contains(QLatin1String(family))) {
                return QString::fromLatin1(family);
            }
        }
        return QString();
    }();
    QList<QTextLayout::FormatRange> ranges;
    if (emojiFamily.isEmpty() || !text.contains(QChar(0xFE0F))) {
        return ranges;
    }
    QTextCharFormat emoji;
    emoji.setFontFamilies(QStringList{emojiFamily});
    QTextBoundaryFinder clusters(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    while (clusters.toNextBoundary() != -1) {
        const qsizetype end = clusters.position();
        if (QStringView(text).mid(start, end - start).contains(QChar(0xFE0F))) {
            ranges.append({int(start), int(end - start), emoji});
        }
        start = end;
    }
    return ranges;
}

} // namespace PopupStyle
