// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QException>
#include <QString>
#include <exception>

// The failure of every provider call. It travels as the exception of a failed
// QFuture, so it derives from QException.
class APIError : public QException {
public:
    enum class Kind {
        httpError,
        networkError,
        invalidURL,
        insecureHost,
        encodingError,
        invalidResponse,
        noContent
    };

    static APIError httpError(int statusCode);
    // underlyingDescription is the transport or decoding error's own text.
    static APIError networkError(const QString &underlyingDescription);
    static APIError invalidURL();
    // A plain-http address of a host that is not this computer; the host
    // is the underlying description.
    static APIError insecureHost(const QString &host);
    static APIError encodingError();
    static APIError invalidResponse();
    static APIError noContent();

    Kind kind() const { return m_kind; }
    int statusCode() const { return m_statusCode; }
    QString underlyingDescription() const { return m_underlying; }

    // "HTTP error: 401", "Network error: ...", "Invalid URL", ...
    QString description() const;

    const char *what() const noexcept override;
    void raise() const override { throw *this; }
    APIError *clone() const override { return new APIError(*this); }

    friend bool operator==(const APIError &a, const APIError &b)
    {
        return a.m_kind == b.m_kind && a.m_statusCode == b.m_statusCode &&
               a.m_underlying == b.m_underlying;
    }

private:
    APIError(Kind kind, int statusCode = 0, QString underlying = {});

    Kind m_kind;
    int m_statusCode = 0;
    QString m_underlying;
    QByteArray m_what;
};

// The key store could not tell whether there is a key (locked, absent, not
// answering): a failure of its own, never taken for "no key".
class KeyStoreError : public QException {
public:
    explicit KeyStoreError(QString sentence)
        : m_sentence(std::move(sentence)), m_what(m_sentence.toUtf8())
    {}
    // What the user reads, as the key store words it.
    QString sentence() const { return m_sentence; }
    const char *what() const noexcept override { return m_what.constData(); }
    void raise() const override { throw *this; }
    KeyStoreError *clone() const override { return new KeyStoreError(*this); }

private:
    QString m_sentence;
    QByteArray m_what;
};

// The one sentence the user sees for a failed command run.
QString errorText(const APIError &error);
// The same for any failure: an APIError by its sentence, anything else as
// "Error: " + its description.
QString errorText(const std::exception_ptr &error);
