// SPDX-License-Identifier: GPL-3.0-or-later
#include "OnboardingView.h"

#include "AccessibilityStepView.h"
#include "OnboardingProgressView.h"
#include "OnboardingStyle.h"
#include "PromptsStepView.h"
#include "Settings.h"
#include "ShortcutStepView.h"
#include "TryItStepView.h"
#include "VendorConfig.h"
#include "VendorManager.h"
#include "VendorStepView.h"
#include "WelcomeStepView.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QVBoxLayout>

OnboardingView::OnboardingView(const Services &services, QWidget *parent)
    : QWidget(parent), m_services(services), m_accessibility(services.trustTest),
      m_subtitle(new QLabel(QStringLiteral("Let's get you set up in just a few steps"), this)),
      m_progress(new OnboardingProgressView(this)), m_scroll(new QScrollArea(this)),
      m_previous(new QPushButton(QStringLiteral("Previous"), this)), m_next(new QPushButton(this))
{
    setObjectName(QStringLiteral("onboardingView"));
    setAutoFillBackground(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    const int pad = OnboardingStyle::stepPadding;
    auto *header = new QVBoxLayout;
    header->setContentsMargins(pad, 32, pad, 20);
    header->setSpacing(8);
    auto *title = new QLabel(QStringLiteral("Welcome to Vellumo"), this);
    title->setObjectName(QStringLiteral("heading"));
    title->setFont(OnboardingStyle::largeTitleFont());
    title->setAlignment(Qt::AlignCenter);
    m_subtitle->setObjectName(QStringLiteral("subheading"));
    m_subtitle->setFont(OnboardingStyle::title3Font());
    m_subtitle->setAlignment(Qt::AlignCenter);
    header->addWidget(title);
    header->addWidget(m_subtitle);
    layout->addLayout(header);

    auto *progress = new QHBoxLayout;
    progress->setContentsMargins(pad, 0, pad, 24);
    progress->addWidget(m_progress);
    layout->addLayout(progress);

    m_scroll->setObjectName(QStringLiteral("stepScroll"));
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(m_scroll, 1);

    auto *navigation = new QHBoxLayout;
    navigation->setContentsMargins(pad, 16, pad, 24);
    m_previous->setObjectName(QStringLiteral("previous"));
    m_next->setObjectName(QStringLiteral("next"));
    m_previous->setToolTip(QStringLiteral("Ctrl+["));
    m_next->setToolTip(QStringLiteral("Ctrl+Return"));
    m_previous->setMinimumSize(100, 32);
    m_next->setMinimumSize(120, 32);
    navigation->addWidget(m_previous);
    navigation->addStretch(1);
    navigation->addWidget(m_next);
    layout->addLayout(navigation);

    connect(m_previous, &QPushButton::clicked, this, &OnboardingView::goPrevious);
    connect(m_next, &QPushButton::clicked, this, &OnboardingView::goNext);
    auto *back = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_BracketLeft), this);
    connect(back, &QShortcut::activated, this, &OnboardingView::goPrevious);
    for (const auto key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto *forward = new QShortcut(QKeySequence(Qt::CTRL | key), this);
        connect(forward, &QShortcut::activated, this, &OnboardingView::goNext);
    }

    connect(&m_accessibility, &AccessibilityPermission::grantedChanged, this, [this](bool granted) {
        m_accessibilityEnabled = granted;
        updateButtons();
        // The step hides its Grant button in turn, and the keyboard goes
        // from it to the next button in line, Previous: Next takes it.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_step == OnboardingStep::accessibility && m_next->isEnabled() &&
                    QApplication::focusWidget() == m_previous) {
                    m_next->setFocus(Qt::OtherFocusReason);
                }
            },
            Qt::QueuedConnection);
    });
    // The key store tells which providers have keys a moment after start.
    connect(&m_services.vendors, &VendorManager::keyPresenceChanged, this,
            &OnboardingView::refreshValidVendor);
    connect(&m_services.vendors, &VendorManager::defaultVendorChanged, this,
            &OnboardingView::refreshValidVendor);

    m_accessibilityEnabled = m_accessibility.check();
    refreshValidVendor();
    m_hasSeededPrompts = Settings::standard().hasSeededDefaultPrompts();
    applyColors();
    showStep(OnboardingStep::welcome);
}

