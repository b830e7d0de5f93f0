// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class ContentView;
class KeychainService;
class VendorManager;

namespace platform {
class PopupSupport;
} // namespace platform

// The popup window: one frameless Qt::Popup holding a ContentView. As a
// popup it grabs the keyboard and pointer while shown, so the application
// that owns the selection keeps its focus and selection; a click outside or
// Escape closes it (without telling the popup manager, which learns of it
// only at its next use).
class CommandPopup : public QWidget {
    Q_OBJECT

public:
    CommandPopup(const QString &text, VendorManager &vendorManager, KeychainService &keychain,
                 const platform::PopupSupport &popups);

    ContentView *contentView() const { return m_contentView; }

    // Places the panel (not the shadow around it) at panelFrame and shows it.
    void showAt(const QRect &panelFrame);

    // Does ahead of time what a first showing would: styles, layout and the
    // native window, so that showing it later is quick.
    void prepare();

    // The panel's size, without any shadow margin.
    static constexpr QSize panelSize{360, 340};

protected:
    void hideEvent(QHideEvent *event) override;

private:
    void takeKeyboard();

    const platform::PopupSupport &m_popups;
    ContentView *m_contentView;
    int m_grabAttempts = 0;
};
