#include "BaseInstructionsService.h"

#include "DefaultsStore.h"

const QString BaseInstructionsService::defaultBaseInstructions = QStringLiteral(
    "You are a helpful AI assistant that processes text selections. Please follow these "
    "guidelines:\n\n"
    "- Provide clear, concise, and accurate responses\n"
    "- Maintain the original meaning and context when modifying text\n"
    "- Use appropriate tone and style for the given text\n"
    "- If the request is unclear, ask for clarification\n"
    "- Focus on the specific task requested without adding unnecessary information\n"
    "- Preserve formatting when appropriate");

const QString BaseInstructionsService::userDefaultsKey = QStringLiteral("base_ai_instructions");

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
    DefaultsStore &store = DefaultsStore::standard();
    const std::optional<QString> stored = store.text(userDefaultsKey);
    if (!stored) {
        setBaseInstructions(defaultBaseInstructions);
        store.setText(userDefaultsKey, defaultBaseInstructions);
        return;
    }
    setBaseInstructions(*stored);
}

void BaseInstructionsService::saveBaseInstructions()
{
    DefaultsStore::standard().setText(userDefaultsKey, m_baseInstructions);
}

QString BaseInstructionsService::composePrompt(const QString &prompt) const
{
    if (m_baseInstructions.trimmed().isEmpty()) {
        return prompt;
    }
    return m_baseInstructions + QStringLiteral("\n\n---\n\n") + prompt;
}
