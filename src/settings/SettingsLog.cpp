#include "SettingsLog.h"

Q_LOGGING_CATEGORY(lcSettings, "vellumo.settings", QtWarningMsg)
