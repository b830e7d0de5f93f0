// SPDX-License-Identifier: GPL-3.0-or-later
// The Prompts tab through its model and its widgets: where a dragged row
// lands and which drops are refused, adding, editing and deleting with the
// dialog and the keyboard, and the stored list saved after every change and
// read again when the tab is shown.
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "PromptEditDialog.h"
#include "PromptListModel.h"
#include "PromptsTab.h"
#include "PromptsTable.h"
#include "Settings.h"
#include "TestSupport.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QToolButton>
#include <QtTest>
#include <memory>

namespace {

// Commands titled by the letters, each with a prompt of its own.
QList<AICommand> commandsTitled(const QString &letters)
{
    QList<AICommand> commands;
    for (const QChar letter : letters) {
        commands.append(AICommand(QString(letter), QStringLiteral("Do %1: {text}").arg(letter)));
    }
    return commands;
}

QString titles(const QList<AICommand> &commands)
{
    QString text;
    for (const AICommand &command : commands) {
        text += command.title;
    }
    return text;
}

QString storedTitles()
{
    return titles(CommandStore::loadStoredCommands());
}

std::unique_ptr<QMimeData> rowPayload(const QByteArray &payload,
                                      const QString &type = PromptListModel::rowMimeType)
{
    auto data = std::make_unique<QMimeData>();
    data->setData(type, payload);
    return data;
}

QToolButton *rowButton(const PromptsTab &tab, int row, const QString &name)
{
    QWidget *cell =
        tab.table()->indexWidget(tab.model()->index(row, PromptListModel::actionsColumn));
    if (!cell) {
        return nullptr;
    }
    for (QToolButton *button : cell->findChildren<QToolButton *>()) {
        if (button->accessibleName() == name) {
            return button;
        }
    }
    return nullptr;
}

} // namespace

class PromptsTabTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<PromptsTab> m_tab;
    QList<AICommand> m_stored;

    // A shown tab over the stored commands titled "ABCD".
    void showTab(const QString &letters = QStringLiteral("ABCD"))
    {
        m_stored = commandsTitled(letters);
        CommandStore::saveStoredCommands(m_stored);
        m_tab = std::make_unique<PromptsTab>();
        m_tab->resize(600, 400);
        m_tab->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_tab.get()));
    }

    // The dialog the tab opened, once it is on screen.
    PromptEditDialog *openedDialog()
    {
        if (!QTest::qWaitFor([this] { return m_tab->dialog() && m_tab->dialog()->isVisible(); },
                             5000)) {
            return nullptr;
        }
        return m_tab->dialog();
    }

    void fill(PromptEditDialog *dialog, const QString &title, const QString &prompt)
    {
        dialog->titleField()->clear();
        QTest::keyClicks(dialog->titleField(), title);
        dialog->promptField()->clear();
        QTest::keyClicks(dialog->promptField(), prompt);
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        TestSupport::quietOffscreenWarnings();
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        showTab();
    }

    void cleanup() { m_tab.reset(); }

    void aDropBetweenRowsMovesTheRow_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<int>("dropRow");
        QTest::addColumn<QString>("expected");
        // Dragged down, a row stands before the row above the drop line.
        QTest::newRow("first, to the line above the last") << QByteArray("0") << 3 << "BACD";
        QTest::newRow("first, to the line under the second") << QByteArray("0") << 2 << "ABCD";
        QTest::newRow("first, to its own lower line") << QByteArray("0") << 1 << "ABCD";
        QTest::newRow("first, to the end") << QByteArray("0") << 4 << "BCAD";
        QTest::newRow("second, to the end") << QByteArray("1") << 4 << "ACBD";
        QTest::newRow("third, to its own lower line") << QByteArray("2") << 3 << "ABCD";
        // Dragged up, it stands before the row under the drop line.
        QTest::newRow("last, to the line under the first") << QByteArray("3") << 1 << "ADBC";
        QTest::newRow("last, to the top") << QByteArray("3") << 0 << "DABC";
        QTest::newRow("third, to its own upper line") << QByteArray("2") << 2 << "ABCD";
        QTest::newRow("signed source +1, to the top") << QByteArray("+1") << 0 << "BACD";
        QTest::newRow("signed source -0") << QByteArray("-0") << 3 << "BACD";
        QTest::newRow("leading zeros") << QByteArray("002") << 0 << "CABD";
    }

    void aDropBetweenRowsMovesTheRow()
    {
        QFETCH(QByteArray, payload);
        QFETCH(int, dropRow);
        QFETCH(QString, expected);
        PromptListModel &model = *m_tab->model();
        const auto data = rowPayload(payload);
        QVERIFY(model.canDropMimeData(data.get(), Qt::MoveAction, dropRow, 0, QModelIndex()));
        QVERIFY(model.dropMimeData(data.get(), Qt::MoveAction, dropRow, 0, QModelIndex()));
        QCOMPARE(titles(model.commands()), expected);
        QCOMPARE(storedTitles(), expected);
        // Moved whole: each command keeps its id and prompt.
        for (const AICommand &command : model.commands()) {
            QVERIFY(m_stored.contains(command));
        }
        // The row buttons follow their commands.
        QCOMPARE(model.index(0, 0).data(PromptListModel::idRole).toUuid(),
                 model.commands().first().id);
    }

    void dropsFromElsewhereOrOntoARowAreRefused_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<int>("dropRow");
        QTest::addColumn<int>("ontoRow"); // -1: dropped between rows
        QTest::addColumn<int>("action");
        const auto row = [](const char *name, const QByteArray &payload, int dropRow = 0,
                            int ontoRow = -1, int action = Qt::MoveAction,
                            const QString &type = PromptListModel::rowMimeType) {
            QTest::newRow(name) << type << payload << dropRow << ontoRow << action;
        };
        row("other MIME type", "1", 0, -1, Qt::MoveAction, u"text/plain"_qs);
        row("empty payload", QByteArray());
        row("decimal point", "1.0");
        row("leading space", " 1");
        row("trailing line break", "1\n");
        row("hexadecimal", "0x1");
        row("a word", "one");
        row("sign alone", "-");
        row("two signs", "+-1");
        row("other digits", "\xd9\xa1");
        row("past the last row", "4");
        row("negative row", "-1");
        row("beyond 64 bits", "18446744073709551617");
        row("onto a row", "0", -1, 2);
        row("onto the space under the rows", "0", -1, -1);
        row("line past the end", "0", 5);
        row("a copy", "0", 3, -1, Qt::CopyAction);
    }

    void dropsFromElsewhereOrOntoARowAreRefused()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, payload);
        QFETCH(int, dropRow);
        QFETCH(int, ontoRow);
        QFETCH(int, action);
        PromptListModel &model = *m_tab->model();
        const auto data = rowPayload(payload, type);
        const QModelIndex parent = ontoRow < 0 ? QModelIndex() : model.index(ontoRow, 0);
        const auto dropAction = Qt::DropAction(action);
        const std::optional<QByteArray> before = Settings::standard().prompts();
        QVERIFY(!model.canDropMimeData(data.get(), dropAction, dropRow, 0, parent));
        QVERIFY(!model.dropMimeData(data.get(), dropAction, dropRow, 0, parent));
        QCOMPARE(titles(model.commands()), QStringLiteral("ABCD"));
        QCOMPARE(Settings::standard().prompts(), before);
    }

    // Every command with the id goes, at once and without a question.
    void deleteRemovesEveryCommandWithTheId()
    {
        QList<AICommand> stored = commandsTitled(QStringLiteral("ABC"));
        stored.append(AICommand(stored.at(1).id, QStringLiteral("B twin"), QStringLiteral("p")));
        CommandStore::saveStoredCommands(stored);
        m_tab->hide();
        m_tab->show();
        QCOMPARE(m_tab->model()->rowCount(), 4);
        QToolButton *remove = rowButton(*m_tab, 1, QStringLiteral("Delete"));
        QVERIFY(remove);
        remove->click();
        QCOMPARE(titles(m_tab->model()->commands()), QStringLiteral("AC"));
        QCOMPARE(storedTitles(), QStringLiteral("AC"));
        QVERIFY(!m_tab->dialog());
        QVERIFY(QApplication::activeModalWidget() == nullptr);
    }

    // Add appends, Edit replaces in place; either way the saved command
    // has a new id, the others stay as they were, and the row's buttons
    // act on the new id.
    void savedWithANewId_data()
    {
        QTest::addColumn<int>("row"); // the fifth: added
        QTest::addColumn<QString>("expected");
        QTest::newRow("add") << 4 << "ABCDNew";
        QTest::newRow("edit the third") << 2 << "ABNewD";
    }

    void savedWithANewId()
    {
        QFETCH(int, row);
        QFETCH(QString, expected);
        const bool adding = row == m_stored.size();
        if (adding) {
            m_tab->addButton()->click();
        } else {
            QToolButton *edit = rowButton(*m_tab, row, QStringLiteral("Edit"));
            QVERIFY(edit);
            edit->click();
        }
        PromptEditDialog *dialog = openedDialog();
        QVERIFY(dialog);
        const AICommand shown = adding ? AICommand() : m_stored.at(row);
        QCOMPARE(dialog->titleField()->text(), shown.title);
        QCOMPARE(dialog->promptField()->toPlainText(), shown.prompt);
        fill(dialog, QStringLiteral("New"), QStringLiteral("New: {text}"));
        dialog->saveButton()->click();
        QTRY_VERIFY(!m_tab->dialog());
        QList<AICommand> commands = m_tab->model()->commands();
        QCOMPARE(titles(commands), expected);
        QCOMPARE(CommandStore::loadStoredCommands(), commands);
        const AICommand saved = commands.takeAt(row);
        QCOMPARE(saved.prompt, QStringLiteral("New: {text}"));
        for (const AICommand &before : std::as_const(m_stored)) {
            QVERIFY(saved.id != before.id);
        }
        QList<AICommand> others = m_stored;
        if (!adding) {
            others.removeAt(row);
        }
        QCOMPARE(commands, others);
        rowButton(*m_tab, row, QStringLiteral("Edit"))->click();
        QVERIFY(openedDialog());
        QCOMPARE(m_tab->dialog()->titleField()->text(), QStringLiteral("New"));
    }

    void saveNeedsATitleAndAPrompt_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("prompt");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("both empty") << u""_qs << u""_qs << false;
        QTest::newRow("no title") << u""_qs << u"p"_qs << false;
        QTest::newRow("no prompt") << u"t"_qs << u""_qs << false;
        QTest::newRow("a title of one space") << u" "_qs << u"p"_qs << true;
        QTest::newRow("a prompt of one space") << u"t"_qs << u" "_qs << true;
    }

    void saveNeedsATitleAndAPrompt()
    {
        QFETCH(QString, title);
        QFETCH(QString, prompt);
        QFETCH(bool, enabled);
        m_tab->addPrompt();
        PromptEditDialog *dialog = openedDialog();
        QVERIFY(dialog);
        fill(dialog, title, prompt);
        QCOMPARE(dialog->saveButton()->isEnabled(), enabled);
        // Enter in the title presses Save, the default button, when it can.
        dialog->titleField()->setFocus();
        QTest::keyClick(dialog->titleField(), Qt::Key_Return);
        if (enabled) {
            QTRY_VERIFY(!m_tab->dialog());
            QCOMPARE(storedTitles(), QStringLiteral("ABCD") + title);
            QCOMPARE(CommandStore::loadStoredCommands().last().prompt, prompt);
        } else {
            QVERIFY(dialog->isVisible());
            QCOMPARE(storedTitles(), QStringLiteral("ABCD"));
        }
    }

    // The list was read again while the dialog was open, without the command.
    void editingACommandThatIsGoneKeepsTheDialogOpen()
    {
        m_tab->editPrompt(m_stored.at(1).id);
        PromptEditDialog *dialog = openedDialog();
        QVERIFY(dialog);
        const QList<AICommand> without{m_stored.at(0), m_stored.at(2), m_stored.at(3)};
        CommandStore::saveStoredCommands(without);
        m_tab->hide();
        m_tab->show();
        const std::optional<QByteArray> before = Settings::standard().prompts();
        fill(dialog, QStringLiteral("B2"), QStringLiteral("p"));
        dialog->saveButton()->click();
        QTest::qWait(50);
        QVERIFY(dialog->isVisible());
        QCOMPARE(m_tab->model()->commands(), without);
        QCOMPARE(Settings::standard().prompts(), before);
    }

    void cancelChangesNothing_data()
    {
        QTest::addColumn<bool>("editing");
        QTest::addColumn<bool>("escape"); // otherwise the Cancel button
        for (const bool editing : {false, true}) {
            for (const bool escape : {false, true}) {
                QTest::addRow("%s, %s", editing ? "edit" : "add", escape ? "Escape" : "Cancel")
                    << editing << escape;
            }
        }
    }

    void cancelChangesNothing()
    {
        QFETCH(bool, editing);
        QFETCH(bool, escape);
        if (editing) {
            m_tab->editPrompt(m_stored.at(0).id);
        } else {
            m_tab->addPrompt();
        }
        PromptEditDialog *dialog = openedDialog();
        QVERIFY(dialog);
        const std::optional<QByteArray> before = Settings::standard().prompts();
        fill(dialog, QStringLiteral("changed"), QStringLiteral("changed"));
        if (escape) {
            QTest::keyClick(dialog->promptField(), Qt::Key_Escape);
        } else {
            dialog->cancelButton()->click();
        }
        QTRY_VERIFY(!m_tab->dialog());
        QCOMPARE(m_tab->model()->commands(), m_stored);
        QCOMPARE(Settings::standard().prompts(), before);
    }

    void keysOnTheTable_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("outcome"); // a dialog's heading, or the titles left
        QTest::newRow("Return edits")
            << int(Qt::Key_Return) << int(Qt::NoModifier) << "Edit Custom Prompt";
        QTest::newRow("keypad Enter edits")
            << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << "Edit Custom Prompt";
        QTest::newRow("Delete deletes") << int(Qt::Key_Delete) << int(Qt::NoModifier) << "ABD";
        QTest::newRow("Ctrl+N adds")
            << int(Qt::Key_N) << int(Qt::ControlModifier) << "Add Custom Prompt";
    }

    void keysOnTheTable()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, outcome);
        QTableView *table = m_tab->table();
        table->setFocus();
        QCOMPARE(table->currentIndex().row(), 0); // focus lands on the first row
        QTest::keyClick(table, Qt::Key_Down);
        QTest::keyClick(table, Qt::Key_Down);
        QCOMPARE(table->currentIndex().row(), 2);
        QTest::keyClick(table, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        if (outcome.endsWith(QLatin1String("Prompt"))) {
            PromptEditDialog *dialog = openedDialog();
            QVERIFY(dialog);
            QCOMPARE(dialog->heading(), outcome);
            if (dialog->mode() == PromptEditDialog::Mode::edit) {
                QCOMPARE(dialog->titleField()->text(), QStringLiteral("C"));
            }
            QCOMPARE(storedTitles(), QStringLiteral("ABCD"));
        } else {
            QCOMPARE(titles(m_tab->model()->commands()), outcome);
            QCOMPARE(storedTitles(), outcome);
            // The next row takes the deleted one's place under the keyboard.
            QCOMPARE(table->currentIndex().row(), 2);
        }
    }

    // Shown again, the tab shows what is stored now; a list that cannot be
    // read shows as empty.
    void theListIsReadAgainWhenShown_data()
    {
        QTest::addColumn<QByteArray>("stored"); // empty: commands titled "XY"
        QTest::addColumn<QString>("expected");
        QTest::newRow("changed elsewhere") << QByteArray() << "XY";
        QTest::newRow("unreadable") << QByteArray("[{\"title\": 1}]") << "";
    }

    void theListIsReadAgainWhenShown()
    {
        QFETCH(QByteArray, stored);
        QFETCH(QString, expected);
        QCOMPARE(titles(m_tab->model()->commands()), QStringLiteral("ABCD"));
        if (stored.isEmpty()) {
            CommandStore::saveStoredCommands(commandsTitled(QStringLiteral("XY")));
        } else {
            Settings::standard().setPrompts(stored);
        }
        QCOMPARE(titles(m_tab->model()->commands()), QStringLiteral("ABCD"));
        m_tab->hide();
        m_tab->show();
        QCOMPARE(titles(m_tab->model()->commands()), expected);
        QCOMPARE(m_tab->table()->model()->rowCount(), int(expected.size()));
        for (int row = 0; row < expected.size(); ++row) {
            QVERIFY(rowButton(*m_tab, row, QStringLiteral("Edit")));
            QVERIFY(rowButton(*m_tab, row, QStringLiteral("Delete")));
        }
    }
};

QTEST_MAIN(PromptsTabTest)
#include "tst_promptstab.moc"
