// SPDX-License-Identifier: GPL-3.0-or-later
#include "ShortcutRecorder.h"

#include "HotKeyLayer.h"
#include "KeyTable.h"
#include "MenuShortcuts.h"
#include "SettingsLog.h"
#include "SettingsStyle.h"

#include <QAction>
#include <QApplication>
#include <QFocusEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <array>
#include <cstring>

using GlobalShortcuts::Shortcut;

namespace RecorderText {

namespace {

struct Entry {
    const char *name;
    const char *text;
};

// %1 is the combination's text form or the menu item's title.
constexpr std::array<Entry, 8> table{{
    {"record_shortcut", "Record Shortcut"},
    {"press_shortcut", "Press Shortcut"},
    {"keyboard_shortcut_used_by_menu_item",
     "This keyboard shortcut cannot be used because it is used by the menu item “%1”."},
    {"keyboard_shortcut_used_by_system",
     "“%1” cannot be used because it is used by the system or another application."},
    {"keyboard_shortcuts_can_be_changed",
     "Most system shortcuts can be changed in the desktop's keyboard settings."},
    {"ok", "OK"},
    {"force_use_shortcut", "Use Anyway"},
    {"keyboard_shortcut_disallowed", "“%1” cannot be used as a shortcut on this desktop."},
}};

} // namespace

QString get(const char *name)
{
    for (const Entry &entry : table) {
        if (std::strcmp(entry.name, name) == 0) {
            return QString::fromUtf8(entry.text);
        }
    }
    return QString::fromUtf8(name);
}

} // namespace RecorderText

namespace {

// How far around the field a click still counts as one on it.
constexpr int clickSlop = 3;

bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

// The keysym of a Qt key, for events that carry none of their own (made by
// tests, or by a platform other than X11).
quint32 keysymOfQtKey(int key, bool keypad)
{
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) {
        return 0xffbe + quint32(key - Qt::Key_F1);
    }
    if (keypad) {
        if (key >= Qt::Key_0 && key <= Qt::Key_9) {
            return 0xffb0 + quint32(key - Qt::Key_0);
        }
        switch (key) {
        case Qt::Key_Period:
            return 0xffae;
        case Qt::Key_Asterisk:
            return 0xffaa;
        case Qt::Key_Plus:
            return 0xffab;
        case Qt::Key_Minus:
            return 0xffad;
        case Qt::Key_Slash:
            return 0xffaf;
        case Qt::Key_Equal:
            return 0xffbd;
        case Qt::Key_Enter:
            return 0xff8d;
        default:
            break;
        }
    }
    switch (key) {
    case Qt::Key_Return:
        return 0xff0d;
    case Qt::Key_Enter:
        return 0xff8d;
    case Qt::Key_Tab:
        return 0xff09;
    case Qt::Key_Backspace:
        return 0xff08;
    case Qt::Key_Delete:
        return 0xffff;
    case Qt::Key_Escape:
        return 0xff1b;
    case Qt::Key_Clear:
        return 0xff0b;
    case Qt::Key_Home:
        return 0xff50;
    case Qt::Key_End:
        return 0xff57;
    case Qt::Key_PageUp:
        return 0xff55;
    case Qt::Key_PageDown:
        return 0xff56;
    case Qt::Key_Left:
        return 0xff51;
    case Qt::Key_Up:
        return 0xff52;
    case Qt::Key_Right:
        return 0xff53;
    case Qt::Key_Down:
        return 0xff54;
    default:
        break;
    }
    if (key >= 0x20 && key <= 0xff) {
        // Qt names letters by their capital; the key types the small one.
        return QChar(key).toLower().unicode();
    }
    return 0;
}

