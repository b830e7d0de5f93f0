// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Selections.h"

#include <QAbstractNativeEventFilter>
#include <QList>

namespace platform::x11 {

// The X server hands the owner of a selection one request for each read:
// they are seen on Qt's own connection, before Qt answers them.
class X11ClipboardReadWatch final : public ClipboardReadWatch, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    X11ClipboardReadWatch(qint64 readerProcessId, bool clipboard, bool primary,
                          QObject *parent = nullptr);
    ~X11ClipboardReadWatch() override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    qint64 m_reader;
    QList<quint32> m_selections;  // the selections' atoms
    QList<quint32> m_textTargets; // the targets that carry the answer's text
};

} // namespace platform::x11
