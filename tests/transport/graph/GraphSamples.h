#pragma once

// Graph announcements for the tests: a participant with a few nodes, in our model and as the
// JSON values the independent peer compares with.

#include <cstddef>
#include <cstdint>
#include <string>

#include "graph/GidLayout.h"
#include "graph/GraphModel.h"

namespace qorTest {

/// A GUID whose bytes are `first`, `first + 1`, ... (wrapping).
inline qorROS2::transport::graph::Guid guidFrom(std::uint8_t first) {
    qorROS2::transport::graph::Guid guid{};
    for (std::size_t i = 0; i < guid.size(); ++i) {
        guid[i] = static_cast<std::uint8_t>(first + i);
    }
    return guid;
}

/// A participant with no node, one with one bare node, and one with two nodes and endpoints.
inline qorROS2::transport::graph::ParticipantEntities sampleParticipant(unsigned variant) {
    using namespace qorROS2::transport::graph;
    ParticipantEntities entities;
    entities.participant = guidFrom(static_cast<std::uint8_t>(0x10 * (variant + 1)));
    if (variant >= 1) {
        entities.nodes.push_back(NodeEntities{"/", "qor_ros2_demo", {}, {}});
    }
    if (variant >= 2) {
        entities.nodes.front().writers = {guidFrom(0xa0), guidFrom(0xb0)};
        entities.nodes.front().readers = {guidFrom(0xc0)};
        entities.nodes.push_back(
            NodeEntities{"/robot/arm", "x", {guidFrom(0x01)}, {guidFrom(0xf0)}});
    }
    return entities;
}

inline constexpr unsigned kSampleParticipants = 3;

inline std::string gidJson(const qorROS2::transport::graph::Guid& guid,
                           qorROS2::transport::graph::GidLayout layout) {
    std::string out = "{\"data\":[";
    const auto size = static_cast<std::size_t>(layout);
    for (std::size_t i = 0; i < size; ++i) {
        out += (i == 0 ? "" : ",") + std::to_string(i < guid.size() ? guid[i] : 0);
    }
    return out + "]}";
}

inline std::string gidListJson(const std::vector<qorROS2::transport::graph::Guid>& guids,
                               qorROS2::transport::graph::GidLayout layout) {
    std::string out = "[";
    for (std::size_t i = 0; i < guids.size(); ++i) {
        out += (i == 0 ? "" : ",") + gidJson(guids[i], layout);
    }
    return out + "]";
}

/// The values of `entities` as the peer prints a decoded message, fields in definition order.
inline std::string participantJson(const qorROS2::transport::graph::ParticipantEntities& entities,
                                   qorROS2::transport::graph::GidLayout layout) {
    std::string out =
        "{\"gid\":" + gidJson(entities.participant, layout) + ",\"node_entities_info_seq\":[";
    for (std::size_t i = 0; i < entities.nodes.size(); ++i) {
        const auto& node = entities.nodes[i];
        out += (i == 0 ? "" : ",");
        out += "{\"node_namespace\":\"" + node.nodeNamespace + "\",\"node_name\":\"" +
               node.nodeName + "\",\"reader_gid_seq\":" + gidListJson(node.readers, layout) +
               ",\"writer_gid_seq\":" + gidListJson(node.writers, layout) + "}";
    }
    return out + "]}";
}

}  // namespace qorTest
