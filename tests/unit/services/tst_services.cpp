// SPDX-License-Identifier: GPL-3.0-or-later
// The services' rules that need no desktop: which chord pastes where, and
// the scaling from the accessibility layer's device pixels.
#include "AccessibilityService.h"
#include "Windows.h"

#include <QtTest>

class ServicesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pasteChordFollowsTheWindowClass_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("cls");
        QTest::addColumn<QList<quint32>>("modifiers");
        QTest::addColumn<quint32>("key");
        QTest::addColumn<bool>("primary");
        using namespace platform::Keysym;
        QTest::addRow("editor") << "mousepad" << u"Mousepad"_qs << QList<quint32>{controlL}
                                << quint32('v') << false;
        QTest::addRow("xterm") << "xterm" << u"XTerm"_qs << QList<quint32>{shiftL} << insert
                               << true;
        QTest::addRow("uxterm") << "xterm" << u"UXTerm"_qs << QList<quint32>{shiftL} << insert
                                << true;
        QTest::addRow("gnome terminal")
            << "gnome-terminal-server" << u"Gnome-terminal"_qs << QList<quint32>{controlL, shiftL}
            << quint32('v') << false;
        QTest::addRow("xfce4-terminal")
            << "xfce4-terminal" << u"Xfce4-terminal"_qs << QList<quint32>{controlL, shiftL}
            << quint32('v') << false;
        QTest::addRow("unknown window")
            << "" << u""_qs << QList<quint32>{controlL} << quint32('v') << false;
    }

    void pasteChordFollowsTheWindowClass()
    {
        QFETCH(QString, name);
        QFETCH(QString, cls);
        QFETCH(QList<quint32>, modifiers);
        QFETCH(quint32, key);
        QFETCH(bool, primary);
        const auto paste = platform::pasteChordForClass(name, cls);
        QCOMPARE(paste.chord.modifiers, modifiers);
        QCOMPARE(paste.chord.key, key);
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
