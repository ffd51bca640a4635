#pragma once

// How services travel: their two wire types, the request header that rmw_cyclonedds puts before
// every request and reply, and the ids its clients and services announce.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/WireType.h"
#include "graph/GraphModel.h"

namespace qorROS2::transport::endpoints {

/// The wire types of the requests and replies of the service type `serviceType`
/// ("std_srvs/srv/SetBool" travels as "std_srvs::srv::dds_::SetBool_Request_" and
/// "..._Response_"), as payload bytes, announcing the hashes given (each "RIHS01_..." or empty).
/// Throws std::invalid_argument naming `service` when the type name or a hash is not valid.
struct ServiceWireTypes {
    common::WireType request;
    common::WireType reply;
};
ServiceWireTypes serviceWireTypes(const std::string& service, const std::string& serviceType,
                                  const std::string& requestTypeHash,
                                  const std::string& replyTypeHash);

/// The header that rmw_cyclonedds writes right after the encapsulation of every request and
/// reply: the client's id and the request's sequence number, in the payload's byte order.
struct CycloneRequestHeader {
    std::uint64_t clientId = 0;
    std::int64_t sequenceNumber = 0;
};
inline constexpr std::size_t kCycloneHeaderSize = 16;

/// Whether `size` bytes at `bytes` start with the encapsulation of plain CDR, either byte order.
bool plainCdrPayload(const std::uint8_t* bytes, std::size_t size);

/// Reads the header of `payload` and removes it, leaving the payload of the message alone;
/// false, `payload` untouched, when it is too short or not plain CDR.
bool stripCycloneHeader(std::vector<std::uint8_t>& payload, CycloneRequestHeader& header);

/// `size` bytes of a plain CDR payload at `bytes` with `header` put after its encapsulation, in
/// its byte order. The message keeps its alignment: the header is a multiple of 8 bytes.
std::vector<std::uint8_t> withCycloneHeader(const std::uint8_t* bytes, std::size_t size,
                                            const CycloneRequestHeader& header);

/// The id by which rmw_cyclonedds pairs a client's (or a service's) reader and writer: 12 bytes
/// that tell the process (it takes its participant's GUID prefix) and a big-endian count, written
/// as it writes them: hex, dot separated, the first byte padded with a space to two characters
/// ("a2.f.0.1...", " 1.10...").
std::string clientServiceId(const std::array<std::uint8_t, 12>& processPrefix, std::uint32_t count);

/// A new id by clientServiceId(), unique among the ids of all processes: a random prefix drawn
/// once per process and a count.
std::string nextClientServiceId();

}  // namespace qorROS2::transport::endpoints
