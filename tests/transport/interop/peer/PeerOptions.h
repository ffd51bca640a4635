#pragma once

// The command line of the Cyclone DDS peer.

#include <cstdint>
#include <string>
#include <vector>

/// What the peer is asked to do.
struct PeerOptions {
    enum class Mode { Echo, Print };

    Mode mode = Mode::Print;
    std::string type;            ///< ROS 2 type name, "sensor_msgs/msg/JointState"
    std::string inTopic;         ///< ROS 2 topic read, without the DDS prefix "rt/"
    std::string outTopic;        ///< ROS 2 topic written by echo
    std::uint32_t count = 1;     ///< samples to handle before finishing
    bool reliableReader = true;  ///< the reader's reliability; echo's writer is always reliable
    std::uint32_t domain = 0;    ///< DDS domain id
    std::uint32_t timeoutMs = 20000;  ///< gives up, with exit status 2, after this long
    std::string enclave;  ///< folder of the DDS Security files to use; empty: no security
};

/// How to call the peer.
extern const char* const peerUsage;

/// Reads the arguments after the program name. Throws std::invalid_argument naming the argument
/// that is wrong.
PeerOptions parsePeerOptions(const std::vector<std::string>& arguments);
