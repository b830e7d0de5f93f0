// SPDX-License-Identifier: GPL-3.0-or-later
#include "DefaultsStore.h"
#include "Settings.h"
#include "TestSupport.h"

#include <QFile>
#include <QSignalSpy>
#include <QtTest>

class SettingsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }
    void init() { DefaultsStore::standard().removeAll(); }

    void livesUnderTheXdgConfigFolder()
    {
        QCOMPARE(DefaultsStore::standard().filePath(),
                 qEnvironmentVariable("XDG_CONFIG_HOME") + u"/vellumo/vellumo.conf"_qs);
        DefaultsStore::standard().setBoolean(u"onboarding_completed"_qs, true);
        QVERIFY(QFile::exists(DefaultsStore::standard().filePath()));
    }

    // Each kind reads back as written, on a second store on the same file;
    // a value of the wrong kind reads as absent, except text read as data
    // (its UTF-8 bytes).
    void valuesKeepTheirKindAcrossInstances()
    {
        DefaultsStore &store = DefaultsStore::standard();
        store.setText(u"default_vendor"_qs, u"gemini"_qs);
        store.setText(u"empty"_qs, QString());
        store.setBoolean(u"flag"_qs, false);
        const QByteArray binary("{\"a\":\"\xc3\xa9\"}\n\x00\x01", 14);
        store.setData(u"vendor_config_openai"_qs, binary);

        DefaultsStore reader(store.filePath());
        QCOMPARE(reader.text(u"default_vendor"_qs), std::optional<QString>(u"gemini"_qs));
        QCOMPARE(reader.text(u"empty"_qs), std::optional<QString>(QString()));
        QCOMPARE(reader.boolean(u"flag"_qs), std::optional<bool>(false));
        QCOMPARE(reader.data(u"vendor_config_openai"_qs), std::optional<QByteArray>(binary));
        QVERIFY(reader.contains(u"empty"_qs));
        QVERIFY(!reader.contains(u"missing"_qs));
        QCOMPARE(reader.text(u"missing"_qs), std::nullopt);

        QCOMPARE(store.text(u"vendor_config_openai"_qs), std::nullopt);
        QCOMPARE(store.boolean(u"vendor_config_openai"_qs), std::nullopt);
        QCOMPARE(store.boolean(u"default_vendor"_qs), std::nullopt);
        QCOMPARE(store.data(u"default_vendor"_qs), std::optional<QByteArray>("gemini"));
    }

    void aHandEditedFileIsRead()
    {
        const QString path = DefaultsStore::standard().filePath() + u".edited"_qs;
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[General]\nonboarding_completed=true\nprompts=not json at all\n");
        file.close();
        DefaultsStore edited(path);
        QCOMPARE(edited.boolean(u"onboarding_completed"_qs), std::optional<bool>(true));
        QCOMPARE(edited.data(u"prompts"_qs), std::optional<QByteArray>("not json at all"));
    }

    // The file keeps each value under its documented name and kind: what a
    // user edits by hand, and what an older or newer Vellumo reads.
    void eachValueLandsUnderItsName()
    {
        Settings &settings = Settings::standard();
        settings.setPrompts("[]");
        settings.setHasSeededDefaultPrompts(true);
        settings.setBaseInstructions(u"Be brief."_qs);
        settings.setVendorConfig(u"gemini"_qs, "{}");
        settings.setDefaultVendor(u"gemini"_qs);
        settings.setOnboardingCompleted(true);
        settings.setShortcutJson(u"showpopup"_qs, u"{\"carbonKeyCode\":44}"_qs);

        const DefaultsStore file(settings.filePath());
        QCOMPARE(file.data(u"prompts"_qs), std::optional<QByteArray>("[]"));
        QCOMPARE(file.boolean(u"has_seeded_default_prompts"_qs), std::optional(true));
        QCOMPARE(file.text(u"base_ai_instructions"_qs), std::optional(u"Be brief."_qs));
        QCOMPARE(file.data(u"vendor_config_gemini"_qs), std::optional<QByteArray>("{}"));
        QCOMPARE(file.text(u"default_vendor"_qs), std::optional(u"gemini"_qs));
        QCOMPARE(file.boolean(u"onboarding_completed"_qs), std::optional(true));
        QCOMPARE(file.text(u"GlobalShortcuts_showpopup"_qs),
                 std::optional(u"{\"carbonKeyCode\":44}"_qs));

        settings.setDefaultVendor(std::nullopt);
        QVERIFY(!DefaultsStore(settings.filePath()).contains(u"default_vendor"_qs));
    }

    // One signal per real change; writing what is stored already is silent,
    // so a window that writes back what it shows does not loop.
    void signalsTellRealChangesOnly()
    {
        Settings &settings = Settings::standard();
        QSignalSpy instructions(&settings, &Settings::baseInstructionsChanged);
        QSignalSpy vendorConfig(&settings, &Settings::vendorConfigChanged);
        QSignalSpy defaultVendor(&settings, &Settings::defaultVendorChanged);
        QSignalSpy onboarding(&settings, &Settings::onboardingCompletedChanged);
        QSignalSpy prompts(&settings, &Settings::promptsChanged);

        settings.setBaseInstructions(u"A"_qs);
        settings.setBaseInstructions(u"A"_qs);
        settings.setBaseInstructions(QString()); // empty is a value of its own
        QCOMPARE(instructions.count(), 2);

        settings.setVendorConfig(u"openai"_qs, "{}");
        settings.setVendorConfig(u"openai"_qs, "{}");
        settings.setVendorConfig(u"anthropic"_qs, "{}");
        QCOMPARE(vendorConfig.count(), 2);
        QCOMPARE(vendorConfig.at(1).at(0).toString(), u"anthropic"_qs);

        settings.setDefaultVendor(std::nullopt); // nothing stored: nothing changes
        settings.setDefaultVendor(u"openai"_qs);
        settings.setDefaultVendor(u"openai"_qs);
        settings.setDefaultVendor(std::nullopt);
        QCOMPARE(defaultVendor.count(), 2);

        settings.setOnboardingCompleted(false); // absent reads false, but is not stored false
        settings.setOnboardingCompleted(false);
        settings.setOnboardingCompleted(true);
        QCOMPARE(onboarding.count(), 2);
        QCOMPARE(DefaultsStore(settings.filePath()).boolean(u"onboarding_completed"_qs),
                 std::optional(true));

        settings.setPrompts(QByteArray()); // an empty list is stored, not skipped
        settings.setPrompts(QByteArray());
        QCOMPARE(prompts.count(), 1);
        QVERIFY(DefaultsStore(settings.filePath()).contains(u"prompts"_qs));
    }

    // A removed shortcut is the Boolean false (its default must not come
    // back); a name without a default leaves no entry at all.
    void shortcutEntriesTellSetRemovedAndAbsent()
    {
        Settings &settings = Settings::standard();
        const QString name = u"showpopup"_qs;
        QSignalSpy changed(&settings, &Settings::shortcutChanged);
        QVERIFY(!settings.hasShortcutEntry(name));

        settings.setShortcutJson(name, u"{}"_qs);
        settings.setShortcutRemoved(name);
        settings.setShortcutRemoved(name);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(1).at(0).toString(), name);
        QVERIFY(settings.hasShortcutEntry(name));
        QCOMPARE(settings.shortcutJson(name), std::nullopt);
        QCOMPARE(settings.shortcutEntryText(name), std::optional(u"false"_qs));
        // The same as read back from the file by the next start.
        DefaultsStore file(settings.filePath());
        Settings reread(file);
        QCOMPARE(reread.shortcutJson(name), std::nullopt);
        QVERIFY(reread.hasShortcutEntry(name));

        settings.removeShortcutEntry(name);
        QVERIFY(!settings.hasShortcutEntry(name));
        QCOMPARE(changed.count(), 3);
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "tst_settings.moc"
