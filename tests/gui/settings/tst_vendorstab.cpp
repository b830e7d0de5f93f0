// SPDX-License-Identifier: GPL-3.0-or-later
// The Vendors tab against a real keyring and the local stand-in provider:
// the form's live bindings into the provider manager, Save's validation and
// its outcome, the key stored and deleted as typed, Remove Key, and a window
// that stays responsive while the keyring does not answer.
#include "Await.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "Settings.h"
#include "SettingsStyle.h"
#include "TestSupport.h"
#include "ToggleSwitch.h"
#include "VendorForm.h"
#include "VendorManager.h"
#include "VendorsTab.h"
#include "WidgetTestSupport.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScopeGuard>
#include <QToolButton>
#include <QtTest>
#include <memory>

Q_DECLARE_METATYPE(AIVendor)

namespace {

const QString testKey = QStringLiteral("sk-settings-test");

KeychainService &keys()
{
    return KeychainService::shared();
}

std::optional<AIVendor> vendorNamed(const QString &raw)
{
    return raw.isEmpty() ? std::nullopt : AIVendors::fromRawValue(raw);
}

// Replaces a line edit's text as a person would: select all, type.
void retype(QLineEdit *field, const QString &text)
{
    field->setFocus();
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    if (text.isEmpty()) {
        QTest::keyClick(field, Qt::Key_Backspace);
    } else {
        QTest::keyClicks(field, text);
    }
}

bool visibleWithText(const NoticeLabel *label, const QString &text)
{
    return label->isVisibleTo(label->window()) && label->text() == text;
}

} // namespace

