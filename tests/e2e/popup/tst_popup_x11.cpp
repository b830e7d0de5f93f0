// SPDX-License-Identifier: GPL-3.0-or-later
// The popup on a real X server (the private test desktop): keyboard focus
// and keys through a real Qt::Popup with its keyboard grab, typed by
// xdotool, and the compositor test that chooses the panel's look.
#include "CommandStore.h"
#include "CommandsList.h"
#include "ContentView.h"
#include "DefaultsStore.h"
#include "KeychainService.h"
#include "PopupHarness.h"
#include "SearchField.h"
#include "TestSupport.h"
#include "VendorManager.h"
#include "X11PopupSupport.h"

#include <QApplication>
#include <QDir>
#include <QGuiApplication>
#include <QLineEdit>
#include <QProcess>
#include <QScreen>
#include <QVBoxLayout>
#include <QtTest>
#include <xcb/xcb.h>

namespace {

bool xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    return process.waitForFinished(5000) && process.exitCode() == 0;
}

xcb_atom_t atom(xcb_connection_t *connection, const QByteArray &name)
{
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, uint16_t(name.size()), name.constData()),
        nullptr);
    const xcb_atom_t result = reply ? reply->atom : XCB_NONE;
    free(reply);
    return result;
}

// Claims or gives up the selection a compositing manager owns.
void setCompositorSelectionOwner(xcb_window_t owner)
{
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t *connection = x11->connection();
    xcb_set_selection_owner(connection, owner, atom(connection, "_NET_WM_CM_S0"), XCB_CURRENT_TIME);
    xcb_flush(connection);
}

} // namespace

class PopupX11Test : public QObject {
    Q_OBJECT

private:
    ProviderSetup m_setup;

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        QString error;
        QVERIFY2(m_setup.start(&error), qPrintable(error));
    }

    void init()
    {
        DefaultsStore::standard().removeAll();
        m_setup.reset();
        m_setup.configure(AIVendor::openai, QStringLiteral("sk-x11"));
    }

    void cleanupTestCase() { ProviderSetup::removeAllKeys(); }

    void compositorDecidesThePanel()
    {
        const platform::x11::PopupSupport popups;
        // Openbox on Xvfb does not composite.
        QVERIFY(!popups.isCompositing());
        ContentView plain(QStringLiteral("Hi"), m_setup.vendors(), KeychainService::shared(),
                          popups);
        QVERIFY(!plain.isTranslucent());

        // Any client owning _NET_WM_CM_S0 announces a compositor.
        QWidget claimant;
        claimant.winId();
        setCompositorSelectionOwner(xcb_window_t(claimant.winId()));
        QVERIFY(popups.isCompositing());
        ContentView clear(QStringLiteral("Hi"), m_setup.vendors(), KeychainService::shared(),
                          popups);
        QVERIFY(clear.isTranslucent());

        setCompositorSelectionOwner(XCB_NONE);
        QVERIFY(!popups.isCompositing());
    }

    void realKeysReachTheSearchAndRunACommand()
    {
        PopupWindow popup(QStringLiteral("Guten Morgen"), m_setup.vendors());
        popup.move(200, 200);
        QVERIFY(showPopup(popup));
        QLineEdit *line = popup.view->searchField()->lineEdit();
        QTRY_COMPARE(QApplication::focusWidget(), line);

        // Real key events from the X server, delivered through the grab.
        QVERIFY(xdotool({"type", "--delay", "20", "transl"}));
        QTRY_COMPARE(popup.view->searchText(), QStringLiteral("transl"));
        QCOMPARE(popup.view->commandsList()->commands().size(), 1);
        // What the X server shows, for a look at the real thing: drawn and
        // handed to the server before the picture is asked for.
        popup.repaint();
        const QPixmap onScreen =
            popup.screen()->grabWindow(0, popup.x(), popup.y(), popup.width(), popup.height());
        const QString build = qEnvironmentVariable("VELLUMO_BUILD_DIR");
        QVERIFY(QDir().mkpath(build + "/screenshots"));
        QVERIFY(onScreen.save(build + "/screenshots/popup-x11-searching.png"));
        QVERIFY(xdotool({"key", "Down", "Up", "Return"}));
        QTRY_COMPARE_WITH_TIMEOUT(popup.answers.size(), 1, 10000);
        const QList<FakeProvider::Request> requests = m_setup.standIn().requests();
        QCOMPARE(requests.size(), 1);
        QVERIFY(requests.first().json()["messages"].toArray().last()["content"].toString().endsWith(
            composeCommandPrompt(CommandStore::defaultCommands().at(2).prompt,
                                 QStringLiteral("Guten Morgen"))));
    }

    void escapeClosesAPlainPopupWindow()
    {
        QWidget window(nullptr, Qt::Popup | Qt::FramelessWindowHint);
        const platform::x11::PopupSupport popups;
        auto *view = new ContentView(QStringLiteral("Hi"), m_setup.vendors(),
                                     KeychainService::shared(), popups, &window);
        auto *layout = new QVBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(view);
        window.move(300, 300);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_COMPARE(QApplication::focusWidget(), view->searchField()->lineEdit());
        QSignalSpy escape(view, &ContentView::escapePressed);

        QVERIFY(xdotool({"key", "Escape"}));
        QTRY_VERIFY(!window.isVisible());
        QCOMPARE(escape.count(), 1);
    }
};

QTEST_MAIN(PopupX11Test)
#include "tst_popup_x11.moc"
