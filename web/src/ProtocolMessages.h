#pragma once

// The messages of the Foxglove WebSocket protocol that the server writes, and the client
// requests it reads, kept apart from the sockets so that each can be checked alone.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "qorROS2/web/FoxgloveServer.h"
#include "qorROS2/web/LiveFeed.h"

namespace qorROS2::web::detail {

/// Binary opcodes, both directions.
inline constexpr std::uint8_t kMessageDataOpcode = 0x01;  // server: Message Data; client: the same
inline constexpr std::uint8_t kTimeOpcode = 0x02;         // server only
inline constexpr std::uint8_t kServiceCallRequestOpcode = 0x02;   // client only
inline constexpr std::uint8_t kServiceCallResponseOpcode = 0x03;  // server only
/// Opcode, service id, call id and encoding length (u32 each), little endian.
inline constexpr std::size_t kServiceCallHeaderSize = 13;
/// Opcode, subscription id (u32) and log time (u64), little endian.
inline constexpr std::size_t kMessageDataHeaderSize = 13;

enum class StatusLevel { info = 0, warning = 1, error = 2 };

std::string serverInfoJson(const std::string& name, const std::vector<std::string>& capabilities,
                           const std::vector<std::pair<std::string, std::string>>& metadata,
                           const std::string& sessionId);
std::string advertiseJson(const std::vector<std::pair<ChannelId, Channel>>& channels);
std::string unadvertiseJson(ChannelId id);
std::string statusJson(StatusLevel level, const std::string& message);
std::string advertiseServicesJson(const std::vector<std::pair<ServiceId, Service>>& services);
std::string unadvertiseServicesJson(ServiceId id);
std::string serviceCallFailureJson(ServiceId serviceId, std::uint32_t callId,
                                   const std::string& message);
/// A Service Call Response: its header, the encoding, then the payload.
std::vector<std::uint8_t> serviceCallResponseFrame(ServiceId serviceId, std::uint32_t callId,
                                                   const std::string& encoding,
                                                   const std::vector<std::uint8_t>& payload);

std::array<std::uint8_t, kMessageDataHeaderSize> messageDataHeader(std::uint32_t subscriptionId,
                                                                   std::int64_t logTimeNs);
std::array<std::uint8_t, 9> timeFrame(std::int64_t timeNs);

/// A client's channel, as its `advertise` declares it.
struct ClientChannel {
    std::uint32_t id = 0;
    std::string topic;
    std::string encoding;
    std::string schemaName;
};

struct Subscribe {
    std::vector<std::pair<std::uint32_t, ChannelId>> subscriptions;  // (subscription, channel)
};
struct Unsubscribe {
    std::vector<std::uint32_t> subscriptionIds;
};
struct ClientAdvertise {
    std::vector<ClientChannel> channels;
};
struct ClientUnadvertise {
    std::vector<std::uint32_t> channelIds;
};
struct GetParameters {
    std::vector<std::string> names;  // none: every parameter
    std::optional<std::string> id;
};
struct SetParameters {
    std::vector<Parameter> parameters;
    std::optional<std::string> id;
};
struct SubscribeParameterUpdates {
    std::vector<std::string> names;  // none: every parameter
};
struct UnsubscribeParameterUpdates {
    std::vector<std::string> names;  // none: every subscription
};
using ClientRequest =
    std::variant<Subscribe, Unsubscribe, ClientAdvertise, ClientUnadvertise, GetParameters,
                 SetParameters, SubscribeParameterUpdates, UnsubscribeParameterUpdates>;

/// Reads a text message of a client. Throws std::invalid_argument with the text a status message
/// gives the client: not JSON, no "op", an operation this server does not offer, a field missing
/// or of the wrong kind, or a parameter request naming more than `maxParameterNames`.
ClientRequest parseClientRequest(const std::string& text, std::size_t maxParameterNames);

/// The parts of a client's binary Message Data frame.
struct ClientData {
    std::uint32_t channelId = 0;
    const std::uint8_t* payload = nullptr;
    std::size_t size = 0;
};

/// The parts of a client's binary Service Call Request.
struct ClientServiceCall {
    ServiceId serviceId = 0;
    std::uint32_t callId = 0;
    std::string encoding;
    const std::uint8_t* payload = nullptr;
    std::size_t size = 0;
};

using ClientBinary = std::variant<ClientData, ClientServiceCall>;

/// Reads a client's binary message. Throws std::invalid_argument for an empty frame, an opcode
/// other than Message Data and Service Call Request, or one shorter than its header says.
ClientBinary parseClientBinary(const std::uint8_t* bytes, std::size_t size);

}  // namespace qorROS2::web::detail
