// SPDX-License-Identifier: GPL-3.0-or-later
// The target applications of the desktop tests, each driven as a user drives
// it: text selected with the keyboard where the application allows it, with
// the pointer where it does not (terminals, page text).
#include "AppTargets.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QHash>
#include <QTest>
#include <unistd.h>

using namespace Desktop;

namespace AppTargets {

QString kindName(Kind kind)
{
    switch (kind) {
    case Kind::Word:
        return QStringLiteral("word");
    case Kind::Line:
        return QStringLiteral("line");
    case Kind::Lines:
        return QStringLiteral("lines");
    case Kind::Emoji:
        return QStringLiteral("emoji");
    case Kind::RightToLeft:
        return QStringLiteral("right-to-left");
    }
    return {};
}

QStringList documentLines()
{
    return {QStringLiteral("Hello world alpha beta gamma"),
            QStringLiteral("Second line of text here"),
            QStringLiteral("Emoji 😀 here and 👍🏽 there"),
            QStringLiteral("Hebrew שלום עולם end"), QStringLiteral("Last line")};
}

std::optional<QRect> highlightBetween(const QImage &before, const QImage &after, QRect area)
{
    area = area.intersected(after.rect()).intersected(before.rect());
    auto changed = [&](int x, int y) {
        const QRgb a = before.pixel(x, y);
        const QRgb b = after.pixel(x, y);
        return std::abs(qRed(a) - qRed(b)) > 24 || std::abs(qGreen(a) - qGreen(b)) > 24 ||
               std::abs(qBlue(a) - qBlue(b)) > 24;
    };
    // The background: what most of the area showed before. A highlight that
    // went away turns into it, so it is never the new highlight's colour.
    QHash<QRgb, int> shown;
    for (int y = area.top(); y <= area.bottom(); y += 2) {
        for (int x = area.left(); x <= area.right(); x += 2) {
            ++shown[before.pixel(x, y) & 0xffffff];
        }
    }
    QRgb background = 0;
    int widest = 0;
    for (auto it = shown.cbegin(); it != shown.cend(); ++it) {
        if (it.value() > widest) {
            widest = it.value();
            background = it.key();
        }
    }
    QHash<QRgb, int> colours;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb now = after.pixel(x, y) & 0xffffff;
            if (now != background && changed(x, y)) {
                ++colours[now];
            }
        }
    }
    if (colours.isEmpty()) {
        return std::nullopt;
    }
    QRgb fill = 0;
    int most = 0;
    for (auto it = colours.cbegin(); it != colours.cend(); ++it) {
        if (it.value() > most) {
            most = it.value();
            fill = it.key();
        }
    }
    // The fill's pixels, gathered in cells of 4 by 4, joined into connected
    // groups: the largest group is the highlight.
    constexpr int cell = 4;
    const int columns = area.width() / cell + 1;
    const int rows = area.height() / cell + 1;
    QList<int> counts(columns * rows, 0);
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            if (changed(x, y) && (after.pixel(x, y) & 0xffffff) == fill) {
                ++counts[((y - area.top()) / cell) * columns + (x - area.left()) / cell];
            }
        }
    }
    QList<int> group(columns * rows, -1);
    QList<QRect> boxes;
    QList<int> sizes;
    for (int start = 0; start < counts.size(); ++start) {
        if (counts[start] < 2 || group[start] >= 0) {
            continue;
        }
        const int id = int(boxes.size());
        QRect box;
        int size = 0;
        QList<int> stack{start};
        group[start] = id;
        while (!stack.isEmpty()) {
            const int c = stack.takeLast();
            const int cx = c % columns;
            const int cy = c / columns;
            size += counts[c];
            box = box.united(QRect(area.left() + cx * cell, area.top() + cy * cell, cell, cell));
            for (int dy = -2; dy <= 2; ++dy) {
                for (int dx = -2; dx <= 2; ++dx) {
                    const int nx = cx + dx;
                    const int ny = cy + dy;
                    if (nx < 0 || ny < 0 || nx >= columns || ny >= rows) {
                        continue;
                    }
                    const int n = ny * columns + nx;
                    if (counts[n] >= 2 && group[n] < 0) {
                        group[n] = id;
                        stack.append(n);
                    }
                }
            }
        }
        boxes.append(box);
        sizes.append(size);
    }
    if (boxes.isEmpty()) {
        return std::nullopt;
    }
    // A selection over lines with space between them is several groups: all
    // that are not specks beside the largest.
    const int largest = *std::max_element(sizes.cbegin(), sizes.cend());
    QRect highlight;
    for (qsizetype i = 0; i < boxes.size(); ++i) {
        if (sizes[i] * 10 >= largest) {
            highlight = highlight.united(boxes[i]);
        }
    }
    return highlight.intersected(area);
}

