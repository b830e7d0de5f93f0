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

    // Within 30 of a corner of the window (800 by 600 at 100, 100).
    void pointsNearAWindowCornerMoveToItsCentre()
    {
        const std::pair<QPointF, bool> rows[] = {
            {{129.9, 100}, true}, {{130, 100}, false}, {{890, 110}, true},
            {{105, 695}, true},   {{880, 680}, true},  {{400, 400}, false},
        };
        for (const auto &[point, centred] : rows) {
            FocusGeometry geometry;
            geometry.textInsertionPoint = point;
            geometry.focusedWindowFrame = QRectF(100, 100, 800, 600);
            const Anchor anchor = popupPosition(geometry, QPointF());
            QCOMPARE(anchor.point, centred ? QPointF(500, 400) : point);
            QCOMPARE(anchor.log.mid(1),
                     centred ? QStringList{u"Position is near a window corner. Centering popup in "
                                           u"window."_qs}
                             : QStringList());
        }
    }

    void theMousePositionIsComparedWithTheWindowToo()
    {
        FocusGeometry geometry;
        geometry.focusedWindowFrame = QRectF(0, 0, 400, 300);
        const Anchor anchor = popupPosition(geometry, QPointF(3, 4 - pointerHeight));
        QCOMPARE(anchor.point, QPointF(200, 150));
    }

    // Below the anchor, centred on it and kept on its screen; above when
    // there is no room below.
    void theFrameStaysOnTheScreen()
    {
        const QRect full(0, 0, 1920, 1080);
        const QRect short720(0, 0, 1280, 720);
        const struct {
            QPointF point;
            std::optional<QRectF> around;
            QRect screen;
            QRect expected;
        } rows[] = {
            {{500, 300}, {}, full, {320, 300 + gap, 360, 340}},
            {{20, 300}, {}, full, {0, 300 + gap, 360, 340}},
            {{1910, 300}, {}, full, {1560, 300 + gap, 360, 340}},
            {{500, 1000}, QRectF(460, 980, 80, 20), full, {320, 980 - gap - 340, 360, 340}},
            {{500, 900}, {}, full, {320, 900 - gap - 340, 360, 340}},
            // A tall element on a short screen: neither below nor above has
            // room, so the popup goes beside the element rather than over it.
            {{300, 700}, QRectF(100, 100, 400, 600), short720, {500 + gap, 720 - 340, 360, 340}},
            {{900, 700}, QRectF(700, 100, 400, 600), short720, {700 - gap - 360, 380, 360, 340}},
            {{2000, 100}, {}, {1920, 0, 1280, 1024}, {1920, 100 + gap, 360, 340}},
            {{100, 100}, {}, {0, 0, 800, 200}, {100 + gap, 0, 360, 340}}, // lower than the popup
        };
        for (const auto &row : rows) {
            Anchor anchor;
            anchor.point = row.point;
            anchor.around = row.around;
            QCOMPARE(popupFrame(anchor, QSize(360, 340), row.screen), row.expected);
        }
    }
};

QTEST_GUILESS_MAIN(PopupPlacementTest)
#include "tst_popupplacement.moc"
