// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class SymbolView;

// Shown instead of the search and list while no provider has an API key: a
// key symbol, a heading, one sentence and the "Open Settings" button.
class NotConfiguredView : public QWidget {
    Q_OBJECT

public:
    explicit NotConfiguredView(QWidget *parent = nullptr);

    QPushButton *openSettingsButton() const { return m_button; }

Q_SIGNALS:
    void openSettingsRequested();

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    SymbolView *m_key;
    QLabel *m_heading;
    QLabel *m_message;
    QPushButton *m_button;
};