int distance(const QRect &a, const QRect &b)
{
    const int dx = std::max({0, b.left() - a.right() - 1, a.left() - b.right() - 1});
    const int dy = std::max({0, b.top() - a.bottom() - 1, a.top() - b.bottom() - 1});
    return std::max(dx, dy);
}

namespace {

QString escaped(const QString &text)
{
    return text.toHtmlEscaped();
}

QString plainDocument()
{
    return documentLines().join(u'\n') + u'\n';
}

// Editors, word processors, text fields: selected with the keyboard.
class KeyboardTarget : public Target {
public:
    struct Profile {
        QString name;
        QString program;
        QStringList arguments;
        QStringList findWindow; // xdotool search arguments; empty: by the process id
        bool tellsThePlace = true;
        int startTimeoutMs = 20000;
        bool copyMenuItem = false;
    };

    explicit KeyboardTarget(Profile profile) : m_profile(std::move(profile)) {}

    QString name() const override { return m_profile.name; }

    bool start() override
    {
        if (!prepare() ||
            !m_app.start(m_profile.program, m_profile.arguments, {}, m_profile.findWindow,
                         m_profile.startTimeoutMs) ||
            !afterStart()) {
            return false;
        }
        // Ready once it hands out its text.
        return QTest::qWaitFor(
            [this] {
                return focusText() &&
                       contents().value_or(QString()).contains(documentLines().first());
            },
            m_profile.startTimeoutMs);
    }

    void stop() override { m_app.stop(); }
    quint64 window() const override { return m_app.window(); }
    bool focusText() override { return m_app.activate(); }
    bool home() override { return keys({QStringLiteral("ctrl+Home")}); }

    bool select(Kind kind) override
    {
        const QString home = QStringLiteral("ctrl+Home");
        const QString down = QStringLiteral("Down");
        const QString lineStart = QStringLiteral("Home");
        const QString toLineEnd = QStringLiteral("shift+End");
        switch (kind) {
        case Kind::Word:
            return keys({home, QStringLiteral("ctrl+shift+Right")});
        case Kind::Line:
            return keys({home, down, lineStart, toLineEnd});
        case Kind::Lines:
            return keys({home, QStringLiteral("shift+Down"), toLineEnd});
        case Kind::Emoji:
            return keys({home, down, down, lineStart, toLineEnd});
        case Kind::RightToLeft:
            return keys({home, down, down, down, lineStart, toLineEnd});
        }
        return false;
    }

    bool clearSelection() override { return keys({QStringLiteral("Right")}); }

    std::optional<QString> selectionTruth() override
    {
        CopyWatch copy;
        return keys({QStringLiteral("ctrl+c")}) ? waitForCopiedText(copy) : std::nullopt;
    }

    std::optional<QString> contents() override
    {
        CopyWatch copy;
        if (!keys({QStringLiteral("ctrl+a"), QStringLiteral("ctrl+c")})) {
            return std::nullopt;
        }
        const auto text = waitForCopiedText(copy);
        keys({QStringLiteral("ctrl+Home")});
        return text;
    }

