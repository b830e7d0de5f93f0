// SPDX-License-Identifier: GPL-3.0-or-later
#include "ScreenActivation.h"

#include "Console.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>
#include <optional>

namespace ScreenActivation {

namespace {

struct State {
    // Set while a transition is under way. It expires by itself, so a timer
    // that never fires (its context gone, say) cannot keep it set.
    std::optional<QDeadlineTimer> guard;
    // Which transition set the guard: a late timer of an earlier one must
    // not clear a later one's.
    quint64 generation = 0;
    Switch performSwitch;
};

State &state()
{
    static State instance;
    return instance;
}

void transition(bool activate)
{
    Console::printLine(activate ? QStringLiteral("Activating screen")
                                : QStringLiteral("Deactivating screen"));
    if (isGuarded()) {
        return;
    }
    State &s = state();
    s.guard = QDeadlineTimer(transitionGuardMs);
    const quint64 generation = ++s.generation;
    QTimer::singleShot(transitionGuardMs, QCoreApplication::instance(), [generation] {
        if (state().generation == generation) {
            state().guard.reset();
        }
    });
    if (s.performSwitch) {
        s.performSwitch(activate);
    }
}

} // namespace

void activateScreen()
{
    transition(true);
}

void deactivateScreen()
{
    transition(false);
}

bool isGuarded()
{
    const std::optional<QDeadlineTimer> &guard = state().guard;
    return guard && !guard->hasExpired();
}

void setSwitch(Switch performSwitch)
{
    state().performSwitch = std::move(performSwitch);
}

} // namespace ScreenActivation
