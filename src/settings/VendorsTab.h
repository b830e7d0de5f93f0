// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"

#include <QWidget>

class KeychainService;
class QListWidget;
class QPushButton;
class QStackedWidget;
class VendorForm;
class VendorManager;

// The settings window's "Vendors" tab: the providers in a sidebar and the
// selected one's form beside it, with "Remove Key" under the form. OpenAI is
// selected when the tab is built; what the form shows is read again each
// time the tab is shown.
class VendorsTab : public QWidget {
    Q_OBJECT

public:
    VendorsTab(VendorManager &vendors, KeychainService &keys, QWidget *parent = nullptr);

    AIVendor selectedVendor() const;
    void selectVendor(AIVendor vendor);
    VendorForm *form(AIVendor vendor) const;
    VendorForm *currentForm() const;

    QListWidget *providerList() const { return m_list; }
    QPushButton *removeKeyButton() const { return m_removeKey; }

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void styleRemoveKey();

    QListWidget *m_list;
    QStackedWidget *m_forms;
    QPushButton *m_removeKey;
};
