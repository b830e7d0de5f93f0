// SPDX-License-Identifier: GPL-3.0-or-later
#include "SemanticVersion.h"

#include <QRegularExpression>

namespace {

// Digits without a leading zero, as semantic versioning writes numbers.
std::optional<quint64> number(const QString &text)
{
    if (text.isEmpty() || text.size() > 18 || (text.size() > 1 && text.front() == u'0')) {
        return std::nullopt;
    }
    for (const QChar c : text) {
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
    }
    return text.toULongLong();
}

bool isIdentifier(const QString &text)
{
    static const QRegularExpression allowed(QStringLiteral("^[0-9A-Za-z-]+$"));
    return allowed.match(text).hasMatch();
}

std::strong_ordering comparePart(const QString &a, const QString &b)
{
    const std::optional<quint64> x = number(a);
    const std::optional<quint64> y = number(b);
    if (x && y) {
        return *x <=> *y;
    }
    if (x || y) {
        // Numeric identifiers come before alphanumeric ones.
        return x ? std::strong_ordering::less : std::strong_ordering::greater;
    }
    const int order = QString::compare(a, b, Qt::CaseSensitive);
    return order <=> 0;
}

} // namespace

std::optional<SemanticVersion> SemanticVersion::parse(const QString &text)
{
    QString rest = text.trimmed();
    if (rest.startsWith(u'v') || rest.startsWith(u'V')) {
        rest.remove(0, 1);
    }
    const qsizetype plus = rest.indexOf(u'+');
    if (plus >= 0) {
        const QString build = rest.mid(plus + 1);
        const QStringList parts = build.split(u'.');
        if (!std::all_of(parts.begin(), parts.end(), isIdentifier)) {
            return std::nullopt;
        }
        rest.truncate(plus);
    }
    SemanticVersion version;
    const qsizetype dash = rest.indexOf(u'-');
    if (dash >= 0) {
        version.m_preRelease = rest.mid(dash + 1).split(u'.');
        for (const QString &part : std::as_const(version.m_preRelease)) {
            const bool numeric =
                !part.isEmpty() && part.front().isDigit() &&
                std::all_of(part.begin(), part.end(), [](QChar c) { return c.isDigit(); });
            if (!isIdentifier(part) || (numeric && !number(part))) {
                return std::nullopt;
            }
        }
        rest.truncate(dash);
    }
    const QStringList core = rest.split(u'.');
    if (core.size() > 3) {
        return std::nullopt;
    }
    quint64 *const fields[] = {&version.m_major, &version.m_minor, &version.m_patch};
    for (qsizetype i = 0; i < core.size(); ++i) {
        const std::optional<quint64> value = number(core.at(i));
        if (!value) {
            return std::nullopt;
        }
        *fields[i] = *value;
    }
    return version;
}

QString SemanticVersion::toString() const
{
    QString text = QStringLiteral("%1.%2.%3").arg(m_major).arg(m_minor).arg(m_patch);
    if (!m_preRelease.isEmpty()) {
        text += u'-' + m_preRelease.join(u'.');
    }
    return text;
}

std::strong_ordering SemanticVersion::operator<=>(const SemanticVersion &other) const
{
    for (const auto &[a, b] : {std::pair{m_major, other.m_major}, std::pair{m_minor, other.m_minor},
                               std::pair{m_patch, other.m_patch}}) {
        if (a != b) {
            return a <=> b;
        }
    }
    if (m_preRelease.isEmpty() != other.m_preRelease.isEmpty()) {
        // A release comes after every pre-release of it.
        return m_preRelease.isEmpty() ? std::strong_ordering::greater : std::strong_ordering::less;
    }
    const qsizetype common = std::min(m_preRelease.size(), other.m_preRelease.size());
    for (qsizetype i = 0; i < common; ++i) {
        const std::strong_ordering order =
            comparePart(m_preRelease.at(i), other.m_preRelease.at(i));
        if (order != std::strong_ordering::equal) {
            return order;
        }
    }
    // A longer list of identifiers comes after a shorter one it begins with.
    return m_preRelease.size() <=> other.m_preRelease.size();
}
