// SPDX-License-Identifier: GPL-3.0-or-later
#include "LoadingOverlay.h"

#include "PopupStyle.h"

#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QVariantAnimation>

namespace {

constexpr int spinnerSize = 29; // a 24-pixel indicator scaled by 1.2

// The card behind the spinner: a dark frosted sheet, so the white spinner and
// text read in a light theme as well as a dark one.
class Card : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), PopupStyle::panelRadius, PopupStyle::panelRadius);
        painter.fillPath(path, QColor(28, 28, 30, 215));
        painter.setPen(QPen(QColor(255, 255, 255, 40), 1));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5),
                                PopupStyle::panelRadius, PopupStyle::panelRadius);
    }
};

} // namespace

Spinner::Spinner(QWidget *parent) : QWidget(parent), m_rotation(new QVariantAnimation(this))
{
    setFixedSize(spinnerSize, spinnerSize);
    m_rotation->setStartValue(0.0);
    m_rotation->setEndValue(360.0);
    m_rotation->setDuration(900);
    m_rotation->setLoopCount(-1);
    connect(m_rotation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_angle = value.toReal();
        update();
    });
}

bool Spinner::isSpinning() const
{
    return m_rotation->state() == QAbstractAnimation::Running;
}

void Spinner::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    m_rotation->start();
}

void Spinner::hideEvent(QHideEvent *event)
{
    m_rotation->stop();
    QWidget::hideEvent(event);
}

void Spinner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal width = 3.0;
    const QRectF circle = QRectF(rect()).adjusted(width, width, -width, -width);
    painter.setPen(QPen(QColor(255, 255, 255, 60), width));
    painter.drawEllipse(circle);
    painter.setPen(QPen(Qt::white, width, Qt::SolidLine, Qt::RoundCap));
    // Qt measures arcs in sixteenths of a degree, counter-clockwise.
    painter.drawArc(circle, int(-m_angle * 16) + 90 * 16, -100 * 16);
}

LoadingOverlay::LoadingOverlay(QWidget *parent)
    : QWidget(parent), m_card(new Card(this)), m_spinner(new Spinner(m_card)),
      m_label(new QLabel(QStringLiteral("Processing..."), m_card))
{
    setObjectName(QStringLiteral("loadingOverlay"));
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_NoSystemBackground);

    m_label->setFont(PopupStyle::titleFont());
    QPalette labelPalette = m_label->palette();
    labelPalette.setColor(QPalette::WindowText, Qt::white);
    m_label->setPalette(labelPalette);

    auto *cardLayout = new QVBoxLayout(m_card);
    cardLayout->setContentsMargins(20, 20, 20, 20);
    cardLayout->setSpacing(12);
    cardLayout->addWidget(m_spinner, 0, Qt::AlignHCenter);
    cardLayout->addWidget(m_label, 0, Qt::AlignHCenter);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_card, 0, Qt::AlignCenter);
}

void LoadingOverlay::setCornerRadius(qreal radius)
{
    m_cornerRadius = radius;
    update();
}

QString LoadingOverlay::text() const
{
    return m_label->text();
}

bool LoadingOverlay::isSpinning() const
{
    return m_spinner->isSpinning();
}

void LoadingOverlay::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()), m_cornerRadius, m_cornerRadius);
    painter.fillPath(path, QColor(0, 0, 0, 77)); // black at 0.3
}

// The overlay takes every pointer event meant for what lies beneath.
void LoadingOverlay::mousePressEvent(QMouseEvent *event)
{
    event->accept();
}

void LoadingOverlay::mouseReleaseEvent(QMouseEvent *event)
{
    event->accept();
}

void LoadingOverlay::mouseDoubleClickEvent(QMouseEvent *event)
{
    event->accept();
}

void LoadingOverlay::wheelEvent(QWheelEvent *event)
{
    event->accept();
}