    bool undo() override { return keys({QStringLiteral("ctrl+z")}); }
    bool tellsThePlace(Kind) const override { return m_profile.tellsThePlace; }
    bool hasCopyMenuItem() const override { return m_profile.copyMenuItem; }

protected:
    // Writes the document the application opens.
    virtual bool prepare() { return writeFile(m_profile.arguments.constLast(), plainDocument()); }
    // What a user does after the window appears, before working in it.
    virtual bool afterStart() { return true; }

    Profile m_profile;
    App m_app;
};

// Designer's preview of a form holding a plain text edit: a Qt 6 text.
class DesignerPreview : public KeyboardTarget {
public:
    using KeyboardTarget::KeyboardTarget;

protected:
    bool prepare() override
    {
        QString ui = QStringLiteral(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ui version=\"4.0\"><class>Form</class>"
            "<widget class=\"QWidget\" name=\"Form\"><property name=\"geometry\"><rect><x>0</x>"
            "<y>0</y><width>520</width><height>360</height></rect></property>"
            "<layout class=\"QVBoxLayout\" name=\"layout\"><item><widget class=\"QPlainTextEdit\" "
            "name=\"text\"><property name=\"plainText\"><string>%1</string></property></widget>"
            "</item></layout></widget><resources/><connections/></ui>\n");
        return writeFile(m_profile.arguments.constLast(),
                         ui.arg(escaped(documentLines().join(u'\n'))));
    }

    bool afterStart() override
    {
        // The preview is a window of its own; the keyboard goes to its text.
        if (!m_app.activate() || !keys({QStringLiteral("ctrl+r")})) {
            return false;
        }
        m_app.setWindow(findWindow({QStringLiteral("--name"), QStringLiteral("\\[Preview\\]")}));
        return m_app.window() != 0 && m_app.activate();
    }
};

class LibreOffice : public KeyboardTarget {
public:
    using KeyboardTarget::KeyboardTarget;

protected:
    bool prepare() override
    {
        // No first-start tips or "what's new" bar over the document.
        const QString profile = homePath(QStringLiteral("libreoffice-profile/user"));
        QDir().mkpath(profile);
        const bool settings = writeFile(
            profile + QStringLiteral("/registrymodifications.xcu"),
            QStringLiteral(
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<oor:items "
                "xmlns:oor=\"http://openoffice.org/2001/registry\" "
                "xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" "
                "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
                "<item oor:path=\"/org.openoffice.Office.Common/Misc\"><prop "
                "oor:name=\"ShowTipOfTheDay\" oor:op=\"fuse\"><value>false</value></prop></item>\n"
                "<item oor:path=\"/org.openoffice.Office.Common/Misc\"><prop oor:name=\"FirstRun\" "
                "oor:op=\"fuse\"><value>false</value></prop></item>\n"
                "<item oor:path=\"/org.openoffice.Setup/Product\"><prop "
                "oor:name=\"ooSetupLastVersion\" oor:op=\"fuse\"><value>7.4</value></prop></item>\n"
                "</oor:items>\n"));
        QString paragraphs;
        for (const QString &line : documentLines()) {
            paragraphs += QStringLiteral("<text:p>%1</text:p>").arg(escaped(line));
        }
        const QString document = QStringLiteral(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<office:document "
            "xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\" "
            "xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\" "
            "office:version=\"1.3\" office:mimetype=\"application/vnd.oasis.opendocument.text\">"
            "<office:body><office:text>%1</office:text></office:body></office:document>\n");
        return settings && writeFile(m_profile.arguments.constLast(), document.arg(paragraphs));
    }
};

QString page(const QString &style, const QString &body)
{
    return QStringLiteral("<!doctype html><html><head><meta charset=\"utf-8\"><title>Vellumo test "
                          "page</title><style>%1</style></head>%2</html>\n")
        .arg(style, body);
}

// Chromium showing one page; the page's text field has the focus.
class ChromiumPage : public KeyboardTarget {
public:
    enum class Field { TextArea, ContentEditable };
    ChromiumPage(Profile profile, Field field) : KeyboardTarget(std::move(profile)), m_field(field)
    {}

protected:
    bool prepare() override
    {
        QString field;
        if (m_field == Field::TextArea) {
            field = QStringLiteral("<textarea id=\"f\" rows=\"8\" cols=\"50\">%1</textarea>")
                        .arg(escaped(documentLines().join(u'\n')));
        } else {
            QString paragraphs;
            for (const QString &line : documentLines()) {
                paragraphs += QStringLiteral("<p>%1</p>").arg(escaped(line));
            }
            field =
                QStringLiteral("<div id=\"f\" contenteditable=\"true\">%1</div>").arg(paragraphs);
        }
        // The last argument is the page's file:// address.
        return writeFile(
            m_profile.arguments.constLast().mid(7),
            page(QStringLiteral("body{font:18px sans-serif;margin:30px} #f{font:18px sans-serif;"
                                "width:520px} p{margin:0 0 6px 0}"),
                 QStringLiteral("<body onload=\"document.getElementById('f').focus()\">%1</body>")
                     .arg(field)));
    }

