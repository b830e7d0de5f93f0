// SPDX-License-Identifier: GPL-3.0-or-later
#include "TextManipulationService.h"

#include "KeyEventSender.h"
#include "KeyInput.h"
#include "OwnText.h"
#include "Selections.h"
#include "Windows.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMimeData>
#include <QPointer>
#include <QPromise>
#include <QTimer>
#include <memory>

namespace {

// The paste's steps and their timing, never the text. Off unless turned on
// with QT_LOGGING_RULES.
Q_LOGGING_CATEGORY(lcPaste, "vellumo.paste", QtWarningMsg)

QMimeData *answerData(const QString &text)
{
    auto *data = new QMimeData;
    data->setText(text);
    // GTK asks for this one first; Qt offers text/plain, UTF8_STRING, STRING
    // and TEXT on its own.
    data->setData(QStringLiteral("text/plain;charset=utf-8"), text.toUtf8());
    // Clipboard managers skip entries marked as secret, so answers stay out of histories.
    data->setData(QStringLiteral("x-kde-passwordManagerHint"), QByteArrayLiteral("secret"));
    return data;
}

using Outcome = TextManipulationService::Outcome;

// One replacement, step by step on the main thread's event loop: wait for
// the window to be active, offer the answer, wait for the modifiers to be
// released, post the chord, wait for the read, clear. Deletes itself.
class PasteJob : public QObject {
public:
    struct Platform {
        const platform::Windows &windows;
        const platform::Selections &selections;
        const platform::KeyInput &keys;
    };

    PasteJob(QObject *parent, Platform platform, QString text, quint64 target,
             std::shared_ptr<QPromise<Outcome>> promise)
        : QObject(parent), m_platform(platform), m_text(std::move(text)), m_target(target),
          m_promise(std::move(promise))
    {
        connect(&m_timer, &QTimer::timeout, this, &PasteJob::check);
        m_timer.setInterval(TextManipulationService::checkIntervalMs);
        waitForTarget();
    }

private:
    // Whether the window to paste into is there and active (any window when
    // no target was named).
    std::optional<platform::Window> activeTarget() const
    {
        const auto active = m_platform.windows.active();
        if (!active || (m_target != 0 && active->id != m_target)) {
            return std::nullopt;
        }
        return active;
    }

    void repeatUntil(int timeoutMs, const std::function<bool()> &done,
                     const std::function<void()> &next, const std::function<void()> &expired)
    {
        m_clock.restart();
        m_step = [this, timeoutMs, done, next, expired] {
            if (done()) {
                m_timer.stop();
                next();
            } else if (m_clock.elapsed() >= timeoutMs) {
                m_timer.stop();
                expired();
            }
        };
        m_timer.start();
        check();
    }

    void check()
    {
        // A step may set the next one: the copy keeps this one alive meanwhile.
        const std::function<void()> step = m_step;
        step();
    }

    void waitForTarget()
    {
        repeatUntil(
            TextManipulationService::activationTimeoutMs,
            [this] {
                return (m_target == 0 || m_platform.windows.exists(m_target)) &&
                       activeTarget().has_value();
            },
            [this] { offer(); }, [this] { finish(Outcome::TargetGone); });
    }

    void offer()
    {
        const auto target = activeTarget();
        if (!target) {
            return finish(Outcome::TargetGone);
        }
        m_paste = m_platform.windows.pasteChordFor(*target);
        qint64 reader = m_platform.windows.clientProcessId(target->id);
        if (reader <= 0) {
            reader = target->processId;
        }
        const bool targetHeldClipboard =
            m_platform.selections.ownerProcessId(platform::Selection::Clipboard) == reader;
        m_watch = m_platform.selections.watchReads(reader, true, m_paste.alsoPrimary);
        connect(m_watch.get(), &platform::ClipboardReadWatch::read, this,
                [this] { m_read = true; });
        connect(m_watch.get(), &platform::ClipboardReadWatch::activity, this, [this] {
            m_lastRequest.restart();
            m_looked = true;
        });
        QClipboard *clipboard = QGuiApplication::clipboard();
        clipboard->setMimeData(answerData(m_text), QClipboard::Clipboard);
        if (m_paste.alsoPrimary) {
            clipboard->setMimeData(answerData(m_text), QClipboard::Selection);
        }
        m_offered = true;
        m_offeredAt.start();
        // A modifier the user still holds from the shortcut would change the
        // chord. A target that held the clipboard until now would paste its
        // own earlier copy if the chord came before it has seen (and been
        // answered) that another application owns the clipboard.
        repeatUntil(
            TextManipulationService::modifierReleaseTimeoutMs,
            [this, targetHeldClipboard] {
                const bool looked =
                    !targetHeldClipboard || m_looked ||
                    m_offeredAt.elapsed() >= TextManipulationService::ownerLookTimeoutMs;
                return looked && !m_platform.keys.modifiersHeld();
            },
            [this] { post(); }, [this] { post(); });
    }

