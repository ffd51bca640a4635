#include "endpoints/RawWireType.h"

#include <limits>
#include <stdexcept>
#include <vector>

#include "common/QosPolicies.h"
#include "endpoints/RawPayloadType.h"
#include "endpoints/WireTypes.h"

namespace qorROS2::transport::endpoints {
namespace {

bool lowerOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

bool upper(char c) {
    return c >= 'A' && c <= 'Z';
}

// A package or namespace name as ROS 2 allows it: lower case letters, digits and single
// underscores, starting with a letter and not ending with an underscore.
bool validPackagePart(const std::string& part) {
    if (part.empty() || !(part[0] >= 'a' && part[0] <= 'z') || part.back() == '_' ||
        part.find("__") != std::string::npos) {
        return false;
    }
    for (char c : part) {
        if (!lowerOrDigit(c) && c != '_') {
            return false;
        }
    }
    return true;
}

// A message name: an upper case letter, then letters and digits; single underscores join the
// parts of generated names ("Fibonacci_FeedbackMessage").
bool validMessageName(const std::string& name) {
    if (name.empty() || !upper(name[0]) || name.back() == '_' ||
        name.find("__") != std::string::npos) {
        return false;
    }
    for (char c : name) {
        if (!lowerOrDigit(c) && !upper(c) && c != '_') {
            return false;
        }
    }
    return true;
}

std::vector<std::string> splitAtSlashes(const std::string& name) {
    std::vector<std::string> parts(1);
    for (char c : name) {
        if (c == '/') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

}  // namespace

common::WireType rawWireType(const std::string& topic, const std::string& rosTypeName,
                             const std::string& typeHash) {
    const std::vector<std::string> parts = splitAtSlashes(rosTypeName);
    if (parts.size() != 3 || !validPackagePart(parts[0]) || !validPackagePart(parts[1]) ||
        !validMessageName(parts[2])) {
        throw std::invalid_argument("invalid message type \"" + rosTypeName + "\" for topic \"" +
                                    topic +
                                    "\": expected package/msg/Name, such as "
                                    "sensor_msgs/msg/Image");
    }
    if (!typeHash.empty() && !common::validTypeHash(typeHash)) {
        throw std::invalid_argument("invalid type hash \"" + typeHash + "\" of " + rosTypeName +
                                    " for topic \"" + topic +
                                    "\": expected RIHS01_ and 64 lower case hex digits, or none");
    }
    // As ROS 2 names the DDS type: the namespaces joined by "::", then "dds_::" and the name
    // followed by an underscore.
    std::string ddsTypeName = parts[0] + "::" + parts[1] + "::dds_::" + parts[2] + "_";
    common::WireType type;
    type.ddsTypeName = ddsTypeName;
    type.rosTypeName = rosTypeName;
    // A type the library has records of keeps their data type, which copies raw samples as they
    // are: a process may then have raw and typed endpoints of it side by side.
    if (const DataTypeMaker record = recordDataTypeNamed(rosTypeName)) {
        type.createDataType = record;
    } else {
        type.createDataType = [ddsTypeName]() -> eprosima::fastdds::dds::TopicDataType* {
            return new RawPayloadType(ddsTypeName);
        };
    }
    type.typeHash = typeHash;
    return type;
}

void checkRawPayload(const std::string& topic, const std::uint8_t* bytes, std::size_t size) {
    if (size < 4 || bytes == nullptr) {
        throw std::invalid_argument("cannot publish " + std::to_string(size) +
                                    " bytes on topic \"" + topic +
                                    "\": a sample starts with a 4-byte encapsulation header");
    }
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        throw std::invalid_argument("cannot publish " + std::to_string(size) +
                                    " bytes on topic \"" + topic +
                                    "\": a sample holds at most 4 GiB");
    }
    // The representation identifiers of CDR: plain, parameter list, and XCDR2 plain, delimited
    // and parameter list, each big- and little-endian (0x0000 to 0x0003, 0x0006 to 0x000b).
    const unsigned identifier = (static_cast<unsigned>(bytes[0]) << 8U) | bytes[1];
    if (identifier > 0x000bU || identifier == 0x0004U || identifier == 0x0005U) {
        static const char* const kHex = "0123456789abcdef";
        std::string header;
        for (std::size_t i = 0; i < 4; ++i) {
            header += kHex[bytes[i] >> 4U];
            header += kHex[bytes[i] & 0x0fU];
            header += i < 3 ? " " : "";
        }
        throw std::invalid_argument("cannot publish on topic \"" + topic +
                                    "\": the bytes start "
                                    "with " +
                                    header + ", not a CDR encapsulation header");
    }
}

}  // namespace qorROS2::transport::endpoints
