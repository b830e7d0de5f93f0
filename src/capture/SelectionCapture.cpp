// SPDX-License-Identifier: GPL-3.0-or-later
#include "SelectionCapture.h"

#include "AccessibilityThread.h"
#include "CaptureLog.h"
#include "CopyMenuItem.h"
#include "KeyInput.h"
#include "OwnText.h"
#include "Pasteboard.h"
#include "Selections.h"
#include "Windows.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPromise>
#include <QTimer>
#include <memory>

namespace SelectionCapture {
namespace {

const QString allFailed =
    QStringLiteral("All methods to get selected text have failed or returned empty text");
constexpr QChar objectReplacement(0xFFFC);

QObject *mainContext()
{
    return QCoreApplication::instance();
}

// The sources the chain may use. VELLUMO_CAPTURE_SOURCES (a comma-separated
// subset of "accessibility,primary,copy-menu") narrows them, so tests can
// drive one source alone in applications where an earlier one would answer.
struct Sources {
    bool accessibility = true;
    bool primary = true;
    bool copyMenu = true;

    static Sources configured()
    {
        const QString wanted = qEnvironmentVariable("VELLUMO_CAPTURE_SOURCES");
        if (wanted.isEmpty()) {
            return {};
        }
        const QStringList names = wanted.split(u',', Qt::SkipEmptyParts);
        return {names.contains(QStringLiteral("accessibility")),
                names.contains(QStringLiteral("primary")),
                names.contains(QStringLiteral("copy-menu"))};
    }
};

// Whether the selection of element goes on in the neighbouring element on
// the side where it touches the element's edge: word processors expose each
// paragraph as an object of its own, each holding its share of the selection.
AXResult<bool> continuesInNeighbour(const UIElement &element, UIElement::TextRange range,
                                    int characterCount)
{
    const bool atStart = range.start == 0;
    const bool atEnd = range.end >= characterCount;
    if (!atStart && !atEnd) {
        return AXResult<bool>::of(false);
    }
    const auto family = element.parentAndIndex();
    // Only a stalled application fails the read; one without neighbours to
    // tell of has none.
    if (family.failed() && family.error == AXError::CannotComplete) {
        return AXResult<bool>::failure(family.error);
    }
    if (!family.value) {
        return AXResult<bool>::of(false);
    }
    const auto &[parent, index] = *family.value;
    for (const int neighbour : {atStart ? index - 1 : -1, atEnd ? index + 1 : -1}) {
        if (neighbour < 0) {
            continue;
        }
        const auto sibling = parent.childAt(neighbour);
        if (sibling.failed() && sibling.error == AXError::CannotComplete) {
            return AXResult<bool>::failure(sibling.error);
        }
        if (!sibling.value) {
            continue;
        }
        const auto state = sibling.value->textState();
        if (state.failed() && state.error == AXError::CannotComplete) {
            return AXResult<bool>::failure(state.error);
        }
        if (!state.failed() && state.value->hasText() && state.value->selectionCount > 0 &&
            !state.value->firstSelection.isEmpty()) {
            return AXResult<bool>::of(true);
        }
    }
    return AXResult<bool>::of(false);
}

void failRead(TextReadResult &result, const QString &what, AXError error)
{
    qCCritical(lcCapture).noquote() << what + axErrorText(error);
    result.error = static_cast<int>(error);
    result.unresponsive = error == AXError::CannotComplete;
}

// The focused element of the application with that process, if any.
AXResult<UIElement> focusedElementOf(qint64 processId)
{
    const auto app = Application::fromProcessId(processId);
    if (app.failed()) {
        return AXResult<UIElement>::failure(app.error);
    }
    if (!app.value) {
        return AXResult<UIElement>::none();
    }
    return SystemWideElement::focusedUIElement(*app.value);
}

// Marks a read that holds only part of what is selected: several ranges, an
// embedded object, offsets that disagree with the cursor, or a selection that
// goes on in a neighbour. False when the application stalled while asked.
bool markPartial(const UIElement &element, const UIElement::TextState &state, const QString &text,
                 TextReadResult &result)
{
    const UIElement::TextRange range = state.firstSelection;
    result.partial = state.selectionCount > 1 || text.contains(objectReplacement);
    // In an editable text the cursor sits at one end of the selection. A
    // toolkit whose selection lies elsewhere counts its offsets wrong
    // (Chromium, after characters beyond the Basic Multilingual Plane), and
    // its text is not what is selected.
    const int caret = state.caret;
    if (!result.partial && (state.states & UIElement::Editable) && caret >= 0 &&
        caret != range.start && caret != range.end) {
        qCInfo(lcCapture).noquote() << "The selection's offsets and the text cursor disagree";
        result.partial = true;
        result.offsetsSuspect = true;
        result.rangeLength = range.length();
    }
    if (!result.partial) {
        const auto continues = continuesInNeighbour(element, range, state.characterCount);
        if (continues.failed()) {
            result.answeredForText = false;
            failRead(result, QStringLiteral("Failed to get selected text, error: "),
                     continues.error);
            return false;
        }
        result.partial = *continues.value;
    }
    return true;
}

// Runs on the accessibility thread.
TextReadResult readByAXUI(const platform::Windows &windows)
{
    qCInfo(lcCapture).noquote() << "Getting selected text via AXUI";
    TextReadResult result;
    const auto active = windows.active();
    result.activeProcessId = active ? active->processId : 0;

    const AXResult<UIElement> focused = focusedElementOf(result.activeProcessId);
    if (focused.failed() || !focused.value) {
        // Success without a value keeps the code 0, printed as its name.
        failRead(result, QStringLiteral("Failed to get focused element, error: "), focused.error);
        return result;
    }
    const UIElement &element = *focused.value;
    const auto state = element.textState();
    if (state.failed()) {
        failRead(result, QStringLiteral("Failed to get selected text, error: "), state.error);
        return result;
    }
    if (!state.value->hasText()) {
        failRead(result, QStringLiteral("Failed to get selected text, error: "),
                 AXError::AttributeUnsupported);
        return result;
    }
    result.answeredForText = true;
    const UIElement::TextRange range = state.value->firstSelection;
    if (state.value->selectionCount == 0 || range.isEmpty()) {
        result.text = QString();
        qCInfo(lcCapture).noquote() << "Selected text via AXUI: ";
        return result;
    }
    if (range.length() > maxSelectionCharacters) {
        qCCritical(lcCapture).noquote()
            << QStringLiteral("The selection is too long to send: %1 characters")
                   .arg(range.length());
        result.text = QString();
        return result;
    }
    const auto selected = element.text(range);
    if (selected.failed()) {
        result.answeredForText = false;
        failRead(result, QStringLiteral("Failed to get selected text, error: "), selected.error);
        return result;
    }
    if (!selected.value) {
        result.answeredForText = false;
        qCCritical(lcCapture).noquote()
            << "Selected text is not a string, error: " + axErrorText(AXError::Success);
        result.error = static_cast<int>(AXError::NoValue);
        return result;
    }
    QString text = *selected.value;
    text.remove(QChar(0));
    if (!markPartial(element, *state.value, text, result)) {
        return result;
    }
    qCInfo(lcCapture).noquote() << "Selected text via AXUI: " + text;
    result.text = text;
    return result;
}

// Polls the change counter on the main thread's event loop; never blocks it.
class PasteboardPoll : public QObject {
public:
    PasteboardPoll(Pasteboard &pasteboard, quint64 baseline, qint64 copierProcessId,
                   std::shared_ptr<QPromise<std::optional<QString>>> promise)
        : QObject(&pasteboard), m_pasteboard(pasteboard), m_baseline(baseline),
          m_copier(copierProcessId), m_promise(std::move(promise))
    {
        m_clock.start();
        m_timer.setInterval(pollIntervalMs);
        connect(&m_timer, &QTimer::timeout, this, &PasteboardPoll::pass);
        m_timer.start();
        pass(); // the first pass does not wait
    }

private:
    void pass()
    {
        if (m_reading || m_done) {
            return;
        }
        if (m_clock.elapsed() >= pollTimeoutMs) {
            qCInfo(lcCapture).noquote() << "pollTask timeout";
            return finish(std::nullopt);
        }
        if (m_pasteboard.changeCount() == m_baseline) {
            return;
        }
        // The new owner is another application: read it without waiting here.
        m_reading = true;
        m_pasteboard.pasteboardString().then(this, [this](const std::optional<QString> &text) {
            m_reading = false;
            if (text) {
                qCInfo(lcCapture).noquote() << "New Pasteboard content: " + *text;
                return finish(text);
            }
            qCCritical(lcCapture).noquote() << "Pasteboard changed but no valid text content found";
            pass();
        });
    }

