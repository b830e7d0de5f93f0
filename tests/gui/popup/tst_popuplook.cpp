// How the popup looks: row colours from the palette, the panel with and
// without a compositor, and pictures of its states under the build folder.
#include "BaseInstructionsService.h"
#include "CommandRow.h"
#include "CommandStore.h"
#include "CommandsList.h"
#include "CommandsListModel.h"
#include "ContentView.h"
#include "DefaultsStore.h"
#include "ErrorMessageView.h"
#include "LoadingOverlay.h"
#include "PopupHarness.h"
#include "PopupStyle.h"
#include "SearchField.h"
#include "TestSupport.h"
#include "VendorManager.h"
#include "WidgetTestSupport.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QLinearGradient>
#include <QPainter>
#include <QStyleFactory>
#include <QtTest>
#include <memory>

namespace {

using TestSupport::darkPalette;
using TestSupport::lightPalette;

bool near(QColor a, QColor b, int tolerance = 3)
{
    return qAbs(a.red() - b.red()) <= tolerance && qAbs(a.green() - b.green()) <= tolerance &&
           qAbs(a.blue() - b.blue()) <= tolerance && qAbs(a.alpha() - b.alpha()) <= tolerance;
}

QString describe(QColor color)
{
    return QStringLiteral("rgba(%1, %2, %3, %4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alpha());
}

// A row painted on its own, on a transparent image.
QImage paintRow(const QPalette &palette, bool selected, bool hovered,
                const QString &title = QStringLiteral("Hi"))
{
    CommandsListModel model;
    model.setCommands({AICommand(title, "{text}")});
    model.setSelectedIndex(selected ? 0 : -1);
    CommandRow row;
    QStyleOptionViewItem option;
    option.palette = palette;
    option.rect = QRect(0, 0, 360, 38);
    option.state = QStyle::State_Enabled;
    if (hovered) {
        option.state |= QStyle::State_MouseOver;
    }
    QImage image(option.rect.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    row.paint(&painter, option, model.index(0));
    return image;
}

// Any pixel of the image close to the colour, inside the area.
bool hasColour(const QImage &image, const QRect &area, QColor colour, int tolerance)
{
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (near(image.pixelColor(x, y), colour, tolerance)) {
                return true;
            }
        }
    }
    return false;
}

// A desktop-like backdrop, so a see-through panel is seen as such.
QImage onBackdrop(const QImage &popup)
{
    QImage backdrop(popup.size() + QSize(80, 80), QImage::Format_ARGB32);
    QPainter painter(&backdrop);
    QLinearGradient gradient(0, 0, backdrop.width(), backdrop.height());
    gradient.setColorAt(0, QColor(72, 110, 180));
    gradient.setColorAt(1, QColor(170, 96, 140));
    painter.fillRect(backdrop.rect(), gradient);
    painter.drawImage(40, 40, popup);
    return backdrop;
}

} // namespace

class PopupLookTest : public QObject {
    Q_OBJECT

private:
    ProviderSetup m_setup;
    QDir m_screenshots;

    void save(const QImage &image, const QString &name)
    {
        const QString path = m_screenshots.filePath("popup-" + name + ".png");
        QVERIFY2(image.save(path), qPrintable(path));
    }

    QImage shot(PopupWindow &popup)
    {
        QApplication::processEvents();
        return popup.view->grab().toImage();
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        quietOffscreenWarnings();
        QApplication::setStyle(QStyleFactory::create("Fusion"));
        QApplication::setPalette(lightPalette());
        QString error;
        QVERIFY2(m_setup.start(&error), qPrintable(error));
        m_screenshots = TestSupport::screenshotFolder();
        QVERIFY(!m_screenshots.path().isEmpty());
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        m_setup.reset();
        m_setup.configure(AIVendor::openai, QStringLiteral("sk-look"));
    }

    void cleanupTestCase() { ProviderSetup::removeAllKeys(); }

    void rowColoursComeFromThePalette_data()
    {
        QTest::addColumn<QPalette>("palette");
        QTest::newRow("light") << lightPalette();
        QTest::newRow("dark") << darkPalette();
    }

