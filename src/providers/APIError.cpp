// SPDX-License-Identifier: GPL-3.0-or-later
#include "APIError.h"

namespace {

QString plainHttpSentence(const QString &host)
{
    return QStringLiteral("Plain http:// is only used for a server on this computer (localhost, "
                          "127.x.x.x or ::1); %1 must be reached over https://.")
        .arg(host);
}

} // namespace

APIError::APIError(Kind kind, int statusCode, QString underlying)
    : m_kind(kind), m_statusCode(statusCode), m_underlying(std::move(underlying)),
      m_what(description().toUtf8())
{}

APIError APIError::httpError(int statusCode)
{
    return APIError(Kind::httpError, statusCode);
}

APIError APIError::networkError(const QString &underlyingDescription)
{
    return APIError(Kind::networkError, 0, underlyingDescription);
}

APIError APIError::invalidURL()
{
    return APIError(Kind::invalidURL);
}

APIError APIError::insecureHost(const QString &host)
{
    return APIError(Kind::insecureHost, 0, host);
}

APIError APIError::encodingError()
{
    return APIError(Kind::encodingError);
}

APIError APIError::invalidResponse()
{
    return APIError(Kind::invalidResponse);
}

APIError APIError::noContent()
{
    return APIError(Kind::noContent);
}

QString APIError::description() const
{
    switch (m_kind) {
    case Kind::httpError:
        return QStringLiteral("HTTP error: ") + QString::number(m_statusCode);
    case Kind::networkError:
        return QStringLiteral("Network error: ") + m_underlying;
    case Kind::invalidURL:
        return QStringLiteral("Invalid URL");
    case Kind::insecureHost:
        return plainHttpSentence(m_underlying);
    case Kind::encodingError:
        return QStringLiteral("Failed to encode request");
    case Kind::invalidResponse:
        return QStringLiteral("Invalid response from server");
    case Kind::noContent:
        return QStringLiteral("No content received from API");
    }
    Q_UNREACHABLE();
    return QString();
}

const char *APIError::what() const noexcept
{
    return m_what.constData();
}

QString errorText(const APIError &error)
{
    switch (error.kind()) {
    case APIError::Kind::httpError: {
        const int code = error.statusCode();
        // 401, 403 and 429 are matched before the 5xx range; other codes keep
        // the bare form without a full stop.
        if (code == 429) {
            return QStringLiteral("Rate limit exceeded. Please try again later.");
        }
        if (code == 403) {
            return QStringLiteral("API key doesn't have permission for this operation.");
        }
        if (code == 401) {
            return QStringLiteral("Invalid API key. Please check your API key in settings.");
        }
        if (code >= 500 && code <= 599) {
            return QStringLiteral("Server error (%1). Please try again later.").arg(code);
        }
        return QStringLiteral("HTTP error: ") + QString::number(code);
    }
    case APIError::Kind::networkError:
        return QStringLiteral("Network error: ") + error.underlyingDescription();
    case APIError::Kind::invalidURL:
        return QStringLiteral("Invalid API URL. Please check your host and path settings.");
    case APIError::Kind::insecureHost:
        return error.description();
    case APIError::Kind::encodingError:
        return QStringLiteral("Failed to encode request. Please try again.");
    case APIError::Kind::invalidResponse:
        return QStringLiteral("Invalid response from API server.");
    case APIError::Kind::noContent:
        return QStringLiteral("No content received from API.");
    }
    Q_UNREACHABLE();
    return QString();
}

QString errorText(const std::exception_ptr &error)
{
    try {
        std::rethrow_exception(error);
    } catch (const APIError &apiError) {
        return errorText(apiError);
    } catch (const KeyStoreError &keyStoreError) {
        return keyStoreError.sentence();
    } catch (const std::exception &other) {
        return QStringLiteral("Error: ") + QString::fromUtf8(other.what());
    } catch (...) {
        return QStringLiteral("Error: unknown failure");
    }
}
