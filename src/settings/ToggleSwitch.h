// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QAbstractButton>

// An on/off switch with its label to the right: a checkable button drawn as a
// sliding knob in a track, the track in the palette's highlight when on.
// Space toggles it, as any button; clicking the label does too.
class ToggleSwitch : public QAbstractButton {
    Q_OBJECT

public:
    explicit ToggleSwitch(const QString &text, QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    bool hitButton(const QPoint &pos) const override;

private:
    QRectF trackRect() const;
};
