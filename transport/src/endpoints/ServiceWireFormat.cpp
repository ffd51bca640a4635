#include "endpoints/ServiceWireFormat.h"

#include <atomic>
#include <cstring>
#include <random>
#include <stdexcept>

#include "endpoints/RawWireType.h"
#include "qorROS2/ServiceTypes.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorROS2 {
namespace {

// The services rosidl derives for an action, "pkg/action/Act_SendGoal" and "..._GetResult",
// which an action server serves under "<action>/_action/...".
const typesupport::ServiceTypeSupport* actionService(const std::string& serviceType) {
    for (const char* suffix : {"_SendGoal", "_GetResult"}) {
        const std::string tail(suffix);
        if (serviceType.size() <= tail.size() ||
            serviceType.compare(serviceType.size() - tail.size(), tail.size(), tail) != 0) {
            continue;
        }
        const typesupport::ActionTypeSupport* action = typesupport::findActionTypeSupport(
            serviceType.substr(0, serviceType.size() - tail.size()));
        if (action != nullptr) {
            return tail == "_SendGoal" ? &action->sendGoal() : &action->getResult();
        }
    }
    return nullptr;
}

}  // namespace

ServiceTypeHashes knownServiceTypeHashes(const std::string& serviceType) {
    const typesupport::ServiceTypeSupport* known = typesupport::findServiceTypeSupport(serviceType);
    if (known == nullptr) {
        known = actionService(serviceType);
    }
    if (known == nullptr) {
        return ServiceTypeHashes{};
    }
    return ServiceTypeHashes{known->requestTypeHash(), known->responseTypeHash()};
}

}  // namespace qorROS2

namespace qorROS2::transport::endpoints {
namespace {

template <typename T>
T readIn(const std::uint8_t* at, bool bigEndian) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        const std::size_t shift = bigEndian ? (sizeof(T) - 1 - i) * 8 : i * 8;
        value |= static_cast<std::uint64_t>(at[i]) << shift;
    }
    return static_cast<T>(value);
}

void writeIn(std::uint8_t* at, std::uint64_t value, bool bigEndian) {
    for (std::size_t i = 0; i < 8; ++i) {
        const std::size_t shift = bigEndian ? (7 - i) * 8 : i * 8;
        at[i] = static_cast<std::uint8_t>(value >> shift);
    }
}

constexpr std::size_t kEncapsulation = 4;

}  // namespace

ServiceWireTypes serviceWireTypes(const std::string& service, const std::string& serviceType,
                                  const std::string& requestTypeHash,
                                  const std::string& replyTypeHash) {
    // The service type is checked as a message type is, so its error names the service type.
    try {
        rawWireType(service, serviceType, std::string());
    } catch (const std::invalid_argument&) {
        throw std::invalid_argument("invalid service type \"" + serviceType + "\" for service \"" +
                                    service +
                                    "\": expected package/srv/Name, such as std_srvs/srv/SetBool");
    }
    return ServiceWireTypes{rawWireType(service, serviceType + "_Request", requestTypeHash),
                            rawWireType(service, serviceType + "_Response", replyTypeHash)};
}

bool plainCdrPayload(const std::uint8_t* bytes, std::size_t size) {
    return bytes != nullptr && size >= kEncapsulation && bytes[0] == 0x00 &&
           (bytes[1] == 0x00 || bytes[1] == 0x01);
}

bool stripCycloneHeader(std::vector<std::uint8_t>& payload, CycloneRequestHeader& header) {
    if (payload.size() < kEncapsulation + kCycloneHeaderSize ||
        !plainCdrPayload(payload.data(), payload.size())) {
        return false;
    }
    const bool bigEndian = payload[1] == 0x00;
    const std::uint8_t* at = payload.data() + kEncapsulation;
    header.clientId = readIn<std::uint64_t>(at, bigEndian);
    header.sequenceNumber = readIn<std::int64_t>(at + 8, bigEndian);
    payload.erase(payload.begin() + kEncapsulation,
                  payload.begin() + kEncapsulation + kCycloneHeaderSize);
    return true;
}

std::vector<std::uint8_t> withCycloneHeader(const std::uint8_t* bytes, std::size_t size,
                                            const CycloneRequestHeader& header) {
    std::vector<std::uint8_t> out(size + kCycloneHeaderSize);
    std::memcpy(out.data(), bytes, kEncapsulation);
    const bool bigEndian = bytes[1] == 0x00;
    writeIn(out.data() + kEncapsulation, header.clientId, bigEndian);
    writeIn(out.data() + kEncapsulation + 8, static_cast<std::uint64_t>(header.sequenceNumber),
            bigEndian);
    std::memcpy(out.data() + kEncapsulation + kCycloneHeaderSize, bytes + kEncapsulation,
                size - kEncapsulation);
    return out;
}

std::string clientServiceId(const std::array<std::uint8_t, 12>& processPrefix,
                            std::uint32_t count) {
    std::uint8_t id[16];
    std::memcpy(id, processPrefix.data(), processPrefix.size());
    for (std::size_t i = 0; i < 4; ++i) {
        id[12 + i] = static_cast<std::uint8_t>(count >> (24 - 8 * i));
    }
    static const char* const kHex = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < sizeof(id); ++i) {
        if (i > 0) {
            text += '.';
        }
        // The first byte is padded to two characters with a space, the others are not padded.
        if (id[i] >= 0x10) {
            text += kHex[id[i] >> 4U];
        } else if (i == 0) {
            text += ' ';
        }
        text += kHex[id[i] & 0x0FU];
    }
    return text;
}

std::string nextClientServiceId() {
    static const std::array<std::uint8_t, 12> prefix = [] {
        std::array<std::uint8_t, 12> bytes{};
        std::random_device source;
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(source());
        }
        return bytes;
    }();
    static std::atomic<std::uint32_t> count{0};
    return clientServiceId(prefix, ++count);
}

}  // namespace qorROS2::transport::endpoints