    void finish(std::optional<QString> result)
    {
        m_done = true;
        m_timer.stop();
        if (m_pasteboard.changeCount() != m_baseline) {
            m_pasteboard.restorePasteboardContents();
        } else {
            // Nothing was copied in time: the user's clipboard stays with its
            // owner, and is put back should the application copy after all.
            m_pasteboard.restoreAfterLateCopy(m_copier, lateCopyWindowMs);
        }
        m_promise->addResult(std::move(result));
        m_promise->finish();
        deleteLater();
    }

    Pasteboard &m_pasteboard;
    quint64 m_baseline;
    qint64 m_copier;
    std::shared_ptr<QPromise<std::optional<QString>>> m_promise;
    QElapsedTimer m_clock;
    QTimer m_timer;
    bool m_reading = false;
    bool m_done = false;
};

QFuture<std::optional<QString>> copyMenuStep(const Context &context)
{
    qCInfo(lcCapture).noquote() << "Getting selected text by menu bar action copy";
    auto promise = std::make_shared<QPromise<std::optional<QString>>>();
    promise->start();
    AccessibilityThread::instance()
        .run([context] {
            const UIElement item = CopyMenuItem::findEnabledCopyItem(context.windows, context.keys);
            const qint64 processId = item.isNull() ? 0 : item.processId().value.value_or(0);
            // What the press does to the keyboard, from before it.
            std::shared_ptr<platform::KeyboardGrabWatch> grabs;
            if (!item.isNull()) {
                grabs = context.keys.watchKeyboardGrabs();
            }
            return std::tuple{item, processId, grabs};
        })
        .then(mainContext(),
              [promise, context](
                  const std::tuple<UIElement, qint64, std::shared_ptr<platform::KeyboardGrabWatch>>
                      &found) {
                  const auto &[item, processId, watch] = found;
                  // A lambda captures a variable, not a structured binding.
                  std::shared_ptr<platform::KeyboardGrabWatch> grabs = watch;
                  if (item.isNull()) {
                      promise->addResult(std::nullopt);
                      promise->finish();
                      return;
                  }
                  getNextPasteboardContent(context.pasteboard, pressTrigger(item), processId)
                      .then(mainContext(),
                            [promise, context, grabs](const std::optional<QString> &text) {
                                AccessibilityThread::instance()
                                    .run([context, grabs] {
                                        return CopyMenuItem::leaveMenuMode(
                                            context.windows, context.keys, grabs.get());
                                    })
                                    .then(mainContext(), [promise, text](bool) {
                                        promise->addResult(text);
                                        promise->finish();
                                    });
                            });
              });
    return promise->future();
}

// One source after the accessibility read: its text, whether it gave up by
// time-out, and the name its log lines use.
struct Attempt {
    std::optional<QString> text;
    bool timedOut = false;
};
using Step = std::function<QFuture<Attempt>(const TextReadResult &)>;

struct Fallback {
    Source source;
    QString name;
    Step run;
};

QList<Fallback> fallbacks(const Sources &sources, const Context &context)
{
    QList<Fallback> list;
    if (sources.primary) {
        list.append({Source::Primary, QStringLiteral("PRIMARY selection"),
                     [context](const TextReadResult &ax) {
                         return getSelectedTextByPrimary(context.selections, ax.activeProcessId)
                             .then([](const PrimaryReadResult &r) {
                                 return Attempt{r.text, r.unresponsive};
                             });
                     }});
    }
    if (sources.copyMenu) {
        list.append({Source::CopyMenuItem, QStringLiteral("menu action copy"),
                     [context](const TextReadResult &) {
                         return copyMenuStep(context).then([](const std::optional<QString> &text) {
                             return Attempt{text, false};
                         });
                     }});
    }
    return list;
}

// Runs the fallbacks in order until one holds the selection.
void runFallbacks(const std::shared_ptr<QPromise<CaptureResult>> &promise, const TextReadResult &ax,
                  QList<Fallback> remaining, bool timedOut)
{
    if (remaining.isEmpty()) {
        qCCritical(lcCapture).noquote() << allFailed;
        promise->addResult(CaptureResult{std::nullopt, std::nullopt, timedOut});
        promise->finish();
        return;
    }
    const Fallback step = remaining.takeFirst();
    step.run(ax).then(
        mainContext(), [promise, ax, remaining, timedOut, step](const Attempt &attempt) {
            const bool anyTimedOut = timedOut || attempt.timedOut;
            std::optional<QString> text = attempt.text;
            if (text) {
                text->remove(QChar(0));
            }
            // A source that claims the whole selection must agree with what the
            // focused element shows of it.
            const bool disagrees =
                text && !text->isEmpty() && ax.partial &&
                !(ax.offsetsSuspect ? hasReportedLength(*text, ax.rangeLength)
                                    : containsPart(*text, ax.text.value_or(QString())));
            if (disagrees) {
                qCInfo(lcCapture).noquote()
                    << "The " + step.name + " does not hold the selection the application shows";
                text.reset();
            }
            if (text && !text->isEmpty() && text->contains(objectReplacement)) {
                qCInfo(lcCapture).noquote() << "The " + step.name + " holds placeholders, not text";
                text.reset();
            }
            if (text && !text->isEmpty()) {
                qCInfo(lcCapture).noquote() << "Successfully got non-empty text via " + step.name;
                promise->addResult(CaptureResult{text, step.source, anyTimedOut});
                promise->finish();
                return;
            }
            if (text) {
                qCInfo(lcCapture).noquote() << "The " + step.name + " returned empty text";
            }
            runFallbacks(promise, ax, remaining, anyTimedOut);
        });
}

// The selection of Vellumo's own active window, read on this thread; nothing
// when the active window is another application's.
std::optional<CaptureResult> ownWindowSelection(const Context &context)
{
    if (!context.ownText) {
        return std::nullopt;
    }
    const auto active = context.windows.active();
    if (!active || !context.ownText->isOwnWindow(active->id)) {
        return std::nullopt;
    }
    const std::optional<QString> text = context.ownText->selectedText(active->id);
    if (!text || text->isEmpty()) {
        qCInfo(lcCapture).noquote() << "No text selected in Vellumo's own window";
        return CaptureResult{};
    }
    if (text->size() > maxSelectionCharacters) {
        qCCritical(lcCapture).noquote()
            << QStringLiteral("The selection is too long to send: %1 characters").arg(text->size());
        return CaptureResult{};
    }
    qCInfo(lcCapture).noquote() << "Selected text in Vellumo's own window: " + *text;
    return CaptureResult{text, Source::OwnWindow, false};
}

} // namespace

QString withoutPlaceholders(QString text)
{
    text.remove(QChar(0));
    text.remove(objectReplacement);
    return text;
}

bool hasReportedLength(const QString &text, int length)
{
    qsizetype characters = 0;
    qsizetype astral = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        ++characters;
        if (text.at(i).isHighSurrogate() && i + 1 < text.size() &&
            text.at(i + 1).isLowSurrogate()) {
            ++astral;
            ++i;
        }
    }
    return characters == length || characters - astral == length || text.size() == length;
}

