#pragma once

// The message type of a topic: the one the user passed, or the one the topic's endpoints
// announce, looked up as ros2topic's get_msg_class looks it up.

#include <string>
#include <vector>

#include "cli/CommandFailure.h"
#include "qorROS2/TopicDiscovery.h"
#include "types/MessageTypes.h"

namespace qorCli {

/// The one type in `types`, what the endpoints of `topic` (named as the user gave it) announce.
/// Throws CommandFailure "Cannot echo topic '/x', as it contains more than one type: [a, b]" for
/// several: ros2's words, whichever verb asked.
inline const std::string& soleType(const std::vector<std::string>& types,
                                   const std::string& topic) {
    if (types.empty()) {
        // An endpoint announces its type with its topic: the graph never lists a topic without.
        throw CommandFailure("Could not determine the type for the passed topic");
    }
    if (types.size() > 1) {
        std::string all;
        for (const std::string& type : types) {
            all += (all.empty() ? "" : ", ") + type;
        }
        throw CommandFailure("Cannot echo topic '" + topic +
                             "', as it contains more than one type: [" + all + "]");
    }
    return types.front();
}

/// The type named `name` ("pkg/msg/Name" or "pkg/Name") that the user passed to a topic verb.
/// Throws CommandFailure "The passed message type is invalid", as ros2 does, for any other name.
const qorROS2::typesupport::TypeSupport& passedMessageType(const std::string& name);

/// The type that the endpoints of `topic` announce, once `discovery` has seen the topic or has
/// settled without it. Without any endpoint, prints ros2's
/// "WARNING: topic [/x] does not appear to be published yet" on stdout and returns nullptr.
/// `topic` is resolved as the subscription of the command resolves it (resolveTopicName():
/// "chatter" is "/chatter" in the namespace "/"). Throws std::invalid_argument in rcl's words for
/// a name rcl refuses, CommandFailure, in ros2's words, when the topic carries several types or
/// one the tool does not know, and StopRequested on Ctrl-C.
const qorROS2::typesupport::TypeSupport* announcedType(const qorROS2::TopicDiscovery& discovery,
                                                       const std::string& topic);

/// As announcedType, but after the warning keeps looking until an endpoint of `topic` appears,
/// as ros2's `topic bw`, `delay` and `hz` wait for a topic that nobody publishes yet.
const qorROS2::typesupport::TypeSupport& awaitedType(const qorROS2::TopicDiscovery& discovery,
                                                     const std::string& topic);

}  // namespace qorCli
