// SPDX-License-Identifier: GPL-3.0-or-later
// The element layer against a real GTK editor on the test desktop.
#include "AccessibilityThread.h"
#include "Desktop.h"
#include "TestSupport.h"
#include "UIElement.h"
#include "X11KeyInput.h"
#include "X11Selections.h"
#include "X11Windows.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace Desktop;

namespace {

template <typename F> auto onAccessibilityThread(F job)
{
    auto future = AccessibilityThread::instance().run(std::move(job));
    QDeadlineTimer deadline(10000);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return future.result();
}

void setAccessibilityEnabled(bool on)
{
    auto set = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"));
    set << QStringLiteral("org.a11y.Status") << QStringLiteral("IsEnabled")
        << QVariant::fromValue(QDBusVariant(on));
    QDBusConnection::sessionBus().call(set);
}

const QString line = QStringLiteral("hello accessible world");

} // namespace

class AccessibilityDesktopTest : public QObject {
    Q_OBJECT

    App m_editor;
    const platform::x11::Windows m_windows;
    const platform::x11::Selections m_selections;
    const platform::x11::KeyInput m_keys;

    // The editor active with its line selected, once it has taken PRIMARY.
    void selectTheLine()
    {
        QVERIFY(m_editor.activate());
        QVERIFY(keys({"ctrl+Home", "shift+End"}));
        QTRY_COMPARE(m_selections.ownerProcessId(platform::Selection::Primary), m_editor.pid());
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        const QString path = homePath(QStringLiteral("a11y.txt"));
        QVERIFY(writeFile(path, line + u'\n'));
        QVERIFY(m_editor.start(QStringLiteral("mousepad"), {path}));
        QVERIFY(m_editor.activate());
    }

    void cleanupTestCase() { m_editor.stop(); }

    void activeWindowNamesTheEditor()
    {
        const auto active = m_windows.active();
        QVERIFY(active);
        QCOMPARE(active->id, m_editor.window());
        QCOMPARE(active->processId, m_editor.pid());
        QCOMPARE(active->instanceName, QStringLiteral("mousepad"));
        QCOMPARE(active->className, QStringLiteral("Mousepad"));
        QVERIFY2(active->title.contains(QStringLiteral("a11y.txt")), qPrintable(active->title));
    }

    void activationGoesThroughTheWindowManager()
    {
        App xterm;
        QVERIFY(xterm.start(QStringLiteral("xterm"), {QStringLiteral("-e"), QStringLiteral("sleep"),
                                                      QStringLiteral("100000")}));
        QVERIFY(xterm.activate());
        QVERIFY(m_windows.activate(m_editor.window()));
        QTRY_VERIFY(m_windows.isActive(m_editor.window()));
    }

    void primaryOwnerIsTheSelectingProcess()
    {
        selectTheLine();
        const auto read = m_selections.reader(platform::Selection::Primary)->text(300, 1024);
        QCOMPARE(int(read.outcome), int(platform::SelectionData::Outcome::Ok));
        QCOMPARE(read.data, line.toUtf8());

        QGuiApplication::clipboard()->setText(QStringLiteral("ours"), QClipboard::Selection);
        QTRY_COMPARE(m_selections.ownerProcessId(platform::Selection::Primary),
                     QCoreApplication::applicationPid());
    }

    void focusedElementIsTheEditorsText()
    {
        selectTheLine();
        const auto [role, text, editable, pid] = onAccessibilityThread([this] {
            const auto focused = SystemWideElement::focusedUIElement(m_windows);
            if (focused.failed() || !focused.value) {
                return std::tuple(UIElement::Role::Unknown, QString(), false, qint64(0));
            }
            const auto ranges = focused.value->selections();
            const QString selected =
                ranges.value && ranges.value->size() == 1
                    ? focused.value->text(ranges.value->first()).value.value_or(QString())
                    : QString();
            const unsigned interfaces = focused.value->interfaces().value.value_or(0);
            return std::tuple(focused.value->role().value.value_or(UIElement::Role::Unknown),
                              selected,
                              (interfaces & unsigned(UIElement::Interface::EditableText)) != 0,
                              focused.value->processId().value.value_or(0));
        });
        QCOMPARE(int(role), int(UIElement::Role::Text));
        QCOMPARE(text, line);
        QVERIFY(editable);
        QCOMPARE(pid, m_editor.pid());
    }