bool containsPart(const QString &whole, const QString &part)
{
    qsizetype from = 0;
    for (const QString &piece : part.split(objectReplacement, Qt::SkipEmptyParts)) {
        // Line ends may differ between the two sources ("\r\n" against "\n"),
        // and a paragraph's share may carry its break or not.
        const QString wanted = piece.trimmed();
        if (wanted.isEmpty()) {
            continue;
        }
        const qsizetype at = whole.indexOf(wanted, from);
        if (at < 0) {
            return false;
        }
        from = at + wanted.size();
    }
    return true;
}

QFuture<TextReadResult> getSelectedTextByAXUI(const platform::Windows &windows)
{
    return AccessibilityThread::instance().run(
        [windows = &windows] { return readByAXUI(*windows); });
}

QFuture<PrimaryReadResult> getSelectedTextByPrimary(const platform::Selections &selections,
                                                    qint64 activeProcessId)
{
    return AccessibilityThread::instance().run([selections = &selections, activeProcessId] {
        PrimaryReadResult result;
        qCInfo(lcCapture).noquote() << "Getting selected text via PRIMARY selection";
        const qint64 owner = selections->ownerProcessId(platform::Selection::Primary);
        if (owner <= 0 || activeProcessId <= 0 || owner != activeProcessId) {
            // Another window's selection may be stale: it is not what the user sees selected.
            qCInfo(lcCapture).noquote()
                << "PRIMARY selection is not owned by the active application";
            return result;
        }
        const auto read =
            selections->reader(platform::Selection::Primary)
                ->text(AccessibilityThread::callTimeoutMs, qsizetype(maxSelectionCharacters) * 4);
        using Outcome = platform::SelectionData::Outcome;
        if (read.outcome == Outcome::TimedOut) {
            qCCritical(lcCapture).noquote() << "PRIMARY selection owner did not answer";
            result.unresponsive = true;
            return result;
        }
        if (read.outcome != Outcome::Ok) {
            qCCritical(lcCapture).noquote() << "PRIMARY selection holds no text";
            return result;
        }
        result.text = QString::fromUtf8(read.data);
        qCInfo(lcCapture).noquote() << "Selected text via PRIMARY selection: " + *result.text;
        return result;
    });
}

