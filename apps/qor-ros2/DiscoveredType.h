#pragma once

// The message type of a topic given without one, as its endpoints announce it.

#include <cstdint>
#include <string>

#include "MessageTypes.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// The type of the messages on `topic`, as the endpoints that `discovery` (watching `domain`)
/// sees announce it. Throws UsageError when no endpoint appears in time, when they use several
/// types, or when the type is not one of the known ones; `verb` words the hint.
const MessageType& discoveredType(const qorROS2::TopicDiscovery& discovery,
                                  const std::string& topic, std::int8_t domain,
                                  const std::string& verb);

}  // namespace qorCli
