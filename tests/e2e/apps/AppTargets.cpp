// The target applications of the desktop tests, each driven as a user drives
// it: text selected with the keyboard where the application allows it, with
// the pointer where it does not (terminals, page text).
#include "AppHarness.h"

#include <QClipboard>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QImage>
#include <QProcessEnvironment>
#include <QTest>
#include <csignal>
#include <unistd.h>

namespace AppHarness {
namespace {

QString homeDir()
{
    return QDir::homePath();
}

bool writeFile(const QString &path, const QString &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        return false;
    }
    file.write(content.toUtf8());
    return true;
}

QString escaped(const QString &text)
{
    return text.toHtmlEscaped();
}

quint64 activeWindow()
{
    return QString::fromLatin1(run(QStringLiteral("xdotool"), {QStringLiteral("getactivewindow")}))
        .trimmed()
        .toULongLong();
}

quint64 findWindow(const QStringList &how, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        const QByteArray out =
            run(QStringLiteral("xdotool"),
                QStringList{QStringLiteral("search"), QStringLiteral("--onlyvisible")} + how, 3000);
        const quint64 window = QString::fromLatin1(out).split(u'\n').value(0).toULongLong();
        if (window != 0) {
            return window;
        }
        QTest::qWait(100);
    }
    return 0;
}

qint64 windowPid(quint64 window)
{
    return QString::fromLatin1(run(QStringLiteral("xdotool"),
                                   {QStringLiteral("getwindowpid"), QString::number(window)}))
        .trimmed()
        .toLongLong();
}

bool activate(quint64 window)
{
    run(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QString::number(window)});
    QDeadlineTimer deadline(5000);
    while (!deadline.hasExpired()) {
        if (activeWindow() == window) {
            return true;
        }
        QTest::qWait(50);
    }
    return false;
}

// A program started for a test, ended with everything it started.
class Program {
public:
    ~Program() { stop(); }

    bool start(const QString &program, const QStringList &arguments,
               const QStringList &environment = {})
    {
        m_process = std::make_unique<QProcess>();
        m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process->setStandardOutputFile(QProcess::nullDevice());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // Nothing of a killed instance (session restore prompts) survives.
        env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("memory"));
        for (const QString &entry : environment) {
            env.insert(entry.section(u'=', 0, 0), entry.section(u'=', 1));
        }
        m_process->setProcessEnvironment(env);
        // Its own process group, so that stop() ends what it starts too.
        m_process->setChildProcessModifier([] { ::setpgid(0, 0); });
        m_process->start(program, arguments);
        return m_process->waitForStarted(5000);
    }

    qint64 pid() const { return m_process ? m_process->processId() : 0; }

    void stop(qint64 alsoPid = 0)
    {
        if (alsoPid > 0) {
            ::kill(pid_t(alsoPid), SIGKILL);
        }
        if (m_process && m_process->state() != QProcess::NotRunning) {
            ::kill(-pid_t(m_process->processId()), SIGKILL);
            m_process->waitForFinished(3000);
        }
        m_process.reset();
    }

private:
    std::unique_ptr<QProcess> m_process;
};

// Editors, word processors, text fields: selected with the keyboard.
class KeyboardTarget : public Target {
public:
    struct Profile {
        QString name;
        QString program;
        QStringList arguments;
        QStringList environment;
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
            !m_program.start(m_profile.program, m_profile.arguments, m_profile.environment)) {
            return false;
        }
        const QStringList how =
            m_profile.findWindow.isEmpty()
                ? QStringList{QStringLiteral("--pid"), QString::number(m_program.pid())}
                : m_profile.findWindow;
        m_window = findWindow(how, m_profile.startTimeoutMs);
        if (m_window == 0 || !afterStart()) {
            return false;
        }
        // Ready once it hands out its text.
        QDeadlineTimer deadline(m_profile.startTimeoutMs);
        while (!deadline.hasExpired()) {
            if (focusText() && contents().value_or(QString()).contains(documentLines().first())) {
                return true;
            }
            QTest::qWait(200);
        }
        return false;
    }

    void stop() override
    {
        m_program.stop(m_window ? windowPid(m_window) : 0);
        m_window = 0;
    }

    quint64 window() const override { return m_window; }

    bool focusText() override { return activate(m_window); }

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
        offerSentinel();
        if (!keys({QStringLiteral("ctrl+c")})) {
            return std::nullopt;
        }
        return waitForCopiedText();
    }

    std::optional<QString> contents() override
    {
        offerSentinel();
        if (!keys({QStringLiteral("ctrl+a"), QStringLiteral("ctrl+c")})) {
            return std::nullopt;
        }
        const auto text = waitForCopiedText();
        keys({QStringLiteral("ctrl+Home")});
        return text;
    }

    bool undo() override { return keys({QStringLiteral("ctrl+z")}); }

    bool tellsThePlace(Kind) const override { return m_profile.tellsThePlace; }
    bool hasCopyMenuItem() const override { return m_profile.copyMenuItem; }

protected:
    // Writes the document the application opens.
    virtual bool prepare() { return true; }
    // What a user does after the window appears, before working in it.
    virtual bool afterStart() { return true; }

    Profile m_profile;
    Program m_program;
    quint64 m_window = 0;
};