class VendorsTabTest : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;
    std::unique_ptr<VendorManager> m_vendors;
    std::unique_ptr<VendorsTab> m_tab;

    void showTab()
    {
        m_tab = std::make_unique<VendorsTab>(*m_vendors, keys());
        m_tab->resize(780, 560);
        m_tab->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_tab.get()));
    }

    VendorForm *select(AIVendor vendor)
    {
        m_tab->selectVendor(vendor);
        return m_tab->currentForm();
    }

    // The form with its key read back from the keyring.
    VendorForm *formWithKey(AIVendor vendor, const QString &key = testKey)
    {
        VendorForm *form = select(vendor);
        if (!QTest::qWaitFor([&] { return form->keyField()->text() == key; }, 5000)) {
            qWarning("the key field never showed the stored key");
        }
        return form;
    }

    void pointAtStandIn(AIVendor vendor, const QString &host)
    {
        VendorConfig config = m_vendors->configuration(vendor);
        config.apiHost = host;
        m_vendors->updateConfiguration(vendor, config);
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        TestSupport::quietOffscreenWarnings();
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        qputenv("VELLUMO_CA_FILE", m_fake.caFile().toUtf8());
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        for (AIVendor vendor : AIVendors::allCases()) {
            QVERIFY(keys().deleteAPIKey(vendor));
        }
        QVERIFY(m_fake.clear());
        QVERIFY(m_fake.setKey(std::nullopt));
        m_vendors = std::make_unique<VendorManager>();
        // A stored key makes the form ask for the provider's models: only
        // ever of the stand-in.
        for (AIVendor vendor : AIVendors::allCases()) {
            pointAtStandIn(vendor, m_fake.host());
        }
    }

    void cleanup()
    {
        m_tab.reset();
        m_vendors.reset();
        // Key writes still queued land before the next test starts: a read
        // asked for now runs after them.
        QVERIFY(TestSupport::finishes(keys().keyForRequest(AIVendor::openai), 30000));
    }

    // OpenAI first; a provider never configured shows the manager's
    // defaults as soon as it is selected.
    void eachProviderShowsItsDefaults_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        for (AIVendor vendor : AIVendors::allCases()) {
            QTest::newRow(qPrintable(AIVendors::rawValue(vendor))) << vendor;
        }
    }

    void eachProviderShowsItsDefaults()
    {
        QFETCH(AIVendor, vendor);
        m_vendors = std::make_unique<VendorManager>(); // nothing stored, no key
        showTab();
        QCOMPARE(m_tab->selectedVendor(), AIVendor::openai);
        QCOMPARE(m_tab->providerList()->currentItem()->text(), QStringLiteral("OpenAI"));
        VendorForm *form = select(vendor);
        const VendorConfig standard = AIVendors::defaultConfig(vendor);
        QCOMPARE(form->hostField()->text(), standard.apiHost);
        QCOMPARE(form->subPathField()->text(), standard.subPath);
        QCOMPARE(form->modelBox()->currentText(), standard.selectedModel);
        QCOMPARE(form->modelBox()->itemText(0), AIVendors::availableModels(vendor).first());
    }

    void theDefaultVendorSwitch_data()
    {
        QTest::addColumn<QString>("before");   // the default before; empty: none
        QTest::addColumn<AIVendor>("vendor");  // whose switch is used
        QTest::addColumn<bool>("showingOn");   // the switch's state when used
        QTest::addColumn<QString>("expected"); // the default after
        QTest::newRow("on: the default") << "" << AIVendor::anthropic << false << "anthropic";
        QTest::newRow("on: taken from another")
            << "openai" << AIVendor::gemini << false << "gemini";
        QTest::newRow("off on the default: none") << "openai" << AIVendor::openai << true << "";
        QTest::newRow("off on another: no change")
            << "openai" << AIVendor::gemini << true << "openai";
    }

    void theDefaultVendorSwitch()
    {
        QFETCH(QString, before);
        QFETCH(AIVendor, vendor);
        QFETCH(bool, showingOn);
        QFETCH(QString, expected);
        m_vendors->setDefaultVendor(vendorNamed(before));
        showTab();
        VendorForm *form = select(vendor);
        ToggleSwitch *toggle = form->defaultSwitch();
        {
            // "off on another" needs a switch showing on for a provider
            // that is not the default, as a stale one would.
            const QSignalBlocker blocker(toggle);
            toggle->setChecked(showingOn);
        }
        // By keyboard: Space on the focused switch.
        toggle->setFocus();
        QTest::keyClick(toggle, Qt::Key_Space);
        QCOMPARE(m_vendors->defaultVendor(), vendorNamed(expected));
        // Every form shows the manager's default, the previous one's off.
        for (AIVendor each : AIVendors::allCases()) {
            QCOMPARE(m_tab->form(each)->defaultSwitch()->isChecked(),
                     vendorNamed(expected) == each);
        }
        // Memory only.
        QCOMPARE(Settings::standard().defaultVendor(), std::optional<QString>());
    }

    // Save validates the configuration shown with the stored key: "Saving..."
    // while it runs, then the provider's verdict under the button.
    void saveShowsTheProvidersVerdict_data()
    {
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("failure"); // empty: none
        QTest::addColumn<QString>("said");
        QTest::addColumn<bool>("stored");
        const QString saved = QStringLiteral("Configuration saved successfully!");
        QTest::newRow("openai accepted") << AIVendor::openai << "" << saved << true;
        QTest::newRow("gemini accepted") << AIVendor::gemini << "" << saved << true;
        QTest::newRow("anthropic refuses the key") << AIVendor::anthropic << "401"
                                                   << "Error: HTTP error: 401" << false;
        QTest::newRow("openai server error") << AIVendor::openai << "500"
                                             << "Error: HTTP error: 500" << false;
    }

    void saveShowsTheProvidersVerdict()
    {
        QFETCH(AIVendor, vendor);
        QFETCH(QString, failure);
        QFETCH(QString, said);
        QFETCH(bool, stored);
        showTab();
        VendorForm *form = select(vendor);
        // Typed as a person would: the stand-in's host, then the key.
        retype(form->hostField(), u"placeholder.example"_qs);
        retype(form->hostField(), m_fake.host());
        QVERIFY(!form->saveButton()->isEnabled());
        if (!failure.isEmpty()) {
            // Every request, the model list's too.
            QVERIFY(m_fake.fail(failure, 20));
        }
        form->keyField()->setFocus();
        QTest::keyClicks(form->keyField(), testKey);
        QTest::mouseClick(form->saveButton(), Qt::LeftButton);
        QCOMPARE(form->saveButton()->text(), QStringLiteral("Saving..."));
        QVERIFY(!form->saveButton()->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(!form->isSaving(), 15000);
        QCOMPARE(form->saveButton()->text(), QStringLiteral("Save"));
        QVERIFY(form->saveButton()->isEnabled());
        QVERIFY2(visibleWithText(form->outcome(), said), qPrintable(form->outcome()->text()));
        const QPalette palette = form->outcome()->palette();
        QCOMPARE(palette.color(QPalette::WindowText), stored ? SettingsStyle::successColor(palette)
                                                             : SettingsStyle::errorColor(palette));
        // The key went to the keyring as typed, and the request carried it.
        QCOMPARE(keys().retrieveAPIKey(vendor), std::optional(testKey));
        const QList<FakeProvider::Request> requests = m_fake.requests();
        QVERIFY(!requests.isEmpty());
        QCOMPARE(requests.last().vendor, AIVendors::rawValue(vendor));
        // Only a successful validation writes the configuration.
        const std::optional<QByteArray> written =
            Settings::standard().vendorConfig(AIVendors::rawValue(vendor));
        QCOMPARE(written.has_value(), stored);
        if (stored) {
            QCOMPARE(VendorConfig::decode(*written)->apiHost, m_fake.host());
        }
    }

    // A host edit reaches the manager at once but is written only by a
    // successful validation: after a restart the stored host is back.
    void aHostChangeIsNotWrittenUntilValidated()
    {
        const VendorConfig validated(AIVendor::anthropic, u"claude-x"_qs, u"validated.example"_qs,
                                     u"/v1"_qs);
        Settings::standard().setVendorConfig(u"anthropic"_qs, validated.encode());
        m_vendors = std::make_unique<VendorManager>();
        showTab();
        VendorForm *form = select(AIVendor::anthropic);
        QCOMPARE(form->hostField()->text(), u"validated.example"_qs);
        retype(form->hostField(), u"unvalidated.example"_qs);
        retype(form->subPathField(), u"/v2"_qs);
        form->modelBox()->setFocus();
        form->modelBox()->lineEdit()->selectAll();
        QTest::keyClicks(form->modelBox()->lineEdit(), u"my-own-model"_qs);
        const VendorConfig live = m_vendors->configuration(AIVendor::anthropic);
        QCOMPARE(live.apiHost, u"unvalidated.example"_qs);
        QCOMPARE(live.subPath, u"/v2"_qs);
        QCOMPARE(live.selectedModel, u"my-own-model"_qs);
        QCOMPARE(Settings::standard().vendorConfig(u"anthropic"_qs),
                 std::optional(validated.encode()));

        m_tab.reset();
        m_vendors = std::make_unique<VendorManager>(); // the next start
        showTab();
        form = select(AIVendor::anthropic);
        QCOMPARE(form->hostField()->text(), u"validated.example"_qs);
        QCOMPARE(form->modelBox()->currentText(), u"claude-x"_qs);
    }

    // Once a key is stored the provider's own list follows the built-in
    // one; an id typed by hand stays what is chosen.
    void theModelListGrowsWithTheProvidersAndKeepsTypedIds()
    {
        QVERIFY(keys().storeAPIKey(testKey, AIVendor::openai));
        showTab();
        VendorForm *form = formWithKey(AIVendor::openai);
        QComboBox *models = form->modelBox();
        form->modelBox()->setFocus();
        models->lineEdit()->selectAll();
        QTest::keyClicks(models->lineEdit(), u"ft:gpt-4o-mini:acme"_qs); // a fine-tuned model
        // The stand-in lists gpt-5-mini, o3-mini and gpt-4.1 beyond the built-in ones.
        QTRY_COMPARE(models->count(), AIVendors::availableModels(AIVendor::openai).size() + 3);
        QCOMPARE(models->itemText(0), AIVendors::availableModels(AIVendor::openai).first());
        QVERIFY(models->findText(u"o3-mini"_qs) > 0);
        QCOMPARE(models->currentText(), u"ft:gpt-4o-mini:acme"_qs);
        QCOMPARE(m_vendors->configuration(AIVendor::openai).selectedModel,
                 u"ft:gpt-4o-mini:acme"_qs);
        models->setCurrentIndex(models->findText(u"o3-mini"_qs));
        QCOMPARE(m_vendors->configuration(AIVendor::openai).selectedModel, u"o3-mini"_qs);
    }

    // The field is the stored key: emptied, the key is deleted and there is
    // nothing to save. The eye shows and hides it.
    void emptyingTheKeyFieldDeletesTheKey()
    {
        QVERIFY(keys().storeAPIKey(testKey, AIVendor::gemini));
        showTab();
        VendorForm *form = formWithKey(AIVendor::gemini);
        QCOMPARE(form->keyField()->text(), testKey);
        QCOMPARE(form->keyField()->echoMode(), QLineEdit::Password);
        form->revealButton()->click();
        QCOMPARE(form->keyField()->echoMode(), QLineEdit::Normal);
        QCOMPARE(form->revealButton()->accessibleName(), u"Hide API key"_qs);
        QVERIFY(form->saveButton()->isEnabled());
        retype(form->keyField(), QString());
        QVERIFY(!form->saveButton()->isEnabled());
        QTRY_COMPARE(keys().presence(AIVendor::gemini), KeychainService::Presence::missing);
        QCOMPARE(keys().retrieveAPIKey(AIVendor::gemini), std::nullopt);
        // Typed again, stored again.
        QTest::keyClicks(form->keyField(), u"sk-new"_qs);
        QVERIFY(form->saveButton()->isEnabled());
        QTRY_COMPARE(keys().retrieveAPIKey(AIVendor::gemini), std::optional(u"sk-new"_qs));
    }

    // Validation outcomes live in the manager: they stay across a change of
    // provider, and Remove Key forgets the provider's along with its key.
    void removeKeyForgetsTheKeyAndTheOutcome()
    {
        QVERIFY(keys().storeAPIKey(testKey, AIVendor::openai));
        QVERIFY(keys().storeAPIKey(testKey, AIVendor::anthropic));
        showTab();
        m_vendors->setValidationStates(
            {{AIVendor::openai, ValidationState::invalid(u"Bad gateway"_qs)},
             {AIVendor::anthropic, ValidationState::valid()}});
        VendorForm *openai = formWithKey(AIVendor::openai);
        QVERIFY(visibleWithText(openai->outcome(), u"Error: Bad gateway"_qs));
        select(AIVendor::anthropic);
        VendorForm *back = select(AIVendor::openai);
        QVERIFY(visibleWithText(back->outcome(), u"Error: Bad gateway"_qs));

        QTest::mouseClick(m_tab->removeKeyButton(), Qt::LeftButton);
        QCOMPARE(m_vendors->validationStates().value(AIVendor::openai),
                 ValidationState::notValidated());
        QVERIFY(!openai->outcome()->isVisibleTo(m_tab.get()));
        QVERIFY(openai->keyField()->text().isEmpty());
        QVERIFY(!openai->saveButton()->isEnabled());
        QTRY_COMPARE(keys().presence(AIVendor::openai), KeychainService::Presence::missing);
        // The other provider keeps its key and its outcome.
        QCOMPARE(keys().retrieveAPIKey(AIVendor::anthropic), std::optional(testKey));
        QCOMPARE(m_vendors->validationStates().value(AIVendor::anthropic),
                 ValidationState::valid());
        // Remove Key is never disabled, even with no key to remove.
        QVERIFY(m_tab->removeKeyButton()->isEnabled());
    }

    // The keyring frozen (SIGSTOP): reading, typing, saving and removing
    // the key never hold up the window, and one sentence says why nothing
    // is stored. Once it answers again, the last key typed is what it holds.
    void aFrozenKeyringNeverBlocksTheWindow()
    {
        QVERIFY(keys().storeAPIKey(testKey, AIVendor::anthropic));
        showTab();
        QVERIFY(TestSupport::freezeKeyring(true));
        auto thaw = qScopeGuard([] { TestSupport::freezeKeyring(false); });
        TestSupport::StallWatch stalls;

        VendorForm *form = select(AIVendor::anthropic); // reads the key
        form->keyField()->setFocus();
        QTest::keyClicks(form->keyField(), u"sk-typed"_qs);
        form->save();
        QCOMPARE(form->saveButton()->text(), u"Saving..."_qs);
        QTest::keyClicks(form->keyField(), u"-more"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(form->keyProblem()->isVisibleTo(m_tab.get()), 10000);
        const QString sentence = form->keyProblem()->text();
        QTRY_VERIFY_WITH_TIMEOUT(!form->isSaving(), 20000);
        stalls.stop();
        qInfo("longest stall with a frozen keyring: %lld ms (over %lld ms)", stalls.longest(),
              stalls.elapsed());
        // The keyring's time-out is 2 s; a blocked UI thread would show it here.
        QVERIFY2(stalls.longest() < 1000, qPrintable(QString::number(stalls.longest())));
        QVERIFY2(sentence.startsWith(u"The keyring is not answering"_qs), qPrintable(sentence));
        QCOMPARE(sentence.count(u'.'), 1);
        QVERIFY(!sentence.contains(u"sk-"_qs));

        // Answering again, the keyring is given the key typed last, which
        // it never took.
        thaw.dismiss();
        QVERIFY(TestSupport::freezeKeyring(false));
        form->reload();
        QTRY_VERIFY_WITH_TIMEOUT(!form->keyProblem()->isVisibleTo(m_tab.get()), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(keys().retrieveAPIKey(AIVendor::anthropic),
                                  std::optional(u"sk-typed-more"_qs), 10000);
        QCOMPARE(form->keyField()->text(), u"sk-typed-more"_qs);
    }
};

QTEST_MAIN(VendorsTabTest)
#include "tst_vendorstab.moc"
