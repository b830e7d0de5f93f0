// SPDX-License-Identifier: GPL-3.0-or-later
#include "SettingsLog.h"

Q_LOGGING_CATEGORY(lcSettings, "vellumo.settings", QtWarningMsg)
