// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AccessibilityPermission.h"

#include <QWidget>

class BaseInstructionsService;
class QAbstractButton;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class ShortcutRecorder;
class ToggleSwitch;

namespace platform {
class LoginItem;
}

// The settings' first page: the popup's shortcut, launch at login, the
// accessibility status, the base instructions and the default prompts, one
// card each in a scrolling column.
class GeneralTab : public QWidget {
    Q_OBJECT

public:
    // Whether the desktop lets Vellumo read other applications' text; with
    // prompt, it first turns the session's accessibility on.
    using TrustTest = AccessibilityPermission::TrustTest;

    GeneralTab(const platform::LoginItem &loginItem, BaseInstructionsService &instructions,
               TrustTest trustTest, QWidget *parent = nullptr);

    ShortcutRecorder *shortcutRecorder() const { return m_recorder; }
    ToggleSwitch *launchAtLoginSwitch() const { return m_launchAtLogin; }
    QLabel *accessibilityStatus() const { return m_accessStatus; }
    QPushButton *grantButton() const { return m_grant; }
    QPlainTextEdit *instructionsEditor() const { return m_instructions; }
    QPushButton *addDefaultPromptsButton() const { return m_addDefaults; }
    // The page showing the button, or the "Added" mark after it was used.
    QStackedWidget *defaultPromptsState() const { return m_defaultsState; }

protected:
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QWidget *shortcutCard();
    QWidget *launchCard();
    QWidget *accessibilityCard();
    QWidget *instructionsCard();
    QWidget *defaultPromptsCard();

    void setLaunchAtLogin(bool enabled);
    void showAccessibility(bool granted);
    void grantPermission();
    void applyColors();

    const platform::LoginItem &m_loginItem;
    BaseInstructionsService &m_instructionsService;
    // Checked every second after Grant Permission until it passes.
    AccessibilityPermission *m_accessibility;

    ShortcutRecorder *m_recorder = nullptr;
    ToggleSwitch *m_launchAtLogin = nullptr;
    QLabel *m_accessIcon = nullptr;
    QLabel *m_accessStatus = nullptr;
    QPushButton *m_grant = nullptr;
    QLabel *m_restartNote = nullptr;
    QPlainTextEdit *m_instructions = nullptr;
    QPushButton *m_addDefaults = nullptr;
    QLabel *m_addedIcon = nullptr;
    QStackedWidget *m_defaultsState = nullptr;
};
