// SPDX-License-Identifier: GPL-3.0-or-later
// The services' rules that need no desktop: which chord pastes where, and
// the scaling from the accessibility layer's device pixels.
#include "AccessibilityService.h"
#include "Windows.h"

#include <QtTest>

class ServicesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Terminals take Shift+Insert (the X terminals, which paste the primary
    // selection, so it is set too) or Ctrl+Shift+V; everything else Ctrl+V.
    void pasteChordFollowsTheWindowClass()
    {
        using namespace platform::Keysym;
        const std::tuple<QString, QString, QList<quint32>, quint32, bool> rows[] = {
            {u"mousepad"_qs, u"Mousepad"_qs, {controlL}, 'v', false},
            {u"xterm"_qs, u"XTerm"_qs, {shiftL}, insert, true},
            {u"uxterm"_qs, u"UXTerm"_qs, {shiftL}, insert, true},
            {u"gnome-terminal-server"_qs, u"Gnome-terminal"_qs, {controlL, shiftL}, 'v', false},
            {u"xfce4-terminal"_qs, u"Xfce4-terminal"_qs, {controlL, shiftL}, 'v', false},
            {u""_qs, u""_qs, {controlL}, 'v', false},
        };
        for (const auto &[name, cls, modifiers, key, primary] : rows) {
            const auto paste = platform::pasteChordForClass(name, cls);
            QCOMPARE(std::tuple(cls, paste.chord.modifiers, paste.chord.key, paste.alsoPrimary),
                     std::tuple(cls, modifiers, key, primary));
        }
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
