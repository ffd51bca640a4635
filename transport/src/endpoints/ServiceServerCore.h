#pragma once

// The untyped part of a service server: the reader of requests, the writer of replies, and the
// bookkeeping that answers each client on the wire it speaks.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "qorROS2/MalformedSampleReport.h"
#include "endpoints/ReaderEndpoint.h"
#include "endpoints/ServiceWireFormat.h"
#include "endpoints/WriterEndpoint.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ServiceTypes.h"

namespace qorROS2::transport::endpoints {

/// A request as the server takes it.
struct ReceivedRequest {
    ServiceRequestId id;
    std::int64_t sourceTimestampNs = 0;
};

/// A request reader on rq/<service>Request and a reply writer on rr/<service>Reply, serving
/// clients of rmw_fastrtps's wire and of rmw_cyclonedds's alike.
class ServiceServerCore {
  public:
    /// Checks the service name, the domain and `qos` (std::invalid_argument naming `service`),
    /// then creates both endpoints (std::runtime_error when the middleware refuses).
    ServiceServerCore(const std::string& service, const ServiceWireTypes& types, const QOS& qos,
                      std::int8_t domainId);
    ~ServiceServerCore();

    ServiceServerCore(const ServiceServerCore&) = delete;
    ServiceServerCore& operator=(const ServiceServerCore&) = delete;

    /// Takes the oldest waiting request whose payload is plain CDR into `payload` (the message
    /// alone: a Cyclone client's header is taken off) and returns true; false when none waits.
    /// Requests that are not are dropped with a warning on the way.
    bool take(std::vector<std::uint8_t>& payload, ReceivedRequest& request);

    /// Sends `size` bytes at `bytes`, a plain CDR payload, as the reply to `id`, waiting up to
    /// 100 ms for the client's reply reader to be matched, as ROS 2's middlewares do.
    ReplyOutcome reply(const ServiceRequestId& id, const std::uint8_t* bytes, std::size_t size);

    /// Counts a request that was malformed, with a warning if one is due.
    void dropped(const char* reason) noexcept { m_malformed.dropped(reason); }

    /// Drops the request `id`, taken and found malformed by the caller for `reason`: it is
    /// counted and told as dropped() does, and never answered.
    void drop(const ServiceRequestId& id, const std::string& reason);
    std::uint64_t droppedRequests() const { return m_malformed.count(); }

    bool waitForRequest(std::chrono::nanoseconds timeout) const {
        return m_requests.waitForSample(timeout);
    }
    void onRequest(std::function<void()> callback) { m_requests.onSample(std::move(callback)); }

    /// The request writers of clients matched right now.
    std::size_t matchedClients() const { return m_requests.matchedPublications(); }

    /// "/add_two_ints": the name ROS 2 tools show.
    const std::string& service() const { return m_service; }

  private:
    // What a Cyclone client's reply needs: its header back, and its reader found by its id.
    struct CycloneClient {
        CycloneRequestHeader header;
        std::string clientId;
    };

    // Waits for a reader for which `wanted` holds to be matched by the reply writer; tells a
    // client that left (its request writer is gone from discovery) from one not yet ready.
    ReplyOutcome awaitReader(const std::function<bool(const graph::Guid&)>& wanted,
                             const graph::Guid& requestWriter);

    std::string m_service;
    std::string m_serviceId;
    ReaderEndpoint m_requests;
    WriterEndpoint m_replies;
    MalformedSampleReport m_malformed;
    std::mutex m_mutex;
    // Requests taken and not yet answered, with what answering a Cyclone client needs.
    std::map<ServiceRequestId, CycloneClient> m_cycloneRequests;
    std::set<ServiceRequestId> m_outstanding;
    // For clients of rmw_fastrtps's wire: the request writer of each reply reader.
    std::map<graph::Guid, graph::Guid> m_requestWriterOf;
};

}  // namespace qorROS2::transport::endpoints
