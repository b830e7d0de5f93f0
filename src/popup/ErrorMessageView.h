// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;
class SymbolView;

// The red banner under the search field that carries the sentence of a
// failed run.
class ErrorMessageView : public QWidget {
    Q_OBJECT

public:
    explicit ErrorMessageView(QWidget *parent = nullptr);

    void setMessage(const QString &message);
    QString message() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    SymbolView *m_triangle;
    QLabel *m_label;
};
