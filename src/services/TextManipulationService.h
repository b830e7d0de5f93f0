#pragma once

#include "KeySynthesis.h"

#include <QFuture>
#include <QObject>
#include <QString>

// Puts an answer in place of the user's selection the way a user would: on
// the clipboard, then the paste chord into the active window, then the
// clipboard is cleared again (the user's earlier contents are not restored).
// The caller brings the right window to the front first.
class TextManipulationService : public QObject {
    Q_OBJECT
public:
    explicit TextManipulationService(QObject *parent = nullptr);

    // Main thread. Finishes 0.2 s after the paste was posted, once the
    // clipboard is cleared. Never fails.
    QFuture<void> replaceSelectedText(const QString &text);

    struct PasteChord {
        KeySynthesis::Chord chord;
        bool alsoPrimary = false; // the chord pastes the PRIMARY selection
    };
    // Ctrl+V; Ctrl+Shift+V in terminal emulators; Shift+Insert (from PRIMARY) in xterm.
    static PasteChord pasteChordFor(const QString &wmClassName, const QString &wmClassClass);

    static constexpr int pasteWaitMs = 200;
    static constexpr int modifierReleaseTimeoutMs = 2000;
};
