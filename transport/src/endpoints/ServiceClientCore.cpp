#include "endpoints/ServiceClientCore.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <utility>

#include "common/Warning.h"
#include "endpoints/EndpointTopic.h"
#include "endpoints/RawPayloadType.h"

namespace qorROS2::transport::endpoints {
namespace {

std::string clientIdUserData(ServiceWire wire) {
    // Only a client that speaks Cyclone's wire says so: a server of ours reads the id as the
    // sign that requests carry the header.
    return wire == ServiceWire::cycloneDds ? "clientid=" + nextClientServiceId() + ";"
                                           : std::string();
}

// A 64-bit id for the header of a Cyclone client's requests, from the GUID of its writer, as
// rmw_cyclonedds takes the writer's instance handle.
std::uint64_t headerIdOf(const graph::Guid& writer) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const std::uint8_t byte : writer) {
        hash = (hash ^ byte) * 1099511628211ULL;
    }
    return hash;
}

// How often waitForService() looks at the matches.
constexpr std::chrono::milliseconds kServicePoll{10};

}  // namespace

ServiceClientCore::ServiceClientCore(const std::string& service, const ServiceWireTypes& types,
                                     const QOS& qos, std::int8_t domainId, ServiceWire wire)
    : m_service(checkServiceEndpoint(service, ServiceTopic::request, qos, domainId).qualified),
      m_wire(wire),
      m_clientIdUserData(clientIdUserData(wire)),
      m_requests(checkServiceEndpoint(service, ServiceTopic::request, qos, domainId), qos,
                 types.request, m_clientIdUserData),
      m_replies(checkServiceEndpoint(service, ServiceTopic::reply, qos, domainId), qos, types.reply,
                m_clientIdUserData),
      m_readerGuid(m_replies.guid()),
      m_writerGuid(m_requests.guid()),
      m_cycloneClientId(headerIdOf(m_writerGuid)),
      m_malformed("Client of service \"" + m_service + "\"", "reply") {
    m_replies.onSample([this] { takeReplies(); });
}

ServiceClientCore::~ServiceClientCore() {
    m_replies.onSample(nullptr);
}

std::int64_t ServiceClientCore::send(const std::uint8_t* bytes, std::size_t size,
                                     ReplyCallback callback) {
    if (!plainCdrPayload(bytes, size)) {
        throw std::invalid_argument("cannot call service \"" + m_service + "\" with " +
                                    std::to_string(size) +
                                    " bytes: a request starts with a plain CDR encapsulation "
                                    "header");
    }
    std::lock_guard<std::recursive_mutex> sending(m_sendMutex);
    // Registered before the write: in this process the reply may come before it returns.
    std::int64_t sequence = m_lastSequence + 1;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting[sequence].callback = std::move(callback);
    }
    bool written = false;
    if (m_wire == ServiceWire::cycloneDds) {
        const std::vector<std::uint8_t> framed =
            withCycloneHeader(bytes, size, CycloneRequestHeader{m_cycloneClientId, sequence});
        const RawPayloadView view{framed.data(), framed.size()};
        written = m_requests.write(payloadToWrite(view));
    } else {
        // The writer numbers its samples 1, 2, ... and the request's number is its id.
        const RawPayloadView view{bytes, size};
        SampleIdentity identity;
        written = m_requests.writeRelated(payloadToWrite(view), SampleIdentity{m_readerGuid, 0}, &identity);
        if (written && identity.sequenceNumber != sequence) {
            // The writer skipped numbers (a write it refused late): its count rules.
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto found = m_waiting.find(sequence);
            if (found != m_waiting.end()) {
                m_waiting[identity.sequenceNumber] = std::move(found->second);
                m_waiting.erase(found);
            }
            sequence = identity.sequenceNumber;
        }
    }
    if (!written) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting.erase(sequence);
        return -1;
    }
    m_lastSequence = sequence;
    return sequence;
}

void ServiceClientCore::takeReplies() {
    SampleOrigin origin;
    while (m_replies.takeNext(payloadToTake(m_scratch), &origin)) {
        std::int64_t sequence = 0;
        if (m_wire == ServiceWire::cycloneDds) {
            CycloneRequestHeader header;
            if (!stripCycloneHeader(m_scratch, header)) {
                m_malformed.dropped("it is too short for the 16-byte request header");
                continue;
            }
            if (header.clientId != m_cycloneClientId) {
                continue;  // a reply to another client: every client reads every reply
            }
            sequence = header.sequenceNumber;
        } else {
            const graph::Guid& related = origin.relatedIdentity.writerGuid;
            if (related != m_readerGuid && related != m_writerGuid) {
                continue;  // a reply to another client
            }
            sequence = origin.relatedIdentity.sequenceNumber;
        }
        if (!plainCdrPayload(m_scratch.data(), m_scratch.size())) {
            m_malformed.dropped("it does not start with a plain CDR encapsulation header");
            continue;
        }
        ReplyCallback callback;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto found = m_waiting.find(sequence);
            if (found == m_waiting.end() || found->second.answered) {
                ++m_ignored;
                continue;
            }
            if (!found->second.callback) {
                found->second.answered = true;
                found->second.reply = std::move(m_scratch);
                m_scratch = std::vector<std::uint8_t>();
                m_answered.notify_all();
                continue;
            }
            callback = std::move(found->second.callback);
            m_waiting.erase(found);
        }
        // An exception must not unwind into the middleware's thread; it is told once.
        try {
            callback(std::move(m_scratch));
        } catch (...) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_callbackThrew) {
                m_callbackThrew = true;
                common::warn("A reply callback of the client of service \"" + m_service +
                             "\" threw an exception; it was ignored, and later ones are too");
            }
        }
        m_scratch = std::vector<std::uint8_t>();
    }
}

bool ServiceClientCore::waitForReply(std::int64_t sequenceNumber, std::vector<std::uint8_t>& reply,
                                     std::chrono::nanoseconds timeout) {
    // A century at most, so the deadline cannot overflow the clock.
    constexpr std::chrono::nanoseconds kLongest = std::chrono::hours(24 * 365 * 100);
    const auto deadline = std::chrono::steady_clock::now() +
                          std::clamp(timeout, std::chrono::nanoseconds::zero(), kLongest);
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto answered = [&] {
        const auto found = m_waiting.find(sequenceNumber);
        return found == m_waiting.end() || found->second.answered;
    };
    m_answered.wait_until(lock, deadline, answered);
    const auto found = m_waiting.find(sequenceNumber);
    if (found == m_waiting.end() || !found->second.answered) {
        return false;
    }
    reply = std::move(found->second.reply);
    m_waiting.erase(found);
    return true;
}

bool ServiceClientCore::forget(std::int64_t sequenceNumber) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_waiting.erase(sequenceNumber) != 0;
}

bool ServiceClientCore::serviceIsReady() const {
    return m_requests.matchedSubscriptions() > 0 && m_replies.matchedPublications() > 0;
}

bool ServiceClientCore::waitForService(std::chrono::nanoseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        if (serviceIsReady()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(kServicePoll);
    }
}

std::uint64_t ServiceClientCore::ignoredReplies() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_ignored + m_malformed.count();
}

std::size_t ServiceClientCore::waitingRequests() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_waiting.size();
}

}  // namespace qorROS2::transport::endpoints
