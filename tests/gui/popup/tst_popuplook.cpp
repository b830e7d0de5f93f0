// SPDX-License-Identifier: GPL-3.0-or-later
// How the popup looks in a light and a dark theme, with and without a
// compositor, with pictures of its states under the build folder.
#include "CommandRow.h"
#include "CommandsList.h"
#include "CommandsListModel.h"
#include "ContentView.h"
#include "DefaultsStore.h"
#include "ErrorMessageView.h"
#include "LoadingOverlay.h"
#include "PopupHarness.h"
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
    return color.name(QColor::HexArgb);
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

// How many pixels of the image inside the area pass the test.
int pixels(const QImage &image, const QRect &area, const std::function<bool(QColor)> &test)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            count += test(image.pixelColor(x, y)) ? 1 : 0;
        }
    }
    return count;
}

bool hasColour(const QImage &image, const QRect &area, QColor colour)
{
    return pixels(image, area, [colour](QColor c) { return near(c, colour, 40); }) > 0;
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

    static void themes()
    {
        QTest::addColumn<QPalette>("palette");
        QTest::newRow("light") << lightPalette();
        QTest::newRow("dark") << darkPalette();
    }

    static QImage shot(PopupWindow &popup)
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

    void rowColoursComeFromThePalette_data() { themes(); }

    void rowColoursComeFromThePalette()
    {
        QFETCH(QPalette, palette);
        // The highlight's and the hover's colours are checked on the whole
        // popup, in picturesOfTheStates; here the text on them, the insets
        // and what hover does to the highlighted row. A point of the
        // highlight well right of the short title:
        const QRect highlight = CommandRow::highlightRect(QRect(0, 0, 360, 38));
        const QPoint background(highlight.right() - 12, highlight.center().y());
        const QRect text(highlight.left() + 8, highlight.top(), 40, highlight.height());

        const QImage selected = paintRow(palette, true, false);
        QVERIFY(hasColour(selected, text, palette.color(QPalette::HighlightedText)));
        // Inset from the panel edges, with the corners rounded off.
        QCOMPARE(selected.pixelColor(4, highlight.center().y()).alpha(), 0);
        QCOMPARE(selected.pixelColor(highlight.topLeft()).alpha() < 128, true);

        const QImage hovered = paintRow(palette, false, true);
        QVERIFY(hasColour(hovered, text, palette.color(QPalette::WindowText)));

        // Hover does not change the look of the highlighted row.
        QCOMPARE(paintRow(palette, true, true), selected);

        const QImage plain = paintRow(palette, false, false);
        QCOMPARE(plain.pixelColor(background).alpha(), 0);
        QVERIFY(hasColour(plain, text, palette.color(QPalette::WindowText)));
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
        const int coloured =
            pixels(row, emoji, [](QColor c) { return c.alpha() > 200 && c.hsvSaturation() > 80; });
        QVERIFY2(coloured > 10, qPrintable(QString::number(coloured)));
    }

    void picturesOfTheStates_data() { themes(); }

    // Each state is saved, as drawn without a compositor and as on a
    // compositing desktop over a backdrop, as popup-THEME-STATE[-translucent].png
    // for people to look at; the pixels that tell the state apart are checked.
    void picturesOfTheStates()
    {
        QFETCH(QPalette, palette);
        QApplication::setPalette(palette);
        auto restore = qScopeGuard([] { QApplication::setPalette(lightPalette()); });
        const QColor window = palette.color(QPalette::Window);
        const QColor selection = palette.color(QPalette::Highlight);
        auto picture = [this](PopupWindow &popup, const QString &state) {
            const QString name = QString::fromLatin1(QTest::currentDataTag()) + '-' + state;
            const QImage opaque = shot(popup);
            save(opaque, name);
            popup.view->setTranslucent(true);
            popup.resize(popup.view->sizeHint());
            const QImage translucent = shot(popup);
            save(onBackdrop(translucent), name + "-translucent");
            popup.view->setTranslucent(false);
            popup.resize(popup.view->sizeHint());
            return std::pair{opaque, translucent};
        };

        PopupWindow popup(QStringLiteral("Teh quick brown fox jump over the lazy dog."),
                          m_setup.vendors());
        // The offscreen platform has no compositor.
        QVERIFY(!popup.view->isTranslucent());
        QVERIFY(showPopup(popup));
        CommandsList *list = popup.view->commandsList();
        auto inRow = [&](int row) {
            const QRect rect = list->visualRect(list->model()->index(row, 0));
            return list->viewport()->mapTo(popup.view,
                                           QPoint(rect.right() - 24, rect.center().y()));
        };
        QLineEdit *line = popup.view->searchField()->lineEdit();
        QTest::keyClick(line, Qt::Key_Down);
        QTRY_VERIFY(!list->isScrolling());
        QTest::mouseMove(list->viewport(), list->visualRect(list->model()->index(2, 0)).center());
        const auto [opaque, translucent] = picture(popup, "list");
        // The highlighted second row has the selection colour; the third,
        // under the pointer, half of it over the panel's window colour.
        QVERIFY2(near(opaque.pixelColor(inRow(1)), selection),
                 qPrintable(describe(opaque.pixelColor(inRow(1)))));
        const QColor half((selection.red() + window.red()) / 2,
                          (selection.green() + window.green()) / 2,
                          (selection.blue() + window.blue()) / 2);
        QVERIFY2(near(opaque.pixelColor(inRow(2)), half, 4),
                 qPrintable(describe(opaque.pixelColor(inRow(2))) + " vs " + describe(half)));
        // Hovering does not move the highlight.
        QCOMPARE(popup.view->selectedIndex(), 1);
        QCOMPARE(list->selectedIndex(), 1);

        // Without a compositor the panel is square and opaque; with one it
        // grows a soft, faint shadow, rounded corners, and lets a little of
        // the desktop through.
        QCOMPARE(opaque.size(), QSize(360, 340));
        QCOMPARE(opaque.pixelColor(1, 1).alpha(), 255);
        QVERIFY2(near(opaque.pixelColor(180, 330), window),
                 qPrintable(describe(opaque.pixelColor(180, 330))));
        QCOMPARE(translucent.size(), QSize(380, 360));
        QCOMPARE(translucent.pixelColor(1, 1).alpha(), 0);
        QVERIFY(translucent.pixelColor(10, 10).alpha() < 255);
        const int nearShadow = translucent.pixelColor(190, 359 - 10 + 2).alpha();
        const int farShadow = translucent.pixelColor(190, 359 - 1).alpha();
        QVERIFY2(nearShadow > farShadow && nearShadow < 128,
                 qPrintable(QStringLiteral("%1 %2").arg(nearShadow).arg(farShadow)));
        const QColor veiled = translucent.pixelColor(190, 340);
        QVERIFY2(near(veiled.rgb(), window.rgb(), 4) && veiled.alpha() > 220 &&
                     veiled.alpha() < 255,
                 qPrintable(describe(veiled)));

        m_setup.standIn().fail("slow:1");
        QTest::keyClick(line, Qt::Key_Return);
        const QImage loading = picture(popup, "loading").first;
        QVERIFY(popup.view->loadingOverlay()->isVisible());
        // The overlay dims the panel.
        const QColor dimmed = loading.pixelColor(8, 200);
        QVERIFY2(dimmed.lightness() < window.lightness() * 0.8,
                 qPrintable(describe(dimmed) + " vs " + describe(window)));
        QTRY_VERIFY_WITH_TIMEOUT(!popup.view->isLoading(), 5000);

        m_setup.standIn().fail("401");
        QTest::keyClick(line, Qt::Key_Return);
        QTRY_VERIFY(popup.view->errorMessage().has_value());
        const QImage error = picture(popup, "error").first;
        ErrorMessageView *banner = popup.view->errorMessageView();
        const QColor tint =
            error.pixelColor(banner->mapTo(popup.view, QPoint(banner->width() - 24, 16)));
        QVERIFY2(tint.red() > tint.green() + 10, qPrintable(describe(tint)));

        PopupWindow panel(QStringLiteral("Hello"), m_setup.configureNone());
        QVERIFY(showPopup(panel));
        QVERIFY(panel.view->isShowingNotConfigured());
        picture(panel, "not-configured");
    }
};

QTEST_MAIN(PopupLookTest)
#include "tst_popuplook.moc"
