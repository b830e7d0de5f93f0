// SPDX-License-Identifier: GPL-3.0-or-later
// The General tab's cards against what they change: the autostart entry
// on disk, the accessibility poll, the stored base instructions and the
// stored command list.
#include "BaseInstructionsService.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "GeneralTab.h"
#include "Settings.h"
#include "TestSupport.h"
#include "ToggleSwitch.h"
#include "XdgAutostart.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QtTest>
#include <memory>

namespace {

// The session's accessibility as the tab sees it.
struct FakeTrust {
    bool granted = false;
    int checks = 0;
    int prompts = 0;

    GeneralTab::TrustTest test()
    {
        return [this](bool prompt) {
            ++checks;
            prompts += prompt ? 1 : 0;
            return granted;
        };
    }
};

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QTimer *> runningTimers(const QObject *owner)
{
    QList<QTimer *> running;
    for (QTimer *timer : owner->findChildren<QTimer *>()) {
        if (timer->isActive()) {
            running.append(timer);
        }
    }
    return running;
}

} // namespace

class GeneralTabTest : public QObject {
    Q_OBJECT

    const platform::XdgAutostart m_autostart{QStringLiteral("/opt/vellumo/bin/vellumo")};
    FakeTrust m_trust;
    std::unique_ptr<GeneralTab> m_tab;

