// The loop's edges that tests/e2e/apps does not walk: an answer whose
// application went away, a selection of a megabyte, a provider error, a
// click outside the popup, --verbose, and a shortcut another client holds.
#include "AIVendor.h"
#include "AppHarness.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "GlobalShortcuts.h"
#include "KeychainService.h"
#include "Settings.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QTest>
#include <xcb/xcb.h>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace AppHarness;

namespace {

const QString shortcut = QStringLiteral("ctrl+super+slash");
const QString sentence = QStringLiteral("The quick brown fox jumps over the lazy dog.");

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool writeFile(const QString &path, const QString &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(content.toUtf8()) == content.toUtf8().size();
}

// A program of the test, on the private desktop, with its window.
struct TestWindow {
    std::unique_ptr<QProcess> process;
    quint64 id = 0;

    bool start(const QString &program, const QStringList &arguments)
    {
        process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
        process->setProcessEnvironment(env);
        process->start(program, arguments);
        if (!process->waitForStarted(5000)) {
            return false;
        }
        QDeadlineTimer deadline(20000);
        while (!deadline.hasExpired() && id == 0) {
            id = QString::fromLatin1(
                     run(QStringLiteral("xdotool"),
                         {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                          QStringLiteral("--pid"), QString::number(process->processId())}))
                     .split(u'\n')
                     .value(0)
                     .toULongLong();
            QTest::qWait(100);
        }
        return id != 0;
    }

    bool activate() const
    {
        run(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QString::number(id)});
        QDeadlineTimer deadline(5000);
        while (!deadline.hasExpired()) {
            if (QString::fromLatin1(
                    run(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")}))
                    .trimmed()
                    .toULongLong() == id) {
                return true;
            }
            QTest::qWait(50);
        }
        return false;
    }

    void stop()
    {
        if (process && process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(3000);
        }
    }
};

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

    bool openPopup(qsizetype *mark)
    {
        *mark = m_vellumo.mark();
        return keys({shortcut}) &&
               m_vellumo.waitFor(QStringLiteral("Popup created and shown"), *mark) &&
               QTest::qWaitFor([] { return popupFrame().has_value(); }, 5000);
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
        QVERIFY(KeychainService::shared().storeAPIKey(QStringLiteral("sk-loop"), AIVendor::openai));
        QVERIFY(m_vellumo.start());
    }

    void cleanupTestCase() { m_vellumo.stop(); }

    void init() { QVERIFY(m_fake.clear()); }

