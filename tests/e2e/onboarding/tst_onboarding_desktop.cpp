// SPDX-License-Identifier: GPL-3.0-or-later
// A new user's first start, as the user does it: vellumo started on an
// account without settings or keys, the guide walked with keys and clicks
// only (xdotool), a key for the local provider typed and validated, the
// shortcut tried on the guide's own test area, then on mousepad after
// Finish. Closing the guide with its close button brings it back at the
// next start; a finished guide does not come back. What the guide shows is
// read from the screen and, for the test area, through the clipboard after
// Ctrl+A, Ctrl+C, as a user would copy it.
#include "AIVendor.h"
#include "AppTargets.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "Settings.h"
#include "TestSupport.h"
#include "VendorConfig.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QJsonDocument>
#include <QTest>

using namespace AppTargets;
using namespace Desktop;

namespace {

const QString shortcut = QStringLiteral("ctrl+super+slash");
const QString guideTitle = QStringLiteral("^Welcome to Vellumo$");
const QString answer = QStringLiteral("Dies");
const QString sample =
    QStringLiteral("This is some sample text that you can experiment with. Try selecting this "
                   "text and using your keyboard shortcut to see Vellumo in action!");

// The guide's window while it is on screen; 0 otherwise.
quint64 guideWindow()
{
    return QString::fromLatin1(run(QStringLiteral("xdotool"),
                                   {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                    QStringLiteral("--name"), guideTitle}))
        .split(u'\n')
        .value(0)
        .toULongLong();
}

bool waitForGuide(bool shown, int timeoutMs = 10000)
{
    return QTest::qWaitFor([shown] { return (guideWindow() != 0) == shown; }, timeoutMs);
}

bool setAccessibility(bool enabled)
{
    QDBusMessage set = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"));
    set << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled")
        << QVariant::fromValue(QDBusVariant(enabled));
    return QDBusConnection::sessionBus().call(set).type() == QDBusMessage::ReplyMessage;
}

bool accessibilityEnabled()
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled");
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get);
    return reply.type() == QDBusMessage::ReplyMessage &&
           reply.arguments().value(0).value<QDBusVariant>().variant().toBool();
}

// Pixels of the guide drawn in the light theme's green (the "Valid" badge
// and its mark): none until a validation succeeded.
int greenPixels()
{
    const quint64 window = guideWindow();
    if (window == 0) {
        return -1;
    }
    const QImage image = grabScreen().copy(clientFrame(window));
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            count += std::abs(c.red() - 26) <= 12 && std::abs(c.green() - 127) <= 12 &&
                     std::abs(c.blue() - 55) <= 12;
        }
    }
    return count;
}

int changedPixels(const QImage &a, const QImage &b, const QRect &area)
{
    int count = 0;
    const QRect r = area.intersected(a.rect()).intersected(b.rect());
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x) {
            count += a.pixel(x, y) != b.pixel(x, y);
        }
    }
    return count;
}

// Keys go to the guide in order, but it draws what they did a moment
// later: the screen once the guide shows something else than before and
// has stopped changing (a blinking text cursor aside), under name in
// build/screenshots.
bool keysAndLook(const QStringList &sequence, const QString &name)
{
    const QRect area = clientFrame(guideWindow());
    const QImage before = grabScreen();
    if (!keys(sequence)) {
        return false;
    }
    QImage now = before;
    const bool changed = QTest::qWaitFor(
        [&] {
            now = grabScreen();
            return changedPixels(before, now, area) > 200;
        },
        5000);
    const bool settled = changed && QTest::qWaitFor(
                                        [&] {
                                            QTest::qWait(60);
                                            const QImage next = grabScreen();
                                            const bool still = changedPixels(now, next, area) < 120;
                                            now = next;
                                            return still;
                                        },
                                        5000);
    if (!settled) {
        qWarning("the guide did not show anything new for %s", qPrintable(name));
        return false;
    }
    grabScreen(QStringLiteral("onboarding-desktop-") + name);
    return true;
}

