// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;
class QVariantAnimation;

// A white spinning arc, the run's progress indicator.
class Spinner : public QWidget {
    Q_OBJECT

public:
    explicit Spinner(QWidget *parent = nullptr);
    bool isSpinning() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QVariantAnimation *m_rotation;
    qreal m_angle = 0;
};

// Dims the whole popup while a command runs, with a card saying
// "Processing...". It swallows the pointer so the list cannot be clicked, but
// never takes the keyboard focus: keys still reach the popup.
class LoadingOverlay : public QWidget {
    Q_OBJECT

public:
    explicit LoadingOverlay(QWidget *parent = nullptr);

    // The dimmed area follows the panel's rounded corners.
    void setCornerRadius(qreal radius);
    QString text() const;
    bool isSpinning() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    QWidget *m_card;
    Spinner *m_spinner;
    QLabel *m_label;
    qreal m_cornerRadius = 0;
};
