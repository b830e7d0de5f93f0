// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "SelectionGeometry.h"

#include <QFuture>
#include <QObject>
#include <optional>

namespace platform {
class OwnText;
class Windows;
} // namespace platform

// Where the user's selection is on screen, in Qt's logical screen coordinates
// (top-left origin). All four answers are gathered in one trip to the
// accessibility thread; nothing is cached between queries. A window of
// Vellumo's own (with ownText) answers on the main thread instead, without
// the accessibility bus.
class AccessibilityService : public QObject {
    Q_OBJECT
public:
    explicit AccessibilityService(const platform::Windows &windows,
                                  const platform::OwnText *ownText = nullptr,
                                  QObject *parent = nullptr);

    // Main thread; the future's continuation may run on any context object.
    QFuture<SelectionGeometry> queryGeometry() const;

    QFuture<std::optional<QRectF>> selectionBounds() const;
    QFuture<std::optional<QPointF>> textInsertionPoint() const;
    QFuture<std::optional<QRectF>> focusedElementFrame() const;
    QFuture<std::optional<QRectF>> focusedWindowFrame() const;

    // AT-SPI answers in device pixels; Qt places windows in logical ones.
    static SelectionGeometry toLogical(const SelectionGeometry &device, qreal devicePixelRatio);

private:
    std::optional<SelectionGeometry> ownWindowGeometry() const;

    const platform::Windows &m_windows;
    const platform::OwnText *m_ownText;
};
