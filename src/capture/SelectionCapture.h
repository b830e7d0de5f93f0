// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "UIElement.h"

#include <QFuture>
#include <QString>
#include <functional>
#include <optional>

class Pasteboard;

namespace platform {
class KeyInput;
class OwnText;
class Selections;
class Windows;
} // namespace platform

// What text has the user selected in the active application right now?
// Every entry point is asynchronous: the main thread never waits on another
// application. Continuations run on the main thread.
//
// The text answered is exactly the text a paste over the selection replaces:
// the accessibility read decides when the focused element answers for its
// text (an empty selection there is no text); a selection that goes on beyond
// the focused element is taken whole from a source that holds all of it, or
// not at all.
namespace SelectionCapture {

enum class Source { OwnWindow, Accessibility, Primary, CopyMenuItem };

// The accessibility step.
struct TextReadResult {
    // The selected text; when partial, only the focused element's part.
    std::optional<QString> text;
    int error = 0; // an AXError code, 0 when the read answered
    bool unresponsive = false;
    // The focused element answered for its text: its answer decides.
    bool answeredForText = false;
    // The selection goes on beyond the focused element (other paragraphs,
    // embedded objects): the text above is not all of it.
    bool partial = false;
    // The element's offsets disagree with its text cursor: its text is not
    // what is selected, only the selection's length (in characters, or in
    // UTF-16 units where astral characters count twice) can be trusted.
    bool offsetsSuspect = false;
    int rangeLength = 0;
    qint64 activeProcessId = 0;
};

// What a capture reads from: the desktop and the user's clipboard. Each must
// outlive the captures started with it.
struct Context {
    const platform::Windows &windows;
    const platform::Selections &selections;
    const platform::KeyInput &keys;
    Pasteboard &pasteboard;
    // Vellumo's own text fields: when one of its windows is the active one,
    // its focused field alone answers, and no other source is asked.
    const platform::OwnText *ownText = nullptr;
};

struct CaptureResult {
    std::optional<QString> text;
    std::optional<Source> source;
    bool timedOut = false; // some source gave up by time-out
};

// The whole chain. Never fails; no text (or only empty text) gives nothing.
QFuture<std::optional<QString>> getSelectedText(const Context &context);
QFuture<CaptureResult> captureSelection(const Context &context);

// The steps, each usable on its own (main thread).
QFuture<TextReadResult> getSelectedTextByAXUI(const platform::Windows &windows);
struct PrimaryReadResult {
    std::optional<QString> text;
    bool unresponsive = false;
};
QFuture<PrimaryReadResult> getSelectedTextByPrimary(const platform::Selections &selections,
                                                    qint64 activeProcessId);
QFuture<std::optional<QString>> getSelectedTextByMenuBarActionCopy(const Context &context);

// Runs trigger (which answers AXError::Success when it did its part), then
// polls the clipboard every 5 ms for at most pollTimeoutMs for new plain
// text, with the user's clipboard contents snapshotted before and put back
// after, also when the copier (a process id, 0 when unknown) copies only
// after the wait. When the clipboard's owner does not answer, nothing is
// triggered (its contents could not be put back) and the answer is nothing.
QFuture<std::optional<QString>>
getNextPasteboardContent(Pasteboard &pasteboard, const std::function<QFuture<AXError>()> &trigger,
                         qint64 copierProcessId = 0);

// The trigger that presses a menu item through its Action.
std::function<QFuture<AXError>()> pressTrigger(const UIElement &item);

// Whether whole holds every piece of part (the focused element's share of a
// selection, with U+FFFC where embedded objects stand), in order: a source
// that claims the whole selection must contain what the focused element shows.
bool containsPart(const QString &whole, const QString &part);
// Whether text has the length an element reported for its selection, counted
// any way a toolkit counts: in characters, in UTF-16 units, or without astral
// characters (a toolkit that loses one offset step for each of them).
bool hasReportedLength(const QString &text, int length);
// Drops the characters that are no text: NULs some toolkits add, and the
// U+FFFC placeholders of embedded objects.
QString withoutPlaceholders(QString text);

constexpr int pollIntervalMs = 5;
// A press through accessibility returns before the application carries it
// out: GTK runs a menu item's action from its idle queue, and LibreOffice
// posts the command once more before it copies (40 to 60 ms after the press
// on an idle machine, 90 to 200 ms on a busy one). The wait ends at the first
// change; its whole length is only spent when nothing is copied, and keeps
// the capture that finds no text within half a second.
constexpr int pollTimeoutMs = 400;
// How long after the wait a copy of the pressed application is still taken
// for the late answer to the press, and undone.
constexpr int lateCopyWindowMs = 2000;
// The longest selection taken (characters); longer ones give no text.
constexpr int maxSelectionCharacters = 4 * 1024 * 1024;

} // namespace SelectionCapture
