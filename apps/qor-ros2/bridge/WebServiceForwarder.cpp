#include "bridge/WebServiceForwarder.h"

#include <cstdio>
#include <set>
#include <utility>

#include "qorROS2/RosNames.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {
namespace {

namespace ts = qorROS2::typesupport;

// The server of `service` among `endpoints`, if one is seen: which wire it speaks.
const qorROS2::DiscoveredServiceEndpoint* serverOf(
    const std::string& service, const std::vector<qorROS2::DiscoveredServiceEndpoint>& endpoints) {
    for (const qorROS2::DiscoveredServiceEndpoint& endpoint : endpoints) {
        if (endpoint.service == service && endpoint.isServer()) {
            return &endpoint;
        }
    }
    return nullptr;
}

}  // namespace

WebServiceForwarder::WebServiceForwarder(std::int8_t domain, std::regex services)
    : m_domain(domain), m_services(std::move(services)) {}

void WebServiceForwarder::takeCallsOf(qorROS2::web::ServerOptions& options) {
    m_timeout = options.serviceCallTimeout;
    options.onServiceCall = [this](const qorROS2::web::ServiceCall& call,
                                   qorROS2::web::ServiceReply reply) { forward(call, reply); };
}

void WebServiceForwarder::refresh(qorROS2::web::FoxgloveServer& server,
                                  const qorROS2::TopicDiscovery& discovery) {
    const std::vector<qorROS2::DiscoveredTopic> services = discovery.services();
    const std::vector<qorROS2::DiscoveredServiceEndpoint> endpoints = discovery.serviceEndpoints();
    std::set<std::string> present;
    for (const qorROS2::DiscoveredTopic& service : services) {
        const qorROS2::DiscoveredServiceEndpoint* endpoint = serverOf(service.name, endpoints);
        // Hidden services (an action's own, under _action/) stay hidden, as `ros2 service list`
        // keeps them.
        if (endpoint == nullptr || service.types.size() != 1 ||
            qorROS2::isHiddenTopicName(service.name) ||
            !std::regex_match(service.name, m_services)) {
            continue;
        }
        const std::string& type = service.types.front();
        const ts::ServiceTypeSupport* support = ts::findServiceTypeSupport(type);
        if (support == nullptr) {
            if (m_warned.insert(service.name).second) {
                std::fprintf(stderr,
                             "warning: %s has type %s, which qor-ros2 does not know; the web "
                             "bridge does not offer it\n",
                             service.name.c_str(), type.c_str());
            }
            continue;
        }
        present.insert(service.name);
        const std::lock_guard<std::mutex> lock(m_mutex);
        auto forwarded = m_forwarded.find(service.name);
        if (forwarded != m_forwarded.end() && forwarded->second.type == type) {
            continue;
        }
        if (forwarded != m_forwarded.end()) {
            server.removeService(forwarded->second.id);
            m_forwarded.erase(forwarded);
        }
        Forwarded added;
        added.type = type;
        added.client = std::make_unique<qorROS2::RawServiceClient>(
            service.name, type, m_domain, qorROS2::presetQos("services_default"),
            endpoint->cycloneDds ? qorROS2::ServiceWire::cycloneDds
                                 : qorROS2::ServiceWire::fastRtps,
            support->requestTypeHash(), support->responseTypeHash());
        added.id = server.addService(
            {service.name, type, support->request().rosName(), support->request().schemaText(),
             support->response().rosName(), support->response().schemaText()});
        m_forwarded.emplace(service.name, std::move(added));
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto forwarded = m_forwarded.begin(); forwarded != m_forwarded.end();) {
        if (present.count(forwarded->first) == 0) {
            // Calls that wait for it fail when their time is up.
            server.removeService(forwarded->second.id);
            forwarded = m_forwarded.erase(forwarded);
        } else {
            ++forwarded;
        }
    }
    forgetOverdue();
}

void WebServiceForwarder::forward(const qorROS2::web::ServiceCall& call,
                                  const qorROS2::web::ServiceReply& reply) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto forwarded = m_forwarded.find(call.name);
    if (forwarded == m_forwarded.end()) {
        reply.fail(call.name + " is no longer offered");
        return;
    }
    if (!forwarded->second.client->serviceIsReady()) {
        reply.fail(call.name + " has no server that answers now");
        return;
    }
    // Throws std::invalid_argument for bytes that are not CDR: the client hears it as the
    // failure.
    const std::int64_t sequence = forwarded->second.client->sendRequest(
        call.request, [reply](std::vector<std::uint8_t>&& response) { reply.respond(response); });
    if (sequence < 0) {
        reply.fail("the request to " + call.name + " could not be sent");
        return;
    }
    m_waiting.push_back({call.name, sequence, std::chrono::steady_clock::now() + m_timeout});
}

void WebServiceForwarder::forgetOverdue() {
    const auto now = std::chrono::steady_clock::now();
    for (auto waiting = m_waiting.begin(); waiting != m_waiting.end();) {
        if (waiting->deadline > now) {
            ++waiting;
            continue;
        }
        const auto forwarded = m_forwarded.find(waiting->service);
        if (forwarded != m_forwarded.end()) {
            forwarded->second.client->forgetRequest(waiting->sequence);
        }
        waiting = m_waiting.erase(waiting);
    }
}

}  // namespace qorCli
