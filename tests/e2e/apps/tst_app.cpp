// One real application on the private desktop with the vellumo executable:
// every kind of selection is captured exactly, replaced exactly, with the
// popup beside it; a cleared selection and Escape change nothing, the
// user's clipboard included; nothing the user selected or received reaches
// Vellumo's output. Built once for each application (TARGET_NAME).
#include "AIVendor.h"
#include "AppHarness.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "Settings.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTest>

using namespace AppHarness;

namespace {

const QString shortcut = QStringLiteral("ctrl+super+slash");
const QString prefix = QStringLiteral("Text to process: ");

QString answerFor(Kind kind)
{
    return QStringLiteral("Antwort %1 🙂 שלום").arg(kindName(kind));
}

} // namespace

class AppTest : public QObject {
    Q_OBJECT

    FakeProvider m_fake;
    Vellumo m_vellumo;
    std::unique_ptr<Target> m_target;
    QStringList m_private; // texts that must never be printed

    // What the provider was asked to work on, from the last request.
    QString sentSelection()
    {
        const auto sent = m_fake.requests();
        if (sent.isEmpty()) {
            return QStringLiteral("<no request>");
        }
        const QString prompt = sent.constLast().json()["messages"][0]["content"].toString();
        const qsizetype at = prompt.lastIndexOf(prefix);
        return at < 0 ? QStringLiteral("<no selection in: %1>").arg(prompt)
                      : prompt.mid(at + prefix.size());
    }

    QRect area() const { return clientFrame(m_target->window()); }

    // The screen once it stopped changing (but for a blinking text cursor).
    QImage settledScreen()
    {
        QImage previous = grabScreen();
        QDeadlineTimer deadline(3000);
        while (!deadline.hasExpired()) {
            QTest::qWait(60);
            const QImage next = grabScreen();
            if (changedPixels(previous, next, area()) < 120) {
                return next;
            }
            previous = next;
        }
        return previous;
    }

    static int changedPixels(const QImage &a, const QImage &b, const QRect &area)
    {
        int count = 0;
        const QRect r = area.intersected(a.rect());
        for (int y = r.top(); y <= r.bottom(); y += 1) {
            for (int x = r.left(); x <= r.right(); x += 1) {
                count += a.pixel(x, y) != b.pixel(x, y);
            }
        }
        return count;
    }

