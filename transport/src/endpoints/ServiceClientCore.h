#pragma once

// The untyped part of a service client: the writer of requests, the reader of replies, and the
// requests that wait for their replies.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "qorROS2/MalformedSampleReport.h"
#include "endpoints/ReaderEndpoint.h"
#include "endpoints/ServiceWireFormat.h"
#include "endpoints/WriterEndpoint.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ServiceTypes.h"

namespace qorROS2::transport::endpoints {

/// A request writer on rq/<service>Request and a reply reader on rr/<service>Reply, speaking
/// `wire`. Replies are taken on the middleware's thread as they come and handed to the request
/// they answer; a reply that answers no waiting request is ignored.
class ServiceClientCore {
  public:
    /// Called with a reply's payload (plain CDR, the message alone), on the middleware's thread.
    using ReplyCallback = std::function<void(std::vector<std::uint8_t>&&)>;

    /// Checks the service name, the domain and `qos` (std::invalid_argument naming `service`),
    /// then creates both endpoints (std::runtime_error when the middleware refuses).
    ServiceClientCore(const std::string& service, const ServiceWireTypes& types, const QOS& qos,
                      std::int8_t domainId, ServiceWire wire);
    ~ServiceClientCore();

    ServiceClientCore(const ServiceClientCore&) = delete;
    ServiceClientCore& operator=(const ServiceClientCore&) = delete;

    /// Sends `size` bytes at `bytes`, a plain CDR payload, as a request and returns its sequence
    /// number; -1 when the middleware refused it. Its reply goes to `callback`, or, without one,
    /// waits for waitForReply(). Throws std::invalid_argument naming the service for bytes that
    /// are not plain CDR.
    std::int64_t send(const std::uint8_t* bytes, std::size_t size, ReplyCallback callback);

    /// Waits for the reply to the request `sequenceNumber` sent without a callback: true with
    /// the reply in `reply` (the request is then done), false once `timeout` passed (it still
    /// waits) or when no such request waits.
    bool waitForReply(std::int64_t sequenceNumber, std::vector<std::uint8_t>& reply,
                      std::chrono::nanoseconds timeout);

    /// Stops waiting for the reply to `sequenceNumber`; false when it did not wait.
    bool forget(std::int64_t sequenceNumber);

    /// Whether a server's request reader and reply writer are both matched.
    bool serviceIsReady() const;
    bool waitForService(std::chrono::nanoseconds timeout) const;

    /// Replies that answered no waiting request, or that were malformed, so far.
    std::uint64_t ignoredReplies() const;
    std::size_t waitingRequests() const;

    const std::string& service() const { return m_service; }

  private:
    struct Waiting {
        ReplyCallback callback;
        bool answered = false;
        std::vector<std::uint8_t> reply;
    };

    // Takes every reply that came, on the middleware's thread.
    void takeReplies();

    std::string m_service;
    ServiceWire m_wire;
    std::string m_clientIdUserData;
    WriterEndpoint m_requests;
    ReaderEndpoint m_replies;
    graph::Guid m_readerGuid{};
    graph::Guid m_writerGuid{};
    std::uint64_t m_cycloneClientId = 0;
    MalformedSampleReport m_malformed;

    // Serialises sending, so the next sequence number is known before the write; recursive, as
    // a reply callback may send again from within a write delivered in this process.
    std::recursive_mutex m_sendMutex;
    std::int64_t m_lastSequence = 0;

    mutable std::mutex m_mutex;
    std::condition_variable m_answered;
    std::map<std::int64_t, Waiting> m_waiting;
    std::uint64_t m_ignored = 0;
    bool m_callbackThrew = false;
    std::vector<std::uint8_t> m_scratch;  // used by takeReplies() only
};

}  // namespace qorROS2::transport::endpoints
