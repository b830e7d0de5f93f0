#include "SelectionCapture.h"

#include "AccessibilityThread.h"
#include "CaptureLog.h"
#include "CopyMenuItem.h"
#include "Pasteboard.h"
#include "X11Windows.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPromise>
#include <QTimer>
#include <QtConcurrent>
#include <memory>

namespace SelectionCapture {
namespace {

const QString allFailed =
    QStringLiteral("All methods to get selected text have failed or returned empty text");

QObject *mainContext()
{
    return QCoreApplication::instance();
}

template <typename T> QFuture<T> ready(T value)
{
    QPromise<T> promise;
    promise.start();
    promise.addResult(std::move(value));
    promise.finish();
    return promise.future();
}

// Runs on the accessibility thread.
TextReadResult readByAXUI()
{
    qCInfo(lcCapture).noquote() << "Getting selected text via AXUI";
    TextReadResult result;
    const auto active = X11Windows::activeWindow();
    result.activeProcessId = active ? active->processId : 0;

    AXResult<UIElement> focused;
    const auto app = Application::fromProcessId(result.activeProcessId);
    if (app.failed()) {
        focused = AXResult<UIElement>::failure(app.error);
    } else if (app.value) {
        focused = SystemWideElement::focusedUIElement(*app.value);
    }
    if (focused.failed() || !focused.value) {
        // Success without a value keeps the code 0, printed as its name.
        qCCritical(lcCapture).noquote()
            << "Failed to get focused element, error: " + axErrorText(focused.error);
        result.error = static_cast<int>(focused.error);
        result.unresponsive = focused.error == AXError::CannotComplete;
        return result;
    }
    const auto selected = focused.value->selectedText();
    if (selected.failed()) {
        qCCritical(lcCapture).noquote()
            << "Failed to get selected text, error: " + axErrorText(selected.error);
        result.error = static_cast<int>(selected.error);
        result.unresponsive = selected.error == AXError::CannotComplete;
        return result;
    }
    if (!selected.value) {
        qCCritical(lcCapture).noquote()
            << "Selected text is not a string, error: " + axErrorText(AXError::Success);
        result.error = static_cast<int>(AXError::NoValue);
        return result;
    }
    qCInfo(lcCapture).noquote() << "Selected text via AXUI: " + *selected.value;
    result.text = *selected.value;
    return result;
}

// Polls the change counter on the main thread's event loop; never blocks it.
class PasteboardPoll : public QObject {
public:
    PasteboardPoll(quint64 baseline, std::shared_ptr<QPromise<std::optional<QString>>> promise)
        : QObject(mainContext()), m_baseline(baseline), m_promise(std::move(promise))
    {
        m_clock.start();
        m_timer.setInterval(pollIntervalMs);
        connect(&m_timer, &QTimer::timeout, this, &PasteboardPoll::pass);
        pass(); // the first pass does not wait
        if (!m_done) {
            m_timer.start();
        }
    }

private:
    void pass()
    {
        std::optional<QString> text;
        if (m_clock.elapsed() >= pollTimeoutMs) {
            qCInfo(lcCapture).noquote() << "pollTask timeout";
            return finish(std::nullopt);
        }
        Pasteboard &pasteboard = Pasteboard::general();
        if (pasteboard.changeCount() != m_baseline) {
            if (auto s = pasteboard.pasteboardString()) {
                qCInfo(lcCapture).noquote() << "New Pasteboard content: " + *s;
                return finish(s);
            }
            qCCritical(lcCapture).noquote() << "Pasteboard changed but no valid text content found";
        }
    }

    void finish(std::optional<QString> result)
    {
        m_done = true;
        m_timer.stop();
        Pasteboard::general().restorePasteboardContents();
        m_promise->addResult(std::move(result));
        m_promise->finish();
        deleteLater();
    }

