#include "qorROS2/bag/QosProfileYaml.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "QosProfileNodes.h"
#include "YamlField.h"
#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

namespace {

struct PolicyName {
    std::uint32_t value;
    const char* name;
};

// rmw's numbers and the names its string conversions give them; "unknown" is what rosbag2
// writes for the value rmw reports when it cannot tell.
constexpr PolicyName kHistoryNames[] = {
    {POLICY_SYSTEM_DEFAULT, "system_default"},
    {QOS::KEEP_LAST, "keep_last"},
    {QOS::KEEP_ALL, "keep_all"},
    {POLICY_UNKNOWN, "unknown"},
};
constexpr PolicyName kReliabilityNames[] = {
    {POLICY_SYSTEM_DEFAULT, "system_default"}, {QOS::RELIABLE, "reliable"},
    {QOS::BEST_EFFORT, "best_effort"},         {POLICY_UNKNOWN, "unknown"},
    {BEST_AVAILABLE, "best_available"},
};
constexpr PolicyName kDurabilityNames[] = {
    {POLICY_SYSTEM_DEFAULT, "system_default"},
    {QOS::TRANSIENT_LOCAL, "transient_local"},
    {QOS::VOLATILE, "volatile"},
    {POLICY_UNKNOWN, "unknown"},
    {BEST_AVAILABLE, "best_available"},
};
constexpr PolicyName kLivelinessNames[] = {
    {POLICY_SYSTEM_DEFAULT, "system_default"},       {LIVELINESS_AUTOMATIC, "automatic"},
    {LIVELINESS_MANUAL_BY_TOPIC, "manual_by_topic"}, {LIVELINESS_UNKNOWN, "unknown"},
    {LIVELINESS_BEST_AVAILABLE, "best_available"},
};

template <std::size_t N>
const char* nameOf(const PolicyName (&names)[N], std::uint32_t value, const char* policy) {
    for (const PolicyName& entry : names) {
        if (entry.value == value) {
            return entry.name;
        }
    }
    throw BagError(std::string("cannot write QoS ") + policy + " " + std::to_string(value) +
                   ": ROS 2 has no such value");
}

template <std::size_t N>
std::string valuesOf(const PolicyName (&names)[N], bool asNames) {
    std::string list;
    for (const PolicyName& entry : names) {
        list += (list.empty() ? "" : ", ") +
                (asNames ? std::string(entry.name) : std::to_string(entry.value));
    }
    return list;
}

template <std::size_t N>
std::uint32_t readPolicy(const PolicyName (&names)[N], const detail::YamlField& field,
                         detail::PolicyForm form) {
    const std::string text = field.text();
    for (const PolicyName& entry : names) {
        if (form == detail::PolicyForm::NAMES ? text == entry.name
                                              : text == std::to_string(entry.value)) {
            return entry.value;
        }
    }
    field.fail("expected one of " + valuesOf(names, form == detail::PolicyForm::NAMES) + ", got '" +
               text + "'");
}

template <std::size_t N>
YAML::Node policyNode(const PolicyName (&names)[N], std::uint32_t value, const char* policy,
                      detail::PolicyForm form) {
    const char* name = nameOf(names, value, policy);
    return form == detail::PolicyForm::NAMES ? YAML::Node(std::string(name))
                                             : YAML::Node(static_cast<int>(value));
}

YAML::Node durationNode(const QosDuration& duration) {
    YAML::Node node;
    node["sec"] = duration.sec;
    node["nsec"] = duration.nsec;
    return node;
}

QosDuration readDuration(const detail::YamlField& field) {
    // What rmw implementations reported for infinity before ROS 2 Galactic, still found in old
    // bags: played back as such they would be refused as invalid.
    constexpr QosDuration kOldFastDdsInfinite{0x7FFFFFFFU, 0xFFFFFFFFU};
    constexpr QosDuration kOldConnextInfinite{0x7FFFFFFFU, 0x7FFFFFFFU};
    const std::uint64_t max = std::numeric_limits<std::uint64_t>::max();
    QosDuration duration{field["sec"].unsignedInteger(max), field["nsec"].unsignedInteger(max)};
    if (duration == kOldFastDdsInfinite || duration == kOldConnextInfinite) {
        duration = kInfiniteQosDuration;
    }
    return duration;
}

YAML::Node profileNode(const OfferedQosProfile& profile, detail::PolicyForm form) {
    YAML::Node node;
    node["history"] = policyNode(kHistoryNames, profile.history, "history", form);
    node["depth"] = profile.depth;
    node["reliability"] = policyNode(kReliabilityNames, profile.reliability, "reliability", form);
    node["durability"] = policyNode(kDurabilityNames, profile.durability, "durability", form);
    node["deadline"] = durationNode(profile.deadline);
    node["lifespan"] = durationNode(profile.lifespan);
    node["liveliness"] = policyNode(kLivelinessNames, profile.liveliness, "liveliness", form);
    node["liveliness_lease_duration"] = durationNode(profile.livelinessLeaseDuration);
    node["avoid_ros_namespace_conventions"] = profile.avoidRosNamespaceConventions;
    return node;
}

OfferedQosProfile readProfile(const detail::YamlField& field) {
    // As ROS 2 Jazzy tells the two forms apart: by whether the history is one of rmw's integers.
    const detail::YamlField history = field["history"];
    bool integers = false;
    for (const PolicyName& entry : kHistoryNames) {
        integers =
            integers || (history.isScalar() && history.text() == std::to_string(entry.value));
    }
    const auto form = integers ? detail::PolicyForm::INTEGERS : detail::PolicyForm::NAMES;
    OfferedQosProfile profile;
    profile.history = readPolicy(kHistoryNames, history, form);
    profile.depth = field["depth"].unsignedInteger(std::numeric_limits<std::int32_t>::max());
    profile.reliability = readPolicy(kReliabilityNames, field["reliability"], form);
    profile.durability = readPolicy(kDurabilityNames, field["durability"], form);
    profile.deadline = readDuration(field["deadline"]);
    profile.lifespan = readDuration(field["lifespan"]);
    profile.liveliness = readPolicy(kLivelinessNames, field["liveliness"], form);
    profile.livelinessLeaseDuration = readDuration(field["liveliness_lease_duration"]);
    profile.avoidRosNamespaceConventions = field["avoid_ros_namespace_conventions"].boolean();
    return profile;
}

QosDuration durationFromNanoseconds(std::int64_t nanoseconds) {
    if (nanoseconds < 0) {
        return kInfiniteQosDuration;
    }
    const auto count = static_cast<std::uint64_t>(nanoseconds);
    return QosDuration{count / 1000000000U, count % 1000000000U};
}

}  // namespace