// The test area's whole text, copied as a user would copy it.
QString testAreaText()
{
    CopyWatch copy;
    if (!keys({QStringLiteral("ctrl+a"), QStringLiteral("ctrl+c")})) {
        return QStringLiteral("<keys failed>");
    }
    return waitForCopiedText(copy).value_or(QStringLiteral("<nothing copied>"));
}

} // namespace

class OnboardingDesktopTest : public QObject {
    Q_OBJECT

    FakeProvider m_fake;
    Vellumo m_vellumo;

    // The settings as a fresh account has them, but for the provider's
    // address: the stand-in's, which a real user never needs to set.
    void freshAccount()
    {
        DefaultsStore::standard().removeAll();
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(KeychainService::shared().deleteAPIKey(vendor));
        }
        for (AIVendor vendor : AIVendors::allCases()) {
            VendorConfig config = AIVendors::defaultConfig(vendor);
            config.apiHost = m_fake.host();
            Settings::standard().setVendorConfig(AIVendors::rawValue(vendor), config.encode());
        }
    }

    bool onboardingCompleted()
    {
        DefaultsStore::standard().reload();
        return Settings::standard().onboardingCompleted();
    }

    void startVellumo()
    {
        QVERIFY(m_vellumo.start({}, {}, false));
        QVERIFY2(waitForGuide(true), qPrintable(m_vellumo.output()));
        QVERIFY(!shortcutHeldByAnother());
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        QVERIFY(m_fake.setAnswer(answer));
    }

    void cleanup() { m_vellumo.stop(); }

    // The close button hides the guide; the process goes on, nothing is
    // marked completed, and the next start shows the guide again.
    void closingTheGuideBringsItBackNextTime()
    {
        freshAccount();
        startVellumo();
        const QRect client = clientFrame(guideWindow());
        grabScreen(QStringLiteral("onboarding-desktop-welcome"));
        // Openbox draws the close button at the right end of the title bar.
        QVERIFY(click(QPoint(client.right() - 8, client.top() - 11)));
        QVERIFY2(waitForGuide(false), "the close button did not close the guide");
        QVERIFY(m_vellumo.isRunning());
        QVERIFY(!onboardingCompleted());
        QVERIFY(!shortcutHeldByAnother());

        m_vellumo.stop();
        startVellumo();
    }

    // From the welcome step to a first replaced word in the test area, with
    // accessibility off at the start, then the shortcut in mousepad.
    void aNewUserWalksTheGuideToAFirstReplacement()
    {
        freshAccount();
        QVERIFY(setAccessibility(false));
        auto restore = qScopeGuard([] { setAccessibility(true); });
        startVellumo();

        // Welcome: Get Started.
        QVERIFY(keysAndLook({QStringLiteral("ctrl+Return")}, QStringLiteral("accessibility")));
        // Accessibility: its button has the keyboard; Next does nothing yet.
        QVERIFY(keys({QStringLiteral("ctrl+Return")}));
        QVERIFY(keysAndLook({QStringLiteral("space")}, QStringLiteral("accessibility-granted")));
        QVERIFY(accessibilityEnabled());
        QVERIFY(keysAndLook({QStringLiteral("ctrl+Return")}, QStringLiteral("shortcut")));
        // Shortcut: on as it is.
        QVERIFY(keysAndLook({QStringLiteral("ctrl+Return")}, QStringLiteral("provider")));
        // Provider: nothing valid yet, so Next does nothing; the key field
        // has the keyboard, and Return validates.
        QCOMPARE(greenPixels(), 0);
        QVERIFY(keys({QStringLiteral("ctrl+Return")}));
        QVERIFY(typeText(QStringLiteral("sk-first-start")));
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY2(QTest::qWaitFor([] { return greenPixels() > 40; }, 10000),
                 "the guide never showed the provider as valid");
        grabScreen(QStringLiteral("onboarding-desktop-provider-valid"));
        QCOMPARE(m_fake.requests().size(), 1);
        QCOMPARE(m_fake.requests().constFirst().headers.value(QStringLiteral("authorization")),
                 QStringLiteral("Bearer sk-first-start"));
        QVERIFY(keysAndLook({QStringLiteral("ctrl+Return")}, QStringLiteral("commands")));
        // Commands: add them.
        QVERIFY(keysAndLook({QStringLiteral("space")}, QStringLiteral("commands-added")));
        DefaultsStore::standard().reload();
        QVERIFY(Settings::standard().hasSeededDefaultPrompts());
        const qsizetype beforeTry = m_vellumo.mark();
        QVERIFY(keysAndLook({QStringLiteral("ctrl+Return")}, QStringLiteral("try-it")));
        // Try it: the shortcut is hooked while the guide is open.
        QVERIFY(m_vellumo.waitFor(QStringLiteral("trigger global shortcut setup"), beforeTry));
        QVERIFY(QTest::qWaitFor([] { return shortcutHeldByAnother(); }, 5000));
        QVERIFY(!onboardingCompleted());

        // The first word of the test area, selected from its start.
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+Right"),
                      QStringLiteral("shift+Right"), QStringLiteral("shift+Right"),
                      QStringLiteral("shift+Right")}));
        qsizetype mark = m_vellumo.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(QTest::qWaitFor([] { return popupFrame().has_value(); }, 5000));
        grabScreen(QStringLiteral("onboarding-desktop-try-it-popup"));
        QVERIFY(typeText(QStringLiteral("german")));
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        const QJsonObject sent = m_fake.requests().constLast().json();
        QVERIFY2(QString::fromUtf8(QJsonDocument(sent).toJson()).contains(u"This"),
                 "the selected word was not sent");
        QCOMPARE(testAreaText(), QString(sample).replace(0, 4, answer));
        grabScreen(QStringLiteral("onboarding-desktop-try-it-replaced"));
        // The test area's own undo takes the answer back.
        QVERIFY(keys({QStringLiteral("ctrl+z")}));
        QCOMPARE(testAreaText(), sample);

        // Finish: the guide goes, the shortcut stays.
        QVERIFY(keys({QStringLiteral("ctrl+Return")}));
        QVERIFY(waitForGuide(false));
        QVERIFY(onboardingCompleted());
        QVERIFY(shortcutHeldByAnother());

        auto editor = makeTarget(QStringLiteral("mousepad"));
        QVERIFY(editor && editor->start());
        auto endEditor = qScopeGuard([&] { editor->stop(); });
        QVERIFY(editor->focusText());
        QVERIFY(editor->select(Kind::Word));
        const QString word = editor->selectionTruth().value_or(QString());
        QVERIFY(!word.isEmpty());
        mark = m_vellumo.mark();
        QVERIFY(keys({shortcut}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(QTest::qWaitFor([] { return popupFrame().has_value(); }, 5000));
        QVERIFY(typeText(QStringLiteral("german")));
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Return")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Text replacement done"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        const QString contents = editor->contents().value_or(QString());
        QVERIFY2(contents.startsWith(answer + u' ') && !contents.contains(word),
                 qPrintable(contents));
    }

    // With the guide finished and accessibility on, a start hooks the
    // shortcut and shows no window at all.
    void aFinishedGuideDoesNotComeBack()
    {
        QVERIFY2(onboardingCompleted(), "needs the walk before it");
        QVERIFY(m_vellumo.start());
        QVERIFY(m_vellumo.waitFor(QStringLiteral("Vellumo is ready"), 0));
        const QByteArray windows = run(QStringLiteral("xdotool"),
                                       {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                        QStringLiteral("--pid"), QString::number(m_vellumo.pid())});
        QCOMPARE(windows.trimmed(), QByteArray());
        QCOMPARE(guideWindow(), quint64(0));
    }
};

QTEST_MAIN(OnboardingDesktopTest)
#include "tst_onboarding_desktop.moc"
