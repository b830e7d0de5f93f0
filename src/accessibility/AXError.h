// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <optional>

// The error codes of the accessibility layer. The numbers are the published
// accessibility error codes, so logs read the same on every platform; AT-SPI
// and D-Bus failures are mapped onto them (see toAXError in UIElementAtspi.cpp).
enum class AXError : int {
    Success = 0,
    Failure = -25200,
    IllegalArgument = -25201,
    InvalidUIElement = -25202,
    InvalidUIElementObserver = -25203,
    CannotComplete = -25204,
    AttributeUnsupported = -25205,
    ActionUnsupported = -25206,
    NotificationUnsupported = -25207,
    NotImplemented = -25208,
    NotificationAlreadyRegistered = -25209,
    NotificationNotRegistered = -25210,
    APIDisabled = -25211,
    NoValue = -25212,
    ParameterizedAttributeUnsupported = -25213,
    NotEnoughPrecision = -25214,
};

// "AXError." followed by the code's name, "AXError.<Unknown>" for other codes.
QString axErrorText(int code);
inline QString axErrorText(AXError error)
{
    return axErrorText(static_cast<int>(error));
}

// The answer of a typed read: a failure carries an error other than Success;
// a success may still carry no value (unsupported interface, missing value).
template <typename T> struct AXResult {
    AXError error = AXError::Success;
    std::optional<T> value;

    bool failed() const { return error != AXError::Success; }
    static AXResult failure(AXError e) { return AXResult{e, std::nullopt}; }
    static AXResult of(T v) { return AXResult{AXError::Success, std::move(v)}; }
    static AXResult none() { return AXResult{}; }
};
