#include "CommandPopup.h"

#include "Compositor.h"
#include "ContentView.h"

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

void CommandPopup::showAt(const QRect &panelFrame)
{
    const QRect frame = panelFrame.marginsAdded(m_contentView->shadowMargins());
    setGeometry(frame);
    show();
    raise();
    activateWindow();
}
