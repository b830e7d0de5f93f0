// SPDX-License-Identifier: GPL-3.0-or-later
// What the capture puts back on the user's clipboard after it copied over it.
#include "Await.h"
#include "FakeSelections.h"
#include "Pasteboard.h"
#include "TestSupport.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QtTest>

using platform::Selection;

class PasteboardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    // Every format comes back, except one named after the owner's process:
    // offered by Vellumo, it would make that application take the clipboard
    // for its own copy and paste what it copied last. A number that is not
    // the owner's, or is only part of a name, is content like any other.
    void theRestoreOffersWhatTheOwnerOffered_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<bool>("offeredAgain");
        QTest::newRow("the owner's id")
            << QByteArray("application/x-office-internal-id-4242") << false;
        QTest::newRow("after an underscore") << QByteArray("x-owner_4242") << false;
        QTest::newRow("another process's id")
            << QByteArray("application/x-office-internal-id-4243") << true;
        QTest::newRow("a longer number") << QByteArray("application/x-id-14242") << true;
        QTest::newRow("the id inside a name") << QByteArray("application/x-4242-data") << true;
        QTest::newRow("plain data") << QByteArray("application/x-vellumo-test") << true;
    }
    void theRestoreOffersWhatTheOwnerOffered()
    {
        QFETCH(QByteArray, format);
        QFETCH(bool, offeredAgain);
        platform::fake::Selections selections;
        auto content = platform::fake::Selections::text(4242, QStringLiteral("the user's text"));
        content.data.insert("text/html", "<b>the user's</b>");
        content.data.insert(format, "bytes");
        selections.setContent(Selection::Clipboard, content);

        Pasteboard pasteboard(selections);
        const auto saved = TestSupport::await(pasteboard.savePasteboardContents());
        QVERIFY2(saved.value.value_or(false), qPrintable(saved.said()));
        QGuiApplication::clipboard()->setText(QStringLiteral("what the application copied"));
        pasteboard.restorePasteboardContents();

        const QMimeData *restored = QGuiApplication::clipboard()->mimeData();
        QVERIFY(restored);
        QCOMPARE(restored->text(), QStringLiteral("the user's text"));
        QCOMPARE(restored->data(QStringLiteral("text/html")), QByteArray("<b>the user's</b>"));
        QCOMPARE(restored->hasFormat(QString::fromLatin1(format)), offeredAgain);
    }
};

QTEST_MAIN(PasteboardTest)
#include "tst_pasteboard.moc"
