// SPDX-License-Identifier: GPL-3.0-or-later
#include "AICommand.h"

#include <QHashFunctions>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

std::optional<QUuid> parseUuid(const QString &text)
{
    // The canonical 8-4-4-4-12 form only: no braces, no URN prefix.
    if (text.size() != 36 || text.startsWith(u'{')) {
        return std::nullopt;
    }
    const QUuid uuid = QUuid::fromString(text);
    if (uuid.isNull() && text != QStringLiteral("00000000-0000-0000-0000-000000000000")) {
        return std::nullopt;
    }
    return uuid;
}

} // namespace

QJsonObject AICommand::toJson() const
{
    return QJsonObject{
        {QStringLiteral("id"), id.toString(QUuid::WithoutBraces).toUpper()},
        {QStringLiteral("title"), title},
        {QStringLiteral("prompt"), prompt},
    };
}

std::optional<AICommand> AICommand::fromJson(const QJsonObject &object)
{
    const QJsonValue id = object.value(QLatin1String("id"));
    const QJsonValue title = object.value(QLatin1String("title"));
    const QJsonValue prompt = object.value(QLatin1String("prompt"));
    if (!id.isString() || !title.isString() || !prompt.isString()) {
        return std::nullopt;
    }
    const std::optional<QUuid> uuid = parseUuid(id.toString());
    if (!uuid) {
        return std::nullopt;
    }
    return AICommand(*uuid, title.toString(), prompt.toString());
}

QByteArray AICommand::encodeList(const QList<AICommand> &commands)
{
    QJsonArray array;
    for (const AICommand &command : commands) {
        array.append(command.toJson());
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QList<AICommand>> AICommand::decodeList(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        return std::nullopt;
    }
    const QJsonArray array = document.array();
    QList<AICommand> commands;
    commands.reserve(array.size());
    for (const auto &value : array) {
        if (!value.isObject()) {
            return std::nullopt;
        }
        std::optional<AICommand> command = AICommand::fromJson(value.toObject());
        if (!command) {
            return std::nullopt;
        }
        commands.append(std::move(*command));
    }
    return commands;
}

size_t qHash(const AICommand &command, size_t seed) noexcept
{
    return qHashMulti(seed, command.id, command.title, command.prompt);
}

QString composeCommandPrompt(const QString &prompt, const QString &selectedText)
{
    static const QString placeholder = QStringLiteral("{text}");
    if (prompt.contains(placeholder)) {
        QString composed = prompt;
        return composed.replace(placeholder, selectedText);
    }
    return prompt + QStringLiteral("\n\nText to process: ") + selectedText;
}