QString plainDocument()
{
    return documentLines().join(u'\n') + u'\n';
}

class FileEditor : public KeyboardTarget {
public:
    using KeyboardTarget::KeyboardTarget;

protected:
    bool prepare() override { return writeFile(m_profile.arguments.constLast(), plainDocument()); }
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
        if (!activate(m_window) || !keys({QStringLiteral("ctrl+r")})) {
            return false;
        }
        m_window = findWindow({QStringLiteral("--name"), QStringLiteral("\\[Preview\\]")}, 10000);
        return m_window != 0 && activate(m_window);
    }
};

class LibreOffice : public KeyboardTarget {
public:
    using KeyboardTarget::KeyboardTarget;

protected:
    bool prepare() override
    {
        // No first-start tips or "what's new" bar over the document.
        const QString profile = homeDir() + QStringLiteral("/libreoffice-profile/user");
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

// Chromium showing one page; the page's text field has the focus.
class ChromiumPage : public KeyboardTarget {
public:
    enum class Field { TextArea, ContentEditable };
    ChromiumPage(Profile profile, Field field) : KeyboardTarget(std::move(profile)), m_field(field)
    {}

protected:
    bool prepare() override
    {
        QString body;
        if (m_field == Field::TextArea) {
            body = QStringLiteral("<textarea id=\"f\" rows=\"8\" cols=\"50\">%1</textarea>")
                       .arg(escaped(documentLines().join(u'\n')));
        } else {
            QString paragraphs;
            for (const QString &line : documentLines()) {
                paragraphs += QStringLiteral("<p>%1</p>").arg(escaped(line));
            }
            body =
                QStringLiteral("<div id=\"f\" contenteditable=\"true\">%1</div>").arg(paragraphs);
        }
        // The last argument is the page's file:// address.
        return writeFile(m_profile.arguments.constLast().mid(7), page(body));
    }

    static QString page(const QString &body)
    {
        return QStringLiteral(
                   "<!doctype html><html><head><meta charset=\"utf-8\"><title>Vellumo test page"
                   "</title><style>body{font:18px sans-serif;margin:30px} #f{font:18px sans-serif;"
                   "width:520px} p{margin:0 0 6px 0}</style></head><body "
                   "onload=\"document.getElementById('f').focus()\">%1</body></html>\n")
            .arg(body);
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
                          QStringLiteral("--user-data-dir=") + homeDir() +
                              QStringLiteral("/chromium-profile")};
    if (::geteuid() == 0) {
        arguments.prepend(QStringLiteral("--no-sandbox"));
    }
    arguments << QStringLiteral("file://") + page;
    return arguments;
}

// Text a user selects with the pointer, on a grid of cells: (column, row).
class PointerTarget : public Target {
public:
    bool focusText() override { return activate(m_window); }
    bool undo() override { return true; }
    quint64 window() const override { return m_window; }

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
        QDeadlineTimer deadline(3000);
        while (!deadline.hasExpired()) {
            if (!QGuiApplication::clipboard()->ownsSelection()) {
                const QString text = primaryText();
                if (!text.isEmpty()) {
                    return text;
                }
            }
            QTest::qWait(30);
        }
        return std::nullopt;
    }

    std::optional<QString> contents() override { return std::nullopt; }
    bool replacesSelection() const override { return false; }

protected:
    virtual QRectF grid() const = 0; // the cells' area on the screen
    virtual QSize cells() const = 0;

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

    Program m_program;
    quint64 m_window = 0;
};

// A terminal that shows the document and reads lines at its prompt into a file.
class Terminal : public PointerTarget {
public:
    explicit Terminal(QString name) : m_name(std::move(name)) {}

    QString name() const override { return m_name; }

    bool start() override
    {
        m_out = homeDir() + QStringLiteral("/") + m_name + QStringLiteral("-lines.txt");
        const QString document = homeDir() + QStringLiteral("/terminal-document.txt");
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
        bool started = false;
        if (m_name == u"xterm") {
            started = m_program.start(
                QStringLiteral("xterm"),
                QStringList{QStringLiteral("-b"), QStringLiteral("2"), QStringLiteral("-geometry"),
                            QStringLiteral("60x12+40+40"), QStringLiteral("-e")} +
                    command);
        } else {
            started = m_program.start(
                QStringLiteral("xfce4-terminal"),
                QStringList{QStringLiteral("--disable-server"), QStringLiteral("--hide-menubar"),
                            QStringLiteral("--hide-toolbar"), QStringLiteral("--hide-scrollbar"),
                            QStringLiteral("--geometry=60x12+40+40"), QStringLiteral("-x")} +
                    command);
        }
        m_window =
            started ? findWindow({QStringLiteral("--pid"), QString::number(m_program.pid())}, 20000)
                    : 0;
        if (m_window == 0) {
            return false;
        }
        m_grid = clientFrame(m_window);
        if (m_name == u"xterm") {
            m_grid.adjust(2, 2, -2, -2); // the inner border
        }
        // The document is on screen once the last line's row holds text.
        QDeadlineTimer deadline(10000);
        while (!rowHasText(4)) {
            if (deadline.hasExpired()) {
                return false;
            }
            QTest::qWait(100);
        }
        return true;
    }

