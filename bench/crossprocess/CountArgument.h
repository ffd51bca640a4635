#pragma once

// The one optional argument of a benchmark that runs alone: how many times to do its work.

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace qorROS2::bench {

/// Reads `argv[1]`, when given, as a whole number from 1 to 1,000,000 into `count`, which keeps
/// its default otherwise. "--help", "1e3" or a second argument print `usage` (a line naming the
/// program and its argument) on stderr and give false: a benchmark must never quietly run once.
inline bool readCountArgument(int argc, char** argv, const char* usage, int& count) {
    if (argc == 1) {
        return true;
    }
    char* end = nullptr;
    errno = 0;
    const long value = argc == 2 ? std::strtol(argv[1], &end, 10) : 0;
    if (argc == 2 && end != argv[1] && *end == '\0' && errno == 0 && value >= 1 &&
        value <= 1000000) {
        count = static_cast<int>(value);
        return true;
    }
    std::fprintf(stderr, "usage: %s\n  a whole number from 1 to 1000000 (%d by default)\n", usage,
                 count);
    return false;
}

}  // namespace qorROS2::bench
