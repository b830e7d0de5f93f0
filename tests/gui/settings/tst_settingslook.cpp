// How the settings tabs look in a 780 by 600 window, in a light and a dark
// palette: nothing squeezed below its minimum size, the form without a
// scroll bar, colours from the palette, and pictures of each tab and of the
// prompt dialog under build/screenshots.
#include "Await.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "PromptEditDialog.h"
#include "PromptListModel.h"
#include "PromptsTab.h"
#include "PromptsTable.h"
#include "TestSupport.h"
#include "VendorForm.h"
#include "VendorManager.h"
#include "VendorsTab.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyleFactory>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QtTest>
#include <memory>

Q_DECLARE_METATYPE(AIVendor)

namespace {

const QString testKey = QStringLiteral("sk-look");

// The settings window as its owner will build it, as far as these tabs go.
class SettingsFrame : public QWidget {
public:
    SettingsFrame(VendorManager &vendors, int tab)
    {
        setWindowTitle(QStringLiteral("Vellumo Settings"));
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(8, 8, 8, 8);
        tabs = new QTabWidget(this);
        vendorsTab = new VendorsTab(vendors, KeychainService::shared());
        promptsTab = new PromptsTab;
        tabs->addTab(vendorsTab, QStringLiteral("Vendors"));
        tabs->addTab(promptsTab, QStringLiteral("Prompts"));
        tabs->setCurrentIndex(tab);
        layout->addWidget(tabs);
        setFixedSize(780, 600);
    }

    QTabWidget *tabs;
    VendorsTab *vendorsTab;
    PromptsTab *promptsTab;
};

// Visible widgets below root that are smaller than their own minimum: a
// label cut off, a button squeezed. A size fixed on purpose counts as
// meant; scroll bars and headers have minimums of no meaning here.
QStringList squeezed(QWidget *root)
{
    QStringList found;
    for (QWidget *widget : root->findChildren<QWidget *>()) {
        if (!widget->isVisibleTo(root) || widget->inherits("QScrollBar") ||
            widget->inherits("QHeaderView") || widget->minimumSize() == widget->maximumSize()) {
            continue;
        }
        const QSize minimum = widget->minimumSizeHint().expandedTo(widget->minimumSize());
        if (minimum.isValid() &&
            (widget->width() < minimum.width() || widget->height() < minimum.height())) {
            found << QStringLiteral("%1 \"%2\" %3x%4 < %5x%6")
                         .arg(QLatin1String(widget->metaObject()->className()),
                              widget->accessibleName())
                         .arg(widget->width())
                         .arg(widget->height())
                         .arg(minimum.width())
                         .arg(minimum.height());
        }
    }
    return found;
}

// The built-in commands and a few of the user's own, one with a title too
// long for its row: more than the window shows at once.
QList<AICommand> sampleCommands()
{
    QList<AICommand> commands = CommandStore::defaultCommands();
    commands.insert(2, AICommand(QStringLiteral("Explain this error message and suggest how to fix "
                                                "it step by step, with the exact command to run, "
                                                "what it changes and how to undo it"),
                                 QStringLiteral("Explain: {text}")));
    for (const char *title : {"Reply politely", "Make it a bullet list", "Translate to French",
                              "Write a commit message", "Turn into a haiku"}) {
        commands.append(AICommand(QString::fromLatin1(title), QStringLiteral("{text}")));
    }
    return commands;
}

} // namespace