void OnboardingView::refreshValidVendor()
{
    // Once a provider was validated, Next stays enabled.
    if (m_hasValidVendor) {
        return;
    }
    const std::optional<AIVendor> vendor = m_services.vendors.defaultVendor();
    m_hasValidVendor = vendor && m_services.vendors.configuration(*vendor).hasAPIKey();
    updateButtons();
}

bool OnboardingView::canGoNext() const
{
    switch (m_step) {
    case OnboardingStep::accessibility:
        return m_accessibilityEnabled;
    case OnboardingStep::vendor:
        return m_hasValidVendor;
    default:
        return true;
    }
}

void OnboardingView::goNext()
{
    if (!canGoNext()) {
        return;
    }
    if (const auto next = OnboardingSteps::next(m_step)) {
        showStep(*next);
    } else {
        finish();
    }
}

void OnboardingView::goPrevious()
{
    if (const auto previous = OnboardingSteps::previous(m_step)) {
        showStep(*previous);
    }
}

void OnboardingView::finish()
{
    Settings::standard().setOnboardingCompleted(true);
    if (m_accessibilityEnabled && m_services.setupGlobalShortcut) {
        m_services.setupGlobalShortcut();
    }
    Q_EMIT finished();
}

StepView *OnboardingView::makeStep(OnboardingStep step)
{
    switch (step) {
    case OnboardingStep::welcome:
        return new WelcomeStepView;
    case OnboardingStep::accessibility:
        return new AccessibilityStepView(m_accessibility);
    case OnboardingStep::shortcut:
        return new ShortcutStepView;
    case OnboardingStep::vendor: {
        auto *view = new VendorStepView(m_services.vendors, m_services.keys);
        m_hasValidVendor = view->hasValidVendor();
        connect(view, &VendorStepView::hasValidVendorChanged, this, [this](bool valid) {
            m_hasValidVendor = valid;
            updateButtons();
        });
        return view;
    }
    case OnboardingStep::prompts: {
        auto *view = new PromptsStepView;
        m_hasSeededPrompts = view->hasSeededPrompts();
        connect(view, &PromptsStepView::seededChanged, this,
                [this](bool seeded) { m_hasSeededPrompts = seeded; });
        return view;
    }
    case OnboardingStep::tryIt:
        return new TryItStepView(m_services.setupGlobalShortcut);
    }
    return nullptr;
}

void OnboardingView::showStep(OnboardingStep step)
{
    // The step that goes keeps nothing; the facts it found are the view's.
    m_step = step;
    StepView *view = makeStep(step);
    m_scroll->setWidget(view); // deletes the previous step
    m_stepView = view;
    m_progress->setCurrentStep(step);
    m_previous->setVisible(step != OnboardingStep::welcome);
    m_next->setText(OnboardingSteps::nextButtonTitle(step));
    updateButtons();
    QWidget *focus = view->initialFocus();
    (focus ? focus : m_next)->setFocus(Qt::OtherFocusReason);
    Q_EMIT stepChanged(step);
}

void OnboardingView::updateButtons()
{
    m_next->setEnabled(canGoNext());
}

void OnboardingView::applyColors()
{
    QPalette pal = palette();
    m_subtitle->setPalette(pal);
    QPalette sub = m_subtitle->palette();
    sub.setColor(QPalette::WindowText, OnboardingStyle::secondaryTextColor(pal));
    m_subtitle->setPalette(sub);
    OnboardingStyle::makeBordered(m_previous);
    OnboardingStyle::makeProminent(m_next);
}

void OnboardingView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyColors();
    }
}
