// SPDX-License-Identifier: GPL-3.0-or-later
#include "BaseInstructionsService.h"
#include "DefaultsStore.h"
#include "Settings.h"
#include "TestSupport.h"

#include <QSignalSpy>
#include <QtTest>

class BaseInstructionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }
    void init() { DefaultsStore::standard().removeAll(); }

    void firstUseStoresTheDefault()
    {
        QVERIFY(!BaseInstructionsService::defaultBaseInstructions.endsWith(u'\n'));
        BaseInstructionsService service;
        QCOMPARE(service.baseInstructions(), BaseInstructionsService::defaultBaseInstructions);
        QCOMPARE(DefaultsStore::standard().text(Settings::baseInstructionsKey),
                 std::optional<QString>(BaseInstructionsService::defaultBaseInstructions));
    }

    void blankStoredValuesAreKeptAndAddNothing_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::newRow("empty") << QString();
        QTest::newRow("spaces and line breaks") << QStringLiteral("  \n\t \n");
    }

    void blankStoredValuesAreKeptAndAddNothing()
    {
        QFETCH(QString, stored);
        DefaultsStore::standard().setText(Settings::baseInstructionsKey, stored);
        for (int run = 0; run < 2; ++run) { // survives a restart
            BaseInstructionsService service;
            QCOMPARE(service.baseInstructions(), stored);
            QCOMPARE(service.composePrompt(QStringLiteral("P")), QStringLiteral("P"));
            QCOMPARE(DefaultsStore::standard().text(Settings::baseInstructionsKey),
                     std::optional<QString>(stored));
        }
    }

    // Leading blanks of the instructions stay (a trailing line break stays
    // too: tst_vendormanager's sendingComposesTheBaseInstructions).
    void composeKeepsTheUserTextUntrimmed()
    {
        DefaultsStore::standard().setText(Settings::baseInstructionsKey, QStringLiteral("  Lead"));
        BaseInstructionsService leading;
        QCOMPARE(leading.composePrompt(QString()), QStringLiteral("  Lead\n\n---\n\n"));
    }

    void editsNotifyOnlyOnChangeAndPersistOnlyWhenSaved()
    {
        BaseInstructionsService service;
        QSignalSpy spy(&service, &BaseInstructionsService::baseInstructionsChanged);
        service.setBaseInstructions(service.baseInstructions());
        QCOMPARE(spy.count(), 0);
        service.setBaseInstructions(QStringLiteral("Answer in French."));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toString(), QStringLiteral("Answer in French."));

        // Without a save the edit is gone at the next start.
        QCOMPARE(BaseInstructionsService().baseInstructions(),
                 BaseInstructionsService::defaultBaseInstructions);

        service.saveBaseInstructions();
        QCOMPARE(BaseInstructionsService().baseInstructions(), QStringLiteral("Answer in French."));
    }
};

QTEST_GUILESS_MAIN(BaseInstructionsTest)
#include "tst_baseinstructions.moc"