    void stop() override
    {
        m_program.stop();
        m_window = 0;
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
        QFile file(m_out);
        if (!file.open(QIODevice::ReadOnly)) {
            return std::nullopt;
        }
        const QStringList lines =
            QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        if (lines.isEmpty()) {
            return std::nullopt;
        }
        return lines.constLast();
    }

protected:
    QRectF grid() const override { return m_grid; }
    QSize cells() const override { return {60, 12}; }

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
        const QString path = homeDir() + QStringLiteral("/chromium-page.html");
        QString paragraphs;
        const QStringList lines = documentLines();
        for (int i = 0; i < lines.size(); ++i) {
            paragraphs += QStringLiteral("<p style=\"top:%1px\">%2</p>")
                              .arg(rowTop + i * rowHeight)
                              .arg(escaped(lines[i]));
        }
        // A red marker at the page's origin tells where the page is on screen.
        const QString page =
            QStringLiteral(
                "<!doctype html><html><head><meta charset=\"utf-8\"><title>Vellumo test "
                "page</title>"
                "<style>body{margin:0} #o{position:absolute;left:0;top:0;width:6px;height:6px;"
                "background:#ff0000} p{position:absolute;left:%1px;margin:0;font:20px 'DejaVu Sans "
                "Mono',monospace;line-height:24px;white-space:pre}</style></head><body><div "
                "id=\"o\"></div>%2</body></html>\n")
                .arg(left)
                .arg(paragraphs);
        if (!writeFile(path, page) ||
            !m_program.start(QStringLiteral("chromium"), chromiumArguments(path))) {
            return false;
        }
        m_window =
            findWindow({QStringLiteral("--name"), QStringLiteral("Vellumo test page")}, 30000);
        if (m_window == 0 || !activate(m_window)) {
            return false;
        }
        // Where the marker is drawn.
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired()) {
            const QImage screen = grabScreen();
            const QRect frame = clientFrame(m_window);
            for (int y = frame.top(); y < frame.bottom() && m_origin.isNull(); ++y) {
                for (int x = frame.left(); x < frame.left() + 200; ++x) {
                    const QRgb c = screen.pixel(x, y);
                    if (qRed(c) > 230 && qGreen(c) < 30 && qBlue(c) < 30) {
                        m_origin = QPoint(x, y);
                        break;
                    }
                }
            }
            if (!m_origin.isNull()) {
                return true;
            }
            QTest::qWait(100);
        }
        return false;
    }

    void stop() override
    {
        m_program.stop();
        m_window = 0;
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
    QSize cells() const override { return {60, 12}; }

private:
    static constexpr int left = 40;
    static constexpr int rowTop = 40;
    static constexpr int rowHeight = 40;
    QPoint m_origin;
};

} // namespace

std::unique_ptr<Target> makeTarget(const QString &name)
{
    const QString file = homeDir() + QStringLiteral("/document.txt");
    if (name == u"mousepad" || name == u"gedit" || name == u"featherpad") {
        return std::make_unique<FileEditor>(KeyboardTarget::Profile{
            name, name, {file}, {}, {}, name != u"featherpad", 20000, name != u"gedit"});
    }
    if (name == u"gnome-text-editor") {
        return std::make_unique<FileEditor>(KeyboardTarget::Profile{
            name, name, {QStringLiteral("--standalone"), file}, {}, {}, true});
    }
    if (name == u"designer") {
        // Qt's plain text edit answers the first line's place for every line.
        return std::make_unique<DesignerPreview>(
            KeyboardTarget::Profile{name,
                                    QStringLiteral("/usr/lib/qt6/bin/designer"),
                                    {homeDir() + QStringLiteral("/form.ui")},
                                    {},
                                    {QStringLiteral("--name"), QStringLiteral("Qt Designer")},
                                    false});
    }
    if (name == u"libreoffice") {
        return std::make_unique<LibreOffice>(
            KeyboardTarget::Profile{name,
                                    QStringLiteral("soffice"),
                                    {QStringLiteral("--writer"), QStringLiteral("--norestore"),
                                     QStringLiteral("-env:UserInstallation=file://") + homeDir() +
                                         QStringLiteral("/libreoffice-profile"),
                                     homeDir() + QStringLiteral("/document.fodt")},
                                    {},
                                    {QStringLiteral("--name"), QStringLiteral("document.fodt")},
                                    true,
                                    60000,
                                    true});
    }
    if (name == u"chromium-textarea" || name == u"chromium-contenteditable") {
        const QString page = homeDir() + QStringLiteral("/") + name + QStringLiteral(".html");
        return std::make_unique<ChromiumPage>(
            KeyboardTarget::Profile{name,
                                    QStringLiteral("chromium"),
                                    chromiumArguments(page),
                                    {},
                                    {QStringLiteral("--name"), QStringLiteral("Vellumo test page")},
                                    true,
                                    30000},
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

} // namespace AppHarness
