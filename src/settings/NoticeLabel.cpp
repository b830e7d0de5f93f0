// SPDX-License-Identifier: GPL-3.0-or-later
#include "NoticeLabel.h"

#include "SettingsStyle.h"

#include <QEvent>
#include <QPainter>

NoticeLabel::NoticeLabel(QWidget *parent) : QLabel(parent)
{
    setWordWrap(true);
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    setContentsMargins(10, 7, 10, 7);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    hide();
}

void NoticeLabel::showNotice(Kind kind, const QString &text)
{
    m_kind = kind;
    setText(text);
    applyColour();
    show();
}

void NoticeLabel::setFramed(bool framed)
{
    m_framed = framed;
    setContentsMargins(framed ? QMargins(10, 7, 10, 7) : QMargins());
    update();
}

void NoticeLabel::applyColour()
{
    // The text colour is set on the label's own palette; guarded, as that
    // change comes back here as a palette change.
    m_applying = true;
    QPalette pal = palette();
    const QColor colour =
        m_kind == Kind::error ? SettingsStyle::errorColor(pal) : SettingsStyle::successColor(pal);
    pal.setColor(QPalette::WindowText, colour);
    setPalette(pal);
    m_applying = false;
    update();
}

void NoticeLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && !m_applying) {
        applyColour();
    }
}

void NoticeLabel::paintEvent(QPaintEvent *event)
{
    if (m_framed) {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor background = palette().color(QPalette::WindowText);
        background.setAlphaF(0.1f);
        painter.setPen(Qt::NoPen);
        painter.setBrush(background);
        painter.drawRoundedRect(QRectF(rect()), SettingsStyle::noticeRadius,
                                SettingsStyle::noticeRadius);
    }
    QLabel::paintEvent(event);
}
