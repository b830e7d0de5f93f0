// SPDX-License-Identifier: GPL-3.0-or-later
#include "Pasteboard.h"

#include "AccessibilityThread.h"
#include "CaptureLog.h"
#include "Selections.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMimeData>
#include <QSet>

// The wait for a copy that comes after the capture gave up. Its lines carry
// no text, so they are on by default: they tell when a copy of the user's own
// would still get the clipboard put back over it.
Q_LOGGING_CATEGORY(lcLateCopy, "vellumo.capture.latecopy", QtInfoMsg)

namespace {

using platform::Selection;
using platform::SelectionData;

// Targets that describe the transfer rather than the contents, or name
// resources of the owner (windows, pixmaps) that mean nothing once it is gone.
bool isProtocolTarget(const QByteArray &target)
{
    static const QSet<QByteArray> protocol{
        "TARGETS",
        "MULTIPLE",
        "TIMESTAMP",
        "SAVE_TARGETS",
        "DELETE",
        "INSERT_SELECTION",
        "INSERT_PROPERTY",
        "PIXMAP",
        "BITMAP",
        "DRAWABLE",
        "COLORMAP",
        "WINDOW",
        "ATOM",
        "INCR",
        "CLIENT_WINDOW",
        "HOST_NAME",
        "USER",
        "PROCESS",
        "TASK",
        "OWNER_OS",
        "LENGTH",
        "LIST_LENGTH",
        "NAME",
        "CHARACTER_POSITION",
        "LINE_NUMBER",
        "COLUMN_NUMBER",
        "SPAN",
        "FILE_NAME",
        "CLASS",
        "IP_ADDRESS",
    };
    return protocol.contains(target);
}

// The text targets, best first; a restore offers them all again as text/plain.
const QList<QByteArray> &textTargets()
{
    static const QList<QByteArray> targets{
        "UTF8_STRING", "text/plain;charset=utf-8", "text/plain", "STRING", "TEXT", "COMPOUND_TEXT"};
    return targets;
}

// Whether a format is named after the process that owns the clipboard, as
// LibreOffice's "application/x-libreoffice-internal-id-PID" is: that is how an
// application tells its own copy from anyone else's. Offered again by
// Vellumo, such a format would tell the application the clipboard is still
// its own, and it would go on pasting what it copied last (the selection
// Vellumo just read) instead of what was put back.
bool namesOwner(const QByteArray &target, qint64 ownerProcessId)
{
    if (ownerProcessId <= 0 || textTargets().contains(target)) {
        return false;
    }
    const QByteArray pid = QByteArray::number(ownerProcessId);
    if (!target.endsWith(pid) || target.size() == pid.size()) {
        return false;
    }
    const char before = target.at(target.size() - pid.size() - 1);
    return before == '-' || before == '_' || before == '.' || before == '=';
}

// On the accessibility thread: every target with its data, or nothing when
// the owner stopped answering.
std::optional<Pasteboard::Snapshot> readSnapshot(platform::SelectionReader &reader,
                                                 qint64 ownerProcessId)
{
    Pasteboard::Snapshot snapshot;
    if (!reader.hasOwner()) {
        return snapshot;
    }
    const QList<QByteArray> targets = reader.targets(Pasteboard::answerTimeoutMs);
    if (targets.isEmpty()) {
        // An owner that answers nothing at all, not even its targets.
        const SelectionData probe = reader.read("TARGETS", Pasteboard::answerTimeoutMs, 1024);
        if (probe.outcome == SelectionData::Outcome::TimedOut) {
            return std::nullopt;
        }
        return snapshot;
    }
    qsizetype total = 0;
    bool haveText = false;
    for (const QByteArray &target : targets) {
        if (isProtocolTarget(target) || namesOwner(target, ownerProcessId)) {
            continue;
        }
        const bool isText = textTargets().contains(target);
        if (isText && haveText) {
            continue;
        }
        SelectionData data =
            reader.read(target, Pasteboard::answerTimeoutMs, Pasteboard::maxSnapshotBytes - total);
        if (data.outcome == SelectionData::Outcome::TimedOut) {
            return std::nullopt;
        }
        if (data.outcome != SelectionData::Outcome::Ok || data.format != 8) {
            continue; // refused, too large, or not bytes: not offered again
        }
        if (isText && target == "STRING") {
            data.data = QString::fromLatin1(data.data).toUtf8();
        }
        total += data.data.size();
        snapshot.append({isText ? QByteArray("text/plain") : target, data.data});
        haveText = haveText || isText;
    }
    return snapshot;
}

} // namespace

