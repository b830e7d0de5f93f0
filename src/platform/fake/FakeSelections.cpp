// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeSelections.h"

#include <QString>

namespace platform::fake {

namespace {

class Reader final : public SelectionReader {
public:
    explicit Reader(Selections::Content content) : m_content(std::move(content)) {}

    bool hasOwner() const override { return m_content.ownerProcessId != 0; }

    SelectionData read(const QByteArray &target, int, qsizetype maxBytes) override
    {
        SelectionData answer;
        if (!hasOwner()) {
            return answer;
        }
        if (m_content.hung) {
            answer.outcome = SelectionData::Outcome::TimedOut;
            return answer;
        }
        const auto it = m_content.data.constFind(target);
        if (it == m_content.data.constEnd()) {
            answer.outcome = SelectionData::Outcome::Refused;
            return answer;
        }
        answer.type = target;
        answer.outcome =
            it->size() > maxBytes ? SelectionData::Outcome::TooLarge : SelectionData::Outcome::Ok;
        answer.data = answer.outcome == SelectionData::Outcome::Ok ? *it : QByteArray();
        return answer;
    }

    QList<QByteArray> targets(int) override
    {
        return hasOwner() && !m_content.hung ? m_content.data.keys() : QList<QByteArray>();
    }

    SelectionData text(int timeoutMs, qsizetype maxBytes) override
    {
        return read("UTF8_STRING", timeoutMs, maxBytes);
    }

private:
    Selections::Content m_content;
};

} // namespace

void Selections::setContent(Selection selection, const Content &content)
{
    QMutexLocker lock(&m_mutex);
    (selection == Selection::Primary ? m_primary : m_clipboard) = content;
}

Selections::Content Selections::text(qint64 ownerProcessId, const QString &text)
{
    Content content;
    content.ownerProcessId = ownerProcessId;
    content.data.insert("UTF8_STRING", text.toUtf8());
    content.data.insert("text/plain", text.toUtf8());
    return content;
}

Selections::Content Selections::content(Selection selection) const
{
    QMutexLocker lock(&m_mutex);
    return selection == Selection::Primary ? m_primary : m_clipboard;
}

void Selections::readBy(qint64 processId, Selection selection)
{
    request(processId, selection, true);
}

void Selections::lookBy(qint64 processId, Selection selection)
{
    request(processId, selection, false);
}

void Selections::request(qint64 processId, Selection selection, bool read)
{
    for (const Watch &entry : std::as_const(m_watches)) {
        const bool watched = selection == Selection::Primary ? entry.primary : entry.clipboard;
        if (entry.watch && watched && (entry.reader == 0 || entry.reader == processId)) {
            if (read) {
                QMetaObject::invokeMethod(entry.watch, &ClipboardReadWatch::read,
                                          Qt::QueuedConnection);
            }
            QMetaObject::invokeMethod(entry.watch, &ClipboardReadWatch::activity,
                                      Qt::QueuedConnection);
        }
    }
}

qint64 Selections::ownerProcessId(Selection selection) const
{
    return content(selection).ownerProcessId;
}

std::unique_ptr<SelectionReader> Selections::reader(Selection selection) const
{
    return std::make_unique<Reader>(content(selection));
}

std::unique_ptr<ClipboardReadWatch> Selections::watchReads(qint64 readerProcessId, bool clipboard,
                                                           bool primary) const
{
    auto watch = std::make_unique<ClipboardReadWatch>();
    m_watches.removeIf([](const Watch &entry) { return entry.watch.isNull(); });
    m_watches.append({watch.get(), readerProcessId, clipboard, primary});
    return watch;
}

} // namespace platform::fake
