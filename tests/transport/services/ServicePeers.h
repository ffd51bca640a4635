#pragma once

// What the tests against peers of other middlewares share: names, limits, the peer's lines, and
// a service peer started and waited for.

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "PeerProcess.h"
#include "WaitFor.h"

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

/// A std_srvs/srv/SetBool client or server of another middleware in a process of its own: the
/// peer `program` (its command line is qorTest::ServicePeerArguments) started as `role`
/// ("client" or "server") for `count` calls of `service` (peerServiceName()) in `domain`, with
/// kPeerDeadline to finish them.
class ServicePeer : public qorInterop::PeerProcess {
  public:
    /// Starts the peer and waits until it says its endpoints exist. Throws std::runtime_error
    /// with what the peer wrote when it does not say so within kPeerDeadline.
    ServicePeer(const char* program, const std::string& role, std::int8_t domain,
                const std::string& service, int count)
        : PeerProcess({program, role, std::to_string(domain), service, std::to_string(count),
                       std::to_string(kPeerDeadline.count())}) {
        if (!waitForLine("ready", Deadline(kPeerDeadline))) {
            throw std::runtime_error("the " + role + " peer never became ready\n" + transcript());
        }
    }

    /// Waits for the peer's end, kPeerDeadline at most: its exit code, none when it has not
    /// ended.
    std::optional<int> finish() { return waitForExit(Deadline(kPeerDeadline)); }
};

}  // namespace qorTest
