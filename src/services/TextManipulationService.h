// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFuture>
#include <QObject>
#include <QString>

namespace platform {
class KeyInput;
class OwnText;
class Selections;
class Windows;
} // namespace platform

// Puts an answer in place of the user's selection the way a user would: on
// the clipboard, then the paste chord into the window that held the
// selection. The clipboard is cleared again once that application has read
// the answer (the user's earlier contents are not restored); an answer that
// is never read stays on the clipboard, so it is not lost. The caller brings
// the window to the front first; the chord, the one that window takes, is
// posted only while the window exists and is the active one, so an answer
// never lands anywhere else.
//
// A window of Vellumo's own (with ownText) takes the answer into its focused
// text field directly, inside the process: no clipboard, no keys.
class TextManipulationService : public QObject {
    Q_OBJECT
public:
    TextManipulationService(const platform::Windows &windows,
                            const platform::Selections &selections, const platform::KeyInput &keys,
                            const platform::OwnText *ownText = nullptr, QObject *parent = nullptr);

    enum class Outcome {
        Pasted,     // the application read the answer (or Vellumo's own field
                    // took it); the clipboard is cleared
        NotRead,    // the chord was posted but nobody read the answer in time
        TargetGone, // the window is gone or not the active one: nothing posted
    };

    // Main thread. targetWindow 0 pastes into whatever window is active.
    QFuture<Outcome> replaceSelectedText(const QString &text, quint64 targetWindow = 0);

    // How long the window may take to become the active one again.
    static constexpr int activationTimeoutMs = 1000;
    // A busy application reads the clipboard late; after this, the answer is
    // left on the clipboard.
    static constexpr int readTimeoutMs = 5000;
    // An application may ask several times for one paste: the clipboard is
    // cleared once it has taken the text and asked nothing more for this long.
    static constexpr int readSettleMs = 250;
    // When the target itself held the clipboard, it may keep using its own
    // copy until it has looked at the new owner's formats (LibreOffice does):
    // the paste waits for that look, for at most this long.
    static constexpr int ownerLookTimeoutMs = 500;
    static constexpr int modifierReleaseTimeoutMs = 2000;
    static constexpr int checkIntervalMs = 10;

private:
    // The window to put the answer in when it is one of Vellumo's own; 0
    // otherwise.
    quint64 ownTarget(quint64 targetWindow) const;

    const platform::Windows &m_windows;
    const platform::Selections &m_selections;
    const platform::KeyInput &m_keys;
    const platform::OwnText *m_ownText;
};