class SettingsLookTest : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;
    QDir m_screenshots;

    void save(QWidget &widget, const QString &name)
    {
        QApplication::processEvents();
        const QString path = m_screenshots.filePath("settings-" + name + ".png");
        QVERIFY2(widget.grab().save(path), qPrintable(path));
    }

    std::unique_ptr<VendorManager> vendorsWithKey(AIVendor vendor)
    {
        for (AIVendor each : AIVendors::allCases()) {
            KeychainService::shared().deleteAPIKey(each);
        }
        KeychainService::shared().storeAPIKey(testKey, vendor);
        auto vendors = std::make_unique<VendorManager>();
        for (AIVendor each : AIVendors::allCases()) {
            VendorConfig config = vendors->configuration(each);
            config.apiHost = m_fake.host();
            vendors->updateConfiguration(each, config);
        }
        vendors->setDefaultVendor(vendor);
        return vendors;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        TestSupport::quietOffscreenWarnings();
        QApplication::setStyle(QStyleFactory::create("Fusion"));
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        m_screenshots = TestSupport::screenshotFolder();
        QVERIFY(!m_screenshots.path().isEmpty());
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        CommandStore::saveStoredCommands(sampleCommands());
        QVERIFY(m_fake.clear());
    }

    void cleanup()
    {
        // Key writes and model lists still under way finish before the next.
        QVERIFY(TestSupport::finishes(KeychainService::shared().keyForRequest(AIVendor::openai)));
    }

    void vendorsTab_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::addColumn<AIVendor>("vendor");
        QTest::addColumn<QString>("failure"); // none: validated
        QTest::newRow("light") << "light" << AIVendor::openai << "";
        QTest::newRow("dark") << "dark" << AIVendor::anthropic << "401";
    }

    // Validated (the green line) or refused (the red one): the tallest
    // states of the form, which must still fit without scrolling.
    void vendorsTab()
    {
        QFETCH(QString, theme);
        QFETCH(AIVendor, vendor);
        QFETCH(QString, failure);
        const QPalette palette =
            theme == u"dark"_qs ? TestSupport::darkPalette() : TestSupport::lightPalette();
        QApplication::setPalette(palette);
        const auto vendors = vendorsWithKey(vendor);
        SettingsFrame frame(*vendors, 0);
        frame.show();
        QVERIFY(QTest::qWaitForWindowExposed(&frame));
        frame.vendorsTab->selectVendor(vendor);
        VendorForm *form = frame.vendorsTab->currentForm();
        QTRY_COMPARE(form->keyField()->text(), testKey);
        if (!failure.isEmpty()) {
            QVERIFY(m_fake.fail(failure, 10));
        }
        form->save();
        QCOMPARE(form->saveButton()->text(), QStringLiteral("Saving..."));
        save(frame, "vendors-saving-" + theme);
        QTRY_VERIFY_WITH_TIMEOUT(!form->isSaving(), 15000);
        QVERIFY(form->outcome()->isVisible());
        save(frame, "vendors-" + theme);

        const QStringList cut = squeezed(frame.vendorsTab);
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join(u"; ")));
        const auto *scroll = frame.vendorsTab->findChild<QScrollArea *>();
        QVERIFY(scroll);
        QVERIFY2(!scroll->verticalScrollBar()->isVisible(), "the form needs scrolling");
        // The form is drawn on the palette's text background.
        const QImage image = form->grab().toImage();
        QCOMPARE(image.pixelColor(form->width() - 12, form->height() / 2),
                 palette.color(QPalette::Base));
    }

    void promptsTab_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::newRow("light") << "light";
        QTest::newRow("dark") << "dark";
    }

    void promptsTab()
    {
        QFETCH(QString, theme);
        const QPalette palette =
            theme == u"dark"_qs ? TestSupport::darkPalette() : TestSupport::lightPalette();
        QApplication::setPalette(palette);
        const auto vendors = vendorsWithKey(AIVendor::openai);
        SettingsFrame frame(*vendors, 1);
        frame.show();
        QVERIFY(QTest::qWaitForWindowExposed(&frame));
        PromptsTable *table = frame.promptsTab->table();
        table->setFocus();
        table->setCurrentIndex(frame.promptsTab->model()->index(1, 0));
        save(frame, "prompts-" + theme);

        const QStringList cut = squeezed(frame.promptsTab);
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join(u"; ")));
        QCOMPARE(table->columnWidth(PromptListModel::actionsColumn), 60);
        QCOMPARE(table->columnWidth(PromptListModel::titleColumn) +
                     table->columnWidth(PromptListModel::actionsColumn),
                 table->viewport()->width());
        // More rows than the window shows: the list scrolls, the columns fit.
        QVERIFY(table->verticalScrollBar()->isVisible());

        frame.promptsTab->editPrompt(frame.promptsTab->model()->commands().at(2).id);
        QTRY_VERIFY(frame.promptsTab->dialog() && frame.promptsTab->dialog()->isVisible());
        PromptEditDialog *dialog = frame.promptsTab->dialog();
        QCOMPARE(dialog->size(), QSize(400, 300));
        save(*dialog, "dialog-edit-" + theme);
        const QStringList dialogCut = squeezed(dialog);
        QVERIFY2(dialogCut.isEmpty(), qPrintable(dialogCut.join(u"; ")));
        dialog->reject();
        QTRY_VERIFY(!frame.promptsTab->dialog());

        frame.promptsTab->addPrompt();
        QTRY_VERIFY(frame.promptsTab->dialog() && frame.promptsTab->dialog()->isVisible());
        QVERIFY(!frame.promptsTab->dialog()->saveButton()->isEnabled());
        save(*frame.promptsTab->dialog(), "dialog-add-" + theme);
        frame.promptsTab->dialog()->reject();
    }
};

QTEST_MAIN(SettingsLookTest)
#include "tst_settingslook.moc"
