// The whole loop as a user meets it: the vellumo executable running on the
// private X desktop with a key in the test keyring and the local HTTPS
// provider, text selected in mousepad and xterm with xdotool, the shortcut
// pressed, the popup driven by keys, and the answer read back from the
// application.
#include "AIVendor.h"
#include "AccessibilityService.h"
#include "BaseInstructionsService.h"
#include "DefaultsStore.h"
#include "DesktopApps.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>
#include <cstdlib>
#include <xcb/xcb.h>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace {

const QString sentence = QStringLiteral("The quick brown fox jumps over the lazy dog.");
const QString secondLine = QStringLiteral("Second line stays.");
const QString document = sentence + QLatin1Char('\n') + secondLine + QLatin1Char('\n');
const QString answer = QStringLiteral("Der schnelle braune Fuchs springt über den faulen Hund.");
const QString invalidKey =
    QStringLiteral("Invalid API key. Please check your API key in settings.");

template <typename T> T await(const QFuture<T> &future)
{
    QDeadlineTimer deadline(10000);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return future.result();
}

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The popup's X window while it is mapped, else 0.
quint64 popupWindow()
{
    QProcess search;
    search.start(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                             QStringLiteral("--name"), QStringLiteral("^Vellumo$")});
    search.waitForFinished(5000);
    return QString::fromLatin1(search.readAllStandardOutput()).split(u'\n').value(0).toULongLong();
}

QRect windowGeometry(quint64 window)
{
    QProcess query;
    query.start(QStringLiteral("xdotool"),
                {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), QString::number(window)});
    query.waitForFinished(5000);
    QMap<QString, int> values;
    for (const QString &line : QString::fromLatin1(query.readAllStandardOutput()).split(u'\n')) {
        const QStringList pair = line.split(u'=');
        if (pair.size() == 2) {
            values.insert(pair[0], pair[1].toInt());
        }
    }
    return QRect(values.value(QStringLiteral("X")), values.value(QStringLiteral("Y")),
                 values.value(QStringLiteral("WIDTH")), values.value(QStringLiteral("HEIGHT")));
}

// The running vellumo executable and what it has printed so far.
class Vellumo {
public:
    ~Vellumo() { stop(); }

    bool start()
    {
        m_out.clear();
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(qEnvironmentVariable("VELLUMO_BINARY"), {QStringLiteral("--verbose")});
        return m_process.waitForStarted(10000);
    }

    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished(5000)) {
                m_process.kill();
                m_process.waitForFinished(2000);
            }
        }
    }

    bool isRunning() const { return m_process.state() == QProcess::Running; }
    qint64 pid() const { return m_process.processId(); }

    QString output()
    {
        m_out += QString::fromUtf8(m_process.readAll());
        return m_out;
    }

    // Waits until a line containing text has been printed after mark.
    bool waitFor(const QString &text, qsizetype mark = 0, int timeoutMs = 10000)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (!output().mid(mark).contains(text)) {
            if (deadline.hasExpired() || m_process.state() == QProcess::NotRunning) {
                return false;
            }
            m_process.waitForReadyRead(50);
        }
        return true;
    }

    qsizetype mark() { return output().size(); }

private:
    QProcess m_process;
    QString m_out;
};

