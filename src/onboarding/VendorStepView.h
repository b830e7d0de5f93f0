// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"
#include "StepView.h"
#include "ValidationState.h"

class ApiKeyField;
class KeychainService;
class NoticeLabel;
class QButtonGroup;
class QLabel;
class QPushButton;
class QTimer;
class VendorManager;

// One provider's key in the guide: the key field, stored as typed, "Save &
// Validate" (which asks the provider with the stored key), the outcome as a
// badge and, for a failure, its sentence, and where to get a key. A
// provider that validates becomes the default provider.
class OnboardingVendorFormView : public OnboardingCard {
    Q_OBJECT

public:
    OnboardingVendorFormView(AIVendor vendor, VendorManager &vendors, KeychainService &keys,
                             QWidget *parent = nullptr);

    AIVendor vendor() const { return m_vendor; }
    ApiKeyField *keyField() const { return m_key; }
    QPushButton *saveButton() const { return m_save; }
    QLabel *badge() const { return m_badge; }
    NoticeLabel *errorLine() const { return m_error; }
    QLabel *keyPageLink() const { return m_link; }
    bool isSaving() const { return m_saving; }

    // What "Save & Validate" does: nothing while saving or without a key.
    void save();

Q_SIGNALS:
    // The provider's validation succeeded (it is the default provider now).
    void validated();

protected:
    void changeEvent(QEvent *event) override;

private:
    void showState();
    void setSaving(bool saving);
    QIcon idleIcon() const;
    void updateSaveButton();
    void applyColors();

    AIVendor m_vendor;
    VendorManager &m_vendors;
    ValidationState::Kind m_shownKind;
    ApiKeyField *m_key;
    QPushButton *m_save;
    QLabel *m_badgeMark;
    QLabel *m_badge;
    NoticeLabel *m_error;
    QLabel *m_linkCaption;
    QLabel *m_link;
    QTimer *m_spinner;
    int m_spinnerStep = 0;
    bool m_saving = false;
};

// The fourth step: a picker of the three providers and the form of the one
// picked. Next goes on once the default provider has a key, which a
// successful validation here makes so.
class VendorStepView : public StepView {
    Q_OBJECT

public:
    VendorStepView(VendorManager &vendors, KeychainService &keys, QWidget *parent = nullptr);

    bool hasValidVendor() const { return m_hasValidVendor; }
    AIVendor selectedVendor() const { return m_selected; }
    void selectVendor(AIVendor vendor);
    OnboardingVendorFormView *form() const { return m_form; }
    QButtonGroup *picker() const { return m_picker; }
    QWidget *initialFocus() const override;

Q_SIGNALS:
    void hasValidVendorChanged(bool valid);

protected:
    void applyColors() override;

private:
    VendorManager &m_vendors;
    KeychainService &m_keys;
    AIVendor m_selected = AIVendor::openai;
    bool m_hasValidVendor = false;
    QButtonGroup *m_picker;
    QWidget *m_segments;
    OnboardingVendorFormView *m_form = nullptr;
};
