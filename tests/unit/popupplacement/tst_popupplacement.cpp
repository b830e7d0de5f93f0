// SPDX-License-Identifier: GPL-3.0-or-later
#include "PopupPlacement.h"

#include <QtTest>

using namespace PopupPlacement;

class PopupPlacementTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sourcesAreTriedInOrder()
    {
        FocusGeometry geometry;
        geometry.selectionBounds = QRectF(100, 200, 80, 20);
        geometry.textInsertionPoint = QPointF(500, 500);
        geometry.focusedElementFrame = QRectF(50, 50, 600, 400);
        Anchor anchor = popupPosition(geometry, QPointF(1, 1));
        QCOMPARE(anchor.point, QPointF(140, 220));
        QCOMPARE(anchor.log, QStringList{u"Using selection bounds (top-left): (140.0, 220.0)"_qs});

        // A caret (zero width) is no selection: the insertion point follows.
        geometry.selectionBounds = QRectF(100, 200, 0, 20);
        anchor = popupPosition(geometry, QPointF(1, 1));
        QCOMPARE(anchor.point, QPointF(500, 500));
        QCOMPARE(anchor.log.first(), u"Using text insertion point (top-left): (500.0, 500.0)"_qs);

        geometry.textInsertionPoint.reset();
        anchor = popupPosition(geometry, QPointF(1, 1));
        QCOMPARE(anchor.point, QPointF(50, 450)); // bottom-left corner of the element
        QCOMPARE(anchor.log.first(), u"Using focused element (top-left): (50.0, 450.0)"_qs);

        // The insertion point keeps what it belongs to, to open above it.
        geometry.textInsertionPoint = QPointF(300, 420);
        geometry.insertionPointAround = QRectF(295, 400, 10, 20);
        anchor = popupPosition(geometry, QPointF(1, 1));
        QCOMPARE(anchor.around, geometry.insertionPointAround);

        // The pointer's arrow stays uncovered: the popup hangs below it.
        anchor = popupPosition(FocusGeometry{}, QPointF(12.5, 40));
        QCOMPARE(anchor.point, QPointF(12.5, 40 + pointerHeight));
        QVERIFY(anchor.around->contains(QPointF(12.5, 40 + pointerHeight - 1)));
        QCOMPARE(anchor.log, QStringList{u"Using mouse position (bottom-left): (12.5, 40.0)"_qs});
    }

    void pointsNearAWindowCornerMoveToItsCentre_data()
    {
        QTest::addColumn<QPointF>("point");
        QTest::addColumn<bool>("centred");
        const QRectF window(100, 100, 800, 600);
        QTest::newRow("29.9 from top-left") << QPointF(100 + 29.9, 100) << true;
        QTest::newRow("exactly 30 from top-left") << QPointF(130, 100) << false;
        QTest::newRow("near top-right") << QPointF(890, 110) << true;
        QTest::newRow("near bottom-left") << QPointF(105, 695) << true;
        QTest::newRow("near bottom-right, diagonal 28.28") << QPointF(880, 680) << true;
        QTest::newRow("inside, far from corners") << QPointF(400, 400) << false;
    }

    void pointsNearAWindowCornerMoveToItsCentre()
    {
        QFETCH(QPointF, point);
        QFETCH(bool, centred);
        FocusGeometry geometry;
        geometry.textInsertionPoint = point;
        geometry.focusedWindowFrame = QRectF(100, 100, 800, 600);
        const Anchor anchor = popupPosition(geometry, QPointF());
        QCOMPARE(anchor.point, centred ? QPointF(500, 400) : point);
        QCOMPARE(anchor.log.size(), centred ? 2 : 1);
        if (centred) {
            QCOMPARE(anchor.log.last(),
                     u"Position is near a window corner. Centering popup in window."_qs);
        }
    }

    void theMousePositionIsComparedWithTheWindowToo()
    {
        FocusGeometry geometry;
        geometry.focusedWindowFrame = QRectF(0, 0, 400, 300);
        const Anchor anchor = popupPosition(geometry, QPointF(3, 4 - pointerHeight));
        QCOMPARE(anchor.point, QPointF(200, 150));
    }

    void theFrameStaysOnTheScreen_data()
    {
        QTest::addColumn<QPointF>("point");
        QTest::addColumn<QRectF>("around");
        QTest::addColumn<QRect>("screen");
        QTest::addColumn<QRect>("expected");
        const QRect screen(0, 0, 1920, 1080);
        QTest::newRow("below, centred")
            << QPointF(500, 300) << QRectF() << screen << QRect(320, 300 + gap, 360, 340);
        QTest::newRow("clamped at the left edge")
            << QPointF(20, 300) << QRectF() << screen << QRect(0, 300 + gap, 360, 340);
        QTest::newRow("clamped at the right edge")
            << QPointF(1910, 300) << QRectF() << screen << QRect(1560, 300 + gap, 360, 340);
        QTest::newRow("flipped above the selection")
            << QPointF(500, 1000) << QRectF(460, 980, 80, 20) << screen
            << QRect(320, 980 - gap - 340, 360, 340);
        QTest::newRow("flipped above a bare point")
            << QPointF(500, 900) << QRectF() << screen << QRect(320, 900 - gap - 340, 360, 340);
        // A tall element on a short screen: neither below nor above has room,
        // so the popup goes beside the element rather than over it.
        QTest::newRow("beside, to the right")
            << QPointF(300, 700) << QRectF(100, 100, 400, 600) << QRect(0, 0, 1280, 720)
            << QRect(500 + gap, 720 - 340, 360, 340);
        QTest::newRow("beside, to the left")
            << QPointF(900, 700) << QRectF(700, 100, 400, 600) << QRect(0, 0, 1280, 720)
            << QRect(700 - gap - 360, 720 - 340, 360, 340);
        QTest::newRow("second screen to the right")
            << QPointF(2000, 100) << QRectF() << QRect(1920, 0, 1280, 1024)
            << QRect(1920, 100 + gap, 360, 340);
        QTest::newRow("screen lower than the popup")
            << QPointF(100, 100) << QRectF() << QRect(0, 0, 800, 200)
            << QRect(100 + gap, 0, 360, 340);
    }

    void theFrameStaysOnTheScreen()
    {
        QFETCH(QPointF, point);
        QFETCH(QRectF, around);
        QFETCH(QRect, screen);
        QFETCH(QRect, expected);
        Anchor anchor;
        anchor.point = point;
        if (!around.isNull()) {
            anchor.around = around;
        }
        QCOMPARE(popupFrame(anchor, QSize(360, 340), screen), expected);
    }
};

QTEST_GUILESS_MAIN(PopupPlacementTest)
#include "tst_popupplacement.moc"
