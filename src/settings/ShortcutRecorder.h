// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "GlobalShortcuts.h"

#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <optional>

class QAction;
class QToolButton;
class QHBoxLayout;

// The recorder's texts, by name, in English.
namespace RecorderText {
// The text of a name such as "press_shortcut"; the name itself when unknown.
QString get(const char *name);
} // namespace RecorderText

// A small field that shows a named shortcut and records a new one: a click
// (or the keyboard focus) starts recording, the next allowed combination is
// stored through GlobalShortcuts::setShortcut. While it records, the global
// shortcuts are paused, so pressing the current one does not open the popup.
//
// Recording ends on a stored combination, Escape, Tab, a click outside the
// field, a lost focus or a deactivated window. Delete and Backspace remove
// the shortcut and keep recording. Without Control, Alt or Super only the
// function keys can be recorded; other keys beep. Combinations of Vellumo's
// own menu are refused with an alert, and so are the ones another client
// holds, unless the user chooses to use one anyway.
class ShortcutRecorder : public QLineEdit {
    Q_OBJECT

public:
    explicit ShortcutRecorder(GlobalShortcuts::Name name, QWidget *parent = nullptr);
    ~ShortcutRecorder() override;

    bool isRecording() const { return m_recording; }
    // The alert shown now, if any (the menu item's or the system's).
    QMessageBox *alert() const { return m_alert; }

    // At least 130 wide, wider for a long text.
    QSize sizeHint() const override;

Q_SIGNALS:
    void recordingChanged(bool recording);
    // A new combination was stored, or the shortcut removed (nothing).
    void changed(const std::optional<GlobalShortcuts::Shortcut> &shortcut);
    // A key that cannot be recorded was pressed; the field beeped.
    void beeped();

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void startRecording();
    // Ends recording; with moveFocus the next field gets the focus, else the
    // field gives it up.
    void endRecording(bool moveFocus = false);
    void refresh();
    void applyStyle();
    void showText(const QString &shown);
    void balanceTextMargins();
    void clearShortcut();
    void save(const GlobalShortcuts::Shortcut &shortcut);
    // The combination as pressed, or nothing after a beep.
    std::optional<GlobalShortcuts::Shortcut> recordable(const QKeyEvent *event);
    void beep();
    void record(const GlobalShortcuts::Shortcut &shortcut);
    // Suspends recording for an alert, which resumes it when dismissed;
    // with offerForce, "Use Anyway" stores the shortcut instead.
    // The reason goes to the log (never the combination).
    void showAlert(const char *reason, const QString &text, const QString &informative,
                   const GlobalShortcuts::Shortcut &shortcut, bool offerForce);

    GlobalShortcuts::Name m_name;
    QAction *m_clearAction = nullptr;
    QToolButton *m_clearButton = nullptr;
    // The clear button's room at the right, as last seen while shown.
    int m_buttonRoom = 0;
    QPointer<QMessageBox> m_alert;
    bool m_recording = false;
    // An alert interrupted recording: it goes on when the window is active
    // again, also after the window manager let it go inactive meanwhile.
    bool m_resumeOnActivation = false;
};

// The row both the settings and the first-start guide show: "Show AI
// Popup:" in the given font, and at the far end the recorder of the popup's
// shortcut, made in parent.
QHBoxLayout *showPopupRecorderRow(QWidget *parent, const QFont &labelFont,
                                  ShortcutRecorder **recorder);
