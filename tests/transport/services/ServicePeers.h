#pragma once

// What the tests against peers of other middlewares share: names, limits and the peer's lines.

#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "PeerProcess.h"

namespace qorTest {

/// How long a peer may take to start, match and finish.
inline constexpr std::chrono::milliseconds kPeerDeadline{20000};

inline constexpr const char* kSetBoolType = "std_srvs/srv/SetBool";

/// A service name of this process, without the leading '/', as a peer writes DDS topics.
inline std::string peerServiceName(const std::string& name) {
    return "qor_test/p" + std::to_string(::getpid()) + "/" + name;
}

/// The lines of the peer's output that start with `start`, in order.
inline std::vector<std::string> linesStartingWith(const qorInterop::PeerProcess& peer,
                                                  const std::string& start) {
    std::vector<std::string> found;
    for (const std::string& line : peer.lines()) {
        if (line.rfind(start, 0) == 0) {
            found.push_back(line);
        }
    }
    return found;
}

}  // namespace qorTest
