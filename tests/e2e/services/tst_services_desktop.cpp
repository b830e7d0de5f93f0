// Replacement and geometry against real applications on a private X desktop.
#include "AccessibilityService.h"
#include "DesktopApps.h"
#include "TestSupport.h"
#include "TextManipulationService.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTest>

namespace {

const QString document =
    QStringLiteral("alpha beta gamma\nsecond line here\nthird 🙂 emoji line\n");

template <typename T> T await(QFuture<T> future, int timeoutMs = 5000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    if constexpr (!std::is_void_v<T>) {
        return future.isFinished() ? future.result() : T{};
    }
}

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class ServicesDesktopTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void replacesSelectionInMousepad_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("expected");
        QTest::addRow("word")
            << QStringList{"ctrl+Home",   "Right",       "Right",      "Right",
                           "Right",       "Right",       "Right",      "shift+Right",
                           "shift+Right", "shift+Right", "shift+Right"}
            << QStringLiteral("BETA 🙂")
            << QStringLiteral("alpha BETA 🙂 gamma\nsecond line here\nthird 🙂 emoji line\n");
        QTest::addRow("lines to one")
            << QStringList{"ctrl+Home", "shift+Down", "shift+Down"} << QStringLiteral("joined\n")
            << QStringLiteral("joined\nthird 🙂 emoji line\n");
        // An empty answer replaces the selection with nothing; above all the
        // user's earlier clipboard ("user clip") must not be pasted in its place.
        QTest::addRow("empty answer")
            << QStringList{"ctrl+Home", "Down", "Home", "shift+End"} << QString()
            << QStringLiteral("alpha beta gamma\n\nthird 🙂 emoji line\n");
    }

    void replacesSelectionInMousepad()
    {
        QFETCH(QStringList, keys);
        QFETCH(QString, answer);
        QFETCH(QString, expected);
        const QString path = DesktopApps::writeFile(
            QStringLiteral("replace-%1.txt")
                .arg(QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-')),
            document);
        DesktopApps::App editor = DesktopApps::start(QStringLiteral("mousepad"), {path});
        auto cleanup = qScopeGuard([&] { DesktopApps::stop(editor); });
        QVERIFY(editor.window != 0);
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys(keys));
        QGuiApplication::clipboard()->setText(QStringLiteral("user clip"));

        TextManipulationService service;
        QFuture<TextManipulationService::Outcome> done = service.replaceSelectedText(answer);
        await(done);
        QVERIFY(done.isFinished());
        QCOMPARE(done.result(), TextManipulationService::Outcome::Pasted);
        // The clipboard is left empty, not restored.
        QVERIFY(DesktopApps::selectionTargets(QStringLiteral("clipboard")).isEmpty());

        // The application inserts the answer some time after it read it.
        const auto saved = [&path] {
            DesktopApps::keys({"ctrl+s"});
            return readFile(path);
        };
        QTRY_COMPARE_WITH_TIMEOUT(saved(), expected, 5000);
        DesktopApps::screenshot(
            QStringLiteral("replace-mousepad-%1").arg(QTest::currentDataTag()).replace(u' ', u'-'));
    }

    void pastesAtXtermPrompt()
    {
        const QString out = QDir::home().filePath(QStringLiteral("xterm-line.txt"));
        DesktopApps::App xterm = DesktopApps::start(
            QStringLiteral("xterm"),
            {QStringLiteral("-e"), QStringLiteral("sh"), QStringLiteral("-c"),
             QStringLiteral("printf 'answer? '; IFS= read -r line; printf '%s' \"$line\" > \"$1\"; "
                            "exec sleep 100000"),
             QStringLiteral("sh"), out});
        auto cleanup = qScopeGuard([&] { DesktopApps::stop(xterm); });
        QVERIFY(xterm.window != 0);
        QVERIFY(DesktopApps::activate(xterm.window));

        TextManipulationService service;
        await(service.replaceSelectedText(QStringLiteral("pasted 🙂 answer")));
        QVERIFY(DesktopApps::selectionTargets(QStringLiteral("clipboard")).isEmpty());
        QVERIFY(DesktopApps::selectionTargets(QStringLiteral("primary")).isEmpty());
        DesktopApps::screenshot(QStringLiteral("replace-xterm"));
        QVERIFY(DesktopApps::keys({"Return"}));
        QTRY_COMPARE_WITH_TIMEOUT(readFile(out), QStringLiteral("pasted 🙂 answer"), 5000);
    }

    void pasteChordFollowsTheWindowClass_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("cls");
        QTest::addColumn<QStringList>("modifiers");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("primary");
        QTest::addRow("editor") << "mousepad"
                                << "Mousepad" << QStringList{"Control_L"} << "v" << false;
        QTest::addRow("xterm") << "xterm"
                               << "XTerm" << QStringList{"Shift_L"} << "Insert" << true;
        QTest::addRow("uxterm") << "xterm"
                                << "UXTerm" << QStringList{"Shift_L"} << "Insert" << true;
        QTest::addRow("gnome terminal")
            << "gnome-terminal-server"
            << "Gnome-terminal" << QStringList{"Control_L", "Shift_L"} << "v" << false;
        QTest::addRow("konsole") << "konsole"
                                 << "konsole" << QStringList{"Control_L", "Shift_L"} << "v"
                                 << false;
        QTest::addRow("unknown window") << ""
                                        << "" << QStringList{"Control_L"} << "v" << false;
    }

    void pasteChordFollowsTheWindowClass()
    {
        QFETCH(QString, name);
        QFETCH(QString, cls);
        QFETCH(QStringList, modifiers);
        QFETCH(QString, key);
        QFETCH(bool, primary);
        const auto paste = TextManipulationService::pasteChordFor(name, cls);
        QCOMPARE(paste.chord.modifierKeysyms, modifiers);
        QCOMPARE(paste.chord.keysym, key);
        QCOMPARE(paste.alsoPrimary, primary);
    }

    void geometryOfMousepadSelection()
    {
        const QString path = DesktopApps::writeFile(QStringLiteral("geometry.txt"), document);
        DesktopApps::App editor = DesktopApps::start(QStringLiteral("mousepad"), {path});
        auto cleanup = qScopeGuard([&] { DesktopApps::stop(editor); });
        QVERIFY(editor.window != 0);
        QVERIFY(DesktopApps::xdotool({QStringLiteral("windowmove"), QString::number(editor.window),
                                      QStringLiteral("300"), QStringLiteral("200")}));
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+Home", "Down", "Right", "Right", "Right", "Right", "Right",
                                   "Right", "Right", "shift+Right", "shift+Right", "shift+Right",
                                   "shift+Right"}));

        AccessibilityService service;
        const SelectionGeometry word = await(service.queryGeometry());
        QVERIFY(word.selectionBounds && word.focusedElementFrame && word.focusedWindowFrame);
        QVERIFY(word.textInsertionPoint);
        const QRectF window = *word.focusedWindowFrame;
        const QRectF element = *word.focusedElementFrame;
        const QRectF bounds = *word.selectionBounds;
        qInfo() << "window" << window << "element" << element << "selection" << bounds;
        QVERIFY(window.left() >= 290 && window.top() >= 190); // where we moved it
        QVERIFY(window.contains(element));
        QVERIFY(element.contains(bounds));
        // "line" is the 8th to 11th character of the second line.
        QVERIFY(bounds.width() > 8 && bounds.width() < 80);
        QVERIFY(bounds.height() > 6 && bounds.height() < 40);
        QVERIFY(bounds.top() - element.top() > bounds.height() * 0.5); // below the first line
        QVERIFY(bounds.top() - element.top() < bounds.height() * 3);
        QVERIFY(bounds.left() - element.left() > bounds.width()); // after "second "
        QVERIFY(bounds.left() - element.left() < bounds.width() * 4);
        // The text cursor sits at the selection's end, so the point below it
        // is at the selection's right edge and bottom.
        QVERIFY2(std::abs(word.textInsertionPoint->x() - bounds.right()) <= 8,
                 qPrintable(QStringLiteral("%1 vs %2").arg(word.textInsertionPoint->x()).arg(bounds.right())));
        QVERIFY(std::abs(word.textInsertionPoint->y() - bounds.bottom()) <= 2);

        // A longer selection on the same line starts at the line's start and is wider.
        QVERIFY(DesktopApps::keys({"Home", "shift+End"}));
        const SelectionGeometry line = await(service.queryGeometry());
        QVERIFY(line.selectionBounds);
        QVERIFY(line.selectionBounds->width() > bounds.width() * 3);
        QVERIFY(line.selectionBounds->left() < bounds.left());
        QCOMPARE(line.selectionBounds->top(), bounds.top());
    }

    void geometryOfXtermHasOnlyTheWindow()
    {
        DesktopApps::App xterm = DesktopApps::start(
            QStringLiteral("xterm"),
            {QStringLiteral("-geometry"), QStringLiteral("80x10+100+120"), QStringLiteral("-e"),
             QStringLiteral("sleep"), QStringLiteral("100000")});
        auto cleanup = qScopeGuard([&] { DesktopApps::stop(xterm); });
        QVERIFY(DesktopApps::activate(xterm.window));
        AccessibilityService service;
        const SelectionGeometry g = await(service.queryGeometry());
        QVERIFY(!g.selectionBounds);
        QVERIFY(!g.textInsertionPoint);
        QVERIFY(!g.focusedElementFrame);
        QVERIFY(g.focusedWindowFrame);
        QVERIFY(g.focusedWindowFrame->contains(QPointF(150, 170)));
        QVERIFY(g.focusedWindowFrame->width() > 400 && g.focusedWindowFrame->width() < 600);
    }

    void logicalPixelsDivideByTheScreenRatio()
    {
        SelectionGeometry device;
        device.selectionBounds = QRectF(200, 100, 40, 20);
        device.textInsertionPoint = QPointF(300, 50);
        device.focusedWindowFrame = QRectF(0, 0, 1000, 800);
        const auto logical = AccessibilityService::toLogical(device, 2.0);
        QCOMPARE(*logical.selectionBounds, QRectF(100, 50, 20, 10));
        QCOMPARE(*logical.textInsertionPoint, QPointF(150, 25));
        QCOMPARE(*logical.focusedWindowFrame, QRectF(0, 0, 500, 400));
        QVERIFY(!logical.focusedElementFrame);
        QCOMPARE(*AccessibilityService::toLogical(device, 0).selectionBounds,
                 QRectF(200, 100, 40, 20));
    }
};

QTEST_MAIN(ServicesDesktopTest)
#include "tst_services_desktop.moc"