// With Shift held, X reports the shifted symbol ("!" for the 1 key); the
// stored form names the key, found here at its usual place.
quint32 unshifted(quint32 keysym)
{
    static const QString shifted = QStringLiteral("!@#$%^&*()_+{}|:\"<>?~");
    static const QString plain = QStringLiteral("1234567890-=[]\\;',./`");
    const qsizetype at = keysym < 0x80 ? shifted.indexOf(QChar(char16_t(keysym))) : -1;
    return at < 0 ? keysym : plain.at(at).unicode();
}

// The stored key code of the pressed key.
std::optional<int> macKeyCodeOf(const QKeyEvent *event)
{
    const bool keypad = event->modifiers().testFlag(Qt::KeypadModifier);
    for (quint32 keysym :
         {quint32(event->nativeVirtualKey()), keysymOfQtKey(event->key(), keypad)}) {
        if (keysym >= 'A' && keysym <= 'Z') {
            keysym += 'a' - 'A';
        }
        keysym = unshifted(keysym);
        if (keysym == 0) {
            continue;
        }
        if (const auto key = GlobalShortcuts::KeyTable::keyForKeysym(keysym)) {
            return key->macKeyCode;
        }
    }
    return std::nullopt;
}

} // namespace

ShortcutRecorder::ShortcutRecorder(GlobalShortcuts::Name name, QWidget *parent)
    : QLineEdit(parent), m_name(std::move(name))
{
    setObjectName(QStringLiteral("shortcutRecorder"));
    setAlignment(Qt::AlignCenter);
    setMinimumWidth(130);
    setPlaceholderText(RecorderText::get("record_shortcut"));
    setContextMenuPolicy(Qt::NoContextMenu);
    setAccessibleName(QStringLiteral("Shortcut"));
    applyStyle();
    m_clearAction = addAction(style()->standardIcon(QStyle::SP_LineEditClearButton),
                              QLineEdit::TrailingPosition);
    m_clearAction->setObjectName(QStringLiteral("clearShortcut"));
    // The button the line edit made for the action, which it places itself.
    m_clearButton = findChild<QToolButton *>(QString(), Qt::FindDirectChildrenOnly);
    if (m_clearButton) {
        m_clearButton->setObjectName(QStringLiteral("clearShortcutButton"));
    }
    m_clearAction->setToolTip(QStringLiteral("Remove the shortcut"));
    connect(m_clearAction, &QAction::triggered, this, &ShortcutRecorder::clearShortcut);
    connect(GlobalShortcuts::notifier(), &GlobalShortcuts::Notifier::shortcutByNameDidChange, this,
            [this](const GlobalShortcuts::Name &changed) {
                if (changed == m_name) {
                    refresh();
                }
            });
    refresh();
}

ShortcutRecorder::~ShortcutRecorder()
{
    if (m_recording) {
        // The shortcuts must not stay paused after the field is gone.
        GlobalShortcuts::setPaused(false);
        qApp->removeEventFilter(this);
    }
}

QSize ShortcutRecorder::sizeHint() const
{
    QSize size = QLineEdit::sizeHint();
    // QLineEdit asks for the width of 17 "x" besides its frame, padding and
    // text margins (with the clear button shown, its room on both sides).
    // This field asks for the widest of its texts instead, and for the
    // button's room also while it is hidden: it keeps its width when
    // recording starts.
    const QFontMetrics metrics = fontMetrics();
    int chrome = size.width() - 17 * metrics.horizontalAdvance(QLatin1Char('x'));
    if (!m_clearAction->isVisible()) {
        chrome += 2 * m_buttonRoom;
    }
    const int widest = std::max({metrics.horizontalAdvance(text()),
                                 metrics.horizontalAdvance(RecorderText::get("record_shortcut")),
                                 metrics.horizontalAdvance(RecorderText::get("press_shortcut"))});
    size.setWidth(std::max({minimumWidth(), chrome + widest + 4, 130}));
    return size;
}

void ShortcutRecorder::resizeEvent(QResizeEvent *event)
{
    QLineEdit::resizeEvent(event);
    balanceTextMargins();
}

