// SPDX-License-Identifier: GPL-3.0-or-later
// How the settings window looks at 780 by 600, in a light and a dark
// palette: nothing squeezed below its minimum size or cut off, the vendor
// form without a scroll bar, colours from the palette, and pictures of each
// tab, the prompt dialog and the recorder while recording under
// build/screenshots.
#include "Await.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "FakeHotKeys.h"
#include "FakeLoginItem.h"
#include "FakeProvider.h"
#include "HotKeyLayer.h"
#include "KeychainService.h"
#include "NoticeLabel.h"
#include "PromptEditDialog.h"
#include "PromptListModel.h"
#include "PromptsTab.h"
#include "PromptsTable.h"
#include "SettingsPages.h"
#include "SettingsWindow.h"
#include "ShortcutRecorder.h"
#include "TestSupport.h"
#include "VendorForm.h"
#include "VendorManager.h"
#include "VendorsTab.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyleFactory>
#include <QTabWidget>
#include <QtTest>
#include <memory>

Q_DECLARE_METATYPE(AIVendor)

namespace {

const QString testKey = QStringLiteral("sk-look");

// Visible widgets below root smaller than their own minimum (a button
// squeezed), and labels whose text needs more room than they got. A size
// fixed on purpose counts as meant; scroll bars, headers and a line edit's
// own icon buttons (sized to its height) have minimums of no meaning here.
QStringList cutOff(QWidget *root)
{
    QStringList found;
    for (QWidget *widget : root->findChildren<QWidget *>()) {
        if (!widget->isVisibleTo(root)) {
            continue;
        }
        QSize needed;
        if (!widget->inherits("QScrollBar") && !widget->inherits("QHeaderView") &&
            !widget->inherits("QLineEditIconButton") &&
            widget->minimumSize() != widget->maximumSize()) {
            needed = widget->minimumSizeHint().expandedTo(widget->minimumSize());
        }
        const auto *label = qobject_cast<const QLabel *>(widget);
        if (label && !label->text().isEmpty()) {
            needed = needed.expandedTo(label->wordWrap()
                                           ? QSize(0, label->heightForWidth(label->width()))
                                           : label->sizeHint());
        }
        if (needed.isValid() &&
            (widget->width() < needed.width() || widget->height() < needed.height())) {
            found << QStringLiteral("%1 \"%2\" %3x%4 < %5x%6")
                         .arg(QLatin1String(widget->metaObject()->className()),
                              label ? label->text() : widget->accessibleName())
                         .arg(widget->width())
                         .arg(widget->height())
                         .arg(needed.width())
                         .arg(needed.height());
        }
    }
    return found;
}

void checkFits(QWidget *root)
{
    const QStringList cut = cutOff(root);
    QVERIFY2(cut.isEmpty(), qPrintable(cut.join(u"; ")));
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
    for (int i = 0; i < 7; ++i) {
        commands.append(AICommand(QStringLiteral("My own command %1").arg(i), u"{text}"_qs));
    }
    return commands;
}

void addThemes()
{
    QTest::addColumn<QString>("theme");
    QTest::newRow("light") << "light";
    QTest::newRow("dark") << "dark";
}

enum Tab { general, vendors, prompts };

} // namespace

class SettingsLookTest : public QObject {
    Q_OBJECT

private:
    FakeProvider m_fake;
    QDir m_screenshots;
    platform::fake::LoginItem m_loginItem;
    std::unique_ptr<VendorManager> m_vendors;
    std::unique_ptr<SettingsWindow> m_window;

    void save(QWidget &widget, const QString &name)
    {
        QApplication::processEvents();
        const QString path = m_screenshots.filePath("settings-" + name + ".png");
        QVERIFY2(widget.grab().save(path), qPrintable(path));
    }

    // The window as the application makes it, in the theme, on a tab,
    // with a key stored for vendor and every provider at the stand-in.
    void openWindow(const QString &theme, Tab tab, AIVendor vendor = AIVendor::openai)
    {
        QApplication::setPalette(theme == u"dark"_qs ? TestSupport::darkPalette()
                                                     : TestSupport::lightPalette());
        for (AIVendor each : AIVendors::allCases()) {
            QVERIFY(KeychainService::shared().deleteAPIKey(each));
        }
        QVERIFY(KeychainService::shared().storeAPIKey(testKey, vendor));
        m_vendors = std::make_unique<VendorManager>();
        for (AIVendor each : AIVendors::allCases()) {
            VendorConfig config = m_vendors->configuration(each);
            config.apiHost = m_fake.host();
            m_vendors->updateConfiguration(each, config);
        }
        m_vendors->setDefaultVendor(vendor);
        m_window = makeSettingsWindow({
            .loginItem = m_loginItem,
            .trustTest = [](bool) { return false; },
            .vendors = *m_vendors,
            .keys = KeychainService::shared(),
        });
        m_window->open();
        m_window->tabs()->setCurrentIndex(tab);
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        QCOMPARE(m_window->size(), QSize(780, 600));
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        TestSupport::quietOffscreenWarnings();
        GlobalShortcuts::HotKeyLayer::shared().setBackend(platform::fake::HotKeys().makeBackend());
        QApplication::setStyle(QStyleFactory::create("Fusion"));
        QVERIFY2(m_fake.start(), qPrintable(m_fake.errorString()));
        m_screenshots = TestSupport::screenshotFolder();
        QVERIFY(!m_screenshots.path().isEmpty());
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        const GlobalShortcuts::Name popup = GlobalShortcuts::Name::showPopup();
        GlobalShortcuts::setShortcut(popup.defaultShortcut(), popup);
        CommandStore::saveStoredCommands(sampleCommands());
        QVERIFY(m_fake.clear());
    }

