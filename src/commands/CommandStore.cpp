// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandStore.h"

#include "Settings.h"

#include <QMutex>
#include <QSet>

namespace CommandStore {

namespace {

// Titles compare under Unicode canonical equivalence: a decomposed accent
// equals its precomposed form.
QString titleKey(const QString &title)
{
    return title.normalized(QString::NormalizationForm_C);
}

} // namespace

const QList<AICommand> &defaultCommands()
{
    // A function-local static is built once, safely even from two threads.
    static const QList<AICommand> commands{
        AICommand(QStringLiteral("✍️ Rewrite this text in a different way"),
                  QStringLiteral("Rewrite the following text in a different way while maintaining "
                                 "the same meaning: {text}")),
        AICommand(
            QStringLiteral("📝 Shorten this text to be more concise"),
            QStringLiteral(
                "Make the following text more concise while keeping the key information: {text}")),
        AICommand(QStringLiteral("🇩🇪 Translate to German"),
                  QStringLiteral("Translate the following text to German: {text}")),
        AICommand(
            QStringLiteral("📈 Expand this text with more details"),
            QStringLiteral("Expand the following text with more details and context: {text}")),
        AICommand(QStringLiteral("📋 Summarize the key points of this text"),
                  QStringLiteral("Summarize the key points of the following text: {text}")),
        AICommand(
            QStringLiteral("✅ Fix grammar and spelling errors"),
            QStringLiteral("Fix any grammar and spelling errors in the following text: {text}")),
        AICommand(QStringLiteral("🔄 Rephrase this text differently"),
                  QStringLiteral("Rephrase the following text in a different way: {text}")),
        AICommand(
            QStringLiteral("➡️ Continue writing from this point"),
            QStringLiteral(
                "Continue writing from this point, maintaining the same style and tone: {text}")),
    };
    return commands;
}

QList<AICommand> loadStoredCommands()
{
    const std::optional<QByteArray> stored = Settings::standard().prompts();
    if (!stored) {
        return {};
    }
    // The store is read on every call. Decoding is remembered for the exact
    // bytes last decoded only, so it can never answer for a changed value; it
    // keeps the popup's per-keystroke recomputation cheap with long lists.
    static QMutex mutex;
    static QByteArray lastBytes;
    static QList<AICommand> lastDecoded;
    const QMutexLocker locker(&mutex);
    if (stored->size() != lastBytes.size() || *stored != lastBytes) {
        lastDecoded = AICommand::decodeList(*stored).value_or(QList<AICommand>{});
        lastBytes = *stored;
    }
    return lastDecoded;
}

void saveStoredCommands(const QList<AICommand> &commands)
{
    Settings::standard().setPrompts(AICommand::encodeList(commands));
}

void addDefaultCommands()
{
    QList<AICommand> stored = loadStoredCommands();
    QSet<QString> titles;
    for (const AICommand &command : std::as_const(stored)) {
        titles.insert(titleKey(command.title));
    }
    qsizetype added = 0;
    for (const AICommand &command : defaultCommands()) {
        if (!titles.contains(titleKey(command.title))) {
            stored.append(command);
            ++added;
        }
    }
    if (added > 0) {
        saveStoredCommands(stored);
    }
}

QList<AICommand> availableCommands(const QString &searchText)
{
    const QList<AICommand> stored = loadStoredCommands();
    const QList<AICommand> &defaults = defaultCommands();

    QList<AICommand> merged;
    merged.reserve(stored.size() + defaults.size());
    QSet<QString> seen;
    seen.reserve(stored.size() + defaults.size());
    auto take = [&](const AICommand &command) {
        QString key = titleKey(command.title);
        if (!seen.contains(key)) {
            seen.insert(std::move(key));
            merged.append(command);
        }
    };
    for (const AICommand &command : stored) {
        take(command);
    }
    for (const AICommand &command : defaults) {
        take(command);
    }

    if (searchText.isEmpty()) {
        return merged;
    }
    const QString needle = titleKey(searchText);
    QList<AICommand> matching;
    for (const AICommand &command : std::as_const(merged)) {
        if (titleKey(command.title).contains(needle, Qt::CaseInsensitive)) {
            matching.append(command);
        }
    }
    return matching;
}

} // namespace CommandStore
