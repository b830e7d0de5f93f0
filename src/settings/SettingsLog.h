// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLoggingCategory>

// The settings window logs here: when the shortcut recorder starts and stops
// listening and why it refused a combination, never the keys themselves.
// Warnings are on by default; info only with
// QT_LOGGING_RULES="vellumo.settings.info=true".
Q_DECLARE_LOGGING_CATEGORY(lcSettings)
