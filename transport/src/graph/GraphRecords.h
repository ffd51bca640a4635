#pragma once

// The records of the ROS 2 graph topic, as the DDS layers of ROS 2 define them in the package
// rmw_dds_common. They are the transport's own: no application publishes them, so they are not
// among the public records, but they travel through the same codec and field lists.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/MessageFields.h"

namespace qorROS2::transport::graph {

/// The id of a participant or an endpoint: its 16-byte DDS GUID, zero padded to N bytes.
template <std::size_t N>
struct GidRecord {
    std::array<std::uint8_t, N> data;  ///< GUID prefix (12 bytes), entity id (4), then zeros
};

/// One ROS node and the DDS endpoints it owns.
template <std::size_t N>
struct NodeEntitiesInfoRecord {
    std::string node_namespace;                ///< absolute, "/" at the root
    std::string node_name;                     ///< without its namespace
    std::vector<GidRecord<N>> reader_gid_seq;  ///< the node's readers
    std::vector<GidRecord<N>> writer_gid_seq;  ///< the node's writers
};

/// What one participant announces on the graph topic: itself and its nodes.
template <std::size_t N>
struct ParticipantEntitiesInfoRecord {
    GidRecord<N> gid;                                               ///< the participant's own id
    std::vector<NodeEntitiesInfoRecord<N>> node_entities_info_seq;  ///< its nodes
};

/// The layout of ROS 2 Humble and earlier: 24-byte gids.
namespace humble {
using Gid = GidRecord<24>;
using NodeEntitiesInfo = NodeEntitiesInfoRecord<24>;
using ParticipantEntitiesInfo = ParticipantEntitiesInfoRecord<24>;
}  // namespace humble

/// The layout of ROS 2 Iron and later: 16-byte gids.
namespace iron {
using Gid = GidRecord<16>;
using NodeEntitiesInfo = NodeEntitiesInfoRecord<16>;
using ParticipantEntitiesInfo = ParticipantEntitiesInfoRecord<16>;
}  // namespace iron

}  // namespace qorROS2::transport::graph

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(transport::graph::humble, Gid, "rmw_dds_common", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(transport::graph::humble, NodeEntitiesInfo, "rmw_dds_common",
                         QORROS2_FIELD(node_namespace), QORROS2_FIELD(node_name),
                         QORROS2_FIELD(reader_gid_seq), QORROS2_FIELD(writer_gid_seq));
QORROS2_DESCRIBE_MESSAGE(transport::graph::humble, ParticipantEntitiesInfo, "rmw_dds_common",
                         QORROS2_FIELD(gid), QORROS2_FIELD(node_entities_info_seq));

QORROS2_DESCRIBE_MESSAGE(transport::graph::iron, Gid, "rmw_dds_common", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(transport::graph::iron, NodeEntitiesInfo, "rmw_dds_common",
                         QORROS2_FIELD(node_namespace), QORROS2_FIELD(node_name),
                         QORROS2_FIELD(reader_gid_seq), QORROS2_FIELD(writer_gid_seq));
QORROS2_DESCRIBE_MESSAGE(transport::graph::iron, ParticipantEntitiesInfo, "rmw_dds_common",
                         QORROS2_FIELD(gid), QORROS2_FIELD(node_entities_info_seq));

}  // namespace qorROS2
