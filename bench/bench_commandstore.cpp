// SPDX-License-Identifier: GPL-3.0-or-later
// How long the popup's list takes to compute from the store, with many
// stored commands. Prints the median and 90th percentile of each case.
#include "AICommand.h"
#include "CommandStore.h"
#include "DefaultsStore.h"
#include "Settings.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct Figures {
    double median;
    double p90;
};

template <typename F, typename S> Figures measure(int runs, F &&body, S &&setup)
{
    std::vector<double> samples;
    samples.reserve(runs);
    for (int i = 0; i < runs; ++i) {
        setup();
        QElapsedTimer timer;
        timer.start();
        body();
        samples.push_back(timer.nsecsElapsed() / 1e6);
    }
    std::sort(samples.begin(), samples.end());
    return {samples[samples.size() / 2], samples[samples.size() * 9 / 10]};
}

template <typename F> Figures measure(int runs, F &&body)
{
    return measure(runs, body, [] {});
}

void report(const char *name, Figures figures)
{
    std::printf("%-58s median %8.3f ms   p90 %8.3f ms\n", name, figures.median, figures.p90);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toUtf8());

    for (int count : {0, 1000, 10000}) {
        QList<AICommand> commands;
        for (int i = 0; i < count; ++i) {
            commands.append(AICommand(QStringLiteral("✨ Stored command number %1").arg(i),
                                      QStringLiteral("Do thing %1 with: {text}").arg(i)));
        }
        CommandStore::saveStoredCommands(commands);
        const QByteArray label = QByteArray::number(count) + " stored commands";
        report((label + ", empty search").constData(),
               measure(50, [] { (void)CommandStore::availableCommands(QString()); }));
        report((label + ", search \"german\"").constData(), measure(50, [] {
                   (void)CommandStore::availableCommands(QStringLiteral("german"));
               }));
        report((label + ", load only").constData(),
               measure(50, [] { (void)CommandStore::loadStoredCommands(); }));
        // The first read after the stored value changed decodes it afresh.
        const QByteArray encoded = AICommand::encodeList(commands);
        int variant = 0;
        report((label + ", first read after a change").constData(),
               measure(
                   20, [] { (void)CommandStore::availableCommands(QString()); },
                   [&] {
                       Settings::standard().setPrompts(encoded + QByteArray(++variant % 7, ' '));
                   }));
    }
    return 0;
}