    void makeTab()
    {
        m_tab = std::make_unique<GeneralTab>(m_autostart, BaseInstructionsService::shared(),
                                             m_trust.test());
        m_tab->resize(780, 560);
        m_tab->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_tab.get()));
    }

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void init()
    {
        DefaultsStore::standard().removeAll();
        BaseInstructionsService::shared().loadBaseInstructions();
        QDir(QFileInfo(platform::XdgAutostart::entryPath()).path()).removeRecursively();
        m_trust = FakeTrust{};
        makeTab();
    }

    void cleanup() { m_tab.reset(); }

    // On, off and on again through the switch, with the entry checked on
    // disk each time; a failed change leaves the switch showing the truth.
    void launchAtLoginFollowsTheEntry()
    {
        const QString path = platform::XdgAutostart::entryPath();
        ToggleSwitch *toggle = m_tab->launchAtLoginSwitch();
        QVERIFY(!toggle->isChecked());
        for (const bool on : {true, false, true}) {
            QTest::mouseClick(toggle, Qt::LeftButton);
            QCOMPARE(toggle->isChecked(), on);
            QCOMPARE(QFile::exists(path), on);
            if (on) {
                QVERIFY(readAll(path).contains("\nExec=/opt/vellumo/bin/vellumo\n"));
            }
        }

        // The entry went away behind the tab's back: shown as it is when
        // the tab shows again.
        QVERIFY(QFile::remove(path));
        m_tab->hide();
        m_tab->show();
        QVERIFY(!toggle->isChecked());

        // A file where the folder should be: enabling fails and says so.
        const QString folder = QFileInfo(path).path();
        QDir(folder).removeRecursively();
        QFile blocker(folder);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral(
                              "^Failed to enable launch at login: cannot create the autostart")));
        QTest::mouseClick(toggle, Qt::LeftButton);
        QVERIFY(!toggle->isChecked());
        QVERIFY(QFile::remove(folder));
    }

    // Shown without prompting; Grant Permission prompts once, then one
    // timer polls every second, also while the tab is hidden, until the
    // session says yes.
    void grantingPollsUntilGranted()
    {
        QCOMPARE(m_trust.prompts, 0);
        QVERIFY(m_trust.checks >= 1);
        QCOMPARE(m_tab->accessibilityStatus()->text(), QStringLiteral("Not Granted"));
        QPushButton *grant = m_tab->grantButton();
        QVERIFY(grant->isVisible());
        auto *note = m_tab->findChild<QLabel *>(QStringLiteral("restartNote"));
        QVERIFY(note && !note->isVisible());
        QVERIFY(runningTimers(m_tab.get()).isEmpty());

        QTest::mouseClick(grant, Qt::LeftButton);
        QCOMPARE(m_trust.prompts, 1);
        QVERIFY(note->isVisible());
        QCOMPARE(runningTimers(m_tab.get()).size(), 1);
        QTimer *poll = runningTimers(m_tab.get()).first();
        QCOMPARE(poll->interval(), 1000);

        // Pressed again half a second later: the same one timer, restarted.
        QTest::qWait(500);
        QTest::mouseClick(grant, Qt::LeftButton);
        QCOMPARE(m_trust.prompts, 2);
        QCOMPARE(runningTimers(m_tab.get()), QList<QTimer *>{poll});
        QVERIFY(poll->remainingTime() > 900);

        m_tab->hide();
        const int checksBefore = m_trust.checks;
        QTRY_VERIFY_WITH_TIMEOUT(m_trust.checks >= checksBefore + 2, 3000);
        QCOMPARE(m_trust.prompts, 2);
        QVERIFY(poll->isActive());

        m_trust.granted = true;
        QTRY_VERIFY_WITH_TIMEOUT(!poll->isActive(), 2000);
        QCOMPARE(m_tab->accessibilityStatus()->text(), QStringLiteral("Granted"));
        const int checksAfter = m_trust.checks;
        QTest::qWait(1200);
        QCOMPARE(m_trust.checks, checksAfter);
        m_tab->show();
        QVERIFY(!grant->isVisible());
    }

    void grantedRightAwayNeedsNoPoll()
    {
        m_trust.granted = true;
        QTest::mouseClick(m_tab->grantButton(), Qt::LeftButton);
        QCOMPARE(m_trust.prompts, 1);
        QCOMPARE(m_tab->accessibilityStatus()->text(), QStringLiteral("Granted"));
        QVERIFY(runningTimers(m_tab.get()).isEmpty());
        QVERIFY(!m_tab->grantButton()->isVisible());
    }

    // Every keystroke stores the whole text; the empty text is stored as
    // such, not as "nothing" (which would bring the default back).
    void instructionsAreStoredAtEveryKeystroke()
    {
        QPlainTextEdit *editor = m_tab->instructionsEditor();
        QCOMPARE(editor->toPlainText(), BaseInstructionsService::defaultBaseInstructions);
        editor->setFocus();
        editor->selectAll();
        QTest::keyClick(editor, Qt::Key_Delete);
        QCOMPARE(Settings::standard().baseInstructions(), QString());

        const QString typed = QStringLiteral("Be brief.\nNo lists");
        QString expected;
        for (const QChar c : typed) {
            if (c == u'\n') {
                QTest::keyClick(editor, Qt::Key_Return);
            } else {
                QTest::keyClick(editor, c.toLatin1());
            }
            expected += c;
            QCOMPARE(Settings::standard().baseInstructions(), expected);
        }
        QTest::keyClick(editor, Qt::Key_Backspace);
        QCOMPARE(Settings::standard().baseInstructions(), typed.chopped(1));

        // Opened again: the last text.
        makeTab();
        QCOMPARE(m_tab->instructionsEditor()->toPlainText(), typed.chopped(1));
    }

    // The defaults join the stored list once; the card then says so for
    // the rest of this tab's life, and a new tab offers it again.
    void defaultPromptsAreAdded()
    {
        const AICommand own{QStringLiteral("Mine"), QStringLiteral("Do it my way")};
        CommandStore::saveStoredCommands({own});
        QStackedWidget *state = m_tab->defaultPromptsState();
        QCOMPARE(state->currentIndex(), 0);

        QTest::mouseClick(m_tab->addDefaultPromptsButton(), Qt::LeftButton);
        QCOMPARE(CommandStore::loadStoredCommands().size(),
                 1 + CommandStore::defaultCommands().size());
        QCOMPARE(state->currentIndex(), 1);
        QVERIFY(!m_tab->addDefaultPromptsButton()->isVisible());
        auto *added = m_tab->findChild<QLabel *>(QStringLiteral("defaultPromptsAdded"));
        QVERIFY(added && added->isVisible());
        QVERIFY(!Settings::standard().hasSeededDefaultPrompts());

        makeTab();
        QCOMPARE(m_tab->defaultPromptsState()->currentIndex(), 0);
        QVERIFY(m_tab->addDefaultPromptsButton()->isVisible());
    }
};

QTEST_MAIN(GeneralTabTest)
#include "tst_generaltab.moc"
