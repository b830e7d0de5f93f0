// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

// What the desktop benchmarks share. They define VELLUMO_SOURCE_DIR.
namespace BenchSupport {

// The sample below which a share p (0 to 1) of the samples lie; 0 for none.
inline double percentile(std::vector<double> samples, double p)
{
    if (samples.empty()) {
        return 0;
    }
    std::sort(samples.begin(), samples.end());
    const size_t index = std::min(samples.size() - 1, size_t(p * double(samples.size())));
    return samples[index];
}

// Never on the user's own desktop: when not on a private test desktop yet,
// the benchmark starts again on one (scripts/test-desktop run), with its
// arguments. Returns only when that failed, with the exit code to end with.
inline int runOnPrivateDesktop(int argc, char **argv)
{
    const QByteArray script = VELLUMO_SOURCE_DIR "/scripts/test-desktop";
    std::vector<char *> args{const_cast<char *>(script.constData()), const_cast<char *>("run"),
                             argv[0]};
    for (int i = 1; i < argc; ++i) {
        args.push_back(argv[i]);
    }
    args.push_back(nullptr);
    execv(script.constData(), args.data());
    std::perror("test-desktop");
    return 1;
}

} // namespace BenchSupport
