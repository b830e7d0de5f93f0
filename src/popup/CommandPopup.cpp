// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandPopup.h"

#include "ContentView.h"
#include "PopupSupport.h"

#include <QTimer>

#include <QVBoxLayout>

CommandPopup::CommandPopup(const QString &text, VendorManager &vendorManager,
                           KeychainService &keychain, const platform::PopupSupport &popups)
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint),
      m_popups(popups)
{
    setObjectName(QStringLiteral("VellumoCommandPopup"));
    setWindowTitle(QStringLiteral("Vellumo"));
    m_contentView = new ContentView(text, vendorManager, keychain, popups, this);
    const bool translucent = popups.isCompositing();
    m_contentView->setTranslucent(translucent);
    setAttribute(Qt::WA_TranslucentBackground, translucent);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_contentView);
    resize(m_contentView->sizeHint());
}

void CommandPopup::prepare()
{
    ensurePolished();
    if (layout()) {
        layout()->activate();
    }
    create();
}

void CommandPopup::showAt(const QRect &panelFrame)
{
    const QRect frame = panelFrame.marginsAdded(m_contentView->shadowMargins());
    setGeometry(frame);
    show();
    raise();
    activateWindow();
    takeKeyboard();
}

void CommandPopup::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    // A popup that closed itself (Escape, a click outside) stays until the
    // next press; its search field must not keep blinking a cursor nobody
    // sees, waking the process twice a second.
    if (QWidget *focus = focusWidget()) {
        focus->clearFocus();
    }
}

void CommandPopup::takeKeyboard()
{
    if (!isVisible() || !windowHandle()) {
        return;
    }
    const auto outcome = m_popups.grabKeyboard(windowHandle());
    // Another client's grab (an application's open menu) ends soon: try
    // again shortly, for a little while.
    if (outcome == platform::PopupSupport::GrabOutcome::HeldByAnother && ++m_grabAttempts < 50) {
        QTimer::singleShot(10, this, &CommandPopup::takeKeyboard);
    }
}