    // The editor closes while the provider is still answering. Its window is
    // gone and another one is active when the answer arrives: the answer goes
    // nowhere but the clipboard, and the bystander receives nothing.
    void anAnswerWhoseApplicationClosedIsPastedNowhere()
    {
        const QString bystanderFile = QDir::home().filePath(QStringLiteral("bystander.txt"));
        TestWindow bystander;
        QVERIFY(
            bystander.start(QStringLiteral("xterm"),
                            {QStringLiteral("-geometry"), QStringLiteral("60x8+700+600"),
                             QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
                             QStringLiteral("cat > \"$1\""), QStringLiteral("sh"), bystanderFile}));
        auto endBystander = qScopeGuard([&] { bystander.stop(); });
        const QString path = QDir::home().filePath(QStringLiteral("closing.txt"));
        QVERIFY(writeFile(path, sentence + u'\n'));
        TestWindow editor;
        QVERIFY(editor.start(QStringLiteral("mousepad"), {path}));
        auto endEditor = qScopeGuard([&] { editor.stop(); });
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")}));

        QVERIFY(m_fake.setAnswer(QStringLiteral("This answer must not be typed anywhere")));
        QVERIFY(m_fake.fail(QStringLiteral("slow:1.5")));
        qsizetype mark = 0;
        QVERIFY(openPopup(&mark));
        QVERIFY(typeText(QStringLiteral("zz")));
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Return")}));
        QTRY_COMPARE(m_fake.requests().size(), 1);
        editor.stop();
        QVERIFY(bystander.activate());

        QVERIFY2(m_vellumo.waitFor(QStringLiteral("No original app found!"), mark, 10000),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Text replacement done")));
        // Whatever reached the bystander would end up in its file now.
        QVERIFY(keys({QStringLiteral("Return")}));
        QTRY_COMPARE(readFile(bystanderFile), QStringLiteral("\n"));
        // Not lost: the user can paste it.
        QCOMPARE(clipboardText(), QStringLiteral("This answer must not be typed anywhere"));
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
        const QString path = QDir::home().filePath(QStringLiteral("megabyte.txt"));
        QVERIFY(writeFile(path, big));
        TestWindow editor;
        QVERIFY(editor.start(QStringLiteral("gedit"), {path}));
        auto end = qScopeGuard([&] { editor.stop(); });
        QVERIFY(editor.activate());
        // gedit loads a long file after showing its window: selected once
        // all of it is there (it hides the file's last line break).
        QTRY_VERIFY_WITH_TIMEOUT(
            keys({QStringLiteral("ctrl+a")}) && primaryText().size() == big.size() - 1, 20000);
        const QString answer = QStringLiteral("A megabyte, in one line.");
        QVERIFY(m_fake.setAnswer(answer));
        qsizetype mark = 0;
        QElapsedTimer pressToPopup;
        pressToPopup.start();
        QVERIFY(openPopup(&mark));
        qInfo("a megabyte: popup %lld ms after the press", qint64(pressToPopup.elapsed()));
        QVERIFY(typeText(QStringLiteral("zz")));
        mark = m_vellumo.mark();
        QElapsedTimer sinceReturn;
        sinceReturn.start();
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark, 10000),
                 qPrintable(m_vellumo.output().mid(mark)));
        const qint64 replaced = sinceReturn.elapsed();
        qInfo("a megabyte: replaced %lld ms after Return", replaced);
        QVERIFY2(replaced < 2000, qPrintable(QString::number(replaced)));
        const QString prompt =
            m_fake.requests().constLast().json()["messages"][0]["content"].toString();
        // gedit hides the file's last line break.
        QVERIFY(prompt.endsWith(QStringLiteral("Text to process: ") + big.chopped(1)));
        auto saved = [&] {
            keys({QStringLiteral("ctrl+s")});
            return readFile(path);
        };
        QTRY_COMPARE_WITH_TIMEOUT(saved(), answer + u'\n', 5000);
    }

