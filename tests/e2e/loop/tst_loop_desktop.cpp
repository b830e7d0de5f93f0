// SPDX-License-Identifier: GPL-3.0-or-later
// The loop's edges that tests/e2e/apps does not walk: an answer whose
// application went away, a selection of a megabyte, a provider error, a
// click outside the popup, --verbose, and a shortcut that cannot be hooked.
#include "DefaultsStore.h"
#include "Desktop.h"
#include "FakeProvider.h"
#include "GlobalShortcuts.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QTest>
#include <csignal>

using namespace Desktop;

namespace {

const QString sentence = QStringLiteral("The quick brown fox jumps over the lazy dog.");

// Whether bytes sent to the port wait unread on one of its connections (a
// request, while the server is stopped).
bool requestWaiting(int port)
{
    const QString sockets = QString::fromUtf8(
        run(QStringLiteral("ss"),
            {QStringLiteral("-Htn"), QStringLiteral("state"), QStringLiteral("established"),
             QStringLiteral("( sport = :%1 )").arg(port)}));
    for (const QString &line : sockets.split(u'\n', Qt::SkipEmptyParts)) {
        if (line.simplified().section(u' ', 0, 0).toInt() > 0) { // Recv-Q
            return true;
        }
    }
    return false;
}

// The editor's file once saved.
QString saved(const QString &path)
{
    keys({QStringLiteral("ctrl+s")});
    return readFile(path);
}

// Pixels of the popup drawn in the light theme's error colour (the banner's
// triangle and sentence): none in the command list, many once an error is
// shown. Qt keeps popup windows out of the accessibility tree, so the screen
// is what tells.
int errorColouredPixels()
{
    const auto frame = popupFrame();
    if (!frame) {
        return -1;
    }
    const QImage image = grabScreen().copy(*frame);
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            count += std::abs(c.red() - 215) <= 20 && std::abs(c.green() - 38) <= 20 &&
                     std::abs(c.blue() - 30) <= 20;
        }
    }
    return count;
}

} // namespace

class LoopDesktopTest : public QObject {
    Q_OBJECT

    FakeProvider m_fake;
    Vellumo m_vellumo;

    // Mousepad showing the sentence in a file of that name, selected.
    static bool openEditor(App &editor, const QString &path)
    {
        return writeFile(path, sentence + u'\n') &&
               editor.start(QStringLiteral("mousepad"), {path}) && editor.activate() &&
               keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")});
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY(useFakeProvider(m_fake, QStringLiteral("sk-loop")));
        QVERIFY(m_vellumo.start());
    }

    void cleanupTestCase() { m_vellumo.stop(); }

    void init() { QVERIFY(m_fake.clear()); }

    // The editor closes while the provider is still answering (held still
    // until then). Its window is gone and another one is active when the
    // answer arrives: the answer goes nowhere but the clipboard, and the
    // bystander receives nothing.
    void anAnswerWhoseApplicationClosedIsPastedNowhere()
    {
        const QString bystanderFile = homePath(QStringLiteral("bystander.txt"));
        App bystander;
        QVERIFY(
            bystander.start(QStringLiteral("xterm"),
                            {QStringLiteral("-geometry"), QStringLiteral("60x8+700+600"),
                             QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
                             QStringLiteral("cat > \"$1\""), QStringLiteral("sh"), bystanderFile}));
        App editor;
        QVERIFY(openEditor(editor, homePath(QStringLiteral("closing.txt"))));
        const QString answer = QStringLiteral("This answer must not be typed anywhere");
        QVERIFY(m_fake.setAnswer(answer));
        QVERIFY(m_vellumo.openPopup());
        QVERIFY(typeText(QStringLiteral("zz")));
        const qsizetype mark = m_vellumo.mark();
        const pid_t provider = pid_t(m_fake.processId());
        QVERIFY(::kill(provider, SIGSTOP) == 0);
        auto resume = qScopeGuard([provider] { ::kill(provider, SIGCONT); });
        QVERIFY(keys({QStringLiteral("Return")}));
        QTRY_VERIFY(requestWaiting(m_fake.port()));
        editor.stop();
        QVERIFY(bystander.activate());
        QVERIFY(::kill(provider, SIGCONT) == 0);

        QVERIFY(m_vellumo.waitFor(QStringLiteral("No original app found!"), mark));
        QCOMPARE(m_fake.requests().size(), 1);
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Text replacement done")));
        // Whatever reached the bystander would end up in its file now.
        QVERIFY(keys({QStringLiteral("Return")}));
        QTRY_COMPARE(readFile(bystanderFile), QStringLiteral("\n"));
        // Not lost: the user can paste it.
        QCOMPARE(clipboardText(), answer);
    }

