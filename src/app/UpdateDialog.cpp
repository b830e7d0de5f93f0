// SPDX-License-Identifier: GPL-3.0-or-later
#include "UpdateDialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QTextBrowser>
#include <QVBoxLayout>

UpdateDialog::UpdateDialog(QString currentVersion, QWidget *parent)
    : QDialog(parent), m_currentVersion(std::move(currentVersion)), m_heading(new QLabel(this)),
      m_message(new QLabel(this)), m_notes(new QTextBrowser(this))
{
    setWindowTitle(QStringLiteral("Software Update"));
    QFont bold = m_heading->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    m_heading->setFont(bold);
    m_message->setWordWrap(true);
    m_notes->setOpenExternalLinks(true);
    m_notes->setMinimumSize(420, 180);

    auto *buttons = new QDialogButtonBox(this);
    m_openPage =
        buttons->addButton(QStringLiteral("Open Release Page"), QDialogButtonBox::AcceptRole);
    m_close = buttons->addButton(QDialogButtonBox::Close);
    connect(m_openPage, &QPushButton::clicked, this, [this] {
        Q_EMIT releasePageRequested(m_page);
        accept();
    });
    connect(m_close, &QPushButton::clicked, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_heading);
    layout->addWidget(m_message);
    layout->addWidget(m_notes, 1);
    layout->addWidget(buttons);
}

void UpdateDialog::showOutcome(const UpdateOutcome &outcome)
{
    m_page = outcome.release.page;
    const bool newer = outcome.kind == UpdateOutcome::Kind::newer;
    switch (outcome.kind) {
    case UpdateOutcome::Kind::newer:
        m_heading->setText(QStringLiteral("A new version of Vellumo is available!"));
        m_message->setText(QStringLiteral("Vellumo %1 is now available; you have %2.")
                               .arg(outcome.release.version, m_currentVersion));
        m_notes->setMarkdown(outcome.release.notes);
        break;
    case UpdateOutcome::Kind::upToDate:
        m_heading->setText(QStringLiteral("You're up to date!"));
        m_message->setText(QStringLiteral("Vellumo %1 is up to date.").arg(m_currentVersion));
        break;
    case UpdateOutcome::Kind::failed:
        m_heading->setText(QStringLiteral("Update check failed"));
        m_message->setText(
            outcome.unreachable
                ? QStringLiteral("Vellumo could not reach the update server; check the network "
                                 "connection and try again.")
                : QStringLiteral("The update server's answer could not be read; try again later."));
        break;
    }
    m_notes->setVisible(newer && !outcome.release.notes.isEmpty());
    m_openPage->setVisible(newer && !m_page.isEmpty());
    (newer && !m_page.isEmpty() ? m_openPage : m_close)->setDefault(true);
    adjustSize();
    show();
    raise();
    activateWindow();
}

QString UpdateDialog::heading() const
{
    return m_heading->text();
}

QString UpdateDialog::message() const
{
    return m_message->text();
}

QString UpdateDialog::notes() const
{
    return m_notes->isVisibleTo(this) ? m_notes->toPlainText() : QString();
}

bool UpdateDialog::offersReleasePage() const
{
    return m_openPage->isVisibleTo(this);
}
