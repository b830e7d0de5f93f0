// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

// A named prompt template that the user picks in the popup. "{text}" in the
// prompt marks where the selected text goes.
struct AICommand {
    QUuid id = QUuid::createUuid();
    QString title;
    QString prompt;

    AICommand() = default;
    AICommand(QString title, QString prompt) : title(std::move(title)), prompt(std::move(prompt)) {}
    AICommand(QUuid id, QString title, QString prompt)
        : id(id), title(std::move(title)), prompt(std::move(prompt))
    {}

    friend bool operator==(const AICommand &, const AICommand &) = default;

    // {"id": upper-case UUID text, "title": ..., "prompt": ...}
    QJsonObject toJson() const;
    // All three keys are required and must be strings; "id" must be a UUID in
    // its 36-character form, in either letter case.
    static std::optional<AICommand> fromJson(const QJsonObject &object);

    static QByteArray encodeList(const QList<AICommand> &commands);
    // Fails as a whole when any element fails.
    static std::optional<QList<AICommand>> decodeList(const QByteArray &json);
};

size_t qHash(const AICommand &command, size_t seed = 0) noexcept;

// The prompt part of a command run: every "{text}" (case-sensitive) replaced
// by the selected text, or, without a placeholder, the text appended after
// "\n\nText to process: ". Neither input is trimmed.
QString composeCommandPrompt(const QString &prompt, const QString &selectedText);
