#pragma once

#include <QAbstractButton>

// An on/off switch with its label beside it: a rounded track, filled with
// the accent colour when on, and a round knob.
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
    static constexpr int trackWidth = 36;
    static constexpr int trackHeight = 20;
    static constexpr int gap = 10;
};