std::function<QFuture<AXError>()> pressTrigger(const UIElement &item)
{
    return [item] {
        return AccessibilityThread::instance().run([item] { return item.performAction(0); });
    };
}

QFuture<std::optional<QString>>
getNextPasteboardContent(Pasteboard &pasteboard, const std::function<QFuture<AXError>()> &trigger,
                         qint64 copierProcessId)
{
    qCInfo(lcCapture).noquote() << "Getting next pasteboard content";
    auto promise = std::make_shared<QPromise<std::optional<QString>>>();
    promise->start();
    auto answer = [promise](std::optional<QString> text) {
        promise->addResult(std::move(text));
        promise->finish();
    };
    // The snapshot comes first: the press runs on another thread, and a
    // snapshot taken after the target's copy would put the copied text back
    // instead of the user's contents.
    Pasteboard *const board = &pasteboard;
    board->savePasteboardContents().then(board, [board, trigger, answer, promise,
                                                 copierProcessId](bool saved) {
        if (!saved) {
            // Whatever the owner holds could not be put back after a copy.
            return answer(std::nullopt);
        }
        const quint64 baseline = board->changeCount();
        qCInfo(lcCapture).noquote() << "Executing trigger action";
        trigger().then(board, [board, promise, answer, baseline, copierProcessId](AXError error) {
            if (error != AXError::Success) {
                qCCritical(lcCapture).noquote()
                    << "Failed to execute trigger action: " + axErrorText(error);
                if (board->changeCount() != baseline) {
                    board->restorePasteboardContents();
                } else {
                    board->discardSnapshot();
                }
                return answer(std::nullopt);
            }
            // Owned by the pasteboard; deletes itself.
            new PasteboardPoll(*board, baseline, copierProcessId, promise);
        });
    });
    return promise->future();
}

