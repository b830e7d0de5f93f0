#include "TestSupport.h"

#include <QByteArray>
#include <QTemporaryFile>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace TestSupport {

void requireThrowawayEnvironment()
{
    if (qEnvironmentVariableIsEmpty("VELLUMO_TEST_SESSION")) {
        std::cerr << "This test must run inside scripts/test-session (ctest does that); "
                     "it would otherwise use your own settings and keyring.\n";
        std::abort();
    }
}

QString captureStdout(const std::function<void()> &body)
{
    std::cout.flush();
    std::fflush(stdout);
    QTemporaryFile file;
    if (!file.open()) {
        body();
        return {};
    }
    const int saved = dup(STDOUT_FILENO);
    dup2(file.handle(), STDOUT_FILENO);
    body();
    std::cout.flush();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    file.seek(0);
    return QString::fromUtf8(file.readAll());
}

} // namespace TestSupport
