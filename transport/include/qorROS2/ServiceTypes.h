#pragma once

// What servers and clients of ROS 2 services share: how a request is named, what became of a
// reply, and which middleware's wire a client speaks.

#include <array>
#include <cstdint>
#include <string>
#include <tuple>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// Names one request to a server, as ROS 2 names it (rmw_request_id_t): a GUID of the client
/// and the request's sequence number, which counts the client's requests from 1.
struct ServiceRequestId {
    /// For a client that speaks rmw_fastrtps's wire, the GUID of its reply reader (or of its
    /// request writer when it did not say); for one that speaks rmw_cyclonedds's, the GUID of
    /// its request writer.
    std::array<std::uint8_t, 16> clientGuid{};
    std::int64_t sequenceNumber = 0;

    bool operator<(const ServiceRequestId& other) const {
        return std::tie(clientGuid, sequenceNumber) <
               std::tie(other.clientGuid, other.sequenceNumber);
    }
    bool operator==(const ServiceRequestId& other) const {
        return clientGuid == other.clientGuid && sequenceNumber == other.sequenceNumber;
    }
};

/// What became of a reply, as ROS 2's middlewares tell it to a server.
enum class ReplyOutcome {
    sent,            ///< handed to the middleware for the client
    clientGone,      ///< the client left before its reply reader was matched: nothing to send
    clientNotReady,  ///< the client's reply reader was not matched in time; not sent
    unknownRequest,  ///< no request of that id waits for a reply; not sent
    refused,         ///< the middleware did not accept the reply
};

/// How a client puts its requests on the wire; the two ROS 2 middlewares do not understand each
/// other's service samples. A server understands both and answers each client in its own.
enum class ServiceWire {
    /// As rmw_fastrtps: the request names the client's reply reader as its related sample, and
    /// the reply names the request.
    fastRtps,
    /// As rmw_cyclonedds: a 16-byte header (a client id and a sequence number) leads each
    /// request and reply, and the client's reader and writer announce "clientid=...;".
    cycloneDds,
};

/// The type hashes that a service's endpoints announce: the request's on the request reader and
/// writer, the response's on the reply writer and reader ("RIHS01_...", or empty when unknown).
struct ServiceTypeHashes {
    std::string request;
    std::string response;
};

/// The hashes of the service type `serviceType` ("std_srvs/srv/SetBool") when this library knows
/// the type; empty ones for any other, as ROS 2 announces an unknown hash.
QORNTROS2_EXPORT ServiceTypeHashes knownServiceTypeHashes(const std::string& serviceType);

}  // namespace qorROS2