    void providerErrorIsShownAndTheTextStays()
    {
        const QString path = QDir::home().filePath(QStringLiteral("error.txt"));
        QVERIFY(writeFile(path, sentence + u'\n'));
        TestWindow editor;
        QVERIFY(editor.start(QStringLiteral("mousepad"), {path}));
        auto end = qScopeGuard([&] { editor.stop(); });
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")}));
        QVERIFY(m_fake.fail(QStringLiteral("401")));
        qsizetype mark = 0;
        QVERIFY(openPopup(&mark));
        QCOMPARE(errorColouredPixels(), 0);
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Return")}));
        QTRY_COMPARE(m_fake.requests().size(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(errorColouredPixels() > 100, 5000);
        grabScreen(QStringLiteral("loop-provider-error"));
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Text replacement")));
        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY(!popupFrame());
        QVERIFY(keys({QStringLiteral("ctrl+s")}));
        QTRY_COMPARE(readFile(path), sentence + u'\n');
    }

    void aClickOutsideClosesThePopupAndChangesNothing()
    {
        const QString path = QDir::home().filePath(QStringLiteral("click.txt"));
        QVERIFY(writeFile(path, sentence + u'\n'));
        TestWindow editor;
        QVERIFY(editor.start(QStringLiteral("mousepad"), {path}));
        auto end = qScopeGuard([&] { editor.stop(); });
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")}));
        offerUserClipboard();
        qsizetype mark = 0;
        QVERIFY(openPopup(&mark));
        QVERIFY(click(QPoint(1850, 1000)));
        QTRY_VERIFY(!popupFrame());
        QVERIFY(m_fake.requests().isEmpty());
        QCOMPARE(userClipboardProblem(), QString());
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+s")}));
        QTRY_COMPARE(readFile(path), sentence + u'\n');
    }

    // The lines that carry the user's text appear only when asked for.
    void verbosePrintsTheTextsOnlyWhenAskedFor()
    {
        const QString path = QDir::home().filePath(QStringLiteral("verbose.txt"));
        QVERIFY(writeFile(path, sentence + u'\n'));
        TestWindow editor;
        QVERIFY(editor.start(QStringLiteral("mousepad"), {path}));
        auto end = qScopeGuard([&] { editor.stop(); });
        QVERIFY(editor.activate());
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")}));
        qsizetype mark = 0;
        QVERIFY(openPopup(&mark));
        QVERIFY(keys({QStringLiteral("Escape")}));
        QVERIFY(!m_vellumo.output().contains(sentence));

        Vellumo verbose;
        m_vellumo.stop();
        auto restart = qScopeGuard([&] { QVERIFY(m_vellumo.start()); });
        QVERIFY(verbose.start({}, {QStringLiteral("--verbose")}));
        QVERIFY(editor.activate());
        mark = verbose.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(verbose.waitFor(QStringLiteral("Got selected text: ") + sentence, mark),
                 qPrintable(verbose.output().mid(mark)));
        QVERIFY2(verbose.waitFor(QStringLiteral("Creating popup with text: ") + sentence, mark),
                 qPrintable(verbose.output().mid(mark)));
        QVERIFY(keys({QStringLiteral("Escape")}));
        verbose.stop();
    }

    // A stored shortcut that cannot be hooked is said at start, with the way
    // back to the default; the ready line only names what can be pressed.
    void aShortcutThatCannotBeSetIsSaid_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("said");
        QTest::newRow("malformed") << "{\"carbonKeyCode\": \"slash\""
                                   << "The stored shortcut is not one Vellumo can read";
        QTest::newRow("a key code of no key")
            << "{\"carbonKeyCode\":200,\"carbonModifiers\":4352}"
            << "The stored shortcut (Ctrl+Super+key code 200) names no key of this keyboard";
        QTest::newRow("switched off") << "false"
                                      << "No shortcut is set";
    }

    void aShortcutThatCannotBeSetIsSaid()
    {
        QFETCH(QString, stored);
        QFETCH(QString, said);
        m_vellumo.stop();
        const QString key = GlobalShortcuts::Name::showPopup().storeKey();
        DefaultsStore::standard().setText(key, stored);
        auto restore = qScopeGuard([&] { DefaultsStore::standard().remove(key); });
        Vellumo vellumo;
        QVERIFY(vellumo.start({}, {}, false));
        QVERIFY2(vellumo.waitFor(said, 0), qPrintable(vellumo.output()));
        QVERIFY2(vellumo.waitFor(QStringLiteral("To get the default (Ctrl+Super+/) back, remove "
                                                "the line \"GlobalShortcuts_showpopup\""),
                                 0),
                 qPrintable(vellumo.output()));
        QVERIFY(!vellumo.output().contains(QStringLiteral("is ready")));
        QVERIFY(!vellumo.output().contains(QChar(0xFFFD)));
        QVERIFY(!shortcutHeldByAnother());
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

        // Vellumo does not hold the shortcut here: it runs, and says so.
        Vellumo second;
        QVERIFY(second.start({}, {}, false));
        QVERIFY2(
            second.waitFor(QStringLiteral("Error registering hotkey Ctrl+Super+/: BadAccess"), 0),
            qPrintable(second.output()));
        QVERIFY2(second.waitFor(QStringLiteral("Ctrl+Super+/ is taken by another application, so "
                                               "it does not call Vellumo."),
                                0),
                 qPrintable(second.output()));
        QVERIFY(!second.output().contains(QStringLiteral("is ready")));
        QTest::qWait(500);
        QVERIFY(second.isRunning());
    }
};

QTEST_MAIN(LoopDesktopTest)
#include "tst_loop_desktop.moc"
