// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Desktop.h"

#include <QImage>
#include <QRect>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

// The real applications of the desktop tests, each driven the way a user
// drives it, and what the tests read off the screen.
namespace AppTargets {

// The kinds of selection every application is tried with.
enum class Kind { Word, Line, Lines, Emoji, RightToLeft };
QString kindName(Kind kind);

// The document every text application shows; one line (or paragraph) a kind.
QStringList documentLines();

// Where a selection's highlight appeared between two screenshots, within
// area: the largest group of changed pixels in the colour most of the changed
// pixels took (the highlight's), leaving out the area's background (an old
// highlight going away), the text cursor and tool bar buttons that changed.
std::optional<QRect> highlightBetween(const QImage &before, const QImage &after, QRect area);
// The gap between two rectangles (0 when they touch or overlap).
int distance(const QRect &a, const QRect &b);

// One target application.
class Target {
public:
    virtual ~Target() = default;
    virtual QString name() const = 0;
    virtual bool start() = 0;
    virtual void stop() = 0;
    virtual quint64 window() const = 0;
    // The window is active and the keyboard is in the text.
    virtual bool focusText() = 0;
    // Puts the text cursor somewhere without selecting (before a selection's
    // "before" picture).
    virtual bool home() = 0;
    virtual bool select(Kind kind) = 0;
    virtual bool clearSelection() = 0;
    // The selected text as the application itself hands it out.
    virtual std::optional<QString> selectionTruth() = 0;
    // The whole text as the application hands it out.
    virtual std::optional<QString> contents() = 0;
    virtual bool undo() = 0;
    // Whether the application tells where its text is (so the popup can be
    // placed within 40 pixels of the selection).
    virtual bool tellsThePlace(Kind kind) const = 0;
    // Whether a paste replaces the selection (else it lands at a prompt).
    virtual bool replacesSelection() const { return true; }
    // Whether a paste can land at all (page text is read-only).
    virtual bool acceptsPaste() const { return true; }
    // After a paste at a prompt: what the prompt received (terminals).
    virtual std::optional<QString> submittedLine() { return std::nullopt; }
    // Whether the application has an Edit menu with a Copy item that
    // accessibility can press.
    virtual bool hasCopyMenuItem() const { return false; }
};

// The target of that name: mousepad, gedit, gnome-text-editor, featherpad,
// designer, xterm, xfce4-terminal, libreoffice, chromium-textarea,
// chromium-contenteditable, chromium-page.
std::unique_ptr<Target> makeTarget(const QString &name);

} // namespace AppTargets
