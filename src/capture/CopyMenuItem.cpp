// SPDX-License-Identifier: GPL-3.0-or-later
#include "CopyMenuItem.h"

#include "CaptureLog.h"
#include "KeyEventSender.h"
#include "KeyInput.h"
#include "Windows.h"

#include <QElapsedTimer>
#include <QThread>

#include <QRegularExpression>

namespace CopyMenuItem {

const QSet<QString> &copyMenuTitles()
{
    static const QSet<QString> titles = [] {
        const char16_t *const list[] = {
            u"Copy",      u"拷贝",      u"复制",    u"拷貝",      u"複製",      u"コピー",
            u"복사",      u"Copier",    u"Copiar",  u"Copia",     u"Kopieren",  u"Копировать",
            u"Kopiëren",  u"Kopiér",    u"Kopiera", u"Kopioi",    u"Αντιγραφή", u"Kopyala",
            u"Salin",     u"Sao chép",  u"คัดลอก",   u"Копіювати", u"Kopiuj",    u"Másolás",
            u"Kopírovat", u"Kopírovať", u"Kopiraj", u"Копирај",   u"Копиране",  u"Kopēt",
            u"Kopijuoti", u"Copiază",   u"העתק",    u"نسخ",       u"کپی",
        };
        QSet<QString> set;
        for (const char16_t *title : list) {
            set.insert(QString::fromUtf16(title).normalized(QString::NormalizationForm_C));
        }
        return set;
    }();
    return titles;
}

bool isCopyTitle(const QString &title)
{
    QString plain = title;
    plain.remove(QLatin1Char('_'));
    plain.remove(QLatin1Char('&'));
    plain = plain.trimmed().normalized(QString::NormalizationForm_C);
    return copyMenuTitles().contains(plain);
}

bool isCopyIdentifier(const QString &identifier)
{
    static const QSet<QString> ids{QStringLiteral("copy"), QStringLiteral("edit-copy"),
                                   QStringLiteral("app.copy"), QStringLiteral("win.copy"),
                                   QStringLiteral("copy:")};
    return ids.contains(identifier);
}

bool isCtrlCBinding(const QString &binding)
{
    // GTK answers "mnemonic;menu path;accelerator", Qt the accelerator alone.
    const QStringList parts = binding.split(QLatin1Char(';'));
    QString accelerator = parts.size() >= 3 ? parts.at(2) : parts.constLast();
    accelerator = accelerator.trimmed();
    static const QRegularExpression gtk(QStringLiteral("^(<(primary|control|ctrl|ctl)>)c$"),
                                        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression qt(QStringLiteral("^ctrl\\+c$"),
                                       QRegularExpression::CaseInsensitiveOption);
    return gtk.match(accelerator).hasMatch() || qt.match(accelerator).hasMatch();
}

QList<int> menuSearchOrder(int menuCount, int editIndex)
{
    QList<int> order;
    if (menuCount < editIndex + 1) {
        return order;
    }
    order.append(editIndex);
    const int reach = std::max(editIndex, menuCount - editIndex - 1);
    for (int d = 1; d <= reach; ++d) {
        const int left = editIndex - d;
        const int right = editIndex + d;
        if (left >= 0) {
            order.append(left);
        }
        if (right < menuCount) {
            order.append(right);
        }
        if (left < 0 && right >= menuCount) {
            break;
        }
    }
    return order;
}

bool isCopyMenuItem(const UIElement &element)
{
    const auto id = element.identifier();
    const QString identifier = id.value.value_or(QString());
    if (isCopyIdentifier(identifier)) {
        qCInfo(lcCapture).noquote() << "Found copy item by copy identifier: " + identifier;
        return true;
    }
    // GTK 3 and Qt give menu items no identifier, so a missing one does not end
    // the test here: the Ctrl+C binding with a Copy title still recognises it.
    const auto binding = element.keyBinding(0);
    if (binding.failed() || !binding.value || !isCtrlCBinding(*binding.value)) {
        return false;
    }
    const auto title = element.name();
    if (title.failed() || !title.value || !isCopyTitle(*title.value)) {
        return false;
    }
    qCInfo(lcCapture).noquote() << "Found copy title item in menu: " + title.value->trimmed() +
                                       ", identifier: " + identifier;
    return true;
}

UIElement findCopyItemInMenuBar(const Application &application)
{
    const auto bar = application.menuBar();
    if (bar.failed() || !bar.value) {
        qCCritical(lcCapture).noquote() << "Menu children not found";
        return {};
    }
    const auto menus = bar.value->children();
    if (menus.failed() || !menus.value || menus.value->isEmpty()) {
        qCCritical(lcCapture).noquote() << "Menu children not found";
        return {};
    }
    const QList<UIElement> &list = *menus.value;
    const QList<int> order = menuSearchOrder(int(list.size()));
    for (int i = 0; i < order.size(); ++i) {
        if (i == 0) {
            qCInfo(lcCapture).noquote()
                << "Checking the Edit menu, index: " + QString::number(order[i]);
        } else {
            qCInfo(lcCapture).noquote() << "Checking menu at index " + QString::number(order[i]);
        }
        if (UIElement found = list.at(order[i]).findFirst(&isCopyMenuItem); !found.isNull()) {
            return found;
        }
    }
    qCInfo(lcCapture).noquote() << "Copy not found in adjacent menus, searching entire menu";
    return bar.value->findFirst(&isCopyMenuItem);
}

UIElement findEnabledCopyItem(const platform::Windows &windows, const platform::KeyInput &keys)
{
    UIElement item;
    if (!isProcessTrusted(true, keys)) {
        qCCritical(lcCapture).noquote() << "Process is not trusted for accessibility";
    } else {
        const auto window = windows.active();
        const auto app = SystemWideElement::focusedApplication(windows);
        if (app.failed() || !app.value) {
            const QString printed =
                window ? QStringLiteral("%1 (%2)").arg(window->className, window->instanceName)
                       : QStringLiteral("none");
            qCCritical(lcCapture).noquote() << "Failed to get frontmost application: " + printed;
        } else {
            qCInfo(lcCapture).noquote()
                << QStringLiteral("Checking copy item in frontmost application: %1 (%2)")
                       .arg(window ? window->className : QString(),
                            window ? window->instanceName : QString());
            item = findCopyItemInMenuBar(*app.value);
        }
    }
    if (!item.isNull()) {
        const auto states = item.states();
        const unsigned needed = UIElement::Enabled | UIElement::Sensitive;
        if (!states.failed() && (*states.value & needed) == needed) {
            qCInfo(lcCapture).noquote() << "Found enabled copy item in frontmost application menu";
            return item;
        }
        // LibreOffice updates its menu items' states for accessibility only
        // when a menu opens, so "disabled" may be old news. An item that can
        // be pressed is pressed: a really disabled one copies nothing, which
        // the clipboard then shows.
        const auto interfaces = item.interfaces();
        if (!states.failed() && !interfaces.failed() &&
            (*interfaces.value & unsigned(UIElement::Interface::Action))) {
            qCInfo(lcCapture).noquote()
                << "Found copy item in frontmost application menu, said to be disabled";
            return item;
        }
    }
    qCCritical(lcCapture).noquote() << "Copy item not found or not enabled";
    return {};
}

namespace {

bool focusIsOnAMenu(const platform::Windows &windows)
{
    const auto focused = SystemWideElement::focusedUIElement(windows);
    if (focused.failed() || !focused.value) {
        return false;
    }
    const auto role = focused.value->role();
    return !role.failed() && role.value &&
           (*role.value == UIElement::Role::Menu || *role.value == UIElement::Role::MenuBar ||
            *role.value == UIElement::Role::MenuItem);
}

bool inMenus(const platform::Windows &windows, const platform::KeyInput &keys,
             platform::KeyboardGrabWatch *grabs)
{
    // An open menu holds the keyboard, even one the toolkit does not show.
    // A grab of our own to find out would make the menu's grab fail while it
    // is held, and the application take the keyboard later: the watch only
    // looks.
    const bool grabbed = grabs ? grabs->grabHeld() : keys.keyboardGrabbedByAnother();
    return grabbed || focusIsOnAMenu(windows);
}

// Until a menu holds the keyboard again, when the application took it for the
// press; at most timeoutMs.
void awaitMenuReturn(platform::KeyboardGrabWatch *grabs, int timeoutMs)
{
    if (!grabs || grabs->grabsTaken() == 0 || grabs->grabHeld()) {
        return;
    }
    qCInfo(lcCapture).noquote() << "The application's menus gave the keyboard back: waiting "
                                   "for the menu it leaves open";
    QElapsedTimer clock;
    clock.start();
    while (!grabs->grabHeld()) {
        if (clock.elapsed() >= timeoutMs) {
            qCInfo(lcCapture).noquote() << "No menu took the keyboard again";
            return;
        }
        QThread::msleep(5);
    }
}

} // namespace

bool leaveMenuMode(const platform::Windows &windows, const platform::KeyInput &keys,
                   platform::KeyboardGrabWatch *grabs, int timeoutMs)
{
    awaitMenuReturn(grabs, menuReturnTimeoutMs);
    // An open menu takes one Escape, the menu bar's keyboard mode another.
    for (int round = 0; round < 3; ++round) {
        if (!inMenus(windows, keys, grabs)) {
            return true;
        }
        qCInfo(lcCapture).noquote() << "The application's menus kept the focus: leaving them";
        KeyEventSender(keys).send(KeyEvent{KeyEvent::Key::escape, {}});
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs / 3) {
            QThread::msleep(10);
            if (!inMenus(windows, keys, grabs)) {
                return true;
            }
        }
    }
    return !inMenus(windows, keys, grabs);
}

} // namespace CopyMenuItem