    void rowColoursComeFromThePalette()
    {
        QFETCH(QPalette, palette);
        const QColor selection = palette.color(QPalette::Highlight);
        // A point of the highlight well right of the short title.
        const QRect highlight = CommandRow::highlightRect(QRect(0, 0, 360, 38));
        const QPoint background(highlight.right() - 12, highlight.center().y());
        const QRect text(highlight.left() + 8, highlight.top(), 40, highlight.height());

        const QImage selected = paintRow(palette, true, false);
        QVERIFY2(near(selected.pixelColor(background), selection),
                 qPrintable(describe(selected.pixelColor(background))));
        QVERIFY(hasColour(selected, text, palette.color(QPalette::HighlightedText), 40));
        // Inset from the panel edges, with the corners rounded off.
        QCOMPARE(selected.pixelColor(4, highlight.center().y()).alpha(), 0);
        QCOMPARE(selected.pixelColor(highlight.topLeft()).alpha() < 128, true);

        const QImage hovered = paintRow(palette, false, true);
        QColor half = selection;
        half.setAlpha(128);
        QVERIFY2(near(hovered.pixelColor(background), half, 4),
                 qPrintable(describe(hovered.pixelColor(background))));
        QVERIFY(hasColour(hovered, text, palette.color(QPalette::WindowText), 40));

        // Hover does not change the look of the highlighted row.
        QCOMPARE(paintRow(palette, true, true), selected);

        const QImage plain = paintRow(palette, false, false);
        QCOMPARE(plain.pixelColor(background).alpha(), 0);
        QVERIFY(hasColour(plain, text, palette.color(QPalette::WindowText), 40));
    }

