#pragma once

// What the interop tests share: where the peer is, the domain and topics a test uses, and how a
// peer's printout is compared with a record's rendering.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/MessageFields.h"

namespace qorInterop {

/// Long enough for discovery and a 2 MB sample on a loaded machine; a passing test takes a
/// fraction of it.
constexpr std::chrono::milliseconds patience{15000};

/// The Cyclone DDS peer program.
inline std::string peerProgram() {
    return QOR_CYCLONE_PEER;
}

/// A DDS domain of this test process's own, so that tests running side by side on this host do
/// not meet. Domains up to 99 keep every discovery and data port below the ephemeral range.
inline std::int8_t interopDomain() {
    return static_cast<std::int8_t>(40 + getpid() % 60);
}

/// A ROS 2 topic name unique to this process and `what`.
inline std::string interopTopic(const std::string& what) {
    return "interop/" + what + "_" + std::to_string(getpid());
}

/// The first line where `printed` differs from `expected`, or an empty string when they are
/// equal. Long lines are cut, so that a failing 2 MB image does not flood the log.
inline std::string firstDifference(const std::vector<std::string>& expected,
                                   const std::vector<std::string>& printed) {
    const auto cut = [](const std::string& line) {
        return line.size() > 160
                   ? line.substr(0, 160) + "... (" + std::to_string(line.size()) + " characters)"
                   : line;
    };
    const std::size_t common = std::min(expected.size(), printed.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (expected[i] != printed[i]) {
            return "line " + std::to_string(i) + ": expected '" + cut(expected[i]) +
                   "', printed '" + cut(printed[i]) + "'";
        }
    }
    if (expected.size() != printed.size()) {
        return std::to_string(expected.size()) + " lines expected, " +
               std::to_string(printed.size()) + " printed; first extra: '" +
               cut(expected.size() > printed.size() ? expected[common] : printed[common]) + "'";
    }
    return "";
}

}  // namespace qorInterop
