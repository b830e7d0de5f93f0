#include "Pasteboard.h"

#include "CaptureLog.h"

#include <QGuiApplication>

Pasteboard &Pasteboard::general()
{
    static Pasteboard *instance = new Pasteboard; // lives as long as the application
    return *instance;
}

Pasteboard::Pasteboard() : QObject(QGuiApplication::instance())
{
    m_clipboard = QGuiApplication::clipboard();
    connect(m_clipboard, &QClipboard::dataChanged, this, [this] { ++m_changeCount; });
}

void Pasteboard::savePasteboardContents()
{
    const QMimeData *current = m_clipboard->mimeData(QClipboard::Clipboard);
    if (!current) {
        return;
    }
    const QStringList formats = current->formats();
    if (formats.isEmpty()) {
        return;
    }
    auto copy = std::make_unique<QMimeData>();
    for (const QString &format : formats) {
        const QByteArray data = current->data(format);
        if (!data.isNull()) {
            copy->setData(format, data);
        }
    }
    m_snapshot = std::move(copy);
}

void Pasteboard::restorePasteboardContents()
{
    if (!m_snapshot) {
        return;
    }
    m_clipboard->setMimeData(m_snapshot.release(), QClipboard::Clipboard);
}

std::optional<QString> Pasteboard::pasteboardString() const
{
    const QMimeData *current = m_clipboard->mimeData(QClipboard::Clipboard);
    const QStringList formats = current ? current->formats() : QStringList();
    if (formats.contains(QStringLiteral("text/plain"))) {
        return current->text();
    }
    QString printed = QStringLiteral("nil");
    if (!formats.isEmpty()) {
        printed =
            QStringLiteral("[\"") + formats.join(QStringLiteral("\", \"")) + QStringLiteral("\"]");
    }
    qCInfo(lcCapture).noquote() << QStringLiteral("No string type data found: ") + printed;
    return std::nullopt;
}
