#pragma once

// A network of the test's own: the process leaves the machine's network namespace for a new one
// with nothing but loopback, and ROS 2 discovery stays on that loopback. Participants made
// afterwards, in this process or in programs it starts, find each other and nobody else, on
// whatever domain: no packet of theirs reaches another test's, and none reaches them.

#include <sched.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace qorTest {

/// Moves the calling thread, and every thread and child process it starts from then on, into a
/// network namespace of its own with loopback up, and sets ROS_AUTOMATIC_DISCOVERY_RANGE to
/// LOCALHOST (discovery by unicast to 127.0.0.1 only, no multicast, so nothing crosses into
/// another namespace through shared memory either). Call it before the process first asks for
/// its ROS environment (when it makes its first participant, at the latest): the transport reads
/// the variables once. Needs CAP_SYS_ADMIN. Returns what failed, or "" when the network is
/// private.
inline std::string enterPrivateNetwork() {
    if (::unshare(CLONE_NEWNET) != 0) {
        return std::string("unshare(CLONE_NEWNET) failed: ") + std::strerror(errno);
    }
    // The shell runs in the new namespace, since it is started from this thread.
    if (std::system("ip link set lo up") != 0) {
        return "ip link set lo up failed in the new network namespace";
    }
    ::setenv("ROS_AUTOMATIC_DISCOVERY_RANGE", "LOCALHOST", 1);
    return "";
}

}  // namespace qorTest