    quint64 m_baseline;
    std::shared_ptr<QPromise<std::optional<QString>>> m_promise;
    QElapsedTimer m_clock;
    QTimer m_timer;
    bool m_done = false;
};

} // namespace

QFuture<TextReadResult> getSelectedTextByAXUI()
{
    return AccessibilityThread::instance().run(&readByAXUI);
}

QFuture<PrimaryReadResult> getSelectedTextByPrimary(qint64 activeProcessId)
{
    return QtConcurrent::run([activeProcessId] {
        PrimaryReadResult result;
        qCInfo(lcCapture).noquote() << "Getting selected text via PRIMARY selection";
        const qint64 owner = X11Windows::selectionOwnerProcessId(X11Windows::Selection::Primary);
        if (owner <= 0 || activeProcessId <= 0 || owner != activeProcessId) {
            // Another window's selection may be stale: it is not what the user sees selected.
            qCInfo(lcCapture).noquote()
                << "PRIMARY selection is not owned by the active application";
            return result;
        }
        const auto read = X11Windows::readSelectionText(X11Windows::Selection::Primary,
                                                        AccessibilityThread::callTimeoutMs);
        if (read.outcome == X11Windows::SelectionText::Outcome::TimedOut) {
            qCCritical(lcCapture).noquote() << "PRIMARY selection owner did not answer";
            result.unresponsive = true;
            return result;
        }
        if (read.outcome != X11Windows::SelectionText::Outcome::Ok) {
            qCCritical(lcCapture).noquote() << "PRIMARY selection holds no text";
            return result;
        }
        qCInfo(lcCapture).noquote() << "Selected text via PRIMARY selection: " + read.text;
        result.text = read.text;
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
getNextPasteboardContent(const std::function<QFuture<AXError>()> &trigger)
{
    qCInfo(lcCapture).noquote() << "Getting next pasteboard content";
    Pasteboard &pasteboard = Pasteboard::general();
    const quint64 baseline = pasteboard.changeCount();
    auto promise = std::make_shared<QPromise<std::optional<QString>>>();
    promise->start();
    // Taken before the trigger starts: the press runs on the accessibility
    // thread in parallel, and a snapshot taken after the target's copy would
    // put the copied text back instead of the user's contents.
    pasteboard.savePasteboardContents();
    qCInfo(lcCapture).noquote() << "Executing trigger action";
    trigger().then(mainContext(), [promise, baseline](AXError error) {
        if (error != AXError::Success) {
            qCCritical(lcCapture).noquote()
                << "Failed to execute trigger action: " + axErrorText(error);
            Pasteboard::general().restorePasteboardContents();
            promise->addResult(std::nullopt);
            promise->finish();
            return;
        }
        new PasteboardPoll(baseline, promise); // owned by the application, deletes itself
    });
    return promise->future();
}

QFuture<std::optional<QString>> getSelectedTextByMenuBarActionCopy()
{
    qCInfo(lcCapture).noquote() << "Getting selected text by menu bar action copy";
    auto promise = std::make_shared<QPromise<std::optional<QString>>>();
    promise->start();
    AccessibilityThread::instance()
        .run(&CopyMenuItem::findEnabledCopyItem)
        .then(mainContext(), [promise](const UIElement &item) {
            if (item.isNull()) {
                promise->addResult(std::nullopt);
                promise->finish();
                return;
            }
            getNextPasteboardContent(pressTrigger(item))
                .then(mainContext(), [promise](const std::optional<QString> &text) {
                    promise->addResult(text);
                    promise->finish();
                });
        });
    return promise->future();
}

QFuture<std::optional<QString>> getSelectedText()
{
    qCInfo(lcCapture).noquote() << "Attempting to get selected text";
    auto promise = std::make_shared<QPromise<std::optional<QString>>>();
    promise->start();
    auto answer = [promise](std::optional<QString> text) {
        promise->addResult(std::move(text));
        promise->finish();
    };
    auto giveUp = [answer] {
        qCCritical(lcCapture).noquote() << allFailed;
        answer(std::nullopt);
    };

    auto menuStep = [answer, giveUp] {
        qCInfo(lcCapture).noquote() << "Getting selected text by menu bar action copy";
        AccessibilityThread::instance()
            .run(&CopyMenuItem::findEnabledCopyItem)
            .then(mainContext(), [answer, giveUp](const UIElement &item) {
                if (item.isNull()) {
                    return giveUp();
                }
                getNextPasteboardContent(pressTrigger(item))
                    .then(mainContext(), [answer, giveUp](const std::optional<QString> &text) {
                        if (text && !text->isEmpty()) {
                            qCInfo(lcCapture).noquote()
                                << "Successfully got non-empty text via menu action copy";
                            return answer(text);
                        }
                        if (text) {
                            qCInfo(lcCapture).noquote() << "Menu action copy returned empty text";
                        }
                        giveUp();
                    });
            });
    };

    getSelectedTextByAXUI().then(
        mainContext(), [answer, giveUp, menuStep](const TextReadResult &ax) {
            if (ax.error != 0) {
                qCCritical(lcCapture).noquote()
                    << "Failed to get text via AXUI: " + axErrorText(ax.error);
            } else if (ax.text && !ax.text->isEmpty()) {
                qCInfo(lcCapture).noquote() << "Successfully got non-empty text via AXUI";
                return answer(ax.text);
            } else {
                qCInfo(lcCapture).noquote() << "AXUI returned empty text, trying menu action copy";
            }
            // A hung application is asked nothing more: one time-out is the whole delay.
            if (ax.unresponsive) {
                return giveUp();
            }
            getSelectedTextByPrimary(ax.activeProcessId)
                .then(mainContext(), [answer, giveUp, menuStep](const PrimaryReadResult &primary) {
                    if (primary.text && !primary.text->isEmpty()) {
                        qCInfo(lcCapture).noquote()
                            << "Successfully got non-empty text via PRIMARY selection";
                        return answer(primary.text);
                    }
                    if (primary.unresponsive) {
                        return giveUp();
                    }
                    menuStep();
                });
        });
    return promise->future();
}

} // namespace SelectionCapture