    void menuBarHasEditAtIndexOne()
    {
        const QStringList titles = onAccessibilityThread([pid = m_editor.pid()] {
            QStringList out;
            const auto app = Application::fromProcessId(pid);
            if (!app.value) {
                return out;
            }
            const auto bar = app.value->menuBar();
            if (!bar.value) {
                return out;
            }
            for (const UIElement &menu : bar.value->children().value.value_or(QList<UIElement>{})) {
                out.append(menu.name().value.value_or(QString()));
            }
            return out;
        });
        QVERIFY2(titles.size() >= 2, qPrintable(titles.join(u',')));
        QCOMPARE(titles.at(1), QStringLiteral("Edit"));
    }

    void ownProcessIsNeverQueried()
    {
        const bool found = onAccessibilityThread([] {
            return Application::fromProcessId(QCoreApplication::applicationPid()).value.has_value();
        });
        QVERIFY(!found);
    }

    // A vanished application's elements fail instead of answering nothing.
    void elementOfTerminatedApplicationIsInvalid()
    {
        const QString path = homePath(QStringLiteral("gone.txt"));
        QVERIFY(writeFile(path, QStringLiteral("x")));
        App other;
        QVERIFY(other.start(QStringLiteral("featherpad"), {path}));
        auto element = std::make_shared<UIElement>();
        // Its window is on screen before the accessibility bus knows it.
        QTRY_VERIFY(onAccessibilityThread([pid = other.pid(), element] {
            const auto app = Application::fromProcessId(pid);
            *element =
                app.value ? app.value->activeWindow().value.value_or(UIElement()) : UIElement();
            return !element->isNull() && element->name().value.has_value();
        }));
        other.stop();
        // The bus tells that the application is gone once it has seen its
        // connection close.
        AXError error = AXError::Success;
        QTRY_VERIFY2(onAccessibilityThread([element, &error] {
                         error = element->name().error;
                         return error == AXError::InvalidUIElement;
                     }),
                     qPrintable(axErrorText(error)));
        onAccessibilityThread([element] {
            *element = UIElement(); // dropped on the accessibility thread
            return true;
        });
    }

    void trustFollowsTheSessionSwitch()
    {
        QVERIFY(isProcessTrusted(false, m_keys));
        setAccessibilityEnabled(false);
        auto restore = qScopeGuard([] { setAccessibilityEnabled(true); });
        QVERIFY(!isProcessTrusted(false, m_keys));
        QVERIFY(isProcessTrusted(true, m_keys)); // the prompt turns it on
        QVERIFY(isProcessTrusted(false, m_keys));
    }

    // On GNOME the prompt also sets toolkit-accessibility, so the next login
    // has accessibility on; elsewhere it leaves gsettings alone. A stand-in
    // gsettings on PATH notes how it was called.
    void onGnomeThePromptLastsBeyondTheSession()
    {
        QTemporaryDir bin;
        QVERIFY(bin.isValid());
        const QString calls = bin.filePath(QStringLiteral("calls"));
        QFile script(bin.filePath(QStringLiteral("gsettings")));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(
            "#!/bin/sh\necho \"$XDG_CURRENT_DESKTOP $*\" >> \"$(dirname \"$0\")/calls\"\n");
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        const QByteArray path = qgetenv("PATH");
        const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP");
        auto restore = qScopeGuard([&] {
            qputenv("PATH", path);
            qputenv("XDG_CURRENT_DESKTOP", desktop);
        });
        qputenv("PATH", bin.path().toUtf8() + ':' + path);
        auto read = [&calls] {
            QFile file(calls);
            return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
        };

        qputenv("XDG_CURRENT_DESKTOP", "XFCE");
        QVERIFY(isProcessTrusted(true, m_keys));
        qputenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
        QVERIFY(isProcessTrusted(true, m_keys));
        // Only the GNOME prompt's call, once it has run.
        QTRY_COMPARE(read(), QStringLiteral("ubuntu:GNOME set org.gnome.desktop.interface "
                                            "toolkit-accessibility true\n"));
    }
};

QTEST_MAIN(AccessibilityDesktopTest)
#include "tst_accessibility_desktop.moc"
