// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <compare>
#include <optional>

// A release's version as forges tag it: MAJOR.MINOR.PATCH with an optional
// pre-release ("-rc.1") and build metadata ("+20240101"), optionally after a
// "v" ("v1.2.0"). MINOR and PATCH may be left out ("v2" is 2.0.0). Ordered
// by semantic-versioning precedence: build metadata does not count, a
// pre-release comes before its release, and pre-release identifiers compare
// numerically when both are numbers, by text otherwise.
class SemanticVersion {
public:
    static std::optional<SemanticVersion> parse(const QString &text);

    // "1.2.0-rc.1", without the "v" and the build metadata.
    QString toString() const;

    bool operator==(const SemanticVersion &other) const
    {
        return (*this <=> other) == std::strong_ordering::equal;
    }
    std::strong_ordering operator<=>(const SemanticVersion &other) const;

private:
    SemanticVersion() = default;

    quint64 m_major = 0;
    quint64 m_minor = 0;
    quint64 m_patch = 0;
    QStringList m_preRelease;
};
