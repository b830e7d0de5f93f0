// SPDX-License-Identifier: GPL-3.0-or-later
#include "APIError.h"
#include "TestSupport.h"

#include <QtTest>
#include <stdexcept>

class APIErrorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The log's text (description, and what()) and the user's sentence.
    void failuresOtherThanAStatus_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("network") << 0 << u"Network error: Connection refused"_qs
                                 << u"Network error: Connection refused"_qs;
        QTest::newRow("url") << 1 << u"Invalid URL"_qs
                             << u"Invalid API URL. Please check your host and path settings."_qs;
        QTest::newRow("encoding") << 2 << u"Failed to encode request"_qs
                                  << u"Failed to encode request. Please try again."_qs;
        QTest::newRow("response") << 3 << u"Invalid response from server"_qs
                                  << u"Invalid response from API server."_qs;
        QTest::newRow("content") << 4 << u"No content received from API"_qs
                                 << u"No content received from API."_qs;
        const QString plainHttp =
            u"Plain http:// is only used for a server on this computer (localhost, "
            "127.x.x.x or ::1); gpu.example must be reached over https://."_qs;
        QTest::newRow("plain http") << 5 << plainHttp << plainHttp;
    }

    void failuresOtherThanAStatus()
    {
        QFETCH(int, index);
        QFETCH(QString, description);
        QFETCH(QString, sentence);
        const APIError errors[] = {APIError::networkError(u"Connection refused"_qs),
                                   APIError::invalidURL(),
                                   APIError::encodingError(),
                                   APIError::invalidResponse(),
                                   APIError::noContent(),
                                   APIError::insecureHost(u"gpu.example"_qs)};
        QCOMPARE(errors[index].description(), description);
        QCOMPARE(QString::fromUtf8(errors[index].what()), description);
        QCOMPARE(errorText(errors[index]), sentence);
    }

    void sentencesForTheUser_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("401") << 401
                             << u"Invalid API key. Please check your API key in settings."_qs;
        QTest::newRow("403") << 403 << u"API key doesn't have permission for this operation."_qs;
        QTest::newRow("429") << 429 << u"Rate limit exceeded. Please try again later."_qs;
        QTest::newRow("500") << 500 << u"Server error (500). Please try again later."_qs;
        QTest::newRow("599") << 599 << u"Server error (599). Please try again later."_qs;
        QTest::newRow("600") << 600 << u"HTTP error: 600"_qs;
        QTest::newRow("499") << 499 << u"HTTP error: 499"_qs;
        QTest::newRow("201") << 201 << u"HTTP error: 201"_qs;
    }

    void sentencesForTheUser()
    {
        QFETCH(int, status);
        QFETCH(QString, sentence);
        const APIError error = APIError::httpError(status);
        QCOMPARE(errorText(error), sentence);
        // The same sentence when the error arrives as a failed future's exception.
        QCOMPARE(errorText(std::make_exception_ptr(error)), sentence);
        QCOMPARE(error.description(), "HTTP error: " + QString::number(status));
        QCOMPARE(QString::fromUtf8(error.what()), error.description());
    }

    void errorsSurviveAFailedFuture()
    {
        QPromise<QString> promise;
        QFuture<QString> future = promise.future();
        promise.start();
        promise.setException(APIError::httpError(529));
        promise.finish();
        QString seen;
        future
            .onFailed([&](const APIError &error) {
                seen = errorText(error);
                return QString();
            })
            .waitForFinished();
        QCOMPARE(seen, u"Server error (529). Please try again later."_qs);
        QCOMPARE(errorText(std::make_exception_ptr(std::runtime_error("disk on fire"))),
                 u"Error: disk on fire"_qs);
    }
};

QTEST_GUILESS_MAIN(APIErrorTest)
#include "tst_apierror.moc"
