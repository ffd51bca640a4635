#include "cli/QosArguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "cli/CommandOptions.h"
#include "cli/StopSignal.h"
#include "qorROS2/RosNames.h"

namespace qorCli {
namespace {

// How long a subscription looks for publishers to adapt to when it starts, and how long it
// keeps looking once it has found one, for the others of the same topic.
constexpr std::chrono::milliseconds kPublisherWait{1500};
constexpr std::chrono::milliseconds kMorePublishersWait{250};

std::vector<qorROS2::DiscoveredEndpoint> publishersOf(const qorROS2::TopicDiscovery& discovery,
                                                      const std::string& topic) {
    std::vector<qorROS2::DiscoveredEndpoint> publishers;
    for (qorROS2::DiscoveredEndpoint& endpoint : discovery.endpoints()) {
        if (endpoint.publisher && endpoint.topic == topic) {
            publishers.push_back(std::move(endpoint));
        }
    }
    return publishers;
}

}  // namespace

void addQosOptions(CLI::App& verb, QosFlags& flags, const std::string& entity,
                   const std::string& defaultProfile) {
    const qorROS2::QOS defaults = qosFromFlags(
        defaultProfile, {}, entity == "publish" ? QosRole::PUBLISHER : QosRole::SUBSCRIPTION);
    addChoice(verb, "--qos-profile", flags.profile, qosProfileNames(),
              "Quality of service preset profile to " + entity +
                  " with (default: " + defaultProfile + ")");
    addInt(verb, "--qos-depth", flags.depth, "N",
           "Queue size setting to " + entity +
               " with (overrides depth value of --qos-profile option)");
    addChoice(verb, "--qos-history", flags.history, historyNames(),
              "History of samples setting to " + entity +
                  " with (overrides history value of --qos-profile option, default: " +
                  (defaults.history == qorROS2::QOS::KEEP_ALL ? "keep_all" : "keep_last") + ")");
    // A subscription without QoS flags adapts both policies to the publishers it finds, which
    // ros2 gives as their default, in its words.
    const bool adapts = entity == "subscribe";
    const std::string adapted = "Automatically match existing publishers ";
    addChoice(verb, "--qos-reliability", flags.reliability, reliabilityNames(),
              "Quality of service reliability setting to " + entity +
                  " with (overrides reliability value of --qos-profile option, default: " +
                  (adapts                                           ? adapted
                   : defaults.reliability == qorROS2::QOS::RELIABLE ? "reliable"
                                                                    : "best_effort") +
                  ")");
    addChoice(verb, "--qos-durability", flags.durability, durabilityNames(),
              "Quality of service durability setting to " + entity +
                  " with (overrides durability value of --qos-profile option, default: " +
                  (adapts                                                 ? adapted
                   : defaults.durability == qorROS2::QOS::TRANSIENT_LOCAL ? "transient_local"
                                                                          : "volatile") +
                  ")");
}

qorROS2::QOS subscriptionQos(const qorROS2::TopicDiscovery& discovery, const std::string& topic,
                             const QosFlags& flags, const std::optional<double>& spinTime) {
    const std::string profile = flags.profile.empty() ? "sensor_data" : flags.profile;
    const qorROS2::QOS base = qosFromFlags(profile, flags, QosRole::SUBSCRIPTION);
    // As Humble's `ros2 topic echo` chooses: any QoS flag, the profile included, is taken as
    // given; only a command line without one adapts to the publishers.
    if (!flags.profile.empty() || flags.anyPolicyGiven()) {
        return base;
    }
    // The publishers of the topic the subscription will use, as rclpy's
    // get_publishers_info_by_topic expands, checks and remaps the name.
    const std::string name = qorROS2::resolveTopicName(topic);
    const auto start = std::chrono::steady_clock::now();
    // ros2 spins --spin-time before it asks for the publishers; at most thirty years here.
    auto deadline = spinTime ? start + std::chrono::duration_cast<std::chrono::nanoseconds>(
                                           std::chrono::duration<double>(std::min(*spinTime, 1e9)))
                             : start + kPublisherWait;
    bool found = spinTime.has_value();
    while (std::chrono::steady_clock::now() < deadline && !stopRequested()) {
        if (!found && !publishersOf(discovery, name).empty()) {
            found = true;
            deadline = std::min(deadline, std::chrono::steady_clock::now() + kMorePublishersWait);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const qorROS2::AdaptedQos adapted =
        qorROS2::adaptToPublishers(base, publishersOf(discovery, name));
    for (const std::string& notice : adapted.notices) {
        std::printf("%s\n", notice.c_str());
    }
    std::fflush(stdout);
    return adapted.qos;
}

}  // namespace qorCli
