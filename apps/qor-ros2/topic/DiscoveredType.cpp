#include "topic/DiscoveredType.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>
#include <vector>

#include "cli/CommandFailure.h"
#include "cli/GraphWait.h"
#include "cli/StopSignal.h"
#include "cli/UsageError.h"
#include "qorROS2/RosNames.h"
#include "topic/TopicListing.h"

namespace qorCli {
namespace {

// How often a topic that nobody publishes yet is looked for again, as ros2 does.
constexpr std::chrono::milliseconds kPublishedPoll{100};

// The types the endpoints of the topic `name` (resolved) announce, or nothing when no endpoint
// uses it.
std::optional<std::vector<std::string>> typesOf(const qorROS2::TopicDiscovery& discovery,
                                                const std::string& name) {
    for (qorROS2::DiscoveredTopic& found : discovery.topics()) {
        if (found.name == name) {
            return std::move(found.types);
        }
    }
    return std::nullopt;
}

// The known type that `types` names, in the words of ros2topic's _get_msg_class otherwise.
const qorROS2::typesupport::TypeSupport& knownType(const std::vector<std::string>& types,
                                                   const std::string& topic) {
    const std::string& name = soleType(types, topic);
    // Endpoints announce the full name; "pkg/Name" is what users type, not what the graph holds.
    const qorROS2::typesupport::TypeSupport* type = qorROS2::typesupport::findTypeSupport(name);
    if (type == nullptr || type->rosName() != name) {
        throw CommandFailure("The message type '" + name + "' is invalid");
    }
    return *type;
}

void warnNotPublished(const std::string& topic) {
    std::printf("WARNING: topic [%s] does not appear to be published yet\n", topic.c_str());
    std::fflush(stdout);
}

}  // namespace

const qorROS2::typesupport::TypeSupport& passedMessageType(const std::string& name) {
    try {
        return knownTypeSupport(name);
    } catch (const UsageError&) {
        throw CommandFailure("The passed message type is invalid");
    }
}

const qorROS2::typesupport::TypeSupport* announcedType(const qorROS2::TopicDiscovery& discovery,
                                                       const std::string& topic) {
    // The name the subscription will use, as ros2topic's get_msg_class expands it; a name rcl
    // refuses fails here, before any waiting.
    const std::string name = qorROS2::resolveTopicName(topic);
    // Without a daemon that has watched the graph all along, the topic is unknown only once
    // discovery has settled without it.
    waitUntilSettled([&] { return topicsSummary(discovery); }, std::nullopt,
                     [&] { return discovery.waitForTopic(name, kGraphPoll); });
    if (const auto types = typesOf(discovery, name)) {
        return &knownType(*types, topic);
    }
    warnNotPublished(topic);
    return nullptr;
}

const qorROS2::typesupport::TypeSupport& awaitedType(const qorROS2::TopicDiscovery& discovery,
                                                     const std::string& topic) {
    if (const qorROS2::typesupport::TypeSupport* type = announcedType(discovery, topic)) {
        return *type;
    }
    const std::string name = qorROS2::resolveTopicName(topic);
    for (;;) {
        throwIfStopRequested();
        if (const auto types = typesOf(discovery, name)) {
            return knownType(*types, topic);
        }
        std::this_thread::sleep_for(kPublishedPoll);
    }
}

}  // namespace qorCli
