#include "endpoints/ServiceServerCore.h"

#include <stdexcept>
#include <utility>

#include "endpoints/EndpointTopic.h"
#include "endpoints/RawPayloadType.h"
#include "graph/DomainGraph.h"

namespace qorROS2::transport::endpoints {
namespace {

// How long a reply waits for the client's reply reader to be matched: a reliable writer's
// longest block, which rmw_fastrtps waits, and rmw_cyclonedds's fixed 100 ms.
constexpr std::chrono::milliseconds kReaderWait{100};
// How often a reply for a Cyclone client looks again: its reader is told apart by the id its
// discovery announced, which may come after the match.
constexpr std::chrono::milliseconds kReaderPoll{10};
// How long a server that goes away gives its last replies to reach their clients. A reply is
// sent before the server's owner moves on, often to exit; between processes of one host it lies
// in the server's shared memory until the client has read it, and on a busy host the client may
// not have read it yet when the process ends.
constexpr std::chrono::seconds kReplyDelivery{1};
// How often that wait looks whether its clients are still matched.
constexpr std::chrono::milliseconds kDeliveryPoll{10};

std::string serviceIdUserData() {
    return "serviceid=" + nextClientServiceId() + ";";
}

}  // namespace

ServiceServerCore::ServiceServerCore(const std::string& service, const ServiceWireTypes& types,
                                     const QOS& qos, std::int8_t domainId)
    : m_service(checkServiceEndpoint(service, ServiceTopic::request, qos, domainId).qualified),
      m_serviceId(serviceIdUserData()),
      m_requests(checkServiceEndpoint(service, ServiceTopic::request, qos, domainId), qos,
                 types.request, m_serviceId),
      m_replies(checkServiceEndpoint(service, ServiceTopic::reply, qos, domainId), qos, types.reply,
                m_serviceId),
      m_malformed("Service \"" + m_service + "\"", "request") {}

ServiceServerCore::~ServiceServerCore() {
    m_requests.onSample(nullptr);
    // Looks in slices, so that a client that left without acknowledging (its reader unmatched)
    // does not hold the owner for the whole time.
    const auto deadline = std::chrono::steady_clock::now() + kReplyDelivery;
    while (!m_replies.waitForAcknowledgments(kDeliveryPoll) &&
           m_replies.matchedSubscriptions() > 0 && std::chrono::steady_clock::now() < deadline) {
    }
}

bool ServiceServerCore::take(std::vector<std::uint8_t>& payload, ReceivedRequest& request) {
    SampleOrigin origin;
    while (m_requests.takeNext(payloadToTake(payload), &origin)) {
        if (!plainCdrPayload(payload.data(), payload.size())) {
            dropped(payload.size() < 4 ? "it is shorter than a CDR encapsulation header"
                                       : "it does not start with a plain CDR encapsulation header");
            continue;
        }
        const graph::Guid writer = origin.identity.writerGuid;
        // Discovery tells the writer's id before its samples come, but its listener may run
        // just after the first of them.
        std::string clientId;
        const graph::DomainGraph& graph = m_requests.domainGraph();
        graph.waitUntil([&](const graph::GraphCache& cache) { return cache.knows(writer); },
                        kReaderWait);
        graph.read([&](const graph::GraphCache& cache) { clientId = cache.clientIdOf(writer); });

        ReceivedRequest taken;
        taken.sourceTimestampNs = origin.sourceTimestampNs;
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!clientId.empty()) {
            CycloneRequestHeader header;
            if (!stripCycloneHeader(payload, header)) {
                dropped("it is too short for the 16-byte request header of its client");
                continue;
            }
            taken.id.clientGuid = writer;
            taken.id.sequenceNumber = header.sequenceNumber;
            m_cycloneRequests[taken.id] = CycloneClient{header, clientId};
        } else {
            // The reply goes to the reader that the request names, else to its writer.
            const graph::Guid& related = origin.relatedIdentity.writerGuid;
            taken.id.clientGuid = related == graph::Guid{} ? writer : related;
            taken.id.sequenceNumber = origin.identity.sequenceNumber;
            m_requestWriterOf[taken.id.clientGuid] = writer;
        }
        m_outstanding.insert(taken.id);
        request = taken;
        return true;
    }
    return false;
}

void ServiceServerCore::drop(const ServiceRequestId& id, const std::string& reason) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_outstanding.erase(id);
        m_cycloneRequests.erase(id);
    }
    dropped(reason.c_str());
}

ReplyOutcome ServiceServerCore::awaitReader(const std::function<bool(const graph::Guid&)>& wanted,
                                            const graph::Guid& requestWriter) {
    const auto deadline = std::chrono::steady_clock::now() + kReaderWait;
    for (;;) {
        if (m_replies.waitForMatchedReader(wanted, kReaderPoll)) {
            return ReplyOutcome::sent;
        }
        bool writerKnown = false;
        m_replies.domainGraph().read(
            [&](const graph::GraphCache& cache) { writerKnown = cache.knows(requestWriter); });
        if (!writerKnown) {
            return ReplyOutcome::clientGone;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return ReplyOutcome::clientNotReady;
        }
    }
}

ReplyOutcome ServiceServerCore::reply(const ServiceRequestId& id, const std::uint8_t* bytes,
                                      std::size_t size) {
    if (!plainCdrPayload(bytes, size)) {
        throw std::invalid_argument("cannot reply on service \"" + m_service + "\" with " +
                                    std::to_string(size) +
                                    " bytes: a reply starts with a plain CDR encapsulation header");
    }
    bool cyclone = false;
    CycloneClient client;
    graph::Guid requestWriter = id.clientGuid;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_outstanding.erase(id) == 0) {
            return ReplyOutcome::unknownRequest;
        }
        const auto found = m_cycloneRequests.find(id);
        if (found != m_cycloneRequests.end()) {
            cyclone = true;
            client = std::move(found->second);
            m_cycloneRequests.erase(found);
        } else {
            const auto writer = m_requestWriterOf.find(id.clientGuid);
            if (writer != m_requestWriterOf.end()) {
                requestWriter = writer->second;
            }
        }
    }
    if (cyclone) {
        const graph::DomainGraph& graph = m_replies.domainGraph();
        const ReplyOutcome ready = awaitReader(
            [&](const graph::Guid& reader) {
                bool same = false;
                graph.read([&](const graph::GraphCache& cache) {
                    same = cache.clientIdOf(reader) == client.clientId;
                });
                return same;
            },
            requestWriter);
        if (ready != ReplyOutcome::sent) {
            return ready;
        }
        const std::vector<std::uint8_t> framed = withCycloneHeader(bytes, size, client.header);
        const RawPayloadView view{framed.data(), framed.size()};
        return m_replies.write(payloadToWrite(view)) ? ReplyOutcome::sent : ReplyOutcome::refused;
    }
    // A related GUID of a reader names the client's reply reader: wait until it is matched, as
    // the reply would be lost otherwise. Of a writer, it is an older client's request writer.
    if (isReaderGuid(id.clientGuid)) {
        const ReplyOutcome ready = awaitReader(
            [&](const graph::Guid& reader) { return reader == id.clientGuid; }, requestWriter);
        if (ready != ReplyOutcome::sent) {
            return ready;
        }
    }
    const RawPayloadView view{bytes, size};
    return m_replies.writeRelated(payloadToWrite(view),
                                  SampleIdentity{id.clientGuid, id.sequenceNumber})
               ? ReplyOutcome::sent
               : ReplyOutcome::refused;
}

}  // namespace qorROS2::transport::endpoints
