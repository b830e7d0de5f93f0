#include "DefaultsStore.h"
#include "TestSupport.h"

#include <QFile>
#include <QtTest>

class DefaultsStoreTest : public QObject {
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

    void valuesKeepTheirKindAcrossInstances()
    {
        DefaultsStore &store = DefaultsStore::standard();
        store.setText(u"default_vendor"_qs, u"gemini"_qs);
        store.setText(u"empty"_qs, QString());
        store.setBoolean(u"flag"_qs, false);
        const QByteArray binary("{\"a\":\"\xc3\xa9\"}\n\x00\x01", 14);
        store.setData(u"vendor_config_openai"_qs, binary);

        // A second store on the same file sees what the first one wrote.
        DefaultsStore reader(store.filePath());
        QCOMPARE(reader.text(u"default_vendor"_qs), std::optional<QString>(u"gemini"_qs));
        QCOMPARE(reader.text(u"empty"_qs), std::optional<QString>(QString()));
        QCOMPARE(reader.boolean(u"flag"_qs), std::optional<bool>(false));
        QCOMPARE(reader.data(u"vendor_config_openai"_qs), std::optional<QByteArray>(binary));
        QVERIFY(reader.contains(u"empty"_qs));
        QVERIFY(!reader.contains(u"missing"_qs));
        QCOMPARE(reader.text(u"missing"_qs), std::nullopt);
    }

    void wrongKindsReadAsAbsent()
    {
        DefaultsStore &store = DefaultsStore::standard();
        store.setData(u"blob"_qs, QByteArray("x"));
        store.setText(u"word"_qs, u"maybe"_qs);
        QCOMPARE(store.text(u"blob"_qs), std::nullopt);
        QCOMPARE(store.boolean(u"blob"_qs), std::nullopt);
        QCOMPARE(store.boolean(u"word"_qs), std::nullopt);
        // Text where data is expected is taken as its UTF-8 bytes.
        QCOMPARE(store.data(u"word"_qs), std::optional<QByteArray>("maybe"));
    }

    void removeForgetsTheKey()
    {
        DefaultsStore &store = DefaultsStore::standard();
        store.setBoolean(u"has_seeded_default_prompts"_qs, true);
        store.remove(u"has_seeded_default_prompts"_qs);
        QVERIFY(!store.contains(u"has_seeded_default_prompts"_qs));
        DefaultsStore reader(store.filePath());
        QVERIFY(!reader.contains(u"has_seeded_default_prompts"_qs));
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
};

QTEST_GUILESS_MAIN(DefaultsStoreTest)
#include "tst_defaultsstore.moc"