bool OfferedQosProfile::operator==(const OfferedQosProfile& other) const {
    return history == other.history && depth == other.depth && reliability == other.reliability &&
           durability == other.durability && deadline == other.deadline &&
           lifespan == other.lifespan && liveliness == other.liveliness &&
           livelinessLeaseDuration == other.livelinessLeaseDuration &&
           avoidRosNamespaceConventions == other.avoidRosNamespaceConventions;
}

namespace detail {

namespace {
// The table of `policy`'s values, as a range.
template <std::size_t N>
std::pair<const PolicyName*, const PolicyName*> range(const PolicyName (&names)[N]) {
    return {names, names + N};
}
std::pair<const PolicyName*, const PolicyName*> tableOf(Policy policy) {
    switch (policy) {
        case Policy::HISTORY:
            return range(kHistoryNames);
        case Policy::RELIABILITY:
            return range(kReliabilityNames);
        case Policy::DURABILITY:
            return range(kDurabilityNames);
        case Policy::LIVELINESS:
            break;
    }
    return range(kLivelinessNames);
}
}  // namespace

std::optional<std::uint32_t> policyValue(Policy policy, const std::string& name) {
    const auto [first, last] = tableOf(policy);
    for (const PolicyName* entry = first; entry != last; ++entry) {
        if (name == entry->name) {
            return entry->value;
        }
    }
    return std::nullopt;
}

std::string policyNames(Policy policy) {
    const auto [first, last] = tableOf(policy);
    std::string list;
    for (const PolicyName* entry = first; entry != last; ++entry) {
        list += (list.empty() ? "" : ", ") + std::string(entry->name);
    }
    return list;
}

YAML::Node qosListNode(const std::vector<OfferedQosProfile>& profiles, PolicyForm form) {
    YAML::Node list =
        form == PolicyForm::NAMES ? YAML::Node(YAML::NodeType::Sequence) : YAML::Node();
    for (const OfferedQosProfile& profile : profiles) {
        list.push_back(profileNode(profile, form));
    }
    return list;
}

std::vector<OfferedQosProfile> qosListFromField(const YamlField& list) {
    std::vector<OfferedQosProfile> profiles;
    if (list.isNull()) {
        return profiles;
    }
    for (const YamlField& element : list.sequence()) {
        profiles.push_back(readProfile(element));
    }
    return profiles;
}

}  // namespace detail

