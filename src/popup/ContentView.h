// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AICommand.h"

#include <QMargins>
#include <QString>
#include <QWidget>
#include <functional>
#include <optional>

class CommandsList;
class ErrorMessageView;
class KeychainService;
class LoadingOverlay;
class NotConfiguredView;
class QKeyEvent;
class QStackedWidget;
class SearchField;
class VendorManager;

namespace platform {
class PopupSupport;
} // namespace platform

// The inside of the command popup, made afresh for every popup: a search
// field, an optional error banner and the list of commands, or the
// not-configured panel while no provider has an API key. Choosing a command
// (Return or a click) runs it on the selected text through the provider
// manager and hands the answer to onTextReplace.
//
// It talks to its owner only through the three callbacks and escapePressed.
// It is meant to fill a frameless Qt::Popup window that grabs the keyboard:
// the search field takes the focus as soon as the widget shows, Up, Down and
// Return are handled here, and Escape is passed on to the window.
class ContentView : public QWidget {
    Q_OBJECT

public:
    using TextReplaceCallback = std::function<void(const QString &answer)>;
    using Callback = std::function<void()>;

    static const QString noProviderMessage;

    ContentView(QString text, VendorManager &vendorManager, KeychainService &keychain,
                const platform::PopupSupport &popups, QWidget *parent = nullptr);

    void setOnTextReplace(TextReplaceCallback callback) { m_onTextReplace = std::move(callback); }
    void setOnClose(Callback callback) { m_onClose = std::move(callback); }
    void setOpenSettings(Callback callback) { m_openSettings = std::move(callback); }

    // See-through panel with rounded corners and a shadow; only for windows
    // on a compositing desktop. Defaults to whether a compositor runs. The
    // owning window must then be translucent too (Qt::WA_TranslucentBackground)
    // and as large as sizeHint(), which includes the shadow.
    void setTranslucent(bool translucent);
    bool isTranslucent() const { return m_translucent; }
    // Room around the panel for its shadow (none when opaque).
    QMargins shadowMargins() const;
    QSize sizeHint() const override;

    QString text() const { return m_text; }
    // A view built ahead of its first showing takes the selected text now,
    // and reads the commands afresh.
    void prepareFor(const QString &text);
    QString searchText() const;
    int selectedIndex() const { return m_selectedIndex; }
    bool isLoading() const { return m_isLoading; }
    std::optional<QString> errorMessage() const { return m_errorMessage; }

    // The list shown and acted on, read afresh from the command store on
    // every call: the merged commands matching the search, or, when none
    // matches a non-empty search, one one-off command made of the search.
    QList<AICommand> filteredCommands() const;
    // A default provider whose stored API key is not blank. Reads the key
    // store on every call.
    bool providerReady() const;
    // Runs one command. Not guarded against a second run in flight: every
    // run ends by clearing isLoading, so the first to finish hides the
    // overlay.
    void executeCommand(const AICommand &command);

    SearchField *searchField() const { return m_searchField; }
    CommandsList *commandsList() const { return m_commandsList; }
    ErrorMessageView *errorMessageView() const { return m_errorView; }
    LoadingOverlay *loadingOverlay() const { return m_overlay; }
    NotConfiguredView *notConfiguredView() const { return m_notConfigured; }
    bool isShowingNotConfigured() const;

Q_SIGNALS:
    // Escape was pressed; the key event itself goes on to the window, so a
    // Qt::Popup owner closes by its default handling.
    void escapePressed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void rebuild();
    bool handleKey(QKeyEvent *event);
    void onSearchTextChanged();
    void moveSelection(int delta);
    void runSelectedCommand();
    void openSettingsFromPanel();
    void setSelectedIndex(int index);
    void setLoading(bool loading);
    void setErrorMessage(const std::optional<QString> &message);
    QRect panelRect() const;

    QString m_text;
    VendorManager &m_vendorManager;
    KeychainService &m_keychain;
    TextReplaceCallback m_onTextReplace;
    Callback m_onClose;
    Callback m_openSettings;

    int m_selectedIndex = 0;
    bool m_isLoading = false;
    std::optional<QString> m_errorMessage;
    bool m_translucent = false;

    QStackedWidget *m_stack;
    QWidget *m_commandsPage;
    SearchField *m_searchField;
    ErrorMessageView *m_errorView;
    CommandsList *m_commandsList;
    NotConfiguredView *m_notConfigured;
    LoadingOverlay *m_overlay;
};
