#include "TextManipulationService.h"

#include "X11Windows.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QPromise>
#include <QTimer>
#include <QtConcurrent>
#include <memory>

namespace {

QMimeData *answerData(const QString &text)
{
    auto *data = new QMimeData;
    data->setText(text);
    // Clipboard managers skip entries marked as secret, so answers stay out of histories.
    data->setData(QStringLiteral("x-kde-passwordManagerHint"), QByteArrayLiteral("secret"));
    return data;
}

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

QFuture<void> TextManipulationService::replaceSelectedText(const QString &text)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    const auto active = X11Windows::activeWindow();
    const PasteChord paste = active ? pasteChordFor(active->wmClassName, active->wmClassClass)
                                    : pasteChordFor(QString(), QString());

    clipboard->clear(QClipboard::Clipboard);
    clipboard->setMimeData(answerData(text), QClipboard::Clipboard);
    if (paste.alsoPrimary) {
        clipboard->setMimeData(answerData(text), QClipboard::Selection);
    }

    auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    QtConcurrent::run([chord = paste.chord] {
        // A modifier the user still holds from the shortcut would change the chord.
        KeySynthesis::waitUntilModifiersReleased(modifierReleaseTimeoutMs);
        KeySynthesis::post(chord);
    }).then(this, [this, promise, alsoPrimary = paste.alsoPrimary] {
        QTimer::singleShot(pasteWaitMs, this, [promise, alsoPrimary] {
            QClipboard *clipboard = QGuiApplication::clipboard();
            clipboard->clear(QClipboard::Clipboard);
            if (alsoPrimary) {
                clipboard->clear(QClipboard::Selection);
            }
            promise->finish();
        });
    });
    return promise->future();
}
