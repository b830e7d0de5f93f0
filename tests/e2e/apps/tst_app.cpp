// SPDX-License-Identifier: GPL-3.0-or-later
// One real application on the private desktop with the vellumo executable:
// every kind of selection is captured exactly, replaced exactly, with the
// popup beside it; a cleared selection and Escape change nothing, the
// user's clipboard included; nothing the user selected or received reaches
// Vellumo's output. Built once for each application (TARGET_NAME).
#include "AppTargets.h"
#include "FakeProvider.h"
#include "TestSupport.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTest>

using namespace AppTargets;
using namespace Desktop;

namespace {

const QString prefix = QStringLiteral("Text to process: ");

QString answerFor(Kind kind)
{
    return QStringLiteral("Antwort %1 🙂 שלום").arg(kindName(kind));
}

QString describe(const QRect &r)
{
    return QStringLiteral("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

int changedPixels(const QImage &a, const QImage &b, const QRect &area)
{
    int count = 0;
    const QRect r = area.intersected(a.rect());
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x) {
            count += a.pixel(x, y) != b.pixel(x, y);
        }
    }
    return count;
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

    // Samples until two samples interval apart agree; the last sample.
    template <typename Sample, typename Same>
    static auto steady(Sample sample, Same same, int intervalMs)
    {
        auto last = sample();
        for (QDeadlineTimer deadline(3000); !deadline.hasExpired();) {
            QTest::qWait(intervalMs); // the sampling interval, not a wait for a state
            auto next = sample();
            if (same(last, next)) {
                return next;
            }
            last = std::move(next);
        }
        return last;
    }

    // Selects and returns the highlight's place on screen, once it stopped
    // growing.
    std::optional<QRect> selectAndFind(Kind kind)
    {
        if (!m_target->home()) {
            return std::nullopt;
        }
        // The screen once it stopped changing (but for a blinking text cursor).
        const QImage before = steady(
            [] { return grabScreen(); },
            [this](const QImage &a, const QImage &b) { return changedPixels(a, b, area()) < 120; },
            60);
        if (!m_target->select(kind)) {
            return std::nullopt;
        }
        return steady([&] { return highlightBetween(before, grabScreen(), area()); },
                      [](const auto &a, const auto &b) { return a && a == b; }, 80);
    }

    // The popup, Return on the first command, and the replacement; checks
    // what the provider got and that the clipboard is empty again once the
    // application has read the answer. Returns the popup's frame.
    std::optional<QRect> replaceThroughPopup(const QString &truth, const QString &screenshot)
    {
        if (!m_vellumo.openPopup()) {
            return std::nullopt;
        }
        const auto popup = popupFrame();
        grabScreen(screenshot);
        if (!typeText(QStringLiteral("zz"))) {
            return std::nullopt;
        }
        const qsizetype mark = m_vellumo.mark();
        if (!keys({QStringLiteral("Return")}) ||
            !m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark) ||
            !QTest::qWaitFor([] { return !popupFrame(); })) {
            return std::nullopt;
        }
        // The provider got exactly what the application has selected.
        if (sentSelection() != truth) {
            qWarning("sent \"%s\", selected \"%s\"", qPrintable(sentSelection()),
                     qPrintable(truth));
            return std::nullopt;
        }
        if (m_target->acceptsPaste() && !clipboardTargets().isEmpty()) {
            qWarning("clipboard still offers %s; vellumo printed:\n%s",
                     qPrintable(clipboardTargets().join(u' ')),
                     qPrintable(m_vellumo.output().mid(mark)));
            return std::nullopt;
        }
        return popup;
    }

    // The answer replaced truth in the document, and an undo brings it back.
    void verifyReplaced(const QString &baseline, const QString &truth, const QString &answer)
    {
        QString expected = baseline;
        QCOMPARE(expected.count(truth), 1);
        expected.replace(truth, answer);
        QTRY_COMPARE_WITH_TIMEOUT(m_target->contents().value_or(QString()), expected, 5000);
        QVERIFY(m_target->undo());
        QTRY_COMPARE_WITH_TIMEOUT(m_target->contents().value_or(QString()), baseline, 5000);
    }