    // A selection of a megabyte: read, sent and replaced whole, within two
    // seconds of Return. Only a few characters' places are ever asked for.
    void aMegabyteSelectionIsReplacedQuickly()
    {
        QString big;
        big.reserve(1 << 20);
        for (int line = 0; big.size() < (1 << 20); ++line) {
            big += QStringLiteral("Line %1 of a long text, with some words to fill it up.\n")
                       .arg(line, 6, 10, QLatin1Char('0'));
        }
        const QString path = homePath(QStringLiteral("megabyte.txt"));
        QVERIFY(writeFile(path, big));
        App editor;
        QVERIFY(editor.start(QStringLiteral("gedit"), {path}));
        QVERIFY(editor.activate());
        // gedit loads a long file after showing its window: selected once
        // all of it is there (it hides the file's last line break).
        QTRY_VERIFY_WITH_TIMEOUT(
            keys({QStringLiteral("ctrl+a")}) && primaryText().size() == big.size() - 1, 20000);
        const QString answer = QStringLiteral("A megabyte, in one line.");
        QVERIFY(m_fake.setAnswer(answer));
        QElapsedTimer pressToPopup;
        pressToPopup.start();
        QVERIFY(m_vellumo.openPopup());
        qInfo("a megabyte: popup %lld ms after the press", qint64(pressToPopup.elapsed()));
        QVERIFY(typeText(QStringLiteral("zz")));
        const qsizetype mark = m_vellumo.mark();
        QElapsedTimer sinceReturn;
        sinceReturn.start();
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark));
        const qint64 replaced = sinceReturn.elapsed();
        qInfo("a megabyte: replaced %lld ms after Return", replaced);
        QVERIFY2(replaced < 2000, qPrintable(QString::number(replaced)));
        const QString prompt =
            m_fake.requests().constLast().json()["messages"][0]["content"].toString();
        QVERIFY(prompt.endsWith(QStringLiteral("Text to process: ") + big.chopped(1)));
        QTRY_COMPARE_WITH_TIMEOUT(saved(path), answer + u'\n', 5000);
    }

    // A provider error is shown in the popup until Escape; a click outside
    // closes the popup unasked. The text and the user's clipboard stay.
    void thePopupClosesAndTheTextStays_data()
    {
        QTest::addColumn<bool>("providerError");
        QTest::newRow("provider error") << true;
        QTest::newRow("click outside") << false;
    }

    void thePopupClosesAndTheTextStays()
    {
        QFETCH(bool, providerError);
        const QString path = homePath(QStringLiteral("stays.txt"));
        App editor;
        QVERIFY(openEditor(editor, path));
        offerUserClipboard();
        QVERIFY(!providerError || m_fake.fail(QStringLiteral("401")));
        QVERIFY(m_vellumo.openPopup());
        const qsizetype mark = m_vellumo.mark();
        if (providerError) {
            QCOMPARE(errorColouredPixels(), 0);
            QVERIFY(keys({QStringLiteral("Return")}));
            QTRY_VERIFY_WITH_TIMEOUT(errorColouredPixels() > 100, 5000);
            grabScreen(QStringLiteral("loop-provider-error"));
            QVERIFY(keys({QStringLiteral("Escape")}));
        } else {
            QVERIFY(click(QPoint(1850, 1000)));
        }
        QTRY_VERIFY(!popupFrame());
        QCOMPARE(m_fake.requests().size(), providerError ? 1 : 0);
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Text replacement")));
        QCOMPARE(userClipboardProblem(), QString());
        QVERIFY(editor.activate());
        QTRY_COMPARE(saved(path), sentence + u'\n');
    }

    // The lines that carry the user's text appear when asked for (that they
    // do not otherwise, tst_app's theOutputCarriesNoUserText shows).
    void verbosePrintsTheTexts()
    {
        App editor;
        QVERIFY(openEditor(editor, homePath(QStringLiteral("verbose.txt"))));
        m_vellumo.stop();
        auto restart = qScopeGuard([&] { QVERIFY(m_vellumo.start()); });
        Vellumo verbose;
        QVERIFY(verbose.start({}, {QStringLiteral("--verbose")}));
        QVERIFY(editor.activate());
        QVERIFY(verbose.openPopup());
        const QString output = verbose.output();
        QVERIFY2(output.contains(QStringLiteral("Got selected text: ") + sentence) &&
                     output.contains(QStringLiteral("Creating popup with text: ") + sentence),
                 qPrintable(output));
        QVERIFY(keys({QStringLiteral("Escape")}));
    }

    // Last, as it stops the shared vellumo: a shortcut that cannot be hooked
    // is said at start, with the way back to the default; the ready line
    // only names what can be pressed, and Vellumo runs on all the same.
    void aShortcutThatCannotBeSetIsSaid_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("heldElsewhere");
        QTest::addColumn<QStringList>("said");
        QTest::newRow("malformed")
            << "{\"carbonKeyCode\": \"slash\"" << false
            << QStringList{"The stored shortcut is not one Vellumo can read"};
        QTest::newRow("a key code of no key")
            << "{\"carbonKeyCode\":200,\"carbonModifiers\":4352}" << false
            << QStringList{"The stored shortcut (Ctrl+Super+key code 200) names no key of this "
                           "keyboard"};
        QTest::newRow("switched off") << "false" << false << QStringList{"No shortcut is set"};
        QTest::newRow("held by another client")
            << QString() << true
            << QStringList{"Error registering hotkey Ctrl+Super+/: BadAccess",
                           "Ctrl+Super+/ is taken by another application, so it does not call "
                           "Vellumo."};
    }

    void aShortcutThatCannotBeSetIsSaid()
    {
        QFETCH(QString, stored);
        QFETCH(bool, heldElsewhere);
        QFETCH(QStringList, said);
        m_vellumo.stop();
        const QString key = GlobalShortcuts::Name::showPopup().storeKey();
        if (!stored.isNull()) {
            DefaultsStore::standard().setText(key, stored);
        }
        auto restore = qScopeGuard([&] { DefaultsStore::standard().remove(key); });
        ShortcutGrab grab;
        QVERIFY(!heldElsewhere || grab.take());
        Vellumo vellumo;
        QVERIFY(vellumo.start({}, {}, false));
        for (const QString &line :
             said + QStringList{QStringLiteral("To get the default (Ctrl+Super+/) back, remove the "
                                               "line \"GlobalShortcuts_showpopup\"")}) {
            QVERIFY(vellumo.waitFor(line, 0));
        }
        QVERIFY(vellumo.waitUntilLooping());
        QVERIFY(!vellumo.output().contains(QStringLiteral("is ready")));
        QVERIFY(!vellumo.output().contains(QChar(0xFFFD)));
        QVERIFY(heldElsewhere || !shortcutHeldByAnother());
    }
};

QTEST_MAIN(LoopDesktopTest)
#include "tst_loop_desktop.moc"
