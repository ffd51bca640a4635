#pragma once

// ROS 2 topic names, how a node expands them, and the DDS topic names they travel under.

#include <string>

namespace qorROS2::transport::common {

/// Which kind of name a refusal talks about: topics and services follow the same rules.
enum class NameKind { Topic, Service };

/// `name` expanded for the node `nodeName` in `nodeNamespace`, as rcl_expand_topic_name()
/// does: "~" becomes the node's fully qualified name, "{node}" its name, "{ns}" and
/// "{namespace}" its namespace, and a relative result is put in the namespace ("joint_states" in
/// "/robot1" gives "/robot1/joint_states"). The result is not yet checked as a full name (see
/// checkFullTopicName()). Throws std::invalid_argument with rcl's reason and the index at which
/// `name` breaks it.
std::string expandTopicName(const std::string& name, const std::string& nodeName,
                            const std::string& nodeNamespace, NameKind kind = NameKind::Topic);

/// Throws std::invalid_argument with rmw's reason and the index when `fullName` is not a valid
/// fully qualified topic name; `given` is the name it was resolved from, for the message.
void checkFullTopicName(const std::string& fullName, const std::string& given,
                        NameKind kind = NameKind::Topic);

/// The DDS topic on which ROS 2 carries the fully qualified topic `rosTopic`: "rt/clock" for
/// "/clock".
std::string ddsTopicName(const std::string& fullyQualifiedRosTopic);

}  // namespace qorROS2::transport::common
