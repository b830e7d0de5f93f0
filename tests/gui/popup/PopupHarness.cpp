// SPDX-License-Identifier: GPL-3.0-or-later
#include "PopupHarness.h"

#include "BaseInstructionsService.h"
#include "ContentView.h"
#include "DefaultsStore.h"
#include "KeychainService.h"
#include "Settings.h"
#include "VendorConfig.h"
#include "VendorManager.h"

#include <QKeyEvent>
#include <QTest>
#include <QVBoxLayout>

PopupWindow::PopupWindow(const QString &text, VendorManager &vendors)
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint)
{
    view = new ContentView(text, vendors, KeychainService::shared(), popups, this);
    view->setOnTextReplace([this](const QString &answer) { answers.append(answer); });
    view->setOnClose([this] { calls.append(QStringLiteral("close")); });
    view->setOpenSettings([this] { calls.append(QStringLiteral("openSettings")); });
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    resize(view->sizeHint());
}

void PopupWindow::keyPressEvent(QKeyEvent *event)
{
    keysPassedOn.append(event->key());
    event->accept(); // the test decides when the popup goes
}

void ProviderSetup::removeAllKeys()
{
    for (AIVendor vendor : AIVendors::allCases()) {
        KeychainService::shared().deleteAPIKey(vendor);
    }
}

VendorManager &ProviderSetup::configure(AIVendor vendor, const QString &key)
{
    removeAllKeys();
    KeychainService::shared().storeAPIKey(key, vendor);
    m_vendors = std::make_unique<VendorManager>();
    const VendorConfig standard = AIVendors::defaultConfig(vendor);
    m_vendors->updateConfiguration(
        vendor, VendorConfig(vendor, standard.selectedModel, m_standIn.host(), standard.subPath));
    m_vendors->setDefaultVendor(vendor);
    return *m_vendors;
}

VendorManager &ProviderSetup::configureNone()
{
    removeAllKeys();
    DefaultsStore::standard().remove(Settings::defaultVendorKey);
    m_vendors = std::make_unique<VendorManager>();
    return *m_vendors;
}

bool showPopup(PopupWindow &window)
{
    window.show();
    return QTest::qWaitForWindowExposed(&window);
}
