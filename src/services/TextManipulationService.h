#pragma once

#include "KeySynthesis.h"

#include <QFuture>
#include <QObject>
#include <QString>

// Puts an answer in place of the user's selection the way a user would: on
// the clipboard, then the paste chord into the window that held the
// selection. The clipboard is cleared again once that application has read
// the answer (the user's earlier contents are not restored); an answer that
// is never read stays on the clipboard, so it is not lost. The caller brings
// the window to the front first; the chord is posted only while that window
// exists and is the active one, so an answer never lands anywhere else.
class TextManipulationService : public QObject {
    Q_OBJECT
public:
    explicit TextManipulationService(QObject *parent = nullptr);

    enum class Outcome {
        Pasted,     // the application read the answer; the clipboard is cleared
        NotRead,    // the chord was posted but nobody read the answer in time
        TargetGone, // the window is gone or not the active one: nothing posted
    };

    // Main thread. targetWindow 0 pastes into whatever window is active.
    QFuture<Outcome> replaceSelectedText(const QString &text, quint64 targetWindow = 0);

    struct PasteChord {
        KeySynthesis::Chord chord;
        bool alsoPrimary = false; // the chord pastes the PRIMARY selection
    };
    // Ctrl+V; Ctrl+Shift+V in terminal emulators; Shift+Insert (from PRIMARY) in xterm.
    static PasteChord pasteChordFor(const QString &wmClassName, const QString &wmClassClass);

    // How long the window may take to become the active one again.
    static constexpr int activationTimeoutMs = 1000;
    // A busy application reads the clipboard late; after this, the answer is
    // left on the clipboard.
    static constexpr int readTimeoutMs = 5000;
    // An application may ask several times for one paste: the clipboard is
    // cleared once it has taken the text and asked nothing more for this long.
    static constexpr int readSettleMs = 250;
    static constexpr int modifierReleaseTimeoutMs = 2000;
    static constexpr int checkIntervalMs = 10;
};
