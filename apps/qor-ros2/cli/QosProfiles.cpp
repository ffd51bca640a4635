#include "cli/QosProfiles.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace qorCli {
namespace {

using qorROS2::QOS;

// ROS 2 numbers "system default" 0 in every policy; it is resolved per role at the end.
constexpr std::uint32_t kSystemDefault = QOS::SYSTEM_DEFAULT;

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
        for (const qorROS2::QosPreset& preset : qorROS2::kQosPresets) {
            all.emplace_back(preset.name);
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
    QOS qos = qorROS2::presetQos(profileName.c_str());
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
    return qorROS2::qosForRole(qos, role);
}

}  // namespace qorCli