    // Selects and returns the highlight's place on screen.
    std::optional<QRect> selectAndFind(Kind kind)
    {
        if (!m_target->home()) {
            return std::nullopt;
        }
        const QImage before = settledScreen();
        if (!m_target->select(kind)) {
            return std::nullopt;
        }
        // Until the highlight stops growing.
        std::optional<QRect> last;
        QDeadlineTimer deadline(3000);
        while (!deadline.hasExpired()) {
            const auto now = highlightBetween(before, grabScreen(), area());
            if (now && last && *now == *last) {
                return now;
            }
            last = now;
            QTest::qWait(80);
        }
        return last;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
        config.apiHost = m_fake.host();
        Settings::standard().setVendorConfig(AIVendors::rawValue(AIVendor::openai),
                                             config.encode());
        Settings::standard().setOnboardingCompleted(true);
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("sk-apps"), AIVendor::openai));

        m_target = makeTarget(QStringLiteral(TARGET_NAME));
        QVERIFY(m_target);
        QVERIFY2(m_target->start(), TARGET_NAME " did not start");
        QVERIFY(m_vellumo.start());
        m_private = documentLines();
    }

    void cleanupTestCase()
    {
        m_vellumo.stop();
        if (m_target) {
            m_target->stop();
        }
    }

    void init()
    {
        QVERIFY(m_fake.clear());
        QVERIFY(m_target->focusText());
    }

    void replacesTheSelection_data()
    {
        QTest::addColumn<int>("kindNumber");
        for (Kind kind : {Kind::Word, Kind::Line, Kind::Lines, Kind::Emoji, Kind::RightToLeft}) {
            QTest::addRow("%s", qPrintable(kindName(kind))) << int(kind);
        }
    }

    void replacesTheSelection()
    {
        QFETCH(int, kindNumber);
        const Kind kind = Kind(kindNumber);
        const QString answer = answerFor(kind);
        m_private << answer;
        const auto baseline = m_target->contents();
        QVERIFY(!m_target->replacesSelection() || baseline);

        const auto highlight = selectAndFind(kind);
        QVERIFY2(highlight, "no highlight appeared");
        const auto truth = m_target->selectionTruth();
        QVERIFY(truth && !truth->isEmpty());
        m_private << *truth;
        QVERIFY(m_fake.setAnswer(answer));
        offerUserClipboard();

        qsizetype mark = m_vellumo.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        std::optional<QRect> popup;
        QTRY_VERIFY((popup = popupFrame()).has_value());
        grabScreen(QStringLiteral("%1-%2").arg(m_target->name(), kindName(kind)));
        // Beside the selection, never on it.
        QVERIFY2(!popup->intersects(*highlight),
                 qPrintable(QStringLiteral("popup %1,%2 %3x%4 covers the selection %5,%6 %7x%8")
                                .arg(popup->x()).arg(popup->y()).arg(popup->width())
                                .arg(popup->height()).arg(highlight->x()).arg(highlight->y())
                                .arg(highlight->width()).arg(highlight->height())));
        if (m_target->tellsThePlace(kind)) {
            QVERIFY2(distance(*popup, *highlight) <= 40,
                     qPrintable(QStringLiteral("popup %1,%2 %3x%4 is %5 px from the selection %6,%7 %8x%9")
                                    .arg(popup->x()).arg(popup->y()).arg(popup->width())
                                    .arg(popup->height()).arg(distance(*popup, *highlight))
                                    .arg(highlight->x()).arg(highlight->y())
                                    .arg(highlight->width()).arg(highlight->height())));
        }

        QVERIFY(typeText(QStringLiteral("zz")));
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_VERIFY(!popupFrame());
        // The provider got exactly what the application has selected.
        QCOMPARE(sentSelection(), *truth);

        if (!m_target->acceptsPaste()) {
            return; // page text: nothing there to replace
        }
        // The clipboard is empty again once the application has read the answer.
        QVERIFY2(clipboardTargets().isEmpty(), qPrintable(clipboardTargets().join(u' ')));
        if (!m_target->replacesSelection()) {
            QVERIFY(keys({QStringLiteral("Return")}));
            QTRY_COMPARE(m_target->submittedLine().value_or(QString()), answer);
            return;
        }
        QString expected = *baseline;
        QCOMPARE(expected.count(*truth), 1);
        expected.replace(*truth, answer);
        QTRY_COMPARE_WITH_TIMEOUT(m_target->contents().value_or(QString()), expected, 5000);
        QVERIFY(m_target->undo());
        QTRY_COMPARE_WITH_TIMEOUT(m_target->contents().value_or(QString()), *baseline, 5000);
    }

    void aClearedSelectionOpensNothing()
    {
        const auto baseline = m_target->contents();
        QVERIFY(m_target->select(Kind::Word));
        QVERIFY(m_target->selectionTruth());
        QVERIFY(m_target->clearSelection());
        offerUserClipboard();
        const qsizetype mark = m_vellumo.mark();
        QElapsedTimer clock;
        clock.start();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("No text selected"), mark, 5000),
                 qPrintable(m_vellumo.output().mid(mark)));
        qInfo("no selection: %lld ms from the key press to the end", qint64(clock.elapsed()));
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Creating popup")));
        QVERIFY(!popupFrame());
        QVERIFY(m_fake.requests().isEmpty());
        QCOMPARE(userClipboardProblem(), QString());
        QCOMPARE(m_target->contents(), baseline);
    }

    void escapeChangesNothing()
    {
        const auto baseline = m_target->contents();
        QVERIFY(m_target->select(Kind::Line));
        QVERIFY(m_target->selectionTruth());
        offerUserClipboard();
        const qsizetype mark = m_vellumo.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_VERIFY(popupFrame());
        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY(!popupFrame());
        QVERIFY(m_fake.requests().isEmpty());
        QCOMPARE(userClipboardProblem(), QString());
        QCOMPARE(m_target->contents(), baseline);
    }

    // What the user selected and what came back never reach the output.
    void theOutputCarriesNoUserText()
    {
        const QString output = m_vellumo.output();
        QVERIFY(output.contains(QStringLiteral("Hotkey pressed")));
        for (const QString &text : std::as_const(m_private)) {
            QVERIFY2(!output.contains(text.trimmed()), qPrintable(text));
        }
    }

    // Last, with a Vellumo of its own: the application's Copy menu item
    // alone reads the selection (the earlier sources are switched off), and
    // the user's clipboard is put back after it.
    void theCopyMenuItemAloneReadsTheSelection()
    {
        if (!m_target->hasCopyMenuItem()) {
            QSKIP("no Copy menu item that accessibility can press");
        }
        m_vellumo.stop();
        QVERIFY(m_vellumo.start({QStringLiteral("VELLUMO_CAPTURE_SOURCES=copy-menu")}));
        QVERIFY(m_target->focusText());
        const auto baseline = m_target->contents();
        QVERIFY(baseline);

        // Escape: the selection was copied to be read, and the user's
        // clipboard is back.
        QVERIFY(m_target->select(Kind::Lines));
        const auto truth = m_target->selectionTruth();
        QVERIFY(truth);
        offerUserClipboard();
        qsizetype mark = m_vellumo.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_VERIFY(popupFrame());
        grabScreen(m_target->name() + QStringLiteral("-copy-menu-popup"));
        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY2(!popupFrame(), qPrintable(m_vellumo.output().mid(mark)));
        QCOMPARE(userClipboardProblem(), QString());

        // A replacement through it.
        const QString answer = QStringLiteral("Über den Menüpunkt kopiert");
        QVERIFY(m_fake.setAnswer(answer));
        mark = m_vellumo.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_VERIFY(popupFrame());
        QVERIFY(typeText(QStringLiteral("zz")));
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QCOMPARE(sentSelection(), *truth);
        QVERIFY(clipboardTargets().isEmpty());
        QString expected = *baseline;
        expected.replace(*truth, answer);
        QTRY_COMPARE_WITH_TIMEOUT(m_target->contents().value_or(QString()), expected, 5000);
        QVERIFY(m_target->undo());
        QTRY_COMPARE_WITH_TIMEOUT(m_target->contents().value_or(QString()), *baseline, 5000);

        // Nothing selected: nothing copied, no popup, the clipboard as it was.
        QVERIFY(m_target->select(Kind::Word));
        QVERIFY(m_target->clearSelection());
        offerUserClipboard();
        mark = m_vellumo.mark();
        QElapsedTimer clock;
        clock.start();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("No text selected"), mark, 5000),
                 qPrintable(m_vellumo.output().mid(mark)));
        qInfo("no selection through the Copy menu item: %lld ms", qint64(clock.elapsed()));
        QVERIFY2(!popupFrame(), qPrintable(m_vellumo.output().mid(mark)));
        QCOMPARE(userClipboardProblem(), QString());
        QVERIFY(!m_vellumo.output().contains(answer));
    }
};

QTEST_MAIN(AppTest)
#include "tst_app.moc"
