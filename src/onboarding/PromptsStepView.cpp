// SPDX-License-Identifier: GPL-3.0-or-later
#include "PromptsStepView.h"

#include "CommandStore.h"
#include "OnboardingStyle.h"
#include "Settings.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

constexpr int addedMarkSize = 16;

QFont emojiFont()
{
    QFont font = OnboardingStyle::font(16);
    // Colour emoji where the desktop has them; the text font's otherwise.
    font.setFamilies({QStringLiteral("Noto Color Emoji"), font.family()});
    return font;
}

} // namespace

CommandExampleRow::CommandExampleRow(const QString &icon, const QString &title, QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("commandExample"));
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    auto *emoji = new QLabel(icon, this);
    emoji->setFont(emojiFont());
    emoji->setFixedWidth(24);
    emoji->setAlignment(Qt::AlignCenter);
    auto *text = new QLabel(title, this);
    text->setObjectName(QStringLiteral("commandTitle"));
    text->setFont(OnboardingStyle::font(14));
    row->addWidget(emoji);
    row->addWidget(text, 1);
}

PromptsStepView::PromptsStepView(QWidget *parent)
    : StepView(OnboardingStyle::Symbol::bubble, QStringLiteral("Add Default Commands"),
               QStringLiteral("We'll add some useful AI commands to get you started. You can "
                              "customize these later in settings."),
               parent),
      m_add(new QPushButton(QStringLiteral("Add Default Commands"), this)),
      m_addedMark(new QLabel(this)), m_added(new QLabel(QStringLiteral("Default commands added"))),
      m_more(new QLabel(QStringLiteral("+ 3 more commands"), this)),
      m_state(new QStackedWidget(this))
{
    auto *card = new OnboardingCard(this);
    QVBoxLayout *rows = card->contentLayout();
    rows->setSpacing(10);
    // What the default list holds; the step names five of its eight.
    const QList<std::pair<QString, QString>> examples{
        {QStringLiteral("✍️"), QStringLiteral("Rewrite text differently")},
        {QStringLiteral("📝"), QStringLiteral("Make text more concise")},
        {QStringLiteral("🇩🇪"), QStringLiteral("Translate to German")},
        {QStringLiteral("📈"), QStringLiteral("Expand with more details")},
        {QStringLiteral("✅"), QStringLiteral("Fix grammar and spelling")},
    };
    for (const auto &[icon, title] : examples) {
        rows->addWidget(new CommandExampleRow(icon, title, card));
    }
    m_more->setObjectName(QStringLiteral("moreCommands"));
    m_more->setFont(OnboardingStyle::font(14));
    rows->addWidget(m_more);

    m_add->setObjectName(QStringLiteral("addDefaultCommands"));
    m_add->setCursor(Qt::PointingHandCursor);
    auto *buttonPage = new QWidget(m_state);
    auto *buttonRow = new QHBoxLayout(buttonPage);
    buttonRow->setContentsMargins(0, 0, 0, 0);
    buttonRow->addStretch(1);
    buttonRow->addWidget(m_add);
    buttonRow->addStretch(1);
    auto *addedPage = new QWidget(m_state);
    auto *addedRow = new QHBoxLayout(addedPage);
    addedRow->setContentsMargins(0, 0, 0, 0);
    addedRow->setSpacing(6);
    m_addedMark->setParent(addedPage);
    m_addedMark->setFixedSize(addedMarkSize, addedMarkSize);
    m_added->setParent(addedPage);
    m_added->setObjectName(QStringLiteral("commandsAdded"));
    m_added->setFont(OnboardingStyle::font(14, QFont::Medium));
    addedRow->addStretch(1);
    addedRow->addWidget(m_addedMark);
    addedRow->addWidget(m_added);
    addedRow->addStretch(1);
    m_state->addWidget(buttonPage);
    m_state->addWidget(addedPage);
    m_state->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    rows->addSpacing(4);
    rows->addWidget(m_state);
    addContent(card);

    connect(m_add, &QPushButton::clicked, this, &PromptsStepView::addDefaultCommands);
    applyColors();
    showSeeded(Settings::standard().hasSeededDefaultPrompts());
}

QWidget *PromptsStepView::initialFocus() const
{
    return m_seeded ? nullptr : m_add;
}

void PromptsStepView::addDefaultCommands()
{
    if (m_seeded) {
        return;
    }
    CommandStore::addDefaultCommands();
    Settings::standard().setHasSeededDefaultPrompts(true);
    showSeeded(true);
}

void PromptsStepView::showSeeded(bool seeded)
{
    const bool changed = seeded != m_seeded;
    m_seeded = seeded;
    m_state->setCurrentIndex(seeded ? 1 : 0);
    if (changed) {
        Q_EMIT seededChanged(seeded);
    }
}

void PromptsStepView::applyColors()
{
    const QPalette &pal = palette();
    const QColor green = OnboardingStyle::successColor(pal);
    m_addedMark->setPixmap(
        OnboardingStyle::statusMark(true, green, addedMarkSize, devicePixelRatioF()));
    setTextColor(m_added, green);
    makeSecondary(m_more);
    OnboardingStyle::makeProminent(m_add);
}