    void post()
    {
        // The window may have closed or lost the focus meanwhile: then the
        // answer goes nowhere rather than into whatever is in front now.
        if ((m_target != 0 && !m_platform.windows.exists(m_target)) || !activeTarget()) {
            return finish(Outcome::TargetGone);
        }
        // Reads before the chord (an application looking at a new clipboard
        // on its own) are not the paste.
        m_read = false;
        qCDebug(lcPaste).noquote() << QStringLiteral("Posting the paste chord to window %1, %2 ms "
                                                     "after the answer was offered")
                                          .arg(m_target)
                                          .arg(m_offeredAt.elapsed());
        KeyEventSender(m_platform.keys).send(m_paste.chord);
        m_lastRequest.restart();
        repeatUntil(
            TextManipulationService::readTimeoutMs,
            [this] {
                return m_read && m_lastRequest.elapsed() >= TextManipulationService::readSettleMs;
            },
            [this] {
                // Qt may still think it owns a selection that another client
                // took with an earlier timestamp than Vellumo's (it ignores
                // such a clear notice); clearing then would wipe what the user
                // copied meanwhile. The X server says who owns it now.
                const qint64 self = QCoreApplication::applicationPid();
                QClipboard *clipboard = QGuiApplication::clipboard();
                if (clipboard->ownsClipboard() &&
                    m_platform.selections.ownerProcessId(platform::Selection::Clipboard) == self) {
                    clipboard->clear(QClipboard::Clipboard);
                }
                if (m_paste.alsoPrimary && clipboard->ownsSelection() &&
                    m_platform.selections.ownerProcessId(platform::Selection::Primary) == self) {
                    clipboard->clear(QClipboard::Selection);
                }
                finish(Outcome::Pasted);
            },
            [this] { finish(Outcome::NotRead); });
    }

    void finish(Outcome outcome)
    {
        if (outcome == Outcome::TargetGone && !m_offered) {
            // Not pasted anywhere, but not lost either: the user can paste it.
            QGuiApplication::clipboard()->setMimeData(answerData(m_text), QClipboard::Clipboard);
        }
        m_watch.reset();
        m_promise->addResult(outcome);
        m_promise->finish();
        deleteLater();
    }

    Platform m_platform;
    QString m_text;
    quint64 m_target;
    std::shared_ptr<QPromise<Outcome>> m_promise;
    platform::PasteChord m_paste;
    std::unique_ptr<platform::ClipboardReadWatch> m_watch;
    QTimer m_timer;
    QElapsedTimer m_clock;
    QElapsedTimer m_lastRequest;
    QElapsedTimer m_offeredAt;
    std::function<void()> m_step;
    bool m_offered = false;
    bool m_read = false;
    bool m_looked = false;
};

} // namespace

TextManipulationService::TextManipulationService(const platform::Windows &windows,
                                                 const platform::Selections &selections,
                                                 const platform::KeyInput &keys,
                                                 const platform::OwnText *ownText, QObject *parent)
    : QObject(parent), m_windows(windows), m_selections(selections), m_keys(keys),
      m_ownText(ownText)
{}

quint64 TextManipulationService::ownTarget(quint64 targetWindow) const
{
    if (!m_ownText) {
        return 0;
    }
    quint64 window = targetWindow;
    if (window == 0) {
        const auto active = m_windows.active();
        window = active ? active->id : 0;
    }
    return m_ownText->isOwnWindow(window) ? window : 0;
}

QFuture<Outcome> TextManipulationService::replaceSelectedText(const QString &text,
                                                              quint64 targetWindow)
{
    auto promise = std::make_shared<QPromise<Outcome>>();
    promise->start();
    const quint64 own = ownTarget(targetWindow);
    if (own != 0) {
        const bool taken = m_ownText->replaceSelection(own, text);
        if (!taken) {
            // Not lost: the user can paste it.
            QGuiApplication::clipboard()->setMimeData(answerData(text), QClipboard::Clipboard);
        }
        promise->addResult(taken ? Outcome::Pasted : Outcome::TargetGone);
        promise->finish();
        return promise->future();
    }
    // Owned by the service; deletes itself when done.
    new PasteJob(this, {m_windows, m_selections, m_keys}, text, targetWindow, promise);
    return promise->future();
}
