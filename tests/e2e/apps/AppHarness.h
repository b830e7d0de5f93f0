#pragma once

#include <QImage>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

// What the desktop tests of real applications share: the vellumo executable
// under test, the screen, the clipboard as other clients see it, and the
// target applications, each driven the way a user drives it.
namespace AppHarness {

// The kinds of selection every application is tried with.
enum class Kind { Word, Line, Lines, Emoji, RightToLeft };
QString kindName(Kind kind);

// The document every text application shows; one line (or paragraph) a kind.
QStringList documentLines();

// Runs a helper program to its end while this process keeps serving its own
// clipboard (the helper may be asking for it).
QByteArray run(const QString &program, const QStringList &arguments, int timeoutMs = 10000,
               int *exitCode = nullptr);
bool keys(const QStringList &sequence);
bool typeText(const QString &text);
// Presses or clicks with the pointer at a point of the screen.
bool click(QPoint at, int repeat = 1);
bool drag(QPoint from, QPoint to);

// The whole screen, kept under build/screenshots when named.
QImage grabScreen(const QString &name = QString());
// Where a selection's highlight appeared between two screenshots, within
// area: the largest group of changed pixels in the colour most of the changed
// pixels took (the highlight's), leaving out the area's background (an old
// highlight going away), the text cursor and tool bar buttons that changed.
std::optional<QRect> highlightBetween(const QImage &before, const QImage &after, QRect area);
// The window's inner frame on the screen (its client area).
QRect clientFrame(quint64 window);
// The command popup while it is mapped.
std::optional<QRect> popupFrame();
// The gap between two rectangles (0 when they touch or overlap).
int distance(const QRect &a, const QRect &b);

// The clipboard as another client sees it.
QString clipboardText();
QString primaryText();
QStringList clipboardTargets();
// This process offers a text and a PNG image, as a user's clipboard would.
void offerUserClipboard();
// Empty when the offer above is still on the clipboard, whole; else what differs.
QString userClipboardProblem();
// This process offers a short text, so a copy that follows can be told apart.
void offerSentinel();
// Waits until the clipboard holds something other than the sentinel.
std::optional<QString> waitForCopiedText(int timeoutMs = 3000);

// Whether another client holds the key (an X keysym) with exactly these X
// modifier bits (ControlMask, Mod1Mask...): a grab of it from here fails.
bool heldByAnother(quint32 keysym, unsigned modifiers);
// Whether another client holds the shortcut Ctrl+Super+/ (Vellumo, once it
// has hooked it).
bool shortcutHeldByAnother();

// The vellumo executable, with its output.
class Vellumo {
public:
    ~Vellumo();
    // Waits until the shortcut is hooked, unless told not to (when the test
    // itself holds it).
    bool start(const QStringList &environment = {}, const QStringList &arguments = {},
               bool waitForShortcut = true);
    void stop();
    bool isRunning() const;
    qint64 pid() const;
    QString output();
    qsizetype mark();
    // Waits until text has been printed after mark.
    bool waitFor(const QString &text, qsizetype mark, int timeoutMs = 10000);

private:
    QProcess m_process;
    QString m_out;
};

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

} // namespace AppHarness
