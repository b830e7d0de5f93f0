// SPDX-License-Identifier: GPL-3.0-or-later
// How long a key press takes in the command popup when the user has 1,000
// commands stored: from the key event to the repainted popup, with the list
// recomputed from the store and the provider's key re-read from the keyring,
// as every key press does. A frame at 60 Hz is 16.7 ms.
//
// It needs a real keyring; started without one (scripts/bench runs it in a
// plain throwaway session) it starts itself again in a session that has one.
#include "AICommand.h"
#include "BaseInstructionsService.h"
#include "CommandStore.h"
#include "ContentView.h"
#include "FakePopupSupport.h"
#include "KeychainService.h"
#include "SearchField.h"
#include "VendorConfig.h"
#include "VendorManager.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QProcess>
#include <QTest>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct Figures {
    double median;
    double p90;
    double worst;
};

template <typename F> Figures measure(int runs, F &&body)
{
    std::vector<double> samples;
    samples.reserve(runs);
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        body(i);
        samples.push_back(timer.nsecsElapsed() / 1e6);
    }
    std::sort(samples.begin(), samples.end());
    return {samples[samples.size() / 2], samples[samples.size() * 9 / 10], samples.back()};
}

void report(const char *name, Figures figures)
{
    std::printf("%-52s median %7.2f ms   p90 %7.2f ms   worst %7.2f ms\n", name, figures.median,
                figures.p90, figures.worst);
}

int restartWithKeyring(int argc, char *argv[])
{
    QStringList arguments{QStringLiteral("--keyring"), QString::fromLocal8Bit(argv[0])};
    for (int i = 1; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    qputenv("VELLUMO_BENCH_WITH_KEYRING", "1");
    QProcess session;
    session.setProcessChannelMode(QProcess::ForwardedChannels);
    session.start(QStringLiteral(VELLUMO_SOURCE_DIR "/scripts/test-session"), arguments);
    session.waitForFinished(-1);
    return session.exitCode();
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_BENCH_WITH_KEYRING")) {
        return restartWithKeyring(argc, argv);
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_SESSION")) {
        std::fprintf(stderr, "run inside scripts/test-session\n");
        return 1;
    }

    const int count = 1000;
    QList<AICommand> commands;
    for (int i = 0; i < count; ++i) {
        commands.append(AICommand(QStringLiteral("✨ Stored command number %1").arg(i),
                                  QStringLiteral("Do thing %1 with: {text}").arg(i)));
    }
    CommandStore::saveStoredCommands(commands);
    if (!KeychainService::shared().storeAPIKey(QStringLiteral("sk-bench"), AIVendor::openai)) {
        std::fprintf(stderr, "no keyring\n");
        return 1;
    }
    VendorManager vendors;
    vendors.setDefaultVendor(AIVendor::openai);
    // The opaque panel, as on a desktop without a compositor.
    const platform::fake::PopupSupport popups;

    std::printf("%d stored commands, popup 360x340, %s platform\n", count,
                qPrintable(QGuiApplication::platformName()));

    QElapsedTimer opening;
    opening.start();
    QWidget window(nullptr, Qt::Popup | Qt::FramelessWindowHint);
    auto *view = new ContentView(QStringLiteral("Some selected text."), vendors,
                                 KeychainService::shared(), popups, &window);
    auto *layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    window.resize(view->sizeHint());
    window.show();
    window.repaint();
    std::printf("%-52s %7.2f ms\n", "first popup of the process built, shown, painted",
                opening.nsecsElapsed() / 1e6);
    if (!QTest::qWaitForWindowExposed(&window) || view->isShowingNotConfigured()) {
        std::fprintf(stderr, "the popup did not show its list\n");
        return 1;
    }
    QLineEdit *line = view->searchField()->lineEdit();

    // Each sample: one key event, then a synchronous repaint of the popup.
    auto press = [&](Qt::Key key, const QString &text = QString()) {
        if (text.isEmpty()) {
            QTest::keyClick(line, key);
        } else {
            QTest::keyClick(line, text.at(0).toLatin1());
        }
        window.repaint();
    };

    report("repaint alone, no key", measure(100, [&](int) { window.repaint(); }));
    report("Down (list of 1,008 rows)", measure(100, [&](int) { press(Qt::Key_Down); }));
    report("Up (list of 1,008 rows)", measure(100, [&](int) { press(Qt::Key_Up); }));

    // Typing "n" then deleting it: every press changes the search, so the
    // list is read from the store, filtered and shown again.
    report("type a letter that keeps all rows", measure(100, [&](int i) {
               if (i % 2 == 0) {
                   press(Qt::Key_N, QStringLiteral("n"));
               } else {
                   press(Qt::Key_Backspace);
               }
           }));
    line->clear();
    report("type a letter that narrows to one-off", measure(100, [&](int i) {
               if (i % 2 == 0) {
                   press(Qt::Key_Q, QStringLiteral("q"));
               } else {
                   press(Qt::Key_Backspace);
               }
           }));
    line->setText(QStringLiteral("number 99"));
    report("type a digit in \"number 99\" (11 -> 1 rows)", measure(100, [&](int i) {
               if (i % 2 == 0) {
                   press(Qt::Key_9, QStringLiteral("9"));
               } else {
                   press(Qt::Key_Backspace);
               }
           }));
    report("filteredCommands() alone, empty search", measure(100, [&](int) {
               line->clear();
               (void)view->filteredCommands();
           }));
    // Later popups, with fonts and styles already loaded in the process.
    report("another popup built, shown and painted", measure(20, [&](int) {
               QWidget another(nullptr, Qt::Popup | Qt::FramelessWindowHint);
               auto *content = new ContentView(QStringLiteral("Text."), vendors,
                                               KeychainService::shared(), popups, &another);
               auto *box = new QVBoxLayout(&another);
               box->setContentsMargins(0, 0, 0, 0);
               box->addWidget(content);
               another.resize(content->sizeHint());
               another.show();
               another.repaint();
           }));
    report("providerReady() alone (keyring read)",
           measure(100, [&](int) { (void)view->providerReady(); }));
    return 0;
}
