// SPDX-License-Identifier: GPL-3.0-or-later
#include "BaseInstructionsService.h"

#include "Settings.h"

const QString BaseInstructionsService::defaultBaseInstructions = QStringLiteral(
    "You are a helpful AI assistant that processes text selections. Please follow these "
    "guidelines:\n\n"
    "- Provide clear, concise, and accurate responses\n"
    "- Maintain the original meaning and context when modifying text\n"
    "- Use appropriate tone and style for the given text\n"
    "- If the request is unclear, ask for clarification\n"
    "- Focus on the specific task requested without adding unnecessary information\n"
    "- Preserve formatting when appropriate");

BaseInstructionsService &BaseInstructionsService::shared()
{
    static BaseInstructionsService *instance = new BaseInstructionsService();
    return *instance;
}

BaseInstructionsService::BaseInstructionsService(QObject *parent) : QObject(parent)
{
    loadBaseInstructions();
}

void BaseInstructionsService::setBaseInstructions(const QString &text)
{
    if (text == m_baseInstructions) {
        return;
    }
    m_baseInstructions = text;
    Q_EMIT baseInstructionsChanged(m_baseInstructions);
}

void BaseInstructionsService::loadBaseInstructions()
{
    Settings &settings = Settings::standard();
    const std::optional<QString> stored = settings.baseInstructions();
    if (!stored) {
        setBaseInstructions(defaultBaseInstructions);
        settings.setBaseInstructions(defaultBaseInstructions);
        return;
    }
    setBaseInstructions(*stored);
}

void BaseInstructionsService::saveBaseInstructions()
{
    Settings::standard().setBaseInstructions(m_baseInstructions);
}

QString BaseInstructionsService::composePrompt(const QString &prompt) const
{
    if (m_baseInstructions.trimmed().isEmpty()) {
        return prompt;
    }
    return m_baseInstructions + QStringLiteral("\n\n---\n\n") + prompt;
}