OfferedQosProfile offeredQosFromDiscovered(const DiscoveredQos& discovered) {
    OfferedQosProfile profile;
    profile.history = discovered.history;
    profile.depth = discovered.depth;
    profile.reliability = discovered.reliability;
    // rmw reports a durability that ROS 2 does not have (transient, persistent) as unknown.
    profile.durability =
        discovered.durability == QOS::TRANSIENT_LOCAL || discovered.durability == QOS::VOLATILE
            ? discovered.durability
            : static_cast<std::uint32_t>(POLICY_UNKNOWN);
    profile.deadline = durationFromNanoseconds(discovered.deadlineNanoseconds);
    profile.lifespan = durationFromNanoseconds(discovered.lifespanNanoseconds);
    profile.liveliness = discovered.liveliness;
    profile.livelinessLeaseDuration =
        durationFromNanoseconds(discovered.livelinessLeaseNanoseconds);
    return profile;
}

QOS toEndpointQos(const OfferedQosProfile& profile, const std::string& topic) {
    const auto refuse = [&topic](const char* policy, std::uint32_t value, const char* name) {
        throw BagError("QoS for topic " + topic + ": " + policy + " " + std::to_string(value) +
                       " (" + name + ") cannot be offered or requested");
    };
    if (profile.history > QOS::KEEP_ALL) {
        refuse("history", profile.history, nameOf(kHistoryNames, profile.history, "history"));
    }
    if (profile.reliability > QOS::BEST_EFFORT) {
        refuse("reliability", profile.reliability,
               nameOf(kReliabilityNames, profile.reliability, "reliability"));
    }
    if (profile.durability > QOS::VOLATILE) {
        refuse("durability", profile.durability,
               nameOf(kDurabilityNames, profile.durability, "durability"));
    }
    if (profile.depth > std::numeric_limits<std::uint32_t>::max()) {
        throw BagError("QoS for topic " + topic + ": depth " + std::to_string(profile.depth) +
                       " is more than an endpoint can keep");
    }
    QOS qos;
    qos.history = profile.history;
    qos.depth = static_cast<std::uint32_t>(profile.depth);
    qos.reliability = profile.reliability;
    qos.durability = profile.durability;
    return qos;
}

std::string offeredQosToYamlString(const std::vector<OfferedQosProfile>& profiles) {
    return YAML::Dump(detail::qosListNode(profiles, detail::PolicyForm::INTEGERS));
}

std::string offeredQosToYamlList(const std::vector<OfferedQosProfile>& profiles) {
    return YAML::Dump(detail::qosListNode(profiles, detail::PolicyForm::NAMES));
}

std::vector<OfferedQosProfile> offeredQosFromYaml(const std::string& yaml,
                                                  const std::string& where) {
    return detail::qosListFromField(detail::YamlField::parse(yaml, where, "offered_qos_profiles"));
}

}  // namespace qorROS2::bag
