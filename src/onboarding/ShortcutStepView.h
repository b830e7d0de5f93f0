// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "StepView.h"

class ShortcutRecorder;

// The third step: the popup's shortcut, in the recorder the settings use.
class ShortcutStepView : public StepView {
    Q_OBJECT

public:
    explicit ShortcutStepView(QWidget *parent = nullptr);

    ShortcutRecorder *recorder() const { return m_recorder; }

private:
    ShortcutRecorder *m_recorder;
};
