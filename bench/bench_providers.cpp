// SPDX-License-Identifier: GPL-3.0-or-later
// What the provider layer itself costs around one command: decoding an
// answer, one whole send to the local HTTPS provider (key read, TLS
// handshake, request, decode), loading the manager, and a paged model list.
// The network part is loopback, so the figures are our overhead, not a
// provider's. Prints the median and 90th percentile of each case.
#include "AIVendorFactory.h"
#include "FakeProvider.h"
#include "KeychainService.h"
#include "OpenAIAPIClient.h"
#include "VendorManager.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace {

template <typename F> void report(const char *name, int runs, F &&body)
{
    std::vector<double> samples;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        body();
        samples.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(samples.begin(), samples.end());
    std::printf("%-48s median %8.3f ms   p90 %8.3f ms   (%d runs)\n", name,
                samples[samples.size() / 2], samples[samples.size() * 9 / 10], runs);
}

template <typename T> bool wait(const QFuture<T> &future)
{
    const QDeadlineTimer deadline(30000);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return future.isFinished();
}

} // namespace

int main(int argc, char *argv[])
{
    // Keys need a Secret Service: run once more inside a throwaway keyring.
    if (qEnvironmentVariableIsEmpty("VELLUMO_BENCH_IN_KEYRING")) {
        setenv("VELLUMO_BENCH_IN_KEYRING", "1", 1);
        const QByteArray session = VELLUMO_SOURCE_DIR "/scripts/test-session";
        execl(session.constData(), session.constData(), "--keyring", argv[0], nullptr);
        std::perror("scripts/test-session");
        return 1;
    }
    qputenv("VELLUMO_SOURCE_DIR", VELLUMO_SOURCE_DIR);
    QCoreApplication app(argc, argv);

    FakeProvider fake;
    if (!fake.start()) {
        std::fprintf(stderr, "fake provider: %s\n", qPrintable(fake.errorString()));
        return 1;
    }
    for (AIVendor vendor : AIVendors::allCases()) {
        KeychainService::shared().storeAPIKey(QStringLiteral("sk-bench"), vendor);
    }

    const QByteArray body = QByteArrayLiteral(
        R"({"id":"chatcmpl-1","object":"chat.completion","choices":[{"index":0,"message":)"
        R"({"role":"assistant","content":"Guten Tag! Wie geht es Ihnen heute?","refusal":null},)"
        R"("finish_reason":"stop"}],"usage":{"prompt_tokens":120,"completion_tokens":12}})");
    report("decode an OpenAI answer", 2000, [&]() { OpenAIAPIClient::extractAnswer(body); });

    report("key store read (gnome-keyring)", 50,
           [&]() { KeychainService::shared().retrieveAPIKey(AIVendor::openai); });

    for (AIVendor vendor : AIVendors::allCases()) {
        VendorConfig config = AIVendors::defaultConfig(vendor);
        config.apiHost = fake.host();
        const QByteArray name =
            "send to local " + AIVendors::rawValue(vendor).toUtf8() + " (new TLS connection)";
        bool ok = true;
        report(name.constData(), 30, [&]() {
            ok = wait(AIVendorFactory::makeClient(config)->sendMessage(
                     QStringLiteral("Guten Tag"))) &&
                 ok;
        });
        if (!ok) {
            std::fprintf(stderr, "a send did not finish\n");
        }
    }

    report("load VendorManager (3 configs, 3 key reads)", 30, []() { VendorManager manager; });

    VendorManager manager;
    VendorConfig gemini = AIVendors::defaultConfig(AIVendor::gemini);
    gemini.apiHost = fake.host();
    manager.updateConfiguration(AIVendor::gemini, gemini);
    report("Gemini model list, 3 pages", 20,
           [&]() { wait(manager.fetchModels(AIVendor::gemini)); });
    return 0;
}