    Field m_field;
};

QStringList chromiumArguments(const QString &page)
{
    QStringList arguments{QStringLiteral("--disable-gpu"),
                          QStringLiteral("--no-first-run"),
                          QStringLiteral("--disable-background-networking"),
                          QStringLiteral("--disable-component-update"),
                          QStringLiteral("--disable-sync"),
                          QStringLiteral("--force-renderer-accessibility"),
                          QStringLiteral("--password-store=basic"),
                          QStringLiteral("--window-position=30,30"),
                          QStringLiteral("--window-size=900,700"),
                          QStringLiteral("--user-data-dir=") + homePath("chromium-profile")};
    if (::geteuid() == 0) {
        arguments.prepend(QStringLiteral("--no-sandbox"));
    }
    arguments << QStringLiteral("file://") + page;
    return arguments;
}

const QStringList byTestPageTitle{QStringLiteral("--name"), QStringLiteral("Vellumo test page")};

// Text a user selects with the pointer, on a grid of cells: (column, row).
class PointerTarget : public Target {
public:
    bool focusText() override { return m_app.activate(); }
    bool undo() override { return true; }
    quint64 window() const override { return m_app.window(); }
    void stop() override { m_app.stop(); }

    bool select(Kind kind) override
    {
        switch (kind) {
        case Kind::Word:
            return click(cell(1, 0), 2);
        case Kind::Line:
            return click(cell(2, 1), 3);
        case Kind::Lines:
            return drag(cellEdge(0, 0, false), cellEdge(23, 1, true));
        case Kind::Emoji:
            return click(cell(1, 2), 3);
        case Kind::RightToLeft:
            return click(cell(1, 3), 3);
        }
        return false;
    }

    std::optional<QString> selectionTruth() override
    {
        // The application's own selection, once it has taken PRIMARY.
        QString text;
        const bool taken = QTest::qWaitFor(
            [&text] {
                text = QGuiApplication::clipboard()->ownsSelection() ? QString() : primaryText();
                return !text.isEmpty();
            },
            3000);
        return taken ? std::optional<QString>(text) : std::nullopt;
    }

    std::optional<QString> contents() override { return std::nullopt; }
    bool replacesSelection() const override { return false; }

protected:
    virtual QRectF grid() const = 0; // the cells' area on the screen
    QSize cells() const { return {60, 12}; }

    QPoint cell(int column, int row) const
    {
        const QRectF g = grid();
        const qreal w = g.width() / cells().width();
        const qreal h = g.height() / cells().height();
        return QPointF(g.left() + (column + 0.5) * w, g.top() + (row + 0.5) * h).toPoint();
    }

    QPoint cellEdge(int column, int row, bool right) const
    {
        const qreal w = grid().width() / cells().width();
        return cell(column, row) + QPoint(int(right ? w * 0.4 : -w * 0.4), 0);
    }

