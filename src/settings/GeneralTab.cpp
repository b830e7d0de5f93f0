// SPDX-License-Identifier: GPL-3.0-or-later
#include "GeneralTab.h"

#include "BaseInstructionsService.h"
#include "CommandStore.h"
#include "GlobalShortcuts.h"
#include "LoginItem.h"
#include "SettingsCard.h"
#include "SettingsStyle.h"
#include "ShortcutRecorder.h"
#include "ToggleSwitch.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

constexpr int statusIconSize = 16;

// An icon and a word side by side: the accessibility status, "Added".
QWidget *statusRow(QLabel *icon, QLabel *text, QWidget *parent)
{
    auto *row = new QWidget(parent);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    icon->setFixedSize(statusIconSize, statusIconSize);
    text->setFont(SettingsStyle::bodyFont());
    layout->addWidget(icon);
    layout->addWidget(text);
    layout->addStretch(1);
    return row;
}

} // namespace

GeneralTab::GeneralTab(const platform::LoginItem &loginItem, BaseInstructionsService &instructions,
                       TrustTest trustTest, QWidget *parent)
    : QWidget(parent), m_loginItem(loginItem), m_instructionsService(instructions),
      m_accessibility(new AccessibilityPermission(std::move(trustTest), this))
{
    setObjectName(QStringLiteral("generalTab"));
    auto *column = new GradientBackground;
    column->setObjectName(QStringLiteral("generalColumn"));
    auto *cards = new QVBoxLayout(column);
    cards->setContentsMargins(20, 18, 20, 20);
    cards->setSpacing(10);
    cards->addWidget(shortcutCard());
    cards->addWidget(launchCard());
    cards->addWidget(accessibilityCard());
    cards->addWidget(instructionsCard());
    cards->addWidget(defaultPromptsCard());
    cards->addStretch(1);

    auto *scroll = new QScrollArea(this);
    scroll->setObjectName(QStringLiteral("generalScroll"));
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->setWidget(column);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(scroll);

    connect(m_accessibility, &AccessibilityPermission::grantedChanged, this,
            &GeneralTab::showAccessibility);
    applyColors();
}

QWidget *GeneralTab::shortcutCard()
{
    auto *card = new SettingsCard(
        SettingsStyle::Icon::keyboard, QStringLiteral("Keyboard Shortcuts"),
        QStringLiteral("Set the keyboard shortcut to show the AI popup when text is selected."));
    card->contentLayout()->addLayout(
        showPopupRecorderRow(card, SettingsStyle::bodyFont(), &m_recorder));
    return card;
}

QWidget *GeneralTab::launchCard()
{
    auto *card = new SettingsCard(SettingsStyle::Icon::login, QStringLiteral("Launch at Login"),
                                  QStringLiteral("Automatically launch Vellumo when you log in."));
    m_launchAtLogin = new ToggleSwitch(QStringLiteral("Launch at login"), card);
    m_launchAtLogin->setObjectName(QStringLiteral("launchAtLogin"));
    m_launchAtLogin->setFont(SettingsStyle::bodyFont());
    m_launchAtLogin->setChecked(m_loginItem.isEnabled());
    connect(m_launchAtLogin, &ToggleSwitch::clicked, this, &GeneralTab::setLaunchAtLogin);
    card->contentLayout()->addWidget(m_launchAtLogin, 0, Qt::AlignLeft);
    return card;
}

void GeneralTab::setLaunchAtLogin(bool enabled)
{
    m_loginItem.setEnabled(enabled);
    // What the desktop has now, also when the change failed (it is logged).
    m_launchAtLogin->setChecked(m_loginItem.isEnabled());
}

QWidget *GeneralTab::accessibilityCard()
{
    auto *card = new SettingsCard(
        SettingsStyle::Icon::accessibility, QStringLiteral("Accessibility"),
        QStringLiteral("Required to detect text selection and position the AI popup near your "
                       "cursor across all applications."));
    m_accessIcon = new QLabel(card);
    m_accessStatus = new QLabel(card);
    m_accessStatus->setObjectName(QStringLiteral("accessibilityStatus"));
    auto *row = new QHBoxLayout;
    row->addWidget(statusRow(m_accessIcon, m_accessStatus, card), 1);
    m_grant = new QPushButton(QStringLiteral("Grant Permission"), card);
    m_grant->setObjectName(QStringLiteral("grantPermission"));
    m_grant->setCursor(Qt::PointingHandCursor);
    connect(m_grant, &QPushButton::clicked, this, &GeneralTab::grantPermission);
    row->addWidget(m_grant);
    card->contentLayout()->addLayout(row);
    m_restartNote = makeDescription(
        QStringLiteral("Applications that were already running may need a restart before "
                       "Vellumo can read their text."),
        card);
    m_restartNote->setObjectName(QStringLiteral("restartNote"));
    m_restartNote->hide();
    card->contentLayout()->addWidget(m_restartNote);
    showAccessibility(false);
    return card;
}

