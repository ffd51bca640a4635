#include "qorROS2/bag/BagQos.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>

#include "QosProfileNodes.h"
#include "YamlField.h"
#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

namespace {

constexpr std::uint64_t kRosbag2DefaultDepth = 10;

BagQosChoice choice(const std::string& topic, const OfferedQosProfile& profile,
                    std::vector<BagQosLog> log = {}) {
    return BagQosChoice{profile, toEndpointQos(profile, topic), std::move(log)};
}

// The policies that decide whether endpoints match: history and lifespan do not.
bool sameForMatching(const OfferedQosProfile& a, const OfferedQosProfile& b) {
    return a.reliability == b.reliability && a.durability == b.durability &&
           a.deadline == b.deadline && a.liveliness == b.liveliness &&
           a.livelinessLeaseDuration == b.livelinessLeaseDuration;
}

// ros2 bag raises these as Python errors and prints their text.
[[noreturn]] void refuse(const std::string& text) {
    throw BagError(text);
}

std::string invalidProfile(const std::string& reason) {
    return "('Invalid QoSProfile', '" + reason + "')";
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// An override's duration, as ros2 bag reads one: none or an empty map is zero; a map needs sec
// and nsec, which add up to a duration that is not negative.
QosDuration overrideDuration(const detail::YamlField& field) {
    if (field.isNull() || (!field.isScalar() && field.size() == 0)) {
        return QosDuration{};
    }
    if (!field.isMap() || !field.has("sec") || !field.has("nsec")) {
        refuse("Time overrides must include both seconds (sec) and nanoseconds (nsec).");
    }
    constexpr std::int64_t kLimit = std::numeric_limits<std::int64_t>::max();
    const std::int64_t sec = field["sec"].integer(-kLimit, kLimit);
    const std::int64_t nsec = field["nsec"].integer(-kLimit, kLimit);
    std::int64_t total = 0;
    const bool overflow = __builtin_mul_overflow(sec, std::int64_t{1000000000}, &total) ||
                          __builtin_add_overflow(total, nsec, &total);
    if (overflow ? sec < 0 : total < 0) {
        refuse("Time duration may not be a negative value.");
    }
    if (overflow) {
        refuse("Total nanoseconds value is too large to store in C duration.");
    }
    const auto nanoseconds = static_cast<std::uint64_t>(total);
    return QosDuration{nanoseconds / 1000000000U, nanoseconds % 1000000000U};
}

std::uint32_t overridePolicy(detail::Policy policy, const detail::YamlField& field) {
    const std::string name = field.text();
    const auto value = detail::policyValue(policy, lowerCase(name));
    if (!value) {
        field.fail("expected one of " + detail::policyNames(policy) + " (in any case), got '" +
                   name + "'");
    }
    return *value;
}

OfferedQosProfile overrideProfile(const detail::YamlField& field) {
    OfferedQosProfile profile;  // rmw's default for what the file leaves out
    bool hasHistory = false;
    bool hasDepth = false;
    for (const auto& [key, value] : field.entries()) {
        if (key == "deadline") {
            profile.deadline = overrideDuration(value);
        } else if (key == "lifespan") {
            profile.lifespan = overrideDuration(value);
        } else if (key == "liveliness_lease_duration") {
            profile.livelinessLeaseDuration = overrideDuration(value);
        } else if (key == "history") {
            profile.history = overridePolicy(detail::Policy::HISTORY, value);
            hasHistory = true;
        } else if (key == "reliability") {
            profile.reliability = overridePolicy(detail::Policy::RELIABILITY, value);
        } else if (key == "durability") {
            profile.durability = overridePolicy(detail::Policy::DURABILITY, value);
        } else if (key == "liveliness") {
            profile.liveliness = overridePolicy(detail::Policy::LIVELINESS, value);
        } else if (key == "depth") {
            if (value.text().rfind('-', 0) == 0) {
                value.integer(std::numeric_limits<std::int64_t>::min(), 0);  // a number at all
                refuse("`depth` may not be a negative value.");
            }
            profile.depth = value.unsignedInteger(std::numeric_limits<std::int32_t>::max());
            hasDepth = true;
        } else if (key == "avoid_ros_namespace_conventions") {
            profile.avoidRosNamespaceConventions = value.boolean();
        } else {
            refuse("Unexpected key `" + key + "` for QoS profile.");
        }
    }
    if (!hasHistory) {
        if (!hasDepth) {
            refuse(invalidProfile("History and/or depth settings are required."));
        }
        profile.history = QOS::KEEP_LAST;
    }
    if (profile.history == QOS::KEEP_LAST && !hasDepth) {
        refuse(invalidProfile("History set to KEEP_LAST without a depth setting."));
    }
    return profile;
}

}  // namespace

BagQosChoice recordingQos(const std::string& topic, const std::vector<OfferedQosProfile>& offers,
                          const QosOverrides& overrides) {
    const auto overridden = overrides.find(topic);
    if (overridden != overrides.end()) {
        return choice(topic, overridden->second,
                      {{BagQosLog::INFO, "Overriding subscription profile for " + topic}});
    }
    OfferedQosProfile request;
    if (offers.empty()) {
        return choice(topic, request);
    }
    const auto count = [&offers](auto offered) {
        return static_cast<std::size_t>(std::count_if(offers.begin(), offers.end(), offered));
    };
    const std::size_t reliable =
        count([](const OfferedQosProfile& offer) { return offer.reliability == QOS::RELIABLE; });
    const std::size_t transientLocal = count(
        [](const OfferedQosProfile& offer) { return offer.durability == QOS::TRANSIENT_LOCAL; });
    std::vector<BagQosLog> log;
    // rosbag2's words when some offers, but not all, would let it ask for more.
    const auto mixed = [&](std::size_t stricter, const char* offered, const char* fallback,
                           const char* consequence) {
        if (stricter > 0 && stricter < offers.size()) {
            log.push_back({BagQosLog::WARN,
                           "Some, but not all, publishers on topic \"" + topic +
                               "\" are offering " + offered + ". Falling back to " + fallback +
                               " as it will connect to all publishers. " + consequence});
        }
    };
    request.reliability = reliable == offers.size() ? QOS::RELIABLE : QOS::BEST_EFFORT;
    mixed(reliable, "RMW_QOS_POLICY_RELIABILITY_RELIABLE", "RMW_QOS_POLICY_RELIABILITY_BEST_EFFORT",
          "Some messages from Reliable publishers could be dropped.");
    request.durability = transientLocal == offers.size() ? QOS::TRANSIENT_LOCAL : QOS::VOLATILE;
    mixed(transientLocal, "RMW_QOS_POLICY_DURABILITY_TRANSIENT_LOCAL",
          "RMW_QOS_POLICY_DURABILITY_VOLATILE",
          "Previously-published latched messages will not be retrieved.");
    return choice(topic, request, std::move(log));
}

std::vector<std::string> lateOfferWarnings(const std::string& topic, const QOS& used,
                                           const std::vector<OfferedQosProfile>& offers) {
    std::vector<std::string> warnings;
    // rosbag2's words, which say "rosbag" in one and "rosbag2" in the other.
    const auto warn = [&warnings, &topic](const char* offering, const char* requesting) {
        std::string text = "A new publisher for subscribed topic ";
        text += topic;
        text += " was found offering ";
        text += offering;
        text += " already subscribed requesting ";
        text += requesting;
        text += ". Messages from this new publisher will not be recorded.";
        warnings.push_back(std::move(text));
    };
    for (const OfferedQosProfile& offer : offers) {
        if (offer.reliability == QOS::BEST_EFFORT && used.reliability != QOS::BEST_EFFORT) {
            warn("RMW_QOS_POLICY_RELIABILITY_BEST_EFFORT, but rosbag",
                 "RMW_QOS_POLICY_RELIABILITY_RELIABLE");
        } else if (offer.durability == QOS::VOLATILE && used.durability != QOS::VOLATILE) {
            warn("RMW_QOS_POLICY_DURABILITY_VOLATILE, but rosbag2",
                 "RMW_QOS_POLICY_DURABILITY_TRANSIENT_LOCAL");
        }
    }
    return warnings;
}

BagQosChoice playbackQos(const std::string& topic, const std::vector<OfferedQosProfile>& recorded,
                         const QosOverrides& overrides) {
    const auto overridden = overrides.find(topic);
    if (overridden != overrides.end()) {
        return choice(topic, overridden->second,
                      {{BagQosLog::INFO, "Overriding QoS profile for topic " + topic}});
    }
    if (recorded.empty()) {
        return choice(topic, OfferedQosProfile{});
    }
    const bool allSame = std::all_of(
        recorded.begin() + 1, recorded.end(),
        [&recorded](const auto& profile) { return sameForMatching(recorded.front(), profile); });
    if (!allSame) {
        return choice(topic, OfferedQosProfile{},
                      {{BagQosLog::WARN,
                        "Not all original publishers on topic " + topic +
                            " offered the same QoS profiles. Rosbag2 cannot yet choose an "
                            "adapted profile to offer for this mixed case. Falling back to the "
                            "rosbag2_transport default publisher offer."}});
    }
    OfferedQosProfile offer = recorded.front();
    offer.history = QOS::KEEP_LAST;
    offer.depth = kRosbag2DefaultDepth;
    return choice(topic, offer);
}

QosOverrides qosOverridesFromYaml(const std::string& yaml, const std::string& file) {
    const detail::YamlField document = detail::YamlField::parse(yaml, file);
    if (document.isNull() || document.isScalar()) {
        document.fail("expected a map from topic names to QoS profiles");
    }
    QosOverrides overrides;
    for (const auto& [topic, profile] : document.entries()) {
        if (profile.isNull() || profile.isScalar()) {
            profile.fail("expected a QoS profile (a map of policies)");
        }
        overrides[topic] = overrideProfile(profile);
    }
    return overrides;
}

QosOverrides readQosOverrides(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        const int error = errno;
        throw BagError("can't open '" + path + "': [Errno " + std::to_string(error) + "] " +
                       std::strerror(error) + ": '" + path + "'");
    }
    std::ostringstream text;
    text << in.rdbuf();
    return qosOverridesFromYaml(text.str(), path);
}

}  // namespace qorROS2::bag
