#pragma once

#include "AccessibilityService.h"
#include "PopupPlacement.h"
#include "TextManipulationService.h"
#include "X11Windows.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>
#include <optional>

#include "CommandPopup.h"

// The shortcut-to-replacement loop: on the shortcut it reads the selected
// text of the active application, remembers that application's window,
// opens the command popup beside the selection, and when a command answers,
// gives the window its focus back and pastes the answer over the selection.
// One instance for the whole process, on the main thread.
class PopupManager : public QObject {
    Q_OBJECT

public:
    static PopupManager &shared();

    // Adds a key-down handler for the showPopup shortcut. Every call adds one
    // more handler.
    void setupGlobalShortcut();
    // Starts the shortcut flow and returns at once.
    void handleShortcut();
    void showPopup(const QString &text);
    void closePopup();
    // The popup's onTextReplace: back to the remembered window, then paste.
    void handleTextReplacement(const QString &answer);

    // What opens the settings from the popup's not-configured panel.
    void setOpenSettings(std::function<void()> openSettings);

    CommandPopup *popup() const { return m_popover; }
    std::optional<X11Windows::WindowInfo> originalApp() const { return m_originalApp; }

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

    explicit PopupManager(QObject *parent = nullptr);
    void place(CommandPopup *popup, const SelectionGeometry &geometry);
    void shortcutReleased();
    void prepareSpare();
    void captureSelection();

    QPointer<CommandPopup> m_popover;
    // Kept for the target application; only ever cleared.
    std::optional<X11Windows::WindowInfo> m_targetApp;
    TextManipulationService m_textService;
    std::optional<X11Windows::WindowInfo> m_originalApp;
    AccessibilityService m_accessibility;
    std::function<void()> m_openSettings;
    bool m_shortcutHeld = false;
    std::function<void()> m_pendingCapture;
    QTimer m_releaseTimer;
    QPointer<CommandPopup> m_spare;
    QTimer m_spareTimer;
};
