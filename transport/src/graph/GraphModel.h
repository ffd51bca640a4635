#pragma once

// What one participant tells the ROS 2 graph, independent of the gid layout it travels in.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace qorROS2::transport::graph {

/// A DDS GUID: the 12-byte prefix of its participant, then the 4-byte entity id.
using Guid = std::array<std::uint8_t, 16>;

/// One ROS node and the GUIDs of its readers and writers.
struct NodeEntities {
    std::string nodeNamespace;  ///< "/" or "/robot"
    std::string nodeName;       ///< "qor_ros2_demo"
    std::vector<Guid> readers;
    std::vector<Guid> writers;

    bool operator==(const NodeEntities& other) const {
        return nodeNamespace == other.nodeNamespace && nodeName == other.nodeName &&
               readers == other.readers && writers == other.writers;
    }
};

/// A participant and its nodes, as one sample of the graph topic carries them.
struct ParticipantEntities {
    Guid participant{};
    std::vector<NodeEntities> nodes;

    bool operator==(const ParticipantEntities& other) const {
        return participant == other.participant && nodes == other.nodes;
    }
};

}  // namespace qorROS2::transport::graph
