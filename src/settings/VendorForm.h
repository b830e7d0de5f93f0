// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"

#include <QWidget>
#include <functional>

class ApiKeyField;
class KeychainService;
class NoticeLabel;
class QComboBox;
class QLineEdit;
class QPushButton;
class QTimer;
class QToolButton;
class ToggleSwitch;
class VendorManager;
struct VendorConfig;

// One provider's settings, bound live to the shared provider manager: host,
// sub-path and model edits go to its configuration in memory (a successful
// Save stores them), the API key to the key store as it is typed, and the
// "Default Vendor" switch to its default provider. The key store is never
// waited on: reads and writes run on its worker, and when it cannot answer,
// its sentence shows under the key field.
class VendorForm : public QWidget {
    Q_OBJECT

public:
    VendorForm(AIVendor vendor, VendorManager &vendors, KeychainService &keys,
               QWidget *parent = nullptr);

    AIVendor vendor() const { return m_vendor; }

    // Shows the manager's configuration and states, and reads the stored
    // key in the background (unless a typed one is still being stored).
    void reload();
    // Validates the current configuration with the stored key, as the Save
    // button does; does nothing while saving or without a key.
    void save();
    // Deletes the stored key and forgets the provider's validation outcome.
    void removeKey();
    bool isSaving() const { return m_saving; }

    QLineEdit *keyField() const;
    QToolButton *revealButton() const;
    QLineEdit *hostField() const { return m_host; }
    QLineEdit *subPathField() const { return m_subPath; }
    QComboBox *modelBox() const { return m_model; }
    ToggleSwitch *defaultSwitch() const { return m_default; }
    QPushButton *saveButton() const { return m_save; }
    NoticeLabel *keyProblem() const;
    NoticeLabel *outcome() const { return m_outcome; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void buildLayout();
    void styleFields();
    void connectFields();
    void showValidation();
    void showDefault();
    void showModels(const QString &current);
    void setSaving(bool saving);
    void fetchModels();
    void updateSaveButton();
    void editConfiguration(const std::function<void(VendorConfig &)> &change);

    AIVendor m_vendor;
    VendorManager &m_vendors;

    ApiKeyField *m_key;
    QLineEdit *m_host;
    QLineEdit *m_subPath;
    QComboBox *m_model;
    ToggleSwitch *m_default;
    QPushButton *m_save;
    NoticeLabel *m_outcome;
    QTimer *m_spinner;
    int m_spinnerStep = 0;

    bool m_saving = false;
    bool m_fetching = false;
    bool m_fetchAgain = false;
};
