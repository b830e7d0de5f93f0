#include "RunningApplication.h"

#include "X11Windows.h"

namespace {
RunningApplication fromWindow(const X11Windows::WindowInfo &w)
{
    RunningApplication app;
    app.processId = w.processId;
    app.localizedName = w.wmClassClass.isEmpty() ? w.wmClassName : w.wmClassClass;
    app.windowId = w.windowId;
    return app;
}
} // namespace

QList<RunningApplication> RunningApplication::all()
{
    QList<RunningApplication> apps;
    for (const auto &w : X11Windows::clientWindows()) {
        const bool known = std::any_of(apps.cbegin(), apps.cend(), [&](const auto &a) {
            return a.processId == w.processId && w.processId > 0;
        });
        if (!known) {
            apps.append(fromWindow(w));
        }
    }
    return apps;
}

std::optional<RunningApplication> RunningApplication::frontmost()
{
    const auto active = X11Windows::activeWindow();
    if (!active) {
        return std::nullopt;
    }
    return fromWindow(*active);
}

QString RunningApplication::description() const
{
    return QStringLiteral("%1 (%2)").arg(localizedName).arg(processId);
}
