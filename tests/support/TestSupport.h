#pragma once

#include <QString>
#include <functional>

namespace TestSupport {

// Fails loudly unless the test runs inside scripts/test-session or
// scripts/test-desktop, so a test started by hand never touches the user's
// own settings or keyring.
void requireThrowawayEnvironment();

// Captures what a callable writes to standard output (the application's
// console lines go there).
QString captureStdout(const std::function<void()> &body);

} // namespace TestSupport