    App m_app;
};

// A terminal that shows the document and reads lines at its prompt into a file.
class Terminal : public PointerTarget {
public:
    explicit Terminal(QString name) : m_name(std::move(name)) {}

    QString name() const override { return m_name; }

    bool start() override
    {
        m_out = homePath(m_name + QStringLiteral("-lines.txt"));
        const QString document = homePath(QStringLiteral("terminal-document.txt"));
        if (!writeFile(document, plainDocument()) || !writeFile(m_out, QString())) {
            return false;
        }
        const QStringList command{
            QStringLiteral("sh"),
            QStringLiteral("-c"),
            QStringLiteral("cat \"$2\"; while IFS= read -r l; do printf '%s\\n' \"$l\" >> \"$1\"; "
                           "done"),
            QStringLiteral("sh"),
            m_out,
            document};
        const bool started =
            m_name == u"xterm"
                ? m_app.start(QStringLiteral("xterm"),
                              QStringList{QStringLiteral("-b"), QStringLiteral("2"),
                                          QStringLiteral("-geometry"),
                                          QStringLiteral("60x12+40+40"), QStringLiteral("-e")} +
                                  command)
                : m_app.start(
                      QStringLiteral("xfce4-terminal"),
                      QStringList{
                          QStringLiteral("--disable-server"), QStringLiteral("--hide-menubar"),
                          QStringLiteral("--hide-toolbar"), QStringLiteral("--hide-scrollbar"),
                          QStringLiteral("--geometry=60x12+40+40"), QStringLiteral("-x")} +
                          command);
        if (!started) {
            return false;
        }
        m_grid = clientFrame(window());
        if (m_name == u"xterm") {
            m_grid.adjust(2, 2, -2, -2); // the inner border
        }
        // The document is on screen once the last line's row holds text.
        return QTest::qWaitFor([this] { return rowHasText(4); }, 10000);
    }

    bool home() override { return true; }

    bool clearSelection() override
    {
        if (m_name == u"xterm") {
            // xterm keeps its selection, highlight or not, until another
            // application takes it: what a middle click would paste.
            QGuiApplication::clipboard()->setText(QStringLiteral("elsewhere"),
                                                  QClipboard::Selection);
            return true;
        }
        return click(cell(30, 9));
    }

    bool tellsThePlace(Kind) const override { return m_name != u"xterm"; }

    std::optional<QString> submittedLine() override
    {
        const QStringList lines = readFile(m_out).split(u'\n', Qt::SkipEmptyParts);
        return lines.isEmpty() ? std::nullopt : std::optional<QString>(lines.constLast());
    }

protected:
    QRectF grid() const override { return m_grid; }

private:
    bool rowHasText(int row) const
    {
        const QImage screen = grabScreen();
        const QPoint first = cell(0, row);
        const QPoint last = cell(20, row);
        QHash<QRgb, int> colours;
        for (int x = first.x(); x <= last.x(); ++x) {
            ++colours[screen.pixel(x, first.y()) & 0xffffff];
        }
        return colours.size() >= 2;
    }

    QString m_name;
    QString m_out;
    QRectF m_grid;
};

// Page text in Chromium: paragraphs at known places, selected with the pointer.
class ChromiumText : public PointerTarget {
public:
    QString name() const override { return QStringLiteral("chromium-page"); }

    bool start() override
    {
        const QString path = homePath(QStringLiteral("chromium-page.html"));
        QString paragraphs;
        const QStringList lines = documentLines();
        for (int i = 0; i < lines.size(); ++i) {
            paragraphs += QStringLiteral("<p style=\"top:%1px\">%2</p>")
                              .arg(rowTop + i * rowHeight)
                              .arg(escaped(lines[i]));
        }
        // A red marker at the page's origin tells where the page is on screen.
        const QString style =
            QStringLiteral("body{margin:0} #o{position:absolute;left:0;top:0;width:6px;height:6px;"
                           "background:#ff0000} p{position:absolute;left:%1px;margin:0;font:20px "
                           "'DejaVu Sans Mono',monospace;line-height:24px;white-space:pre}")
                .arg(left);
        if (!writeFile(path, page(style, QStringLiteral("<body><div id=\"o\"></div>%1</body>")
                                             .arg(paragraphs))) ||
            !m_app.start(QStringLiteral("chromium"), chromiumArguments(path), {}, byTestPageTitle,
                         30000) ||
            !m_app.activate()) {
            return false;
        }
        return QTest::qWaitFor([this] { return findMarker(); }, 10000);
    }

