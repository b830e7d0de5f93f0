// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AccessibilityService.h"
#include "Pasteboard.h"
#include "PopupPlacement.h"
#include "SelectionCapture.h"
#include "TextManipulationService.h"
#include "Windows.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <optional>

#include "CommandPopup.h"

class KeychainService;
class VendorManager;

namespace platform {
class KeyInput;
class OwnText;
class PopupSupport;
class Selections;
} // namespace platform

// The shortcut-to-replacement loop: on the shortcut it reads the selected
// text of the active application, remembers that application's window,
// opens the command popup beside the selection, and when a command answers,
// gives the window its focus back and pastes the answer over the selection.
// In Vellumo's own windows (ownText) the selection is read and replaced
// inside the process.
// One instance for the whole process, on the main thread; what it is given
// must outlive it.
class PopupManager : public QObject {
    Q_OBJECT

public:
    PopupManager(const platform::Windows &windows, const platform::Selections &selections,
                 const platform::KeyInput &keys, const platform::PopupSupport &popups,
                 const platform::OwnText &ownText, VendorManager &vendors,
                 KeychainService &keychain, QObject *parent = nullptr);
    ~PopupManager() override;

    // Hooks the popup to the showPopup shortcut; later calls change nothing.
    void setupGlobalShortcut();
    bool isShortcutHooked() const { return m_hooked; }
    // Starts the shortcut flow and returns at once.
    void handleShortcut();
    void showPopup(const QString &text);
    void closePopup();
    // The popup's onTextReplace: back to the remembered window, then paste.
    void handleTextReplacement(const QString &answer);

    // What opens the settings from the popup's not-configured panel.
    void setOpenSettings(std::function<void()> openSettings);

    CommandPopup *popup() const { return m_popover; }
    std::optional<platform::Window> originalApp() const { return m_originalApp; }

    // When the popup closes, its keyboard grab ends and the window manager
    // gives the remembered window the focus back; the window's toolkit then
    // puts the focus back into its text. The paste waits for the window to
    // be the active one, which the window manager says before the toolkit
    // has done its part: this pause is for the toolkit.
    static constexpr int focusHandOffMs = 100;

Q_SIGNALS:
    // The popup is on screen at its final place.
    void popupShown();
    // A replacement's paste has been posted and the clipboard cleared again.
    void textReplaced();

private:
    // How long a held shortcut key delays the reading of the selection.
    static constexpr int releaseWaitMs = 400;
    // How long after a popup shows (or the shortcut is hooked) the next
    // popup is built.
    static constexpr int spareDelayMs = 50;

    CommandPopup *makePopup(const QString &text) const;
    SelectionCapture::Context captureContext();
    void place(CommandPopup *popup, const SelectionGeometry &geometry);
    void shortcutReleased();
    void prepareSpare();
    void captureSelection();

    const platform::Windows &m_windows;
    const platform::Selections &m_selections;
    const platform::KeyInput &m_keys;
    const platform::PopupSupport &m_popups;
    const platform::OwnText &m_ownText;
    VendorManager &m_vendors;
    KeychainService &m_keychain;
    Pasteboard m_pasteboard;
    QPointer<CommandPopup> m_popover;
    TextManipulationService m_textService;
    std::optional<platform::Window> m_originalApp;
    AccessibilityService m_accessibility;
    std::function<void()> m_openSettings;
    bool m_hooked = false;
    bool m_shortcutHeld = false;
    std::function<void()> m_pendingCapture;
    QTimer m_releaseTimer;
    QPointer<CommandPopup> m_spare;
    QTimer m_spareTimer;
};