    // A cleared selection opens nothing; Escape closes the popup. Either way
    // the provider is not asked, and the clipboard and the text stay.
    void verifyNothingHappens(bool clearSelection)
    {
        QVERIFY(m_fake.clear());
        const auto baseline = m_target->contents();
        QVERIFY(m_target->select(clearSelection ? Kind::Word : Kind::Line));
        QVERIFY(m_target->selectionTruth());
        QVERIFY(!clearSelection || m_target->clearSelection());
        offerUserClipboard();
        const qsizetype mark = m_vellumo.mark();
        if (clearSelection) {
            QElapsedTimer clock;
            clock.start();
            QVERIFY(keys({QStringLiteral("ctrl+super+slash")}));
            QVERIFY(m_vellumo.waitFor(QStringLiteral("No text selected"), mark, 5000));
            qInfo("no selection: %lld ms from the key press to the end", qint64(clock.elapsed()));
            // A copy the application makes while Vellumo waits for a late one
            // of its own press gets the user's clipboard put back over it:
            // the copy below must come after the wait.
            if (m_vellumo.output().mid(mark).contains(QStringLiteral("for a late copy"))) {
                QVERIFY(m_vellumo.waitFor(QStringLiteral("No late copy came"), mark, 5000));
            }
            QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Creating popup")));
            QVERIFY(!popupFrame());
        } else {
            QVERIFY(m_vellumo.openPopup());
            QVERIFY(keys({QStringLiteral("Escape")}));
            QTRY_VERIFY(!popupFrame());
        }
        // Not asked to work on anything (a new Vellumo's first popup may
        // have asked for the model list).
        const auto requests = m_fake.requests();
        for (const auto &request : requests) {
            QVERIFY2(request.method != u"POST", request.body.constData());
        }
        QCOMPARE(userClipboardProblem(), QString());
        QCOMPARE(m_target->contents(), baseline);
    }

    // A copy the user made in the application outlives a capture that
    // copied over it: afterwards the application pastes that copy, not what
    // the capture copied (an application that took the put-back clipboard
    // for its own would paste the line over the word).
    void verifyOwnCopySurvives()
    {
        const auto baseline = m_target->contents();
        QVERIFY(baseline && m_target->select(Kind::Word));
        const auto word = m_target->selectionTruth();
        QVERIFY(word && !word->isEmpty());
        QVERIFY(m_target->select(Kind::Line));
        QVERIFY(m_vellumo.openPopup());
        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY(!popupFrame());
        QCOMPARE(clipboardText(), *word);
        QVERIFY(m_target->select(Kind::Word) && keys({QStringLiteral("ctrl+v")}));
        QCOMPARE(m_target->contents().value_or(QString()), *baseline);
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(useFakeProvider(m_fake, QStringLiteral("sk-apps")));

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
        QVERIFY2(
            truth && !truth->isEmpty(),
            qPrintable((truth ? QStringLiteral("the application copied no text; targets: ")
                              : QStringLiteral("the application's copy never came; targets: ")) +
                       clipboardTargets().join(u' ')));
        m_private << *truth;
        QVERIFY(m_fake.setAnswer(answer));
        const auto popup = replaceThroughPopup(
            *truth, QStringLiteral("%1-%2").arg(m_target->name(), kindName(kind)));
        QVERIFY(popup);
        // Beside the selection, never on it.
        const QString where = QStringLiteral("popup %1, %2 px from the selection %3")
                                  .arg(describe(*popup))
                                  .arg(distance(*popup, *highlight))
                                  .arg(describe(*highlight));
        QVERIFY2(!popup->intersects(*highlight), qPrintable(where));
        QVERIFY2(!m_target->tellsThePlace(kind) || distance(*popup, *highlight) <= 40,
                 qPrintable(where));

        if (!m_target->acceptsPaste()) {
            return; // page text: nothing there to replace
        }
        if (!m_target->replacesSelection()) {
            QVERIFY(keys({QStringLiteral("Return")}));
            QTRY_COMPARE(m_target->submittedLine().value_or(QString()), answer);
            return;
        }
        verifyReplaced(*baseline, *truth, answer);
    }

    void nothingHappens_data()
    {
        QTest::addColumn<bool>("clearSelection");
        QTest::newRow("cleared selection") << true;
        QTest::newRow("escape") << false;
    }

    void nothingHappens()
    {
        QFETCH(bool, clearSelection);
        verifyNothingHappens(clearSelection);
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
        verifyNothingHappens(false);
        if (QTest::currentTestFailed()) {
            return;
        }
        const auto baseline = m_target->contents();
        QVERIFY(baseline && m_target->select(Kind::Lines));
        const auto truth = m_target->selectionTruth();
        QVERIFY(truth);
        const QString answer = QStringLiteral("Über den Menüpunkt kopiert");
        m_private << *truth << answer;
        QVERIFY(m_fake.setAnswer(answer));
        QVERIFY(replaceThroughPopup(*truth, m_target->name() + QStringLiteral("-copy-menu-popup")));
        verifyReplaced(*baseline, *truth, answer);
        if (QTest::currentTestFailed()) {
            return;
        }
        verifyNothingHappens(true);
        if (QTest::currentTestFailed()) {
            return;
        }
        verifyOwnCopySurvives();
        if (QTest::currentTestFailed()) {
            return;
        }
        theOutputCarriesNoUserText();
    }
};

QTEST_MAIN(AppTest)
#include "tst_app.moc"
