// SPDX-License-Identifier: GPL-3.0-or-later
#include "PopupManager.h"

#include "CommandPopup.h"
#include "Console.h"
#include "ContentView.h"
#include "GlobalShortcuts.h"
#include "KeychainService.h"
#include "SelectionCapture.h"
#include "VendorManager.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

using Console::printLine;
using Console::printPrivateLine;

PopupManager::PopupManager(const platform::Windows &windows, const platform::Selections &selections,
                           const platform::KeyInput &keys, const platform::PopupSupport &popups,
                           const platform::OwnText &ownText, VendorManager &vendors,
                           KeychainService &keychain, QObject *parent)
    : QObject(parent), m_windows(windows), m_selections(selections), m_keys(keys), m_popups(popups),
      m_ownText(ownText), m_vendors(vendors), m_keychain(keychain), m_pasteboard(selections),
      m_textService(windows, selections, keys, &ownText), m_accessibility(windows, &ownText)
{
    // The next popup is built while nothing else happens, once the current
    // one is on screen, so a press only has to fill it in and show it.
    m_spareTimer.setSingleShot(true);
    m_spareTimer.setInterval(spareDelayMs);
    connect(&m_spareTimer, &QTimer::timeout, this, &PopupManager::prepareSpare);
    m_releaseTimer.setSingleShot(true);
    m_releaseTimer.setInterval(releaseWaitMs);
    connect(&m_releaseTimer, &QTimer::timeout, this, [this] {
        const auto pending = std::exchange(m_pendingCapture, {});
        if (pending) {
            pending();
        }
    });
}

void PopupManager::setOpenSettings(std::function<void()> openSettings)
{
    m_openSettings = std::move(openSettings);
}

void PopupManager::setupGlobalShortcut()
{
    if (m_hooked) {
        // A second handler would open a second popup at every press.
        return;
    }
    m_hooked = true;
    m_spareTimer.start();
    QPointer<PopupManager> self(this);
    GlobalShortcuts::onKeyDown(
        GlobalShortcuts::Name::showPopup(),
        [self] {
            if (self) {
                self->m_shortcutHeld = true;
                self->handleShortcut();
            }
        },
        this);
    GlobalShortcuts::onKeyUp(
        GlobalShortcuts::Name::showPopup(),
        [self] {
            if (self) {
                self->shortcutReleased();
            }
        },
        this);
}

PopupManager::~PopupManager()
{
    delete m_spare.data();
    delete m_popover.data();
}

CommandPopup *PopupManager::makePopup(const QString &text) const
{
    // A window of its own, without a parent: closePopup() deletes it, and
    // the destructor the ones left.
    return new CommandPopup(text, m_vendors, m_keychain, m_popups);
}

SelectionCapture::Context PopupManager::captureContext()
{
    return {m_windows, m_selections, m_keys, m_pasteboard, &m_ownText};
}

void PopupManager::prepareSpare()
{
    if (m_spare) {
        return;
    }
    m_spare = makePopup(QString());
    m_spare->prepare();
}

void PopupManager::shortcutReleased()
{
    m_shortcutHeld = false;
    m_releaseTimer.stop();
    const auto pending = std::exchange(m_pendingCapture, {});
    if (pending) {
        pending();
    }
}

void PopupManager::handleShortcut()
{
    printLine(QStringLiteral("Hotkey pressed, getting selected text..."));
    // Keys stored or removed since the last popup show in this one; the
    // store answers on its own thread while the selection is read.
    m_keychain.refreshPresence();
    // While the shortcut's key is down, the X server holds the keyboard for
    // Vellumo, and toolkits take that for a lost focus: GTK and LibreOffice
    // then report no focused text. The selection is read once the key is
    // up, or after a moment when it stays down.
    auto capture = [this] { captureSelection(); };
    if (!m_shortcutHeld) {
        capture();
        return;
    }
    m_pendingCapture = capture;
    m_releaseTimer.start();
}

void PopupManager::captureSelection()
{
    // The window that was active when the shortcut fired: the popup never
    // takes the focus, so it is also the one to paste into.
    const std::optional<platform::Window> activeAtPress = m_windows.active();
    SelectionCapture::getSelectedText(captureContext())
        .then(this,
              [this, activeAtPress](const std::optional<QString> &text) {
                  if (!text) {
                      printLine(QStringLiteral("No text selected"));
                      return;
                  }
                  printPrivateLine(QStringLiteral("Got selected text: ") + *text);
                  m_originalApp = activeAtPress;
                  showPopup(*text);
              })
        .onFailed(this, [](const std::exception &error) {
            printLine(QStringLiteral("Error getting selected text: ") +
                      QString::fromUtf8(error.what()));
        });
}

