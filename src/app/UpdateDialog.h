// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Updater.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QTextBrowser;

// The answer to a user-initiated update check, in a small window: a newer
// version with its release notes and a button that opens the release page
// in the browser, "Vellumo X is up to date.", or one sentence saying why
// there is no answer. One window, reused by the next check.
class UpdateDialog : public QDialog {
    Q_OBJECT

public:
    explicit UpdateDialog(QString currentVersion, QWidget *parent = nullptr);

    void showOutcome(const UpdateOutcome &outcome);

    // The texts shown, for the tests.
    QString heading() const;
    QString message() const;
    QString notes() const;
    bool offersReleasePage() const;

Q_SIGNALS:
    void releasePageRequested(const QUrl &page);

private:
    const QString m_currentVersion;
    QLabel *m_heading = nullptr;
    QLabel *m_message = nullptr;
    QTextBrowser *m_notes = nullptr;
    QPushButton *m_openPage = nullptr;
    QPushButton *m_close = nullptr;
    QUrl m_page;
};
