#include "cli/QosProfiles.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace qorCli {
namespace {

using qorROS2::QOS;

// ROS 2 numbers "system default" 0 in every policy; it is resolved per role at the end.
constexpr std::uint32_t kSystemDefault = 0;

struct Profile {
    const char* name;
    QOS qos;  // durability, reliability, history, depth
};

// rmw's and rcl_action's preset profiles; depth 0 is the middleware's default depth.
const Profile kProfiles[] = {
    {"system_default", QOS{kSystemDefault, kSystemDefault, kSystemDefault, 0}},
    {"sensor_data", QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5}},
    {"services_default", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}},
    {"parameters", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
    {"parameter_events", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
    {"action_status_default", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}},
};

struct PolicyName {
    const char* name;
    std::uint32_t value;
};

const PolicyName kReliabilities[] = {{"system_default", kSystemDefault},
                                     {"reliable", QOS::RELIABLE},
                                     {"best_effort", QOS::BEST_EFFORT}};
const PolicyName kDurabilities[] = {{"system_default", kSystemDefault},
                                    {"transient_local", QOS::TRANSIENT_LOCAL},
                                    {"volatile", QOS::VOLATILE}};
const PolicyName kHistories[] = {
    {"system_default", kSystemDefault}, {"keep_last", QOS::KEEP_LAST}, {"keep_all", QOS::KEEP_ALL}};

template <std::size_t N>
std::vector<std::string> namesOf(const PolicyName (&policies)[N]) {
    std::vector<std::string> names;
    for (const PolicyName& policy : policies) {
        names.emplace_back(policy.name);
    }
    return names;
}

template <std::size_t N>
std::uint32_t valueOf(const PolicyName (&policies)[N], const std::string& name, const char* flag) {
    for (const PolicyName& policy : policies) {
        if (name == policy.name) {
            return policy.value;
        }
    }
    throw std::invalid_argument(std::string("unknown ") + flag + " '" + name + "'");
}

}  // namespace

bool QosFlags::anyPolicyGiven() const {
    return !reliability.empty() || !durability.empty() || !history.empty() || depth.has_value();
}

const std::vector<std::string>& qosProfileNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Profile& profile : kProfiles) {
            all.emplace_back(profile.name);
        }
        return all;
    }();
    return names;
}

const std::vector<std::string>& reliabilityNames() {
    static const std::vector<std::string> names = namesOf(kReliabilities);
    return names;
}

const std::vector<std::string>& durabilityNames() {
    static const std::vector<std::string> names = namesOf(kDurabilities);
    return names;
}

const std::vector<std::string>& historyNames() {
    static const std::vector<std::string> names = namesOf(kHistories);
    return names;
}

QOS qosFromFlags(const std::string& profileName, const QosFlags& flags, QosRole role) {
    const Profile* profile = nullptr;
    for (const Profile& candidate : kProfiles) {
        if (profileName == candidate.name) {
            profile = &candidate;
        }
    }
    if (profile == nullptr) {
        throw std::invalid_argument("unknown QoS profile '" + profileName + "'");
    }
    QOS qos = profile->qos;
    if (!flags.history.empty()) {
        qos.history = valueOf(kHistories, flags.history, "history");
    }
    if (!flags.durability.empty()) {
        qos.durability = valueOf(kDurabilities, flags.durability, "durability");
    }
    if (!flags.reliability.empty()) {
        qos.reliability = valueOf(kReliabilities, flags.reliability, "reliability");
    }
    if (flags.depth.has_value() && *flags.depth > 0) {
        qos.depth = static_cast<std::uint32_t>(
            std::min<std::int64_t>(*flags.depth, std::numeric_limits<std::int32_t>::max()));
    }
    const bool publisher = role == QosRole::PUBLISHER;
    if (qos.reliability == kSystemDefault) {
        qos.reliability = publisher ? QOS::RELIABLE : QOS::BEST_EFFORT;
    }
    if (qos.durability == kSystemDefault) {
        qos.durability = publisher ? QOS::TRANSIENT_LOCAL : QOS::VOLATILE;
    }
    if (qos.history == kSystemDefault) {
        qos.history = QOS::KEEP_LAST;
    }
    if (qos.depth == 0) {
        qos.depth = 1;
    }
    return qos;
}

AdaptedQos adaptToPublishers(const QOS& profile,
                             const std::vector<qorROS2::DiscoveredEndpoint>& publishers) {
    AdaptedQos adapted{profile, {}};
    if (publishers.empty()) {
        return adapted;
    }
    std::size_t reliable = 0;
    std::size_t transientLocal = 0;
    for (const qorROS2::DiscoveredEndpoint& publisher : publishers) {
        reliable += publisher.qos.reliability == "RELIABLE" ? 1U : 0U;
        transientLocal += publisher.qos.durability == "TRANSIENT_LOCAL" ? 1U : 0U;
    }
    if (reliable == publishers.size()) {
        adapted.qos.reliability = QOS::RELIABLE;
    } else {
        if (reliable > 0) {
            adapted.notices.emplace_back(
                "Some, but not all, publishers are offering QoSReliabilityPolicy.RELIABLE. "
                "Falling back to QoSReliabilityPolicy.BEST_EFFORT as it will connect to all "
                "publishers");
        }
        adapted.qos.reliability = QOS::BEST_EFFORT;
    }
    if (transientLocal == publishers.size()) {
        adapted.qos.durability = QOS::TRANSIENT_LOCAL;
    } else {
        if (transientLocal > 0) {
            adapted.notices.emplace_back(
                "Some, but not all, publishers are offering "
                "QoSDurabilityPolicy.TRANSIENT_LOCAL. Falling back to "
                "QoSDurabilityPolicy.VOLATILE as it will connect to all publishers");
        }
        adapted.qos.durability = QOS::VOLATILE;
    }
    return adapted;
}

}  // namespace qorCli