QFuture<std::optional<QString>> getSelectedTextByMenuBarActionCopy(const Context &context)
{
    return copyMenuStep(context);
}

QFuture<CaptureResult> captureSelection(const Context &context)
{
    qCInfo(lcCapture).noquote() << "Attempting to get selected text";
    if (const auto own = ownWindowSelection(context)) {
        return QtFuture::makeReadyFuture(*own);
    }
    auto promise = std::make_shared<QPromise<CaptureResult>>();
    promise->start();
    const Sources sources = Sources::configured();

    QFuture<TextReadResult> accessibility;
    if (sources.accessibility) {
        accessibility = getSelectedTextByAXUI(context.windows);
    } else {
        qCInfo(lcCapture).noquote() << "The accessibility text read is turned off";
        // The sources after it still need to know which process is in front.
        accessibility = AccessibilityThread::instance().run([windows = &context.windows] {
            TextReadResult off;
            off.error = static_cast<int>(AXError::APIDisabled);
            const auto active = windows->active();
            off.activeProcessId = active ? active->processId : 0;
            return off;
        });
    }
    accessibility.then(mainContext(), [promise, sources, context](const TextReadResult &ax) {
        if (!ax.answeredForText) {
            qCCritical(lcCapture).noquote()
                << "Failed to get text via AXUI: " + axErrorText(ax.error);
        } else if (!ax.partial && ax.text && !ax.text->isEmpty()) {
            qCInfo(lcCapture).noquote() << "Successfully got non-empty text via AXUI";
            promise->addResult(CaptureResult{ax.text, Source::Accessibility, false});
            promise->finish();
            return;
        } else if (!ax.partial) {
            // The focused text says nothing is selected. Another source could
            // only offer what was selected before (toolkits keep PRIMARY).
            qCInfo(lcCapture).noquote() << "AXUI returned empty text";
            qCCritical(lcCapture).noquote() << allFailed;
            promise->addResult(CaptureResult{std::nullopt, std::nullopt, false});
            promise->finish();
            return;
        } else {
            qCInfo(lcCapture).noquote()
                << "The selection goes on beyond the focused element; reading it whole";
        }
        // A time-out of the accessibility read lets the next source run.
        runFallbacks(promise, ax, fallbacks(sources, context), ax.unresponsive);
    });
    return promise->future();
}

QFuture<std::optional<QString>> getSelectedText(const Context &context)
{
    return captureSelection(context).then([](const CaptureResult &result) { return result.text; });
}

} // namespace SelectionCapture