void ShortcutRecorder::balanceTextMargins()
{
    // As much room on the left as the clear button takes on the right (its
    // place is the line edit's to choose), so the text stays in the middle.
    const bool shown = m_clearAction->isVisible() && m_clearButton;
    const int room = shown ? width() - m_clearButton->geometry().left() : 0;
    if (shown) {
        m_buttonRoom = room;
    }
    if (textMargins().left() != room) {
        setTextMargins(room, 0, 0, 0);
        updateGeometry();
    }
}

void ShortcutRecorder::applyStyle()
{
    // The accent frame tells that the field is listening. The colours come
    // from the surroundings: the sheet itself changes the field's palette.
    const QPalette pal = parentWidget() ? parentWidget()->palette() : QApplication::palette();
    const QString sheet =
        QStringLiteral("ShortcutRecorder { border: 1px solid %1; border-radius: 6px;"
                       " padding: 3px 4px; background: %2; }"
                       "ShortcutRecorder[recording=\"true\"] { border: 2px solid %3;"
                       " padding: 2px 3px; }")
            .arg(SettingsStyle::borderColor(pal).name(),
                 pal.color(QPalette::Active, QPalette::Base).name(),
                 SettingsStyle::accentColor(pal).name());
    if (sheet != styleSheet()) {
        setStyleSheet(sheet);
    }
}