void GeneralTab::showAccessibility(bool granted)
{
    const QPalette &pal = palette();
    m_accessIcon->setPixmap(SettingsStyle::tintedPixmap(
        granted ? SettingsStyle::Icon::check : SettingsStyle::Icon::cross,
        granted ? SettingsStyle::successColor(pal) : SettingsStyle::errorColor(pal), statusIconSize,
        devicePixelRatioF()));
    m_accessStatus->setText(granted ? QStringLiteral("Granted") : QStringLiteral("Not Granted"));
    m_grant->setVisible(!granted);
}

void GeneralTab::grantPermission()
{
    m_restartNote->show();
    m_accessibility->grant();
}

QWidget *GeneralTab::instructionsCard()
{
    auto *card = new SettingsCard(
        SettingsStyle::Icon::instructions, QStringLiteral("Base AI Instructions"),
        QStringLiteral("These instructions will be prepended to all AI prompts to shape the "
                       "response style and behavior."));
    m_instructions = new QPlainTextEdit(card);
    m_instructions->setObjectName(QStringLiteral("baseInstructions"));
    m_instructions->setFont(SettingsStyle::editorFont());
    m_instructions->setMinimumHeight(100);
    m_instructions->setTabChangesFocus(true);
    m_instructions->setPlainText(m_instructionsService.baseInstructions());
    connect(m_instructions, &QPlainTextEdit::textChanged, this, [this] {
        // The whole text at every keystroke, so nothing typed is lost.
        m_instructionsService.setBaseInstructions(m_instructions->toPlainText());
        m_instructionsService.saveBaseInstructions();
    });
    connect(&m_instructionsService, &BaseInstructionsService::baseInstructionsChanged, this,
            [this](const QString &text) {
                if (text != m_instructions->toPlainText()) {
                    m_instructions->setPlainText(text);
                }
            });
    card->contentLayout()->addWidget(m_instructions);
    return card;
}

QWidget *GeneralTab::defaultPromptsCard()
{
    auto *card = new SettingsCard(
        SettingsStyle::Icon::defaults, QStringLiteral("Default Prompts"),
        QStringLiteral("Add predefined AI commands to your prompts list for quick access to common "
                       "text operations."));
    m_defaultsState = new QStackedWidget(card);
    m_addDefaults = new QPushButton(QStringLiteral("Add Default Prompts"), m_defaultsState);
    m_addDefaults->setObjectName(QStringLiteral("addDefaultPrompts"));
    m_addDefaults->setCursor(Qt::PointingHandCursor);
    auto *buttonPage = new QWidget(m_defaultsState);
    auto *buttonLayout = new QHBoxLayout(buttonPage);
    buttonLayout->setContentsMargins(0, 0, 0, 0);
    buttonLayout->addWidget(m_addDefaults);
    buttonLayout->addStretch(1);
    m_addedIcon = new QLabel(m_defaultsState);
    auto *added = new QLabel(QStringLiteral("Added"), m_defaultsState);
    added->setObjectName(QStringLiteral("defaultPromptsAdded"));
    m_defaultsState->addWidget(buttonPage);
    m_defaultsState->addWidget(statusRow(m_addedIcon, added, m_defaultsState));
    m_defaultsState->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    connect(m_addDefaults, &QPushButton::clicked, this, [this] {
        CommandStore::addDefaultCommands();
        m_defaultsState->setCurrentIndex(1);
    });
    card->contentLayout()->addWidget(m_defaultsState);
    return card;
}

void GeneralTab::applyColors()
{
    const QPalette &pal = palette();
    m_addedIcon->setPixmap(SettingsStyle::tintedPixmap(SettingsStyle::Icon::check,
                                                       SettingsStyle::successColor(pal),
                                                       statusIconSize, devicePixelRatioF()));
    showAccessibility(m_accessibility->isGranted());
    const QColor accent = SettingsStyle::accentColor(pal);
    const QString buttons = SettingsStyle::prominentButtonSheet(pal);
    m_grant->setStyleSheet(buttons);
    m_addDefaults->setStyleSheet(buttons);
    m_instructions->setStyleSheet(
        QStringLiteral("QPlainTextEdit { background: %1; border: 1px solid %2; border-radius: 6px;"
                       " padding: 4px; }"
                       "QPlainTextEdit:focus { border: 1px solid %3; }")
            .arg(pal.color(QPalette::Active, QPalette::Base).name(),
                 SettingsStyle::borderColor(pal).name(), accent.name()));
}

void GeneralTab::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
    QWidget::changeEvent(event);
}

void GeneralTab::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // Without prompting: looking must not change the session.
    showAccessibility(m_accessibility->check());
    m_launchAtLogin->setChecked(m_loginItem.isEnabled());
}
