// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

// One line of outcome under a form: red on a faint red for a failure, green
// on a faint green for a success, on a rounded background; or, unframed,
// just the coloured text (a remark under a field).
class NoticeLabel : public QLabel {
    Q_OBJECT

public:
    enum class Kind { error, success };

    explicit NoticeLabel(QWidget *parent = nullptr);

    // Shows the text in the kind's colours.
    void showNotice(Kind kind, const QString &text);
    Kind kind() const { return m_kind; }
    void setFramed(bool framed);

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void applyColour();

    Kind m_kind = Kind::error;
    bool m_applying = false;
    bool m_framed = true;
};