// Pixels of the popup drawn in the light theme's error colour (the banner's
// triangle and sentence): none in the command list, many once an error is shown. Qt keeps
// popup windows out of the accessibility tree, so the screen is what tells.
int errorColouredPixels(quint64 window)
{
    const QRect frame = windowGeometry(window);
    const QString path = DesktopApps::screenshot(QStringLiteral("loop-error-probe"));
    const QImage image = QImage(path).copy(frame);
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
    DesktopApps::App m_editor;
    QString m_path;

    QString savedDocument()
    {
        DesktopApps::activate(m_editor.window);
        DesktopApps::keys({"ctrl+s"});
        QTest::qWait(300);
        return readFile(m_path);
    }

    QString lastPrompt()
    {
        const auto sent = m_fake.requests();
        return sent.isEmpty() ? QString()
                              : sent.constLast().json()["messages"][0]["content"].toString();
    }

    // Selects the first line of the editor, presses the shortcut and checks
    // that the popup opens just below the selection, horizontally centred on it.
    void openPopupAtSentence()
    {
        QVERIFY(DesktopApps::activate(m_editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+Home", "shift+End"}));
        AccessibilityService geometry;
        const auto selection = await(geometry.queryGeometry()).selectionBounds;
        QVERIFY(selection);

        const qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"ctrl+super+slash"}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(m_vellumo.output().mid(mark).contains(
            QStringLiteral("Got selected text: ") + sentence));
        QVERIFY(m_vellumo.output().mid(mark).contains(QStringLiteral("Using selection bounds")));
        QTRY_VERIFY(popupWindow() != 0);
        const QRect popup = windowGeometry(popupWindow());
        QCOMPARE(popup.size(), QSize(360, 340));
        QVERIFY2(std::abs(popup.center().x() - selection->center().x()) <= 2,
                 qPrintable(QStringLiteral("popup %1,%2 selection centre %3")
                                .arg(popup.x())
                                .arg(popup.y())
                                .arg(selection->center().x())));
        QVERIFY2(popup.top() >= selection->bottom() && popup.top() <= selection->bottom() + 10,
                 qPrintable(QStringLiteral("popup top %1 selection bottom %2")
                                .arg(popup.top())
                                .arg(selection->bottom())));
    }

    void closeEditorDocumentAsItWas()
    {
        QVERIFY(DesktopApps::activate(m_editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+a"}));
        for (const QString &line : {sentence, secondLine}) {
            QVERIFY(DesktopApps::xdotool(
                {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("5"), line}));
            QVERIFY(DesktopApps::keys({"Return"}));
        }
        QCOMPARE(savedDocument(), document);
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        DefaultsStore::standard().removeAll();
        VendorConfig config = AIVendors::defaultConfig(AIVendor::openai);
        config.apiHost = m_fake.host();
        DefaultsStore::standard().setData(VendorConfig::storageKey(AIVendor::openai),
                                          config.encode());
        DefaultsStore::standard().setBoolean(QStringLiteral("onboarding_completed"), true);
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("sk-loop-test"),
                                                     AIVendor::openai));

        m_path = DesktopApps::writeFile(QStringLiteral("loop.txt"), document);
        m_editor = DesktopApps::start(QStringLiteral("mousepad"), {m_path});
        QVERIFY(m_editor.window != 0);
        QVERIFY(m_vellumo.start());
        // The shortcut is hooked once the start-up check is done; a press
        // before that would go to the editor.
        QTest::qWait(1500);
        QVERIFY2(m_vellumo.isRunning(), qPrintable(m_vellumo.output()));
    }

    void cleanupTestCase()
    {
        m_vellumo.stop();
        DesktopApps::stop(m_editor);
    }

    void init() { QVERIFY(m_fake.clear()); }

    void commandFromSearchReplacesTheSelection()
    {
        QVERIFY(m_fake.setAnswer(answer));
        openPopupAtSentence();
        QVERIFY(DesktopApps::xdotool(
            {QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("30"),
             QStringLiteral("german")}));
        QTest::qWait(300);
        DesktopApps::screenshot(QStringLiteral("loop-popup-over-mousepad"));
        const qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"Return"}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_COMPARE(popupWindow(), quint64(0));

        const QString prompt = lastPrompt();
        QVERIFY(prompt.startsWith(BaseInstructionsService::shared().baseInstructions()));
        QVERIFY2(prompt.endsWith(QStringLiteral("Translate the following text to German: ") +
                                 sentence),
                 qPrintable(prompt));
        QCOMPARE(m_fake.requests().constLast().headers.value(QStringLiteral("authorization")),
                 QStringLiteral("Bearer sk-loop-test"));
        QCOMPARE(savedDocument(), answer + QLatin1Char('\n') + secondLine + QLatin1Char('\n'));
        // The answer does not stay on the clipboard.
        QVERIFY(DesktopApps::selectionTargets(QStringLiteral("clipboard")).isEmpty());
        closeEditorDocumentAsItWas();
    }

    void oneOffInstructionFromTheSearchField()
    {
        QVERIFY(m_fake.setAnswer(QStringLiteral("LOUD FOX")));
        openPopupAtSentence();
        QVERIFY(DesktopApps::xdotool({QStringLiteral("type"), QStringLiteral("--delay"),
                                      QStringLiteral("20"), QStringLiteral("shout it zz")}));
        const qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"Return"}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        const QString prompt = lastPrompt();
        QVERIFY2(prompt.contains(QStringLiteral("shout it zz")), qPrintable(prompt));
        QVERIFY2(prompt.endsWith(sentence), qPrintable(prompt));
        QCOMPARE(savedDocument(), QStringLiteral("LOUD FOX\n") + secondLine + QLatin1Char('\n'));
        closeEditorDocumentAsItWas();
    }

    void escapeOrAClickOutsideChangesNothing()
    {
        openPopupAtSentence();
        qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"Escape"}));
        QTRY_COMPARE(popupWindow(), quint64(0));

        // Opening again finds the selection where it was.
        openPopupAtSentence();
        QVERIFY(DesktopApps::xdotool({QStringLiteral("mousemove"), QStringLiteral("1850"),
                                      QStringLiteral("1000"), QStringLiteral("click"),
                                      QStringLiteral("1")}));
        QTRY_COMPARE(popupWindow(), quint64(0));
        QTest::qWait(300);
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Text replacement")));
        QVERIFY(m_fake.requests().isEmpty());
        QCOMPARE(savedDocument(), document);
    }

    void providerErrorIsShownAndTheTextStays()
    {
        QVERIFY(m_fake.fail(QStringLiteral("401")));
        openPopupAtSentence();
        auto escape = qScopeGuard([] { DesktopApps::keys({"Escape"}); });
        QCOMPARE(errorColouredPixels(popupWindow()), 0);
        const qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"Return"}));
        QTRY_COMPARE(m_fake.requests().size(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(errorColouredPixels(popupWindow()) > 100, 5000);
        DesktopApps::screenshot(QStringLiteral("loop-provider-error"));
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Text replacement")));
        escape.dismiss();
        QVERIFY(DesktopApps::keys({"Escape"}));
        QTRY_COMPARE(popupWindow(), quint64(0));
        QCOMPARE(savedDocument(), document);
    }

    void nothingSelectedOpensNothing()
    {
        QVERIFY(DesktopApps::activate(m_editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+Home"}));
        const qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"ctrl+super+slash"}));
        // Every strategy is tried first, the Copy menu item's clipboard
        // snapshot included, which can take seconds.
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("No text selected"), mark, 20000),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTest::qWait(300);
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Creating popup")));
        QCOMPARE(popupWindow(), quint64(0));
    }

    void answerLandsAtTheXtermPrompt()
    {
        const QString out = QDir::home().filePath(QStringLiteral("xterm-loop.txt"));
        DesktopApps::App xterm = DesktopApps::start(
            QStringLiteral("xterm"),
            {QStringLiteral("-geometry"), QStringLiteral("80x10+40+40"), QStringLiteral("-e"),
             QStringLiteral("sh"), QStringLiteral("-c"),
             QStringLiteral("printf 'alpha beta\\nanswer? '; IFS= read -r line; "
                            "printf '%s' \"$line\" > \"$1\"; exec sleep 100000"),
             QStringLiteral("sh"), out});
        auto cleanup = qScopeGuard([&] { DesktopApps::stop(xterm); });
        QVERIFY(xterm.window != 0);
        QVERIFY(DesktopApps::activate(xterm.window));
        QVERIFY(m_fake.setAnswer(QStringLiteral("Alpha in German")));
        // A double click selects "alpha" in the first row.
        QVERIFY(DesktopApps::xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"),
                                      QString::number(xterm.window), QStringLiteral("15"),
                                      QStringLiteral("8"), QStringLiteral("click"),
                                      QStringLiteral("--repeat"), QStringLiteral("2"),
                                      QStringLiteral("--delay"), QStringLiteral("80"),
                                      QStringLiteral("1")}));
        QTest::qWait(200);
        qsizetype mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"ctrl+super+slash"}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(m_vellumo.output().mid(mark).contains(QStringLiteral("Got selected text: alpha")));
        QTRY_VERIFY(popupWindow() != 0);
        QVERIFY(DesktopApps::xdotool({QStringLiteral("type"), QStringLiteral("--delay"),
                                      QStringLiteral("30"), QStringLiteral("german")}));
        mark = m_vellumo.mark();
        QVERIFY(DesktopApps::keys({"Return"}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(lastPrompt().endsWith(QStringLiteral("German: alpha")));
        DesktopApps::screenshot(QStringLiteral("loop-xterm"));
        QVERIFY(DesktopApps::keys({"Return"}));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(out), QStringLiteral("Alpha in German"), 5000);
    }

    // Last: it restarts vellumo while another client holds the shortcut.
    void shortcutHeldByAnotherClientIsReported()
    {
        m_vellumo.stop();
        auto *x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
        QVERIFY(x11);
        xcb_connection_t *connection = x11->connection();
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        Display *display = XOpenDisplay(nullptr);
        QVERIFY(display);
        const int slash = XKeysymToKeycode(display, XK_slash);
        XCloseDisplay(display);
        QVERIFY(slash > 8);
        const uint16_t modifiers = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_4;
        xcb_generic_error_t *error = xcb_request_check(
            connection, xcb_grab_key_checked(connection, 1, root, modifiers, xcb_keycode_t(slash),
                                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        QVERIFY(!error);
        auto release = qScopeGuard([&] {
            xcb_ungrab_key(connection, xcb_keycode_t(slash), root, modifiers);
            xcb_flush(connection);
        });

        QVERIFY(m_vellumo.start());
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Error registering hotkey Ctrl+Super+/: BadAccess")),
                 qPrintable(m_vellumo.output()));
        QTest::qWait(1000);
        QVERIFY(m_vellumo.isRunning());
    }
};

QTEST_MAIN(LoopDesktopTest)
#include "tst_loop_desktop.moc"
