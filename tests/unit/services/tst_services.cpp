// The services' rules that need no desktop: which chord pastes where, and
// the scaling from the accessibility layer's device pixels.
#include "AccessibilityService.h"
#include "TextManipulationService.h"

#include <QtTest>

class ServicesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pasteChordFollowsTheWindowClass_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("cls");
        QTest::addColumn<QStringList>("modifiers");
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("primary");
        QTest::addRow("editor") << "mousepad"
                                << "Mousepad" << QStringList{"Control_L"} << "v" << false;
        QTest::addRow("xterm") << "xterm"
                               << "XTerm" << QStringList{"Shift_L"} << "Insert" << true;
        QTest::addRow("uxterm") << "xterm"
                                << "UXTerm" << QStringList{"Shift_L"} << "Insert" << true;
        QTest::addRow("gnome terminal")
            << "gnome-terminal-server"
            << "Gnome-terminal" << QStringList{"Control_L", "Shift_L"} << "v" << false;
        QTest::addRow("xfce4-terminal")
            << "xfce4-terminal"
            << "Xfce4-terminal" << QStringList{"Control_L", "Shift_L"} << "v" << false;
        QTest::addRow("unknown window") << ""
                                        << "" << QStringList{"Control_L"} << "v" << false;
    }

    void pasteChordFollowsTheWindowClass()
    {
        QFETCH(QString, name);
        QFETCH(QString, cls);
        QFETCH(QStringList, modifiers);
        QFETCH(QString, key);
        QFETCH(bool, primary);
        const auto paste = TextManipulationService::pasteChordFor(name, cls);
        QCOMPARE(paste.chord.modifierKeysyms, modifiers);
        QCOMPARE(paste.chord.keysym, key);
        QCOMPARE(paste.alsoPrimary, primary);
    }

    void logicalPixelsDivideByTheScreenRatio()
    {
        SelectionGeometry device;
        device.selectionBounds = QRectF(200, 100, 40, 20);
        device.textInsertionPoint = QPointF(300, 50);
        device.insertionPointAround = QRectF(296, 30, 8, 20);
        device.focusedWindowFrame = QRectF(0, 0, 1000, 800);
        const auto logical = AccessibilityService::toLogical(device, 2.0);
        QCOMPARE(*logical.selectionBounds, QRectF(100, 50, 20, 10));
        QCOMPARE(*logical.textInsertionPoint, QPointF(150, 25));
        QCOMPARE(*logical.insertionPointAround, QRectF(148, 15, 4, 10));
        QCOMPARE(*logical.focusedWindowFrame, QRectF(0, 0, 500, 400));
        QVERIFY(!logical.focusedElementFrame);
        QCOMPARE(*AccessibilityService::toLogical(device, 0).selectionBounds,
                 QRectF(200, 100, 40, 20));
    }
};

QTEST_GUILESS_MAIN(ServicesTest)
#include "tst_services.moc"
