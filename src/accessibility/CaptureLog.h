// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLoggingCategory>

// Text capture and replacement log here. Errors are on by default; info is off
// unless enabled with QT_LOGGING_RULES, because info lines carry the user's text.
Q_DECLARE_LOGGING_CATEGORY(lcCapture)