Pasteboard::Pasteboard(const platform::Selections &selections, QObject *parent)
    : QObject(parent), m_selections(selections)
{
    m_clipboard = QGuiApplication::clipboard();
    connect(m_clipboard, &QClipboard::dataChanged, this, &Pasteboard::changed);
    m_lateCopyWindow.setSingleShot(true);
    connect(&m_lateCopyWindow, &QTimer::timeout, this, [this] {
        qCInfo(lcLateCopy).noquote() << "No late copy came; the clipboard stays with its owner";
        discardSnapshot();
    });
}

void Pasteboard::changed()
{
    ++m_changeCount;
    if (!m_lateCopyWindow.isActive() || m_clipboard->ownsClipboard()) {
        return;
    }
    m_lateCopyWindow.stop();
    const qint64 copier = m_lateCopier;
    const quint64 count = m_changeCount;
    AccessibilityThread::instance()
        .run([selections = &m_selections] {
            return selections->ownerProcessId(Selection::Clipboard);
        })
        .then(this, [this, copier, count](qint64 owner) {
            // Someone else's copy, or a newer change: the clipboard is theirs.
            if (owner != copier || count != m_changeCount) {
                discardSnapshot();
                return;
            }
            qCInfo(lcLateCopy).noquote()
                << "The application copied after the wait; the clipboard is put back";
            restorePasteboardContents();
        });
}

void Pasteboard::discardSnapshot()
{
    m_lateCopyWindow.stop();
    m_snapshot.reset();
}

void Pasteboard::restoreAfterLateCopy(qint64 copierProcessId, int withinMs)
{
    if (!m_snapshot || copierProcessId <= 0) {
        discardSnapshot();
        return;
    }
    m_lateCopier = copierProcessId;
    m_lateCopyWindow.start(withinMs);
    qCInfo(lcLateCopy).noquote() << QStringLiteral("Waiting %1 ms for a late copy").arg(withinMs);
}

QMimeData *Pasteboard::mimeDataFor(const Snapshot &snapshot)
{
    auto *data = new QMimeData;
    for (const auto &[format, bytes] : snapshot) {
        data->setData(QString::fromLatin1(format), bytes);
    }
    return data;
}

QFuture<bool> Pasteboard::savePasteboardContents()
{
    if (m_lateCopyWindow.isActive()) {
        discardSnapshot(); // a new capture: the last one's wait is over
    }
    return AccessibilityThread::instance()
        .run([selections = &m_selections] {
            return readSnapshot(*selections->reader(Selection::Clipboard),
                                selections->ownerProcessId(Selection::Clipboard));
        })
        .then(this, [this](const std::optional<Snapshot> &snapshot) {
            if (!snapshot) {
                qCCritical(lcCapture).noquote() << "The clipboard's owner did not answer";
                return false;
            }
            if (!snapshot->isEmpty()) {
                m_snapshot = *snapshot;
            }
            return true;
        });
}

void Pasteboard::restorePasteboardContents()
{
    m_lateCopyWindow.stop();
    if (!m_snapshot) {
        return;
    }
    m_clipboard->setMimeData(mimeDataFor(*m_snapshot), QClipboard::Clipboard);
    m_snapshot.reset();
}

QFuture<std::optional<QString>> Pasteboard::pasteboardString() const
{
    return AccessibilityThread::instance().run([selections =
                                                    &m_selections]() -> std::optional<QString> {
        const auto reader = selections->reader(Selection::Clipboard);
        const SelectionData text = reader->text(answerTimeoutMs, maxSnapshotBytes);
        if (text.outcome != SelectionData::Outcome::Ok) {
            QString printed = QStringLiteral("none");
            if (reader->hasOwner()) {
                const QList<QByteArray> targets = reader->targets(answerTimeoutMs);
                printed = QStringLiteral("[") + QString::fromLatin1(targets.join(", ")) + u']';
            }
            qCInfo(lcCapture).noquote() << QStringLiteral("No string type data found: ") + printed;
            return std::nullopt;
        }
        return QString::fromUtf8(text.data);
    });
}
