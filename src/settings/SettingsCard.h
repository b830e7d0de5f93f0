// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SettingsStyle.h"

#include <QWidget>

class QLabel;
class QVBoxLayout;

// A rounded card with a thin border and a faint shadow: an icon in the
// accent colour and a title on top, a small description under it, then
// whatever the card holds (contentLayout()).
class SettingsCard : public QWidget {
    Q_OBJECT

public:
    SettingsCard(SettingsStyle::Icon icon, const QString &title, const QString &description,
                 QWidget *parent = nullptr);

    QVBoxLayout *contentLayout() const { return m_content; }
    QLabel *titleLabel() const { return m_title; }
    QLabel *descriptionLabel() const { return m_description; }

    // The room the shadow takes around the card's face.
    static constexpr int shadowMargin = 3;

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    SettingsStyle::Icon m_iconKind;
    QLabel *m_icon;
    QLabel *m_title;
    QLabel *m_description;
    QVBoxLayout *m_content;
};

// A page background: the window colour, a shade darker (lighter in a dark
// theme) towards the bottom.
class GradientBackground : public QWidget {
    Q_OBJECT

public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *event) override;
};

// A small line in the secondary colour, wrapping.
QLabel *makeDescription(const QString &text, QWidget *parent);
void applyDescriptionColor(QLabel *label);
