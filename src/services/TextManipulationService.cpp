#include "TextManipulationService.h"

#include "ClipboardReadWatch.h"
#include "X11Windows.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>
#include <QPointer>
#include <QPromise>
#include <QTimer>
#include <memory>

namespace {

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
    PasteJob(QObject *parent, QString text, quint64 target,
             std::shared_ptr<QPromise<Outcome>> promise)
        : QObject(parent), m_text(std::move(text)), m_target(target), m_promise(std::move(promise))
    {
        connect(&m_timer, &QTimer::timeout, this, &PasteJob::check);
        m_timer.setInterval(TextManipulationService::checkIntervalMs);
        waitForTarget();
    }

private:
    // Whether the window to paste into is there and active (any window when
    // no target was named).
    std::optional<X11Windows::WindowInfo> activeTarget() const
    {
        const auto active = X11Windows::activeWindow();
        if (!active || (m_target != 0 && active->windowId != m_target)) {
            return std::nullopt;
        }
        return active;
    }

    void repeatUntil(int timeoutMs, std::function<bool()> done, std::function<void()> next,
                     std::function<void()> expired)
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
                return (m_target == 0 || X11Windows::windowExists(m_target)) &&
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
        m_paste = TextManipulationService::pasteChordFor(target->wmClassName,
                                                         target->wmClassClass);
        qint64 reader = X11Windows::windowProcessId(target->windowId);
        if (reader <= 0) {
            reader = target->processId;
        }
        m_watch = std::make_unique<ClipboardReadWatch>(reader, true, m_paste.alsoPrimary);
        connect(m_watch.get(), &ClipboardReadWatch::read, this, [this] { m_read = true; });
        connect(m_watch.get(), &ClipboardReadWatch::activity, this,
                [this] { m_lastRequest.restart(); });
        QClipboard *clipboard = QGuiApplication::clipboard();
        clipboard->setMimeData(answerData(m_text), QClipboard::Clipboard);
        if (m_paste.alsoPrimary) {
            clipboard->setMimeData(answerData(m_text), QClipboard::Selection);
        }
        m_offered = true;
        // A modifier the user still holds from the shortcut would change the chord.
        repeatUntil(
            TextManipulationService::modifierReleaseTimeoutMs,
            [] { return !KeySynthesis::modifiersHeld(); }, [this] { post(); },
            [this] { post(); });
    }

    void post()
    {
        // The window may have closed or lost the focus meanwhile: then the
        // answer goes nowhere rather than into whatever is in front now.
        if ((m_target != 0 && !X11Windows::windowExists(m_target)) || !activeTarget()) {
            return finish(Outcome::TargetGone);
        }
        // Reads before the chord (an application looking at a new clipboard
        // on its own) are not the paste.
        m_read = false;
        KeySynthesis::post(m_paste.chord);
        m_lastRequest.restart();
        repeatUntil(
            TextManipulationService::readTimeoutMs,
            [this] {
                return m_read &&
                       m_lastRequest.elapsed() >= TextManipulationService::readSettleMs;
            },
            [this] {
                QClipboard *clipboard = QGuiApplication::clipboard();
                if (clipboard->ownsClipboard()) {
                    clipboard->clear(QClipboard::Clipboard);
                }
                if (m_paste.alsoPrimary && clipboard->ownsSelection()) {
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

    QString m_text;
    quint64 m_target;
    std::shared_ptr<QPromise<Outcome>> m_promise;
    TextManipulationService::PasteChord m_paste;
    std::unique_ptr<ClipboardReadWatch> m_watch;
    QTimer m_timer;
    QElapsedTimer m_clock;
    QElapsedTimer m_lastRequest;
    std::function<void()> m_step;
    bool m_offered = false;
    bool m_read = false;
};

} // namespace

TextManipulationService::TextManipulationService(QObject *parent) : QObject(parent) {}

TextManipulationService::PasteChord
TextManipulationService::pasteChordFor(const QString &wmClassName, const QString &wmClassClass)
{
    const QString name = wmClassName.toLower();
    const QString cls = wmClassClass.toLower();
    PasteChord paste;
    if (cls == u"xterm" || name == u"xterm" || cls == u"uxterm") {
        paste.chord = {{QStringLiteral("Shift_L")}, QStringLiteral("Insert")};
        paste.alsoPrimary = true;
        return paste;
    }
    static const QStringList terminals{
        QStringLiteral("gnome-terminal"), QStringLiteral("gnome-terminal-server"),
        QStringLiteral("konsole"),        QStringLiteral("xfce4-terminal"),
        QStringLiteral("terminator"),     QStringLiteral("tilix"),
        QStringLiteral("alacritty"),      QStringLiteral("kitty"),
        QStringLiteral("urxvt"),          QStringLiteral("rxvt"),
        QStringLiteral("st-256color"),    QStringLiteral("lxterminal"),
        QStringLiteral("mate-terminal"),  QStringLiteral("qterminal"),
        QStringLiteral("terminology"),    QStringLiteral("org.wezfurlong.wezterm"),
        QStringLiteral("foot"),           QStringLiteral("sakura"),
        QStringLiteral("guake"),          QStringLiteral("tilda"),
        QStringLiteral("yakuake"),        QStringLiteral("cool-retro-term"),
    };
    if (terminals.contains(name) || terminals.contains(cls)) {
        paste.chord = {{QStringLiteral("Control_L"), QStringLiteral("Shift_L")},
                       QStringLiteral("v")};
        return paste;
    }
    paste.chord = {{QStringLiteral("Control_L")}, QStringLiteral("v")};
    return paste;
}

QFuture<Outcome> TextManipulationService::replaceSelectedText(const QString &text,
                                                              quint64 targetWindow)
{
    auto promise = std::make_shared<QPromise<Outcome>>();
    promise->start();
    new PasteJob(this, text, targetWindow, promise);
    return promise->future();
}
