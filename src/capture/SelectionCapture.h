#pragma once

#include "UIElement.h"

#include <QFuture>
#include <QString>
#include <functional>
#include <optional>

// What text has the user selected in the active application right now?
// Every entry point is asynchronous: the main thread never waits on another
// application. Continuations run on the main thread.
namespace SelectionCapture {

// The accessibility step: the text (possibly empty) or an AXError code.
struct TextReadResult {
    std::optional<QString> text;
    int error = 0;
    // Set when the active application did not answer within the time-out;
    // the chain then asks it nothing more.
    bool unresponsive = false;
    qint64 activeProcessId = 0;
};

// The whole chain: accessibility, then the PRIMARY selection when the active
// application owns it, then the application's Copy menu item. Never fails;
// no text (or only empty text) gives nothing.
QFuture<std::optional<QString>> getSelectedText();

// The steps, each usable on its own (main thread).
QFuture<TextReadResult> getSelectedTextByAXUI();
struct PrimaryReadResult {
    std::optional<QString> text;
    bool unresponsive = false;
};
QFuture<PrimaryReadResult> getSelectedTextByPrimary(qint64 activeProcessId);
QFuture<std::optional<QString>> getSelectedTextByMenuBarActionCopy();

// Runs trigger (which answers AXError::Success when it did its part), then
// polls the clipboard every 5 ms for at most 0.1 s for new plain text, with
// the user's clipboard contents snapshotted before and put back after.
QFuture<std::optional<QString>>
getNextPasteboardContent(const std::function<QFuture<AXError>()> &trigger);

// The trigger that presses a menu item through its Action.
std::function<QFuture<AXError>()> pressTrigger(const UIElement &item);

constexpr int pollIntervalMs = 5;
constexpr int pollTimeoutMs = 100;

} // namespace SelectionCapture