    void cleanup()
    {
        m_window.reset();
        // Key writes and model lists still under way finish before the next.
        QVERIFY(TestSupport::finishes(KeychainService::shared().keyForRequest(AIVendor::openai)));
        m_vendors.reset();
    }

    void generalTab_data() { addThemes(); }

    // The five cards in a column that scrolls only up and down; the
    // recorder's text whole between the left edge and the clear button,
    // nothing scrolled out of sight on either side.
    void generalTab()
    {
        QFETCH(QString, theme);
        openWindow(theme, general);
        auto *scroll = m_window->findChild<QScrollArea *>(QStringLiteral("generalScroll"));
        QVERIFY(scroll);
        QVERIFY(scroll->widget()->minimumSizeHint().width() <= scroll->viewport()->width());
        checkFits(m_window->tabs()->currentWidget());
        auto *recorder = m_window->findChild<ShortcutRecorder *>();
        QCOMPARE(recorder->text(), QStringLiteral("Ctrl+Super+/"));
        const auto *clear = recorder->findChild<QWidget *>(QStringLiteral("clearShortcutButton"));
        QVERIFY(clear && clear->isVisibleTo(recorder));
        const int middle = recorder->height() / 2;
        QCOMPARE(recorder->cursorPositionAt(QPoint(1, middle)), 0);
        QCOMPARE(recorder->cursorPositionAt(QPoint(clear->geometry().left() - 1, middle)),
                 int(recorder->text().size()));
        save(*m_window, "general-" + theme);
        scroll->verticalScrollBar()->setValue(scroll->verticalScrollBar()->maximum());
        save(*m_window, "general-end-" + theme);
        scroll->verticalScrollBar()->setValue(0);
        QTest::mouseClick(recorder, Qt::LeftButton);
        QVERIFY(recorder->isRecording());
        save(*m_window, "recorder-recording-" + theme);
        QTest::keyClick(recorder, Qt::Key_Escape);
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
        openWindow(theme, vendors, vendor);
        auto *tab = qobject_cast<VendorsTab *>(m_window->tabs()->currentWidget());
        QVERIFY(tab);
        tab->selectVendor(vendor);
        VendorForm *form = tab->currentForm();
        QTRY_COMPARE(form->keyField()->text(), testKey);
        if (!failure.isEmpty()) {
            QVERIFY(m_fake.fail(failure, 10));
        }
        form->save();
        save(*m_window, "vendors-saving-" + theme);
        QTRY_VERIFY_WITH_TIMEOUT(!form->isSaving(), 15000);
        QVERIFY(form->outcome()->isVisible());
        save(*m_window, "vendors-" + theme);
        checkFits(tab);
        const auto *scroll = tab->findChild<QScrollArea *>();
        QVERIFY(scroll);
        QVERIFY2(!scroll->verticalScrollBar()->isVisible(), "the form needs scrolling");
        // The form is drawn on the palette's text background.
        const QImage image = form->grab().toImage();
        QCOMPARE(image.pixelColor(form->width() - 12, form->height() / 2),
                 QApplication::palette().color(QPalette::Base));
    }

    void promptsTab_data() { addThemes(); }

    // More rows than the window shows: the list scrolls, the columns fit.
    void promptsTab()
    {
        QFETCH(QString, theme);
        openWindow(theme, prompts);
        auto *tab = qobject_cast<PromptsTab *>(m_window->tabs()->currentWidget());
        QVERIFY(tab);
        PromptsTable *table = tab->table();
        QTRY_VERIFY(tab->model()->rowCount() > 0);
        table->setFocus();
        table->setCurrentIndex(tab->model()->index(1, 0));
        save(*m_window, "prompts-" + theme);
        checkFits(tab);
        QCOMPARE(table->columnWidth(PromptListModel::titleColumn) +
                     table->columnWidth(PromptListModel::actionsColumn),
                 table->viewport()->width());
        QVERIFY(table->verticalScrollBar()->isVisible());

        tab->editPrompt(tab->model()->commands().at(2).id);
        QTRY_VERIFY(tab->dialog() && tab->dialog()->isVisible());
        save(*tab->dialog(), "dialog-edit-" + theme);
        checkFits(tab->dialog());
        tab->dialog()->reject();
        QTRY_VERIFY(!tab->dialog());
        tab->addPrompt();
        QTRY_VERIFY(tab->dialog() && tab->dialog()->isVisible());
        save(*tab->dialog(), "dialog-add-" + theme);
        tab->dialog()->reject();
    }
};

QTEST_MAIN(SettingsLookTest)
#include "tst_settingslook.moc"