void PopupManager::showPopup(const QString &text)
{
    const std::optional<platform::Window> original = m_originalApp;
    if (m_popover) {
        printLine(QStringLiteral("Closing existing popup before showing new one"));
        closePopup();
    }
    m_originalApp = original;

    printPrivateLine(QStringLiteral("Creating popup with text: ") + text);
    // The accessibility thread finds the selection's place while this one
    // builds the popup.
    QFuture<SelectionGeometry> geometry = m_accessibility.queryGeometry();
    CommandPopup *popup = m_spare;
    m_spare = nullptr;
    if (popup) {
        popup->contentView()->prepareFor(text);
    } else {
        popup = makePopup(text);
    }
    QPointer<PopupManager> self(this);
    ContentView *view = popup->contentView();
    view->setOnTextReplace([self](const QString &answer) {
        if (self) {
            self->handleTextReplacement(answer);
        }
    });
    view->setOnClose([self] {
        if (self) {
            self->closePopup();
        }
    });
    view->setOpenSettings([self] {
        if (self && self->m_openSettings) {
            self->m_openSettings();
        }
    });

    // The geometry comes from the accessibility thread; the popup shows as
    // soon as it is known. Until then it is already the current popup, so a
    // new press or a close in between finds it.
    m_popover = popup;
    QPointer<CommandPopup> guarded(popup);
    geometry.then(this, [this, guarded](const SelectionGeometry &geometry) {
        if (guarded && guarded == m_popover) {
            place(guarded, geometry);
            printLine(QStringLiteral("Popup created and shown"));
            Q_EMIT popupShown();
            m_spareTimer.start();
        }
    });
}

void PopupManager::place(CommandPopup *popup, const SelectionGeometry &geometry)
{
    const PopupPlacement::FocusGeometry focus{
        geometry.selectionBounds, geometry.textInsertionPoint, geometry.focusedElementFrame,
        geometry.focusedWindowFrame, geometry.insertionPointAround};
    const PopupPlacement::Anchor anchor = PopupPlacement::popupPosition(focus, QCursor::pos());
    for (const QString &line : anchor.log) {
        printLine(line);
    }
    QScreen *screen = QGuiApplication::screenAt(anchor.point.toPoint());
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1920, 1080);
    popup->showAt(PopupPlacement::popupFrame(anchor, CommandPopup::panelSize, area));
}

void PopupManager::closePopup()
{
    printLine(QStringLiteral("Closing popup"));
    if (m_popover) {
        m_popover->close();
        m_popover->deleteLater();
    }
    m_popover = nullptr;
    m_originalApp.reset();
}

void PopupManager::handleTextReplacement(const QString &answer)
{
    printPrivateLine(QStringLiteral("Text replacement requested with: ") + answer);
    if (!m_originalApp) {
        printLine(QStringLiteral("No original app found!"));
        return;
    }
    const platform::Window original = *m_originalApp;
    printLine(QStringLiteral("Activating original app: ") +
              (original.title.isEmpty() ? QStringLiteral("Unknown") : original.title));
    closePopup();

    if (!m_windows.isActive(original.id)) {
        m_windows.activate(original.id);
    }

    QPointer<PopupManager> self(this);
    QTimer::singleShot(focusHandOffMs, this, [self, answer, window = original.id] {
        printLine(QStringLiteral("Starting text replacement..."));
        if (!self) {
            printLine(QStringLiteral("Text replacement done"));
            return;
        }
        self->m_textService.replaceSelectedText(answer, window)
            .then(self, [self](TextManipulationService::Outcome outcome) {
                using Outcome = TextManipulationService::Outcome;
                if (outcome == Outcome::TargetGone) {
                    // The window closed or another one came to the front.
                    printLine(QStringLiteral("No original app found!"));
                    printLine(QStringLiteral("The answer is on the clipboard."));
                    return;
                }
                if (outcome == Outcome::NotRead) {
                    printLine(QStringLiteral(
                        "The application did not take the answer; it stays on the clipboard."));
                }
                printLine(QStringLiteral("Text replacement done"));
                if (self) {
                    Q_EMIT self->textReplaced();
                }
            });
    });
}
