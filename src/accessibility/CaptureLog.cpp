#include "CaptureLog.h"

Q_LOGGING_CATEGORY(lcCapture, "vellumo.capture", QtWarningMsg)
