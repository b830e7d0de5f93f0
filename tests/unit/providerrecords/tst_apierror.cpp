#include "APIError.h"
#include "TestSupport.h"

#include <QtTest>
#include <stdexcept>

class APIErrorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void descriptions_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("description");
        QTest::newRow("http 429") << 0 << u"HTTP error: 429"_qs;
        QTest::newRow("network") << 1 << u"Network error: Connection refused"_qs;
        QTest::newRow("url") << 2 << u"Invalid URL"_qs;
        QTest::newRow("encoding") << 3 << u"Failed to encode request"_qs;
        QTest::newRow("response") << 4 << u"Invalid response from server"_qs;
        QTest::newRow("content") << 5 << u"No content received from API"_qs;
    }

    void descriptions()
    {
        QFETCH(int, index);
        QFETCH(QString, description);
        const APIError errors[] = {
            APIError::httpError(429),    APIError::networkError(u"Connection refused"_qs),
            APIError::invalidURL(),      APIError::encodingError(),
            APIError::invalidResponse(), APIError::noContent()};
        QCOMPARE(errors[index].description(), description);
        QCOMPARE(QString::fromUtf8(errors[index].what()), description);
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
        QTest::newRow("503") << 503 << u"Server error (503). Please try again later."_qs;
        QTest::newRow("599") << 599 << u"Server error (599). Please try again later."_qs;
        QTest::newRow("600") << 600 << u"HTTP error: 600"_qs;
        QTest::newRow("499") << 499 << u"HTTP error: 499"_qs;
        QTest::newRow("404") << 404 << u"HTTP error: 404"_qs;
        QTest::newRow("201") << 201 << u"HTTP error: 201"_qs;
    }

    void sentencesForTheUser()
    {
        QFETCH(int, status);
        QFETCH(QString, sentence);
        QCOMPARE(errorText(APIError::httpError(status)), sentence);
        // The same sentence when the error arrives as a failed future's exception.
        QCOMPARE(errorText(std::make_exception_ptr(APIError::httpError(status))), sentence);
    }

    void sentencesForOtherFailures()
    {
        QCOMPARE(errorText(APIError::networkError(u"The operation timed out"_qs)),
                 u"Network error: The operation timed out"_qs);
        QCOMPARE(errorText(APIError::invalidURL()),
                 u"Invalid API URL. Please check your host and path settings."_qs);
        QCOMPARE(errorText(APIError::insecureHost(u"gpu.example"_qs)),
                 u"Plain http:// is only used for a server on this computer (localhost, "
                 "127.x.x.x or ::1); gpu.example must be reached over https://."_qs);
        QCOMPARE(errorText(APIError::encodingError()),
                 u"Failed to encode request. Please try again."_qs);
        QCOMPARE(errorText(APIError::invalidResponse()), u"Invalid response from API server."_qs);
        QCOMPARE(errorText(APIError::noContent()), u"No content received from API."_qs);
        QCOMPARE(errorText(std::make_exception_ptr(std::runtime_error("disk on fire"))),
                 u"Error: disk on fire"_qs);
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
    }
};

QTEST_GUILESS_MAIN(APIErrorTest)
#include "tst_apierror.moc"