    // "✍️" and "➡️" also exist as plain glyphs in text fonts; the row must
    // still draw them as colour emoji, like the other titles.
    void emojiTitlesAreInColour_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("writing hand") << QStringLiteral("✍️ Rewrite this text");
        QTest::newRow("right arrow") << QStringLiteral("➡️ Continue writing");
        QTest::newRow("memo, colour on its own") << QStringLiteral("📝 Shorten");
    }

    void emojiTitlesAreInColour()
    {
        QFETCH(QString, title);
        const QImage row = paintRow(lightPalette(), false, false, title);
        const QRect highlight = CommandRow::highlightRect(row.rect());
        const QRect emoji(highlight.left() + 8, highlight.top(), 18, highlight.height());
        int coloured = 0;
        for (int y = emoji.top(); y <= emoji.bottom(); ++y) {
            for (int x = emoji.left(); x <= emoji.right(); ++x) {
                const QColor pixel = row.pixelColor(x, y);
                if (pixel.alpha() > 200 && pixel.hsvSaturation() > 80) {
                    ++coloured;
                }
            }
        }
        QVERIFY2(coloured > 10, qPrintable(QString::number(coloured)));
    }

    void rowUnderThePointerIsTinted()
    {
        PopupWindow popup(QStringLiteral("Hello"), m_setup.vendors());
        QVERIFY(showPopup(popup));
        CommandsList *list = popup.view->commandsList();
        const QRect third = list->visualRect(list->model()->index(2, 0));
        const QPoint probe(third.right() - 24, third.center().y());
        QTest::mouseMove(list->viewport(), third.center());
        const QImage image = shot(popup);
        const QPoint inView = list->viewport()->mapTo(popup.view, probe);
        QColor half = lightPalette().color(QPalette::Highlight);
        const QColor panel = lightPalette().color(QPalette::Window);
        // Half the selection colour over the panel.
        const QColor expected((half.red() + panel.red()) / 2, (half.green() + panel.green()) / 2,
                              (half.blue() + panel.blue()) / 2);
        QVERIFY2(near(image.pixelColor(inView), expected, 4),
                 qPrintable(describe(image.pixelColor(inView)) + " vs " + describe(expected)));
        // Hovering does not move the highlight.
        QCOMPARE(popup.view->selectedIndex(), 0);
        QCOMPARE(list->selectedIndex(), 0);
    }

    void panelDependsOnTheCompositor()
    {
        PopupWindow popup(QStringLiteral("Hello"), m_setup.vendors());
        ContentView *view = popup.view;
        // The offscreen platform has no compositor.
        QVERIFY(!view->isTranslucent());
        QCOMPARE(view->sizeHint(), QSize(360, 340));
        QVERIFY(showPopup(popup));
        QCOMPARE(view->size(), QSize(360, 340));
        const QImage opaque = shot(popup);
        QCOMPARE(opaque.pixelColor(1, 1).alpha(), 255);
        QCOMPARE(opaque.pixelColor(180, 330).alpha(), 255);

        view->setTranslucent(true);
        QCOMPARE(view->sizeHint(), QSize(380, 360));
        popup.resize(view->sizeHint());
        const QImage clear = shot(popup);
        QCOMPARE(clear.size(), QSize(380, 360));
        // Outside the rounded corner: see-through; the shadow is faint and
        // soft; the panel itself is nearly opaque.
        QCOMPARE(clear.pixelColor(1, 1).alpha(), 0);
        const int nearShadow = clear.pixelColor(190, 359 - 10 + 2).alpha();
        const int farShadow = clear.pixelColor(190, 359 - 1).alpha();
        QVERIFY2(nearShadow > farShadow && nearShadow < 128,
                 qPrintable(QStringLiteral("%1 %2").arg(nearShadow).arg(farShadow)));
        QVERIFY(clear.pixelColor(190, 340).alpha() > 220);
        QCOMPARE(clear.pixelColor(10, 10).alpha() < 255, true); // the corner is rounded off
    }

    void screenshotsOfTheMainStates()
    {
        m_setup.configure(AIVendor::openai, QStringLiteral("sk-look"));
        PopupWindow popup(QStringLiteral("Teh quick brown fox jump over the lazy dog."),
                          m_setup.vendors());
        QVERIFY(showPopup(popup));
        QLineEdit *line = popup.view->searchField()->lineEdit();
        QTest::keyClick(line, Qt::Key_Down);
        QTRY_VERIFY(!popup.view->commandsList()->isScrolling());
        const QImage list = shot(popup);
        save(list, "list");
        // The highlighted second row carries the palette's selection colour.
        const QRect second = popup.view->commandsList()->visualRect(
            popup.view->commandsList()->model()->index(1, 0));
        const QPoint inView = popup.view->commandsList()->viewport()->mapTo(
            popup.view, QPoint(second.right() - 24, second.center().y()));
        QVERIFY(near(list.pixelColor(inView), lightPalette().color(QPalette::Highlight)));

        QTest::keyClicks(line, "text");
        save(shot(popup), "searching");

        m_setup.standIn().fail("slow:1");
        QTest::keyClick(line, Qt::Key_Return);
        QVERIFY(popup.view->loadingOverlay()->isVisible());
        QTest::qWait(150); // let the spinner turn a little
        const QImage loading = shot(popup);
        save(loading, "loading");
        // The overlay dims the panel.
        const QColor dimmed = loading.pixelColor(8, 200);
        const QColor panel = list.pixelColor(8, 200);
        QVERIFY2(dimmed.lightness() < panel.lightness() - 30,
                 qPrintable(describe(dimmed) + " vs " + describe(panel)));
        QTRY_VERIFY_WITH_TIMEOUT(!popup.view->isLoading(), 5000);

        QTest::keyClicks(line, " and more");
        m_setup.standIn().fail("401");
        QTest::keyClick(line, Qt::Key_Return);
        QTRY_VERIFY(popup.view->errorMessage().has_value());
        const QImage error = shot(popup);
        save(error, "error");
        ErrorMessageView *banner = popup.view->errorMessageView();
        const QPoint inBanner = banner->mapTo(popup.view, QPoint(banner->width() - 24, 16));
        const QColor tint = error.pixelColor(inBanner);
        QVERIFY2(tint.red() > tint.green() + 10, qPrintable(describe(tint)));

        // The same on a compositing desktop, shown over a backdrop.
        popup.view->setTranslucent(true);
        popup.resize(popup.view->sizeHint());
        save(onBackdrop(shot(popup)), "error-translucent");
    }

    void screenshotsOfTheNotConfiguredPanel()
    {
        PopupWindow popup(QStringLiteral("Hello"), m_setup.configureNone());
        QVERIFY(showPopup(popup));
        QVERIFY(popup.view->isShowingNotConfigured());
        save(shot(popup), "not-configured");
    }

    void screenshotsInADarkTheme()
    {
        QApplication::setPalette(darkPalette());
        auto restore = qScopeGuard([] { QApplication::setPalette(lightPalette()); });
        PopupWindow popup(QStringLiteral("Hello"), m_setup.vendors());
        popup.view->setTranslucent(true);
        popup.resize(popup.view->sizeHint());
        QVERIFY(showPopup(popup));
        QTest::keyClick(popup.view->searchField()->lineEdit(), Qt::Key_Down);
        QTRY_VERIFY(!popup.view->commandsList()->isScrolling());
        const QImage dark = shot(popup);
        save(onBackdrop(dark), "dark-translucent");
        // The panel takes the dark window colour.
        QVERIFY(dark.pixelColor(190, 345 - 8).lightness() < 80);

        PopupWindow panel(QStringLiteral("Hello"), m_setup.configureNone());
        QVERIFY(showPopup(panel));
        save(shot(panel), "dark-not-configured");
    }
};

QTEST_MAIN(PopupLookTest)
#include "tst_popuplook.moc"