    bool home() override { return clearSelection(); }
    bool clearSelection() override { return click(m_origin + QPoint(700, 400)); }
    bool tellsThePlace(Kind) const override { return true; }
    bool acceptsPaste() const override { return false; }

protected:
    // Monospaced at 20 pixels: 12 pixels a character.
    QRectF grid() const override
    {
        return QRectF(m_origin.x() + left, m_origin.y() + rowTop - (rowHeight - 24) / 2.0, 60 * 12,
                      12 * rowHeight);
    }

private:
    bool findMarker()
    {
        const QImage screen = grabScreen();
        const QRect frame = clientFrame(window());
        for (int y = frame.top(); y < frame.bottom(); ++y) {
            for (int x = frame.left(); x < frame.left() + 200; ++x) {
                const QRgb c = screen.pixel(x, y);
                if (qRed(c) > 230 && qGreen(c) < 30 && qBlue(c) < 30) {
                    m_origin = QPoint(x, y);
                    return true;
                }
            }
        }
        return false;
    }

    static constexpr int left = 40;
    static constexpr int rowTop = 40;
    static constexpr int rowHeight = 40;
    QPoint m_origin;
};

} // namespace

std::unique_ptr<Target> makeTarget(const QString &name)
{
    const QString file = homePath(QStringLiteral("document.txt"));
    using Profile = KeyboardTarget::Profile;
    if (name == u"mousepad" || name == u"gedit" || name == u"featherpad") {
        return std::make_unique<KeyboardTarget>(
            Profile{name, name, {file}, {}, name != u"featherpad", 20000, name != u"gedit"});
    }
    if (name == u"gnome-text-editor") {
        return std::make_unique<KeyboardTarget>(
            Profile{name, name, {QStringLiteral("--standalone"), file}, {}});
    }
    if (name == u"designer") {
        // Qt's plain text edit answers the first line's place for every line.
        return std::make_unique<DesignerPreview>(
            Profile{name,
                    QStringLiteral("/usr/lib/qt6/bin/designer"),
                    {homePath(QStringLiteral("form.ui"))},
                    {QStringLiteral("--name"), QStringLiteral("Qt Designer")},
                    false});
    }
    if (name == u"libreoffice") {
        return std::make_unique<LibreOffice>(
            Profile{name,
                    QStringLiteral("soffice"),
                    {QStringLiteral("--writer"), QStringLiteral("--norestore"),
                     QStringLiteral("-env:UserInstallation=file://") +
                         homePath(QStringLiteral("libreoffice-profile")),
                     homePath(QStringLiteral("document.fodt"))},
                    {QStringLiteral("--name"), QStringLiteral("document.fodt")},
                    true,
                    60000,
                    true});
    }
    if (name == u"chromium-textarea" || name == u"chromium-contenteditable") {
        return std::make_unique<ChromiumPage>(
            Profile{name, QStringLiteral("chromium"),
                    chromiumArguments(homePath(name + QStringLiteral(".html"))), byTestPageTitle,
                    true, 30000},
            name == u"chromium-textarea" ? ChromiumPage::Field::TextArea
                                         : ChromiumPage::Field::ContentEditable);
    }
    if (name == u"xterm" || name == u"xfce4-terminal") {
        return std::make_unique<Terminal>(name);
    }
    if (name == u"chromium-page") {
        return std::make_unique<ChromiumText>();
    }
    return nullptr;
}

} // namespace AppTargets
