// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AccessibilityPermission.h"
#include "OnboardingStep.h"

#include <QWidget>
#include <functional>

class KeychainService;
class OnboardingProgressView;
class QLabel;
class QPushButton;
class QScrollArea;
class StepView;
class VendorManager;

// The guide's content: a heading, the progress view, the current step in a
// scrolling area, and Previous and Next below it. Next (Ctrl+Return) goes
// on only when the step allows it: on the accessibility step once the
// permission is there, on the provider step once a provider was validated.
// On the last step it finishes: the guide is marked completed, the shortcut
// is hooked when accessibility is on, and finished() tells the window.
// Previous (Ctrl+[) goes back; there is none on the first step.
class OnboardingView : public QWidget {
    Q_OBJECT

public:
    // What the guide works with, from the application.
    struct Services {
        AccessibilityPermission::TrustTest trustTest;
        VendorManager &vendors;
        KeychainService &keys;
        // Hooks the popup to its shortcut; calling it again changes nothing.
        std::function<void()> setupGlobalShortcut;
    };

    explicit OnboardingView(const Services &services, QWidget *parent = nullptr);

    OnboardingStep currentStep() const { return m_step; }
    bool isAccessibilityEnabled() const { return m_accessibilityEnabled; }
    bool hasValidVendor() const { return m_hasValidVendor; }
    bool hasSeededPrompts() const { return m_hasSeededPrompts; }
    // Whether Next may go on from the current step.
    bool canGoNext() const;

    // Next and Previous, as their buttons and keys do.
    void goNext();
    void goPrevious();

    OnboardingProgressView *progressView() const { return m_progress; }
    StepView *stepView() const { return m_stepView; }
    QPushButton *nextButton() const { return m_next; }
    QPushButton *previousButton() const { return m_previous; }
    QScrollArea *scrollArea() const { return m_scroll; }
    AccessibilityPermission &accessibility() { return m_accessibility; }

Q_SIGNALS:
    void stepChanged(OnboardingStep step);
    // The guide was finished (not closed).
    void finished();

protected:
    void changeEvent(QEvent *event) override;

private:
    void showStep(OnboardingStep step);
    StepView *makeStep(OnboardingStep step);
    void finish();
    void updateButtons();
    void applyColors();
    void refreshValidVendor();

    Services m_services;
    AccessibilityPermission m_accessibility;
    OnboardingStep m_step = OnboardingStep::welcome;
    bool m_accessibilityEnabled = false;
    bool m_hasValidVendor = false;
    bool m_hasSeededPrompts = false;

    QLabel *m_subtitle;
    OnboardingProgressView *m_progress;
    QScrollArea *m_scroll;
    StepView *m_stepView = nullptr;
    QPushButton *m_previous;
    QPushButton *m_next;
};
