// SPDX-License-Identifier: GPL-3.0-or-later
#include "AccessibilityStepView.h"

#include "AccessibilityPermission.h"
#include "OnboardingStyle.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int markSize = 20;

} // namespace

AccessibilityStepView::AccessibilityStepView(AccessibilityPermission &permission, QWidget *parent)
    : StepView(OnboardingStyle::Symbol::accessibility,
               QStringLiteral("Accessibility Permission Required"),
               QStringLiteral("Vellumo needs accessibility permission to detect text selection and "
                              "position the AI popup near your cursor across all applications."),
               parent),
      m_permission(permission), m_mark(new QLabel(this)), m_status(new QLabel(this)),
      m_grant(new QPushButton(QStringLiteral("Grant Accessibility Permission"), this)),
      m_restartNote(new QLabel(this))
{
    auto *card = new OnboardingCard(this);
    auto *row = new QHBoxLayout;
    row->setSpacing(10);
    m_mark->setFixedSize(markSize, markSize);
    m_status->setObjectName(QStringLiteral("accessibilityStatus"));
    m_status->setFont(OnboardingStyle::font(16, QFont::Medium));
    row->addWidget(m_mark);
    row->addWidget(m_status, 1);
    card->contentLayout()->addLayout(row);
    addContent(card);

    m_grant->setObjectName(QStringLiteral("grantAccessibility"));
    m_grant->setCursor(Qt::PointingHandCursor);
    addContent(m_grant, Qt::AlignHCenter);
    connect(m_grant, &QPushButton::clicked, this, [this] {
        m_restartNote->show();
        m_permission.grant();
    });

    // Turning accessibility on reaches the applications that start after;
    // the ones already running may not notice.
    m_restartNote->setObjectName(QStringLiteral("restartNote"));
    m_restartNote->setText(QStringLiteral("Applications that were already running may need a "
                                          "restart before Vellumo can read their text."));
    m_restartNote->setFont(OnboardingStyle::font(12));
    m_restartNote->setWordWrap(true);
    m_restartNote->setAlignment(Qt::AlignCenter);
    m_restartNote->hide();
    addContent(m_restartNote);

    connect(&m_permission, &AccessibilityPermission::grantedChanged, this,
            &AccessibilityStepView::showPermission);
    applyColors();
    showPermission(m_permission.check());
}

QWidget *AccessibilityStepView::initialFocus() const
{
    return m_permission.isGranted() ? nullptr : m_grant;
}

void AccessibilityStepView::showPermission(bool granted)
{
    const QPalette &pal = palette();
    m_mark->setPixmap(OnboardingStyle::statusMark(
        granted, granted ? OnboardingStyle::successColor(pal) : OnboardingStyle::failureColor(pal),
        markSize, devicePixelRatioF()));
    m_status->setText(granted ? QStringLiteral("Permission Granted")
                              : QStringLiteral("Permission Not Granted"));
    m_grant->setVisible(!granted);
}

void AccessibilityStepView::applyColors()
{
    OnboardingStyle::makeProminent(m_grant);
    makeSecondary(m_restartNote);
    showPermission(m_permission.isGranted());
}
