#include "ProtocolMessages.h"

#include "ParameterJson.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace qorROS2::web::detail {
namespace {

using nlohmann::json;

template <std::size_t N>
void putLittleEndian(std::array<std::uint8_t, N>& frame, std::size_t at, std::uint64_t value,
                     std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        frame[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

// The protocol's numbers are unsigned 32-bit; JSON may hold anything.
std::uint32_t idField(const json& object, const char* field, const std::string& op) {
    const auto found = object.find(field);
    if (found == object.end() || !found->is_number_unsigned() ||
        found->get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        throw std::invalid_argument(op + ": \"" + field + "\" must be an unsigned 32-bit integer");
    }
    return static_cast<std::uint32_t>(found->get<std::uint64_t>());
}

std::string textField(const json& object, const char* field, const std::string& op) {
    const auto found = object.find(field);
    if (found == object.end() || !found->is_string()) {
        throw std::invalid_argument(op + ": \"" + field + "\" must be a string");
    }
    return found->get<std::string>();
}

const json& arrayField(const json& message, const char* field, const std::string& op) {
    const auto found = message.find(field);
    if (found == message.end() || !found->is_array()) {
        throw std::invalid_argument(op + ": \"" + field + "\" must be an array");
    }
    return *found;
}

const json& objectElement(const json& element, const std::string& op) {
    if (!element.is_object()) {
        throw std::invalid_argument(op + ": each element must be an object");
    }
    return element;
}

std::uint32_t readLittleEndian32(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(bytes[i]) << (8 * i);
    }
    return value;
}

void appendLittleEndian32(std::vector<std::uint8_t>& frame, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        frame.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
}

json schemaObject(const std::string& name, const std::string& schema) {
    return {{"encoding", "cdr"},
            {"schemaName", name},
            {"schemaEncoding", "ros2msg"},
            {"schema", schema}};
}

std::vector<std::uint32_t> idArray(const json& message, const char* field, const std::string& op) {
    std::vector<std::uint32_t> ids;
    for (const json& element : arrayField(message, field, op)) {
        if (!element.is_number_unsigned() ||
            element.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
            throw std::invalid_argument(op + ": \"" + field +
                                        "\" must hold unsigned 32-bit integers");
        }
        ids.push_back(static_cast<std::uint32_t>(element.get<std::uint64_t>()));
    }
    return ids;
}

// The array `field` of a parameter request, refused before anything is copied out of it when it
// is longer than the server takes.
const json& parameterList(const json& message, const char* field, const std::string& op,
                          std::size_t maxParameterNames) {
    const json& list = arrayField(message, field, op);
    if (list.size() > maxParameterNames) {
        throw std::invalid_argument(op + ": " + std::to_string(list.size()) +
                                    " parameters, more than the " +
                                    std::to_string(maxParameterNames) + " one request may name");
    }
    return list;
}

std::vector<std::string> parameterNames(const json& message, const std::string& op,
                                        std::size_t maxParameterNames) {
    std::vector<std::string> names;
    for (const json& element : parameterList(message, "parameterNames", op, maxParameterNames)) {
        names.push_back(parameterNameFromJson(element, op));
    }
    return names;
}

// The optional "id" of a parameter request, which its answer carries back.
std::optional<std::string> requestId(const json& message, const std::string& op) {
    const auto found = message.find("id");
    if (found == message.end() || found->is_null()) {
        return std::nullopt;
    }
    if (!found->is_string()) {
        throw std::invalid_argument(op + ": \"id\" must be a string");
    }
    return found->get<std::string>();
}

}  // namespace

std::string serverInfoJson(const std::string& name, const std::vector<std::string>& capabilities,
                           const std::vector<std::pair<std::string, std::string>>& metadata,
                           const std::string& sessionId) {
    json meta = json::object();
    for (const auto& [key, value] : metadata) {
        meta[key] = value;
    }
    return json{{"op", "serverInfo"},
                {"name", name},
                {"capabilities", capabilities},
                {"supportedEncodings", {"cdr"}},
                {"metadata", meta},
                {"sessionId", sessionId}}
        .dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string advertiseJson(const std::vector<std::pair<ChannelId, Channel>>& channels) {
    json list = json::array();
    for (const auto& [id, channel] : channels) {
        list.push_back({{"id", id},
                        {"topic", channel.topic},
                        {"encoding", channel.encoding},
                        {"schemaName", channel.schemaName},
                        {"schema", channel.schema},
                        {"schemaEncoding", channel.schemaEncoding}});
    }
    return json{{"op", "advertise"}, {"channels", list}}.dump(-1, ' ', false,
                                                              json::error_handler_t::replace);
}

std::string unadvertiseJson(ChannelId id) {
    return json{{"op", "unadvertise"}, {"channelIds", {id}}}.dump();
}

std::string statusJson(StatusLevel level, const std::string& message) {
    return json{{"op", "status"}, {"level", static_cast<int>(level)}, {"message", message}}.dump(
        -1, ' ', false, json::error_handler_t::replace);
}

std::string advertiseServicesJson(const std::vector<std::pair<ServiceId, Service>>& services) {
    json list = json::array();
    for (const auto& [id, service] : services) {
        // requestSchema and responseSchema too, for clients that know only those.
        list.push_back(
            {{"id", id},
             {"name", service.name},
             {"type", service.type},
             {"request", schemaObject(service.requestSchemaName, service.requestSchema)},
             {"response", schemaObject(service.responseSchemaName, service.responseSchema)},
             {"requestSchema", service.requestSchema},
             {"responseSchema", service.responseSchema}});
    }
    return json{{"op", "advertiseServices"}, {"services", list}}.dump(
        -1, ' ', false, json::error_handler_t::replace);
}

std::string unadvertiseServicesJson(ServiceId id) {
    return json{{"op", "unadvertiseServices"}, {"serviceIds", {id}}}.dump();
}

std::string serviceCallFailureJson(ServiceId serviceId, std::uint32_t callId,
                                   const std::string& message) {
    return json{{"op", "serviceCallFailure"},
                {"serviceId", serviceId},
                {"callId", callId},
                {"message", message}}
        .dump(-1, ' ', false, json::error_handler_t::replace);
}

std::vector<std::uint8_t> serviceCallResponseFrame(ServiceId serviceId, std::uint32_t callId,
                                                   const std::string& encoding,
                                                   const std::vector<std::uint8_t>& payload) {
    std::vector<std::uint8_t> frame;
    frame.reserve(kServiceCallHeaderSize + encoding.size() + payload.size());
    frame.push_back(kServiceCallResponseOpcode);
    appendLittleEndian32(frame, serviceId);
    appendLittleEndian32(frame, callId);
    appendLittleEndian32(frame, static_cast<std::uint32_t>(encoding.size()));
    frame.insert(frame.end(), encoding.begin(), encoding.end());
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

std::array<std::uint8_t, kMessageDataHeaderSize> messageDataHeader(std::uint32_t subscriptionId,
                                                                   std::int64_t logTimeNs) {
    std::array<std::uint8_t, kMessageDataHeaderSize> frame{};
    frame[0] = kMessageDataOpcode;
    putLittleEndian(frame, 1, subscriptionId, 4);
    putLittleEndian(frame, 5, static_cast<std::uint64_t>(logTimeNs), 8);
    return frame;
}

std::array<std::uint8_t, 9> timeFrame(std::int64_t timeNs) {
    std::array<std::uint8_t, 9> frame{};
    frame[0] = kTimeOpcode;
    putLittleEndian(frame, 1, static_cast<std::uint64_t>(timeNs), 8);
    return frame;
}

ClientRequest parseClientRequest(const std::string& text, std::size_t maxParameterNames) {
    const json message = json::parse(text, nullptr, false);
    if (message.is_discarded()) {
        throw std::invalid_argument("the message is not valid JSON");
    }
    if (!message.is_object()) {
        throw std::invalid_argument("the message is not a JSON object");
    }
    const auto opField = message.find("op");
    if (opField == message.end() || !opField->is_string()) {
        throw std::invalid_argument("the message has no \"op\" string");
    }
    const std::string op = opField->get<std::string>();
    if (op == "subscribe") {
        Subscribe request;
        for (const json& element : arrayField(message, "subscriptions", op)) {
            const json& subscription = objectElement(element, op);
            request.subscriptions.emplace_back(idField(subscription, "id", op),
                                               idField(subscription, "channelId", op));
        }
        return request;
    }
    if (op == "unsubscribe") {
        return Unsubscribe{idArray(message, "subscriptionIds", op)};
    }
    if (op == "advertise") {
        ClientAdvertise request;
        for (const json& element : arrayField(message, "channels", op)) {
            const json& channel = objectElement(element, op);
            request.channels.push_back({idField(channel, "id", op), textField(channel, "topic", op),
                                        textField(channel, "encoding", op),
                                        textField(channel, "schemaName", op)});
        }
        return request;
    }
    if (op == "unadvertise") {
        return ClientUnadvertise{idArray(message, "channelIds", op)};
    }
    if (op == "getParameters") {
        return GetParameters{parameterNames(message, op, maxParameterNames),
                             requestId(message, op)};
    }
    if (op == "setParameters") {
        SetParameters request;
        for (const json& element : parameterList(message, "parameters", op, maxParameterNames)) {
            request.parameters.push_back(parameterFromJson(element, op));
        }
        request.id = requestId(message, op);
        return request;
    }
    if (op == "subscribeParameterUpdates") {
        return SubscribeParameterUpdates{parameterNames(message, op, maxParameterNames)};
    }
    if (op == "unsubscribeParameterUpdates") {
        return UnsubscribeParameterUpdates{parameterNames(message, op, maxParameterNames)};
    }
    // Capped so that a client cannot make the reply as long as its message.
    throw std::invalid_argument("unsupported operation \"" + op.substr(0, 64) + "\"");
}

ClientBinary parseClientBinary(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) {
        throw std::invalid_argument("empty binary message");
    }
    if (bytes[0] == kServiceCallRequestOpcode) {
        if (size < kServiceCallHeaderSize) {
            throw std::invalid_argument("service call request of " + std::to_string(size) +
                                        " bytes, shorter than its header of " +
                                        std::to_string(kServiceCallHeaderSize));
        }
        ClientServiceCall call;
        call.serviceId = readLittleEndian32(bytes + 1);
        call.callId = readLittleEndian32(bytes + 5);
        const std::uint32_t encodingSize = readLittleEndian32(bytes + 9);
        if (encodingSize > size - kServiceCallHeaderSize) {
            throw std::invalid_argument("service call request with an encoding of " +
                                        std::to_string(encodingSize) + " bytes in " +
                                        std::to_string(size - kServiceCallHeaderSize));
        }
        const auto* encoding = reinterpret_cast<const char*>(bytes + kServiceCallHeaderSize);
        call.encoding.assign(encoding, encodingSize);
        call.payload = bytes + kServiceCallHeaderSize + encodingSize;
        call.size = size - kServiceCallHeaderSize - encodingSize;
        return call;
    }
    if (bytes[0] != kMessageDataOpcode) {
        throw std::invalid_argument("unsupported binary opcode " + std::to_string(bytes[0]));
    }
    if (size < 5) {
        throw std::invalid_argument("binary message data shorter than its channel id");
    }
    ClientData data;
    data.channelId = readLittleEndian32(bytes + 1);
    data.payload = bytes + 5;
    data.size = size - 5;
    return data;
}

}  // namespace qorROS2::web::detail