void ShortcutRecorder::changeEvent(QEvent *event)
{
    QLineEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

void ShortcutRecorder::refresh()
{
    const std::optional<Shortcut> shortcut = GlobalShortcuts::getShortcut(m_name);
    // While recording the field is empty, so that it asks for a shortcut.
    showText(shortcut && !m_recording ? GlobalShortcuts::shortcutDescription(*shortcut)
                                      : QString());
}

void ShortcutRecorder::showText(const QString &shown)
{
    setText(shown);
    const bool clearable = !shown.isEmpty();
    m_clearAction->setVisible(clearable);
    balanceTextMargins();
    updateGeometry();
}

void ShortcutRecorder::startRecording()
{
    if (m_recording || m_alert) {
        return;
    }
    m_recording = true;
    setPlaceholderText(RecorderText::get("press_shortcut"));
    // Read-only hides the text cursor.
    setReadOnly(true);
    setProperty("recording", true);
    style()->unpolish(this);
    style()->polish(this);
    GlobalShortcuts::setPaused(true);
    refresh();
    // Every combination comes here, also one another client (or the window
    // manager) takes from the whole desktop: X gives a grabbed keyboard no
    // other client's hot keys.
    grabKeyboard();
    qApp->installEventFilter(this);
    qCInfo(lcSettings) << "Recording a shortcut";
    Q_EMIT recordingChanged(true);
}

void ShortcutRecorder::endRecording(bool moveFocus)
{
    if (!m_recording) {
        return;
    }
    m_recording = false;
    m_resumeOnActivation = false;
    qApp->removeEventFilter(this);
    releaseKeyboard();
    setPlaceholderText(RecorderText::get("record_shortcut"));
    setReadOnly(false);
    setProperty("recording", false);
    style()->unpolish(this);
    style()->polish(this);
    GlobalShortcuts::setPaused(false);
    refresh();
    qCInfo(lcSettings) << "Stopped recording the shortcut";
    Q_EMIT recordingChanged(false);
    if (moveFocus) {
        focusNextChild();
    } else if (hasFocus()) {
        clearFocus();
    }
}

void ShortcutRecorder::clearShortcut()
{
    GlobalShortcuts::setShortcut(std::nullopt, m_name);
    refresh();
    Q_EMIT changed(std::nullopt);
}

void ShortcutRecorder::save(const Shortcut &shortcut)
{
    showText(GlobalShortcuts::shortcutDescription(shortcut));
    GlobalShortcuts::setShortcut(shortcut, m_name);
    qCInfo(lcSettings) << "Shortcut recorded";
    Q_EMIT changed(shortcut);
    endRecording();
}

bool ShortcutRecorder::event(QEvent *event)
{
    if (m_recording) {
        if (event->type() == QEvent::ShortcutOverride) {
            // Every key is the recorder's while it records, none a shortcut
            // of the window.
            event->accept();
            return true;
        }
        if (event->type() == QEvent::KeyPress) {
            // Before QWidget::event turns Tab into a focus move.
            keyPressEvent(static_cast<QKeyEvent *>(event));
            return true;
        }
    }
    return QLineEdit::event(event);
}

void ShortcutRecorder::keyPressEvent(QKeyEvent *event)
{
    if (!m_recording) {
        // The text is the shortcut's; it is never edited.
        event->ignore();
        return;
    }
    event->accept();
    const int key = event->key();
    if (isModifierKey(key)) {
        return;
    }
    const Qt::KeyboardModifiers modifiers =
        event->modifiers() &
        (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier);
    if (modifiers == Qt::NoModifier) {
        switch (key) {
        case Qt::Key_Tab:
            endRecording(true);
            return;
        case Qt::Key_Escape:
            endRecording();
            return;
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            clearShortcut();
            return;
        default:
            break;
        }
    }
    if (const std::optional<Shortcut> shortcut = recordable(event)) {
        record(*shortcut);
    }
}

std::optional<Shortcut> ShortcutRecorder::recordable(const QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers =
        event->modifiers() &
        (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier);
    const int key = event->key();
    // A key alone, or with Shift, would take a letter or a digit from every
    // application; the function keys type nothing.
    const bool functionKey = key >= Qt::Key_F1 && key <= Qt::Key_F35;
    if ((modifiers & ~Qt::ShiftModifier) == Qt::NoModifier && !functionKey) {
        beep();
        return std::nullopt;
    }
    // Keys without a stored form (F21 and up among them) cannot be kept.
    // X11 has no Function modifier, so no recorded combination needs one.
    const std::optional<int> keyCode = macKeyCodeOf(event);
    if (!keyCode) {
        beep();
        return std::nullopt;
    }
    return Shortcut(GlobalShortcuts::Key{*keyCode}, modifiers);
}

void ShortcutRecorder::beep()
{
    QApplication::beep();
    Q_EMIT beeped();
}

void ShortcutRecorder::record(const Shortcut &shortcut)
{
    const QString description = GlobalShortcuts::shortcutDescription(shortcut);
    if (const std::optional<GlobalShortcuts::MenuItem> item =
            GlobalShortcuts::menuItemUsing(shortcut)) {
        showAlert("used by a menu item",
                  RecorderText::get("keyboard_shortcut_used_by_menu_item").arg(item->title), {},
                  shortcut, false);
        return;
    }
    const QString status = GlobalShortcuts::HotKeyLayer::shared().availability(shortcut);
    if (status == platform::hotKeyTakenStatus) {
        showAlert("used by the system",
                  RecorderText::get("keyboard_shortcut_used_by_system").arg(description),
                  RecorderText::get("keyboard_shortcuts_can_be_changed"), shortcut, true);
        return;
    }
    if (!status.isEmpty()) {
        // A key this keyboard lacks, say: the desktop's own reason.
        showAlert("not usable on this desktop",
                  RecorderText::get("keyboard_shortcut_disallowed").arg(description), status,
                  shortcut, false);
        return;
    }
    save(shortcut);
}

void ShortcutRecorder::showAlert(const char *reason, const QString &text,
                                 const QString &informative, const Shortcut &shortcut,
                                 bool offerForce)
{
    endRecording();
    qCInfo(lcSettings) << "Shortcut refused:" << reason;
    QWidget *host = window() != this ? window() : nullptr;
    auto *box = new QMessageBox(host);
    box->setObjectName(QStringLiteral("shortcutAlert"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::NoIcon);
    box->setWindowTitle(QStringLiteral("Vellumo"));
    box->setText(text);
    box->setInformativeText(informative);
    box->setWindowModality(host ? Qt::WindowModal : Qt::ApplicationModal);
    QPushButton *ok = box->addButton(RecorderText::get("ok"), QMessageBox::AcceptRole);
    ok->setObjectName(QStringLiteral("ok"));
    box->setDefaultButton(ok);
    box->setEscapeButton(ok);
    QPushButton *force = nullptr;
    if (offerForce) {
        // The mnemonic (Alt+U) reaches it from the keyboard.
        force = box->addButton(u'&' + RecorderText::get("force_use_shortcut"),
                               QMessageBox::DestructiveRole);
        force->setObjectName(QStringLiteral("forceUseShortcut"));
    }
    m_alert = box;
    connect(box, &QMessageBox::finished, this, [this, box, force, shortcut] {
        m_alert = nullptr;
        if (force && box->clickedButton() == force) {
            save(shortcut);
            return;
        }
        // Recording resumes once the field has the focus again: at once if
        // the window is active, else when the window manager gives the
        // window back its focus (a deactivation on the way would end it).
        m_resumeOnActivation = true;
        setFocus(Qt::OtherFocusReason);
        if (isActiveWindow()) {
            startRecording();
        }
    });
    box->open();
}

void ShortcutRecorder::paintEvent(QPaintEvent *event)
{
    QLineEdit::paintEvent(event);
    // A centred line edit hides its placeholder while it has the focus,
    // which is exactly when this one asks for a shortcut.
    if (hasFocus() && text().isEmpty() && !placeholderText().isEmpty()) {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(rect(), Qt::AlignCenter, placeholderText());
    }
}

void ShortcutRecorder::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    if (!m_recording) {
        setFocus(Qt::MouseFocusReason);
        startRecording();
    }
}

void ShortcutRecorder::focusInEvent(QFocusEvent *event)
{
    QLineEdit::focusInEvent(event);
    // A window that becomes active gives the focus back to the field that
    // had it; that alone does not start recording, unless an alert had
    // interrupted it. The keyboard (Tab) and a click do.
    if (event->reason() == Qt::ActiveWindowFocusReason && !m_resumeOnActivation) {
        return;
    }
    startRecording();
}

void ShortcutRecorder::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    if (event->reason() != Qt::ActiveWindowFocusReason) {
        endRecording();
        return;
    }
    // The window went inactive. Recording ends; unless an alert is being
    // answered, the field also lets the focus go, so that the window, active
    // again, does not put it back into recording.
    const bool resume = m_resumeOnActivation;
    endRecording();
    m_resumeOnActivation = resume;
    if (!resume) {
        clearFocus();
    }
}

bool ShortcutRecorder::eventFilter(QObject *watched, QEvent *event)
{
    if (m_recording && event->type() == QEvent::MouseButtonPress && watched->isWidgetType()) {
        const auto *press = static_cast<QMouseEvent *>(event);
        const QRect area = QRect(mapToGlobal(QPoint(0, 0)), size())
                               .adjusted(-clickSlop, -clickSlop, clickSlop, clickSlop);
        if (!area.contains(press->globalPosition().toPoint())) {
            endRecording();
        }
    }
    return QLineEdit::eventFilter(watched, event);
}

QHBoxLayout *showPopupRecorderRow(QWidget *parent, const QFont &labelFont,
                                  ShortcutRecorder **recorder)
{
    auto *row = new QHBoxLayout;
    auto *label = new QLabel(QStringLiteral("Show AI Popup:"), parent);
    label->setFont(labelFont);
    *recorder = new ShortcutRecorder(GlobalShortcuts::Name::showPopup(), parent);
    label->setBuddy(*recorder);
    row->addWidget(label);
    row->addStretch(1);
    row->addWidget(*recorder);
    return row;
}
