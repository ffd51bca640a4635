#include "common/QosPolicies.h"

#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>

namespace qorROS2::transport::common {
namespace {

namespace dds = eprosima::fastdds::dds;
using eprosima::fastrtps::c_TimeInfinite;
using eprosima::fastrtps::c_TimeZero;

[[noreturn]] void refuse(const std::string& topic, const std::string& reason) {
    throw std::invalid_argument("invalid QOS for topic \"" + topic + "\": " + reason);
}

// A reliable writer waits at most this long (100 ms) for room in a full history before
// sendMessage() gives up; DDS's own default, which ROS 2 keeps.
constexpr std::uint32_t kMaxBlockingNanoseconds = 100000000;

// How often a reliable writer announces what it has sent (100 ms), so that readers ask for what
// they missed without waiting long.
constexpr std::uint32_t kHeartbeatNanoseconds = 100000000;

// The policies a writer and a reader have in common.
template <typename EndpointQos>
void applyShared(const QOS& qos, EndpointQos& out) {
    out.durability().kind = qos.durability == QOS::TRANSIENT_LOCAL
                                ? dds::TRANSIENT_LOCAL_DURABILITY_QOS
                                : dds::VOLATILE_DURABILITY_QOS;
    out.reliability().kind = qos.reliability == QOS::RELIABLE ? dds::RELIABLE_RELIABILITY_QOS
                                                              : dds::BEST_EFFORT_RELIABILITY_QOS;
    out.reliability().max_blocking_time =
        eprosima::fastrtps::Duration_t(0, kMaxBlockingNanoseconds);

    dds::HistoryQosPolicy& history = out.history();
    dds::ResourceLimitsQosPolicy& limits = out.resource_limits();
    // Topics are keyless: one instance holds every sample.
    limits.max_instances = 1;
    if (qos.history == QOS::KEEP_LAST) {
        history.kind = dds::KEEP_LAST_HISTORY_QOS;
        history.depth = static_cast<std::int32_t>(qos.depth);
        limits.max_samples = history.depth;
        limits.max_samples_per_instance = history.depth;
    } else {
        // ROS 2's KEEP_ALL is bounded only by what the middleware can hold.
        history.kind = dds::KEEP_ALL_HISTORY_QOS;
        history.depth = 1;
        limits.max_samples = dds::LENGTH_UNLIMITED;
        limits.max_samples_per_instance = dds::LENGTH_UNLIMITED;
    }
    // Start small and grow: a history of deep images must not be reserved up front.
    limits.allocated_samples = limits.max_samples == dds::LENGTH_UNLIMITED
                                   ? 16
                                   : std::min<std::int32_t>(limits.max_samples, 16);
    limits.extra_samples = 1;

    out.durability_service().history_kind = history.kind;
    out.durability_service().history_depth = history.depth;
    out.deadline().period = c_TimeInfinite;
    out.latency_budget().duration = c_TimeZero;
    out.liveliness().kind = dds::AUTOMATIC_LIVELINESS_QOS;
    out.liveliness().lease_duration = c_TimeInfinite;
    out.liveliness().announcement_period = c_TimeInfinite;
    out.destination_order().kind = dds::BY_RECEPTION_TIMESTAMP_DESTINATIONORDER_QOS;
    out.lifespan().duration = c_TimeInfinite;
    out.ownership().kind = dds::SHARED_OWNERSHIP_QOS;
    out.user_data().clear();
    out.properties() = dds::PropertyPolicyQos();

    // Payloads are sized per sample and grown in place, so a 6 MB image fits without reserving
    // the largest sample for every history slot.
    out.endpoint().history_memory_policy =
        eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
    // A shared history holds CDR bytes like any payload, so the readers that read it and those
    // that receive copies decode the same; only the types of large samples have one.
    out.data_sharing().off();
}

// Payloads sized to each sample and reused: Fast DDS reserves a bounded type's bound for each
// payload of a history it holds in preallocated memory, which a history that is not shared need
// not pay, and a reader's writer may be a ROS 2 peer of an unbounded type, whose samples no bound
// may hold back.
template <typename EndpointQos>
void sizePayloadsPerSample(EndpointQos& out) {
    out.endpoint().history_memory_policy = eprosima::fastrtps::rtps::DYNAMIC_REUSABLE_MEMORY_MODE;
}

// The value of a hex digit of either case, or -1.
int hexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

bool alphanumeric(std::uint8_t c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// The "key=value;" pairs of a USER_DATA, read as every ROS 2 middleware reads them: keys are
// alphanumeric, a value runs to the next single ';' (";;" is a ';' of the value), the last pair
// may end without one and NULs may follow it; a later pair of a key replaces an earlier one.
// USER_DATA that breaks any of this (an empty key or value, a stray character) holds no pair at
// all: it was written by something other than ROS 2, for its own purposes.
std::map<std::string, std::string> userDataPairs(const std::vector<std::uint8_t>& userData) {
    std::map<std::string, std::string> pairs;
    std::string key;
    std::string value;
    bool inValue = false;
    std::uint8_t previous = '\0';
    for (const std::uint8_t c : userData) {
        if (inValue) {
            if (c == ';' && previous != ';') {
                previous = c;
                continue;
            }
            if (c != ';' && previous == ';') {
                if (value.empty()) {
                    return {};
                }
                pairs[key] = value;
                key.clear();
                value.clear();
                inValue = false;
            } else {
                value += static_cast<char>(c);
            }
        }
        if (!inValue) {
            if (c == '=') {
                if (key.empty()) {
                    return {};
                }
                inValue = true;
            } else if (alphanumeric(c)) {
                key += static_cast<char>(c);
            } else if (c == '\0' && key.empty() && !pairs.empty()) {
                break;
            } else if (previous != ';' || !key.empty()) {
                return {};
            }
        }
        previous = c;
    }
    if (inValue) {
        if (value.empty()) {
            return {};
        }
        pairs[key] = value;
    } else if (!key.empty()) {
        return {};
    }
    return pairs;
}

}  // namespace

void checkQos(const QOS& qos, const std::string& topic) {
    if (qos.durability != QOS::TRANSIENT_LOCAL && qos.durability != QOS::VOLATILE) {
        refuse(topic, "durability " + std::to_string(qos.durability) +
                          " is neither TRANSIENT_LOCAL (1) nor VOLATILE (2)");
    }
    if (qos.reliability != QOS::RELIABLE && qos.reliability != QOS::BEST_EFFORT) {
        refuse(topic, "reliability " + std::to_string(qos.reliability) +
                          " is neither RELIABLE (1) nor BEST_EFFORT (2)");
    }
    if (qos.history != QOS::KEEP_LAST && qos.history != QOS::KEEP_ALL) {
        refuse(topic, "history " + std::to_string(qos.history) +
                          " is neither KEEP_LAST (1) nor KEEP_ALL (2)");
    }
    if (qos.history == QOS::KEEP_LAST) {
        if (qos.depth == 0) {
            refuse(topic, "KEEP_LAST needs a depth of at least 1");
        }
        constexpr auto kMaxDepth =
            static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max());
        if (qos.depth > kMaxDepth) {
            refuse(topic, "depth " + std::to_string(qos.depth) + " is more than " +
                              std::to_string(kMaxDepth));
        }
    }
}

std::uint32_t checkedDomain(std::int8_t domainId, const std::string& topic) {
    if (domainId < 0) {
        throw std::invalid_argument("invalid domain id " + std::to_string(domainId) +
                                    " for topic \"" + topic + "\": a domain id is 0 or more");
    }
    return static_cast<std::uint32_t>(domainId);
}

dds::DataWriterQos writerQos(const QOS& qos, SampleMemory memory) {
    dds::DataWriterQos out;
    applyShared(qos, out);
    if (memory == SampleMemory::sharedHistory) {
        // Fast DDS keeps the history in preallocated shared memory, a slot of the type's bound
        // per sample, where readers of this host read it. A slot is reused in the order slots
        // were freed, so the spare ones let a reader whose thread the scheduler held back fall
        // twice the depth behind before it misses a sample, as a transport's segment let it.
        out.data_sharing().automatic();
        out.resource_limits().extra_samples = out.history().depth;
    } else if (memory == SampleMemory::sizedPerSample) {
        sizePayloadsPerSample(out);
    }
    out.transport_priority().value = 0;
    out.ownership_strength().value = 0;
    out.writer_data_lifecycle().autodispose_unregistered_instances = true;
    // Written in the caller's thread: no hand-over to a sending thread, and large samples are
    // still fragmented.
    out.publish_mode().kind = dds::SYNCHRONOUS_PUBLISH_MODE;
    out.representation().m_value = {dds::XCDR_DATA_REPRESENTATION};
    // A reader asks again for a lost sample only when a heartbeat tells it what was sent. Fast
    // DDS's default of one every 3 s held reliable samples back for seconds at 5 % packet loss,
    // and let a fast stream's history move on before the repair came.
    out.reliable_writer_qos().times.heartbeatPeriod.seconds = 0;
    out.reliable_writer_qos().times.heartbeatPeriod.nanosec = kHeartbeatNanoseconds;
    return out;
}

dds::DataReaderQos readerQos(const QOS& qos, SampleMemory memory) {
    dds::DataReaderQos out;
    applyShared(qos, out);
    if (memory == SampleMemory::sharedHistory) {
        out.data_sharing().automatic();
    }
    if (memory != SampleMemory::grownInPlace) {
        sizePayloadsPerSample(out);
    }
    out.time_based_filter().minimum_separation = c_TimeZero;
    out.reader_data_lifecycle().autopurge_no_writer_samples_delay = c_TimeInfinite;
    out.reader_data_lifecycle().autopurge_disposed_samples_delay = c_TimeInfinite;
    out.type_consistency().representation.m_value = {dds::XCDR_DATA_REPRESENTATION};
    out.expects_inline_qos(false);
    return out;
}

std::vector<std::uint8_t> typeHashUserData(const std::string& typeHash) {
    if (typeHash.empty()) {
        return {};
    }
    const std::string text = "typehash=" + typeHash + ";";
    return std::vector<std::uint8_t>(text.begin(), text.end());
}

bool validTypeHash(const std::string& hash) {
    const std::string prefix = "RIHS01_";
    if (hash.size() != prefix.size() + 64 || hash.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    for (std::size_t i = prefix.size(); i < hash.size(); ++i) {
        const char c = hash[i];
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) {
            return false;
        }
    }
    return true;
}

std::string typeHashFromUserData(const std::vector<std::uint8_t>& userData) {
    const std::map<std::string, std::string> pairs = userDataPairs(userData);
    const auto found = pairs.find("typehash");
    if (found == pairs.end()) {
        return "INVALID";
    }
    // The value is read as a C string: whatever follows a NUL in it is not looked at.
    const std::string value = found->second.substr(0, found->second.find('\0'));
    // "RIHS", a two-digit version that must be 1, one separator character, then 32 bytes in hex
    // of either case; written back in the one form that announces it.
    constexpr std::size_t kPrefix = 7;
    if (value.size() != kPrefix + 64 || value.compare(0, 4, "RIHS") != 0 ||
        hexDigit(value[4]) != 0 || hexDigit(value[5]) != 1) {
        return "INVALID";
    }
    std::string hash = "RIHS01_";
    for (std::size_t i = kPrefix; i < value.size(); ++i) {
        const int digit = hexDigit(value[i]);
        if (digit < 0) {
            return "INVALID";
        }
        hash += "0123456789abcdef"[digit];
    }
    return hash;
}

std::string userDataValue(const std::vector<std::uint8_t>& userData, const std::string& key) {
    const std::map<std::string, std::string> pairs = userDataPairs(userData);
    const auto found = pairs.find(key);
    return found == pairs.end() ? std::string() : found->second;
}

}  // namespace qorROS2::transport::common
