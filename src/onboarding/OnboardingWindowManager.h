// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OnboardingView.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

// The guide's window, "Welcome to Vellumo": opened afresh at the welcome
// step by showOnboarding(), closed by closeOnboarding() (which finishing the
// guide calls). The window's close button only hides it: the window stays
// until the next showOnboarding() or closeOnboarding(), and the guide is
// not marked completed, so it shows again at the next start. Where the user
// moved the window is remembered for its next opening. Main thread.
class OnboardingWindowManager : public QObject {
    Q_OBJECT

public:
    // The name the window's position is kept under.
    static inline const QString autosaveName = QStringLiteral("OnboardingWindow");

    explicit OnboardingWindowManager(const OnboardingView::Services &services,
                                     QObject *parent = nullptr);
    ~OnboardingWindowManager() override;

    void showOnboarding();
    void closeOnboarding();

    // The window from showOnboarding() to closeOnboarding(), also while
    // hidden by its close button; none otherwise.
    QWidget *onboardingWindow() const { return m_window; }
    OnboardingView *view() const;

Q_SIGNALS:
    // The guide was finished and its window closed.
    void finished();

private:
    OnboardingView::Services m_services;
    QPointer<QWidget> m_window;
};
