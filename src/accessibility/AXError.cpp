// SPDX-License-Identifier: GPL-3.0-or-later
#include "AXError.h"

QString axErrorText(int code)
{
    const char *name = "<Unknown>";
    switch (static_cast<AXError>(code)) {
    case AXError::Success:
        name = "Success";
        break;
    case AXError::Failure:
        name = "Failure";
        break;
    case AXError::IllegalArgument:
        name = "IllegalArgument";
        break;
    case AXError::InvalidUIElement:
        name = "InvalidUIElement";
        break;
    case AXError::InvalidUIElementObserver:
        name = "InvalidUIElementObserver";
        break;
    case AXError::CannotComplete:
        name = "CannotComplete";
        break;
    case AXError::AttributeUnsupported:
        name = "AttributeUnsupported";
        break;
    case AXError::ActionUnsupported:
        name = "ActionUnsupported";
        break;
    case AXError::NotificationUnsupported:
        name = "NotificationUnsupported";
        break;
    case AXError::NotImplemented:
        name = "NotImplemented";
        break;
    case AXError::NotificationAlreadyRegistered:
        name = "NotificationAlreadyRegistered";
        break;
    case AXError::NotificationNotRegistered:
        name = "NotificationNotRegistered";
        break;
    case AXError::APIDisabled:
        name = "APIDisabled";
        break;
    case AXError::NoValue:
        name = "NoValue";
        break;
    case AXError::ParameterizedAttributeUnsupported:
        name = "ParameterizedAttributeUnsupported";
        break;
    case AXError::NotEnoughPrecision:
        name = "NotEnoughPrecision";
        break;
    }
    return QStringLiteral("AXError.") + QLatin1String(name);
}
