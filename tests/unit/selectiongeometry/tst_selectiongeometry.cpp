// SPDX-License-Identifier: GPL-3.0-or-later
// Turning what toolkits answer about the selection into places on screen,
// with the faults seen in real applications.
#include "SelectionGeometry.h"

#include <QtTest>

namespace {

// A well-behaved GTK 3 editor: window at (640, 307), text element below its
// menu and tool bars, characters 9 by 18.
GeometryAnswers editor()
{
    GeometryAnswers a;
    a.clientWindow = QRect(640, 307, 640, 480);
    a.decoratedWindow = QRect(639, 287, 642, 505);
    a.accessibleWindow = QRect(639, 287, 642, 505);
    a.elementOnScreen = QRect(641, 359, 638, 425);
    a.elementInWindow = QRect(1, 52, 638, 425);
    a.hasText = true;
    a.selectionStart = 54;
    a.selectionEnd = 79;
    a.firstCharacter = QRect(643, 395, 9, 18);
    a.lastCharacter = QRect(868, 395, 9, 18);
    a.characterAtFirst = 54;
    a.caretOffset = 79;
    a.caret = QRect(877, 395, 9, 18);
    a.characterAtCaret = 79;
    return a;
}

SelectionGeometry resolved(const GeometryAnswers &a)
{
    SelectionGeometry g;
    resolveGeometry(a, g);
    return g;
}

} // namespace

class SelectionGeometryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aToolkitThatTellsTheTruthIsTakenAsItIs()
    {
        const SelectionGeometry g = resolved(editor());
        QCOMPARE(g.selectionBounds, QRectF(643, 395, 234, 18));
        QCOMPARE(g.focusedElementFrame, QRectF(641, 359, 638, 425));
        // Below the text cursor, at the selection's end.
        QCOMPARE(g.textInsertionPoint, QPointF(881, 413));
        QCOMPARE(g.insertionPointAround, QRectF(877, 395, 9, 18));
    }

    void aSelectionOverSeveralLinesTakesTheElementsWidth()
    {
        GeometryAnswers a = editor();
        a.lastCharacter = QRect(700, 431, 9, 18); // two lines further down
        const SelectionGeometry g = resolved(a);
        QCOMPARE(g.selectionBounds, QRectF(641, 395, 638, 54));
    }

    void onlyTheVisiblePartCounts()
    {
        GeometryAnswers a = editor();
        // From above the view (scrolled out) to a line inside it.
        a.firstCharacter = QRect(643, -4000, 9, 18);
        a.lastCharacter = QRect(700, 431, 9, 18);
        QCOMPARE(resolved(a).selectionBounds, QRectF(641, 357, 638, 92));
        // Entirely below the view: no bounds, the text cursor decides.
        a.firstCharacter = QRect(643, 48201, 9, 18);
        a.lastCharacter = QRect(700, 48237, 9, 18);
        a.caret.reset();
        const SelectionGeometry g = resolved(a);
        QVERIFY(!g.selectionBounds);
        QCOMPARE(g.textInsertionPoint,
                 QPointF(641 + 319, 359 + 425)); // the element's bottom centre
        QCOMPARE(g.insertionPointAround, QRectF(641, 359, 638, 425));
    }

    void answersOfNothingAreIgnored()
    {
        GeometryAnswers a = editor();
        a.firstCharacter = QRect(0, 0, 0, 0);
        a.lastCharacter = QRect(12, 40, 5, -1);
        a.caret = QRect(0, 0, 0, 0);
        const SelectionGeometry g = resolved(a);
        QVERIFY(!g.selectionBounds);
        QCOMPARE(g.textInsertionPoint, QPointF(960, 784));
    }

    // GTK 4 counts from its window whatever it is asked, has no screen
    // coordinates for text at all, and its X window holds a 5-pixel shadow
    // around the window it knows.
    void windowRelativeToolkitsAreMovedOntoTheirWindow()
    {
        GeometryAnswers a;
        a.clientWindow = QRect(610, 280, 700, 520);
        a.decoratedWindow = a.clientWindow;
        a.accessibleWindow = QRect(0, 0, 690, 510);
        a.elementOnScreen = QRect(0, 47, 690, 463);
        a.elementInWindow = QRect(0, 47, 690, 463);
        a.hasText = true;
        a.charactersInWindow = true;
        a.selectionStart = 29;
        a.selectionEnd = 53;
        a.firstCharacter = QRect(12, 81, 9, 17);
        a.lastCharacter = QRect(219, 81, 9, 17);
        const SelectionGeometry g = resolved(a);
        QCOMPARE(g.focusedElementFrame, QRectF(615, 332, 690, 463));
        QCOMPARE(g.selectionBounds, QRectF(627, 366, 216, 17));
    }

    // Without its window's answer, a toolkit that gives one rectangle in both
    // coordinate systems is taken to count from its window.
    void sameAnswerInBothSystemsMeansWindowRelative()
    {
        GeometryAnswers a = editor();
        a.accessibleWindow.reset();
        a.elementOnScreen = QRect(1, 52, 638, 425);
        a.firstCharacter = QRect(3, 88, 9, 18);
        a.lastCharacter = QRect(228, 88, 9, 18);
        a.caret.reset();
        QCOMPARE(resolved(a).selectionBounds, QRectF(643, 395, 234, 18));
    }

    // LibreOffice places its document without counting the menu bar above it
    // (until the pointer first moves over the window): the part it reports
    // at its container's top is moved back down.
    void aMisplacedPartIsMovedBack()
    {
        GeometryAnswers a;
        a.clientWindow = QRect(0, 19, 1920, 1061);
        a.decoratedWindow = QRect(0, 0, 1920, 1080);
        a.accessibleWindow = QRect(0, 0, 1920, 1080);
        a.misplacedPart = QRect(0, 19, 1920, 1036);
        a.misplacedShift = QPoint(0, 25);
        a.elementOnScreen = QRect(527, 276, 793, 18);
        a.hasText = true;
        a.selectionStart = 0;
        a.selectionEnd = 29;
        a.firstCharacter = QRect(602, 276, 11, 18);
        a.lastCharacter = QRect(841, 276, 10, 18);
        a.characterAtFirst = 0;
        const SelectionGeometry g = resolved(a);
        QCOMPARE(g.selectionBounds, QRectF(602, 301, 249, 18));
        // Elements outside that part stay where they are.
        a.elementOnScreen = QRect(0, 0, 100, 18);
        a.firstCharacter = QRect(2, 0, 11, 18);
        a.lastCharacter = QRect(20, 0, 10, 18);
        QCOMPARE(resolved(a).selectionBounds, QRectF(2, 0, 28, 18));
    }

    // Qt's plain text answers the first line's height for every line, and
    // finds no character at any point: such places are not used.
    void placesTheApplicationCannotFindAgainAreDropped()
    {
        // The characters found at the first character and at the text cursor,
        // and whether the bounds and the text cursor's place are kept.
        const std::tuple<int, int, bool, bool> rows[] = {
            {54, 79, true, true},   // found again
            {53, 78, true, true},   // the neighbour (rounding)
            {-1, -1, false, false}, // nothing there
            {12, 30, false, false}, // another line
        };
        for (const auto &[atFirst, atCaret, bounds, caret] : rows) {
            GeometryAnswers a = editor();
            a.characterAtFirst = atFirst;
            a.characterAtCaret = atCaret;
            const SelectionGeometry g = resolved(a);
            QCOMPARE(std::tuple(atFirst, atCaret, g.selectionBounds.has_value(),
                                g.insertionPointAround == QRectF(877, 395, 9, 18)),
                     std::tuple(atFirst, atCaret, bounds, caret));
            // Whatever is dropped, the element itself is still there.
            QVERIFY(g.textInsertionPoint);
        }
    }

    // At offset 0, "no character" (-1) is not the neighbour of the first.
    void nothingThereIsNeverTheNeighbour()
    {
        GeometryAnswers a = editor();
        a.selectionStart = 0;
        a.characterAtFirst = -1;
        a.caretOffset = 0;
        a.characterAtCaret = -1;
        const SelectionGeometry g = resolved(a);
        QVERIFY(!g.selectionBounds);
        QCOMPARE(g.insertionPointAround, QRectF(641, 359, 638, 425));
    }
};

QTEST_GUILESS_MAIN(SelectionGeometryTest)
#include "tst_selectiongeometry.moc"
