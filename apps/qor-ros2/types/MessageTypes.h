#pragma once

// The 89 message types the tool knows, by their ROS 2 names, with what each command does for them.

#include <string>
#include <vector>

#include "topic/TopicOptions.h"

namespace qorCli {

/// One message type and its commands, instantiated for its record.
struct MessageType {
    std::string name;                     ///< "sensor_msgs/msg/JointState"
    int (*publish)(const TopicOptions&);  ///< `topic pub`
    int (*echo)(const TopicOptions&);     ///< `topic echo`
};

/// Every type, sorted by name.
const std::vector<MessageType>& messageTypes();

/// The type named "pkg/msg/Name" or "pkg/Name"; throws UsageError for any other name.
const MessageType& findMessageType(const std::string& name);

/// The type support of the type named "pkg/msg/Name" or "pkg/Name"; throws UsageError, in the
/// words findMessageType uses, for any other name.
const qorROS2::typesupport::TypeSupport& knownTypeSupport(const std::string& name);

}  // namespace qorCli
