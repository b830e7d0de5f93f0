#include "CommandPopup.h"

#include "Compositor.h"
#include "ContentView.h"
#include "KeyboardGrab.h"

#include <QTimer>

#include <QVBoxLayout>

CommandPopup::CommandPopup(const QString &text, VendorManager &vendorManager)
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint)
{
    setObjectName(QStringLiteral("VellumoCommandPopup"));
    setWindowTitle(QStringLiteral("Vellumo"));
    m_contentView = new ContentView(text, vendorManager, this);
    const bool translucent = Compositor::isRunning();
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
    const KeyboardGrab::Outcome outcome = KeyboardGrab::take(windowHandle());
    // Another client's grab (an application's open menu) ends soon: try
    // again shortly, for a little while.
    if (outcome == KeyboardGrab::Outcome::HeldByAnother && ++m_grabAttempts < 50) {
        QTimer::singleShot(10, this, &CommandPopup::takeKeyboard);
    }
}
