// SPDX-License-Identifier: GPL-3.0-or-later
#include "CaptureLog.h"

Q_LOGGING_CATEGORY(lcCapture, "vellumo.capture", QtWarningMsg)
