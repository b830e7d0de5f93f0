// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsPages.h"

#include "BaseInstructionsService.h"
#include "PromptsTab.h"
#include "SettingsWindow.h"
#include "VendorsTab.h"

std::unique_ptr<SettingsWindow> makeSettingsWindow(const SettingsServices &services)
{
    auto *general =
        new GeneralTab(services.loginItem, BaseInstructionsService::shared(), services.trustTest);
    auto *vendors = new VendorsTab(services.vendors, services.keys);
    auto *prompts = new PromptsTab;
    return std::make_unique<SettingsWindow>(QList<SettingsWindow::Page>{
        {general, QStringLiteral("General"), SettingsStyle::Icon::general},
        {vendors, QStringLiteral("Vendors"), SettingsStyle::Icon::vendors},
        {prompts, QStringLiteral("Prompts"), SettingsStyle::Icon::prompts},
    });
}
