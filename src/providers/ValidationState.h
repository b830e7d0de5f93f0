// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

// The outcome of the last validation of one provider; never persisted.
struct ValidationState {
    enum class Kind { notValidated, validating, valid, invalid };
    Kind kind = Kind::notValidated;
    QString message; // only for invalid
    friend bool operator==(const ValidationState &, const ValidationState &) = default;

    static ValidationState notValidated() { return {}; }
    static ValidationState validating() { return {Kind::validating, {}}; }
    static ValidationState valid() { return {Kind::valid, {}}; }
    static ValidationState invalid(const QString &message) { return {Kind::invalid, message}; }
};
