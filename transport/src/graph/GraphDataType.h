#pragma once

// The middleware's view of the graph topic's type.

#include <cstdint>
#include <functional>

#include <fastdds/rtps/common/SerializedPayload.h>
#include <fastdds/dds/topic/TopicDataType.hpp>

#include "graph/GidLayout.h"
#include "graph/GraphModel.h"

namespace qorROS2::transport::graph {

/// The DDS type name of the graph topic.
inline constexpr const char* kGraphTypeName = "rmw_dds_common::msg::dds_::ParticipantEntitiesInfo_";

/// The DDS topic on which ROS 2 participants announce their nodes; it has no "rt/" prefix.
inline constexpr const char* kGraphTopicName = "ros_discovery_info";

/// The type hash that the graph topic's writers and readers announce in `layout`: that of
/// rmw_dds_common/msg/ParticipantEntitiesInfo with 16-byte gids from Iron on, and none before
/// Iron, whose releases announce no type hash at all.
const char* graphTypeHash(GidLayout layout);

/// What a take of the graph topic decodes into, and what a reader counts about it.
struct GraphSlot {
    ParticipantEntities entities;
    std::uint64_t undecodable = 0;  ///< samples of neither layout, dropped
};

/// Writes ParticipantEntities in the layout given at construction, and reads samples of either
/// layout into a GraphSlot. Runs inside the middleware, so it lets no exception out.
class GraphDataType final : public eprosima::fastdds::dds::TopicDataType {
  public:
    explicit GraphDataType(GidLayout layout);

    bool serialize(void* data, eprosima::fastrtps::rtps::SerializedPayload_t* payload) override;
    bool deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* payload, void* data) override;
    std::function<std::uint32_t()> getSerializedSizeProvider(void* data) override;
    void* createData() override;
    void deleteData(void* data) override;
    bool getKey(void*, eprosima::fastrtps::rtps::InstanceHandle_t*, bool) override;

  private:
    GidLayout m_layout;
};

}  // namespace qorROS2::transport::graph
