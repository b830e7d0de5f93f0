// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"
#include "FakePopupSupport.h"
#include "FakeProvider.h"
#include "WidgetTestSupport.h"

#include <QStringList>
#include <QWidget>
#include <memory>

class ContentView;
class VendorManager;

// A popup as its owner makes it: a frameless Qt::Popup window holding a
// ContentView, with the callbacks recorded. Keys that the view passes on
// reach the window and are recorded too. The desktop has no compositor.
class PopupWindow : public QWidget {
    Q_OBJECT

public:
    PopupWindow(const QString &text, VendorManager &vendors);

    platform::fake::PopupSupport popups;
    ContentView *view = nullptr;
    QStringList answers;     // every onTextReplace call
    QStringList calls;       // "openSettings" and "close", in order
    QList<int> keysPassedOn; // keys that reached the window

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

// Provider set-up shared by the popup tests: the stand-in provider, the key
// in the real keyring and a provider manager pointing at the stand-in.
class ProviderSetup {
public:
    // Starts the stand-in, which makes this process trust its certificate;
    // call once.
    bool start(QString *error)
    {
        const bool started = m_standIn.start();
        *error = m_standIn.errorString();
        return started;
    }
    FakeProvider &standIn() { return m_standIn; }
    // Forgets recorded requests, queued failures and a set answer.
    void reset()
    {
        m_standIn.clear();
        m_standIn.setAnswer(std::nullopt);
    }

    // A fresh manager whose default provider is vendor with the given key
    // (nothing stored for the others).
    VendorManager &configure(AIVendor vendor, const QString &key);
    // A fresh manager with no provider usable.
    VendorManager &configureNone();
    VendorManager &vendors() { return *m_vendors; }

    static void removeAllKeys();

private:
    FakeProvider m_standIn;
    std::unique_ptr<VendorManager> m_vendors;
};

using TestSupport::quietOffscreenWarnings;

// Waits until the window is on screen and the view has laid out its list.
bool showPopup(PopupWindow &window);
