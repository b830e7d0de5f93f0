// SPDX-License-Identifier: GPL-3.0-or-later
#include "TryItStepView.h"

#include "Console.h"
#include "OnboardingStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QShowEvent>
#include <QVBoxLayout>

namespace {

constexpr int numberSize = 18;
constexpr int testAreaHeight = 120;

} // namespace

TryItStepView::TryItStepView(std::function<void()> setupGlobalShortcut, QWidget *parent)
    : StepView(OnboardingStyle::Symbol::pointer, QStringLiteral("Try It Out!"),
               QStringLiteral("Select some text below and press your keyboard shortcut to test "
                              "Vellumo."),
               parent),
      m_setupGlobalShortcut(std::move(setupGlobalShortcut)), m_testArea(new QPlainTextEdit(this))
{
    auto *card = new OnboardingCard(this);
    auto *heading = new QLabel(QStringLiteral("Test Area"), card);
    heading->setFont(OnboardingStyle::font(16, QFont::Medium));
    card->contentLayout()->addWidget(heading);
    m_testArea->setObjectName(QStringLiteral("testArea"));
    m_testArea->setAccessibleName(QStringLiteral("Test Area"));
    m_testArea->setPlainText(sampleText);
    m_testArea->setFont(OnboardingStyle::font(14));
    m_testArea->setFixedHeight(testAreaHeight);
    // Tab leaves the area for the guide's buttons, as in a form.
    m_testArea->setTabChangesFocus(true);
    card->contentLayout()->addWidget(m_testArea);
    addContent(card);

    auto *instructions = new QWidget(this);
    auto *rows = new QVBoxLayout(instructions);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(10);
    const QStringList lines{QStringLiteral("Select some text above"),
                            QStringLiteral("Press your keyboard shortcut"),
                            QStringLiteral("Choose an AI command")};
    for (const QString &line : lines) {
        auto *row = new QHBoxLayout;
        row->setSpacing(10);
        auto *number = new QLabel(instructions);
        number->setFixedSize(numberSize, numberSize);
        m_numbers.append(number);
        auto *text = new QLabel(line, instructions);
        text->setFont(OnboardingStyle::font(14));
        row->addWidget(number);
        row->addWidget(text, 1);
        rows->addLayout(row);
    }
    addContent(instructions, Qt::AlignHCenter);
    applyColors();
}

QWidget *TryItStepView::initialFocus() const
{
    return m_testArea;
}

void TryItStepView::showEvent(QShowEvent *event)
{
    StepView::showEvent(event);
    if (m_shown || event->spontaneous()) {
        return;
    }
    m_shown = true;
    Console::printLine(QStringLiteral("trigger global shortcut setup"));
    if (m_setupGlobalShortcut) {
        m_setupGlobalShortcut();
    }
}

void TryItStepView::applyColors()
{
    const QPalette &pal = palette();
    for (int i = 0; i < m_numbers.size(); ++i) {
        m_numbers.at(i)->setPixmap(OnboardingStyle::numberMark(
            i + 1, OnboardingStyle::accentColor(pal), numberSize, devicePixelRatioF()));
    }
    m_testArea->setStyleSheet(
        QStringLiteral("QPlainTextEdit { background: %1; border: 1px solid %2; border-radius: 8px;"
                       " padding: 4px; }"
                       "QPlainTextEdit:focus { border-color: %3; }")
            .arg(pal.color(QPalette::Active, QPalette::Base).name(),
                 OnboardingStyle::separatorColor(pal).name(),
                 OnboardingStyle::accentColor(pal).name()));
}
