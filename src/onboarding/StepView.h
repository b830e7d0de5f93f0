// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OnboardingStyle.h"

#include <QFrame>
#include <QWidget>

class QLabel;
class QVBoxLayout;

// The common frame of every step: a centred column that starts with the
// step's drawing, its title and (all steps but the first) its description;
// the step adds what follows. Steps are made afresh each time the guide
// shows one, so a step's own state starts anew.
class StepView : public QWidget {
    Q_OBJECT

public:
    StepView(OnboardingStyle::Symbol symbol, const QString &title, const QString &description,
             QWidget *parent = nullptr);

    QLabel *titleLabel() const { return m_title; }
    QLabel *descriptionLabel() const { return m_description; }
    // What takes the keyboard when the step shows; none leaves it with the
    // guide's buttons.
    virtual QWidget *initialFocus() const { return nullptr; }

protected:
    // Adds a row or a card below what is there, stretched to the column's
    // width unless an alignment is given.
    void addContent(QWidget *widget, Qt::Alignment alignment = {});
    void changeEvent(QEvent *event) override;
    // Called on a change of palette, for the step's own colours.
    virtual void applyColors() {}

private:
    void applyOwnColors();

    OnboardingStyle::Symbol m_symbol;
    QLabel *m_icon;
    QLabel *m_title;
    QLabel *m_description = nullptr;
    QVBoxLayout *m_column;
};

// Content padded 16 on a rounded panel in the field colour with a faint
// border.
class OnboardingCard : public QFrame {
    Q_OBJECT

public:
    explicit OnboardingCard(QWidget *parent = nullptr);
    QVBoxLayout *contentLayout() const { return m_layout; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QVBoxLayout *m_layout;
};

// A label in the secondary colour, kept so when the palette changes.
void makeSecondary(QLabel *label);
// A label in a colour of its own (green, red, the accent).
void setTextColor(QLabel *label, const QColor &color);
