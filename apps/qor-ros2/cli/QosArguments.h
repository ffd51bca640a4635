#pragma once

// The QoS flags of the verbs that publish or subscribe, declared as ros2 declares them.

#include <optional>
#include <string>

#include "cli/QosProfiles.h"

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// Declares --qos-profile, --qos-depth, --qos-history, --qos-reliability and --qos-durability
/// on `verb`, read into `flags`. `entity` ("publish" or "subscribe") and `defaultProfile` only
/// word the help texts.
void addQosOptions(CLI::App& verb, QosFlags& flags, const std::string& entity,
                   const std::string& defaultProfile);

/// The QoS `topic` subscriptions use: the profile (sensor_data when none was given) with the
/// policy flags given; without any QoS flag, the profile included, sensor_data adapted to the
/// publishers that discovery finds on `topic` (resolved as by resolveTopicName()) within a short
/// wait (`spinTime` seconds when given), with ros2's notices printed on stdout.
qorROS2::QOS subscriptionQos(const qorROS2::TopicDiscovery& discovery, const std::string& topic,
                             const QosFlags& flags, const std::optional<double>& spinTime);

}  // namespace qorCli
