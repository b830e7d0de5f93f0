// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLineEdit;
class SymbolView;

// The search line at the top of the popup: a magnifier and a borderless text
// field on a rounded text background. It has no actions of its own: Return,
// Up and Down belong to the popup's root.
class SearchField : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)

public:
    explicit SearchField(QWidget *parent = nullptr);

    QString searchText() const;
    void setSearchText(const QString &text);
    QLineEdit *lineEdit() const { return m_lineEdit; }

Q_SIGNALS:
    void searchTextChanged(const QString &text);

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    SymbolView *m_magnifier;
    QLineEdit *m_lineEdit;
};
