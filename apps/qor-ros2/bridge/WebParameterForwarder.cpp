#include "bridge/WebParameterForwarder.h"

#include <chrono>
#include <set>
#include <utility>

#include "common/WebParameterValues.h"
#include "param/ParameterCalls.h"
#include "qorROS2/ParameterTypes.h"
#include "qorROS2/QOS.h"

namespace qorCli {
namespace {

namespace rcl = qorROS2::rclInterfaces;
namespace web = qorROS2::web;

// How long one call of a node's parameter service may wait for its answer, after waiting for the
// service as ros2 param does (kParameterServiceWait).
constexpr std::chrono::seconds kParameterCallTimeout{5};
// How often the thread looks for parameter events when no request wakes it.
constexpr std::chrono::milliseconds kEventPeriod{50};

// "/robot/arm.camera.rate" is parameter "camera.rate" of node "/robot/arm": names of nodes and
// namespaces hold no dot. Nothing for a name that names no node's parameter.
bool splitName(const std::string& name, std::string& node, std::string& parameter) {
    const std::size_t dot = name.find('.');
    if (name.empty() || name.front() != '/' || dot == std::string::npos || dot + 1 == name.size()) {
        return false;
    }
    node = name.substr(0, dot);
    parameter = name.substr(dot + 1);
    return true;
}

template <typename Srv>
std::unique_ptr<qorROS2::ServiceClient<Srv>> clientOf(const qorROS2::TopicDiscovery& discovery,
                                                      std::int8_t domain, const std::string& node,
                                                      const std::string& service) {
    const std::string name = node + "/" + service;
    return std::make_unique<qorROS2::ServiceClient<Srv>>(
        name, domain, qorROS2::presetQos("services_default"),
        serverSpeaksCyclone(discovery, name) ? qorROS2::ServiceWire::cycloneDds
                                             : qorROS2::ServiceWire::fastRtps);
}

// Calls `client` with `request`: whether its response came in time.
template <typename Srv>
bool callWithin(qorROS2::ServiceClient<Srv>& client, const typename Srv::Request& request,
                typename Srv::Response& response) {
    return client.waitForService(kParameterServiceWait) &&
           client.call(request, response, kParameterCallTimeout);
}

}  // namespace

struct WebParameterForwarder::NodeClients {
    std::unique_ptr<qorROS2::ServiceClient<rcl::ListParameters>> list;
    std::unique_ptr<qorROS2::ServiceClient<rcl::GetParameters>> get;
    std::unique_ptr<qorROS2::ServiceClient<rcl::SetParameters>> set;
};

WebParameterForwarder::WebParameterForwarder(std::int8_t domain,
                                             const qorROS2::TopicDiscovery& discovery)
    : m_domain(domain), m_discovery(discovery) {}

WebParameterForwarder::~WebParameterForwarder() {
    stop();
}

void WebParameterForwarder::stop() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_woken.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void WebParameterForwarder::takeRequestsOf(web::ServerOptions& options) {
    m_requests.takeRequestsOf(options, [this] {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_arrived = true;
        }
        m_woken.notify_all();
    });
}

void WebParameterForwarder::start(web::FoxgloveServer& server) {
    m_server = &server;
    m_events = std::make_unique<qorROS2::Subscriber<rcl::ParameterEvent>>(
        "/parameter_events", qorROS2::presetQos("parameter_events"), m_domain);
    m_thread = std::thread([this] { run(); });
}

void WebParameterForwarder::run() {
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_woken.wait_for(lock, kEventPeriod, [this] { return m_stop || m_arrived; });
            if (m_stop) {
                return;
            }
            m_arrived = false;
        }
        for (const qorApps::ParameterRequest& request : m_requests.take()) {
            answer(request);
        }
        forwardEvents();
    }
}

void WebParameterForwarder::forwardEvents() {
    rcl::ParameterEvent event{};
    while (m_events->receiveMessage(event)) {
        std::vector<web::Parameter> changed;
        for (const auto* list : {&event.new_parameters, &event.changed_parameters}) {
            for (const rcl::Parameter& parameter : *list) {
                changed.push_back(
                    {event.node + "." + parameter.name, qorApps::toWebValue(parameter.value)});
            }
        }
        for (const rcl::Parameter& parameter : event.deleted_parameters) {
            changed.push_back({event.node + "." + parameter.name, std::monostate{}});
        }
        m_server->updateParameters(changed);
    }
}

WebParameterForwarder::NodeClients* WebParameterForwarder::clientsOf(const std::string& node) {
    const auto known = m_nodes.find(node);
    if (known != m_nodes.end()) {
        return known->second.get();
    }
    bool served = false;
    for (const qorROS2::DiscoveredTopic& service : m_discovery.services()) {
        served = served || service.name == node + "/get_parameters";
    }
    if (!served) {
        return nullptr;
    }
    auto clients = std::make_unique<NodeClients>();
    clients->list = clientOf<rcl::ListParameters>(m_discovery, m_domain, node, "list_parameters");
    clients->get = clientOf<rcl::GetParameters>(m_discovery, m_domain, node, "get_parameters");
    clients->set = clientOf<rcl::SetParameters>(m_discovery, m_domain, node, "set_parameters");
    return m_nodes.emplace(node, std::move(clients)).first->second.get();
}

std::vector<web::Parameter> WebParameterForwarder::valuesOf(const std::string& node,
                                                            const std::vector<std::string>& names) {
    std::vector<web::Parameter> values;
    NodeClients* clients = clientsOf(node);
    rcl::GetParameters::Response response{};
    if (clients == nullptr || names.empty() || !callWithin(*clients->get, {names}, response) ||
        response.values.size() != names.size()) {
        return values;
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (response.values[i].type != qorROS2::PARAMETER_NOT_SET) {
            values.push_back({node + "." + names[i], qorApps::toWebValue(response.values[i])});
        }
    }
    return values;
}

std::vector<web::Parameter> WebParameterForwarder::everyParameter() {
    std::vector<web::Parameter> values;
    for (const qorROS2::DiscoveredNode& found : m_discovery.nodes()) {
        const std::string node = found.fullName();
        NodeClients* clients = clientsOf(node);
        rcl::ListParameters::Response listed{};
        if (clients == nullptr || !callWithin(*clients->list, {{}, 0}, listed)) {
            continue;
        }
        for (web::Parameter& value : valuesOf(node, listed.result.names)) {
            values.push_back(std::move(value));
        }
    }
    return values;
}

void WebParameterForwarder::answer(const qorApps::ParameterRequest& waiting) {
    // The names asked for or set, by node, in the order they came.
    std::map<std::string, std::vector<std::string>> byNode;
    std::string refusals;
    const auto refuse = [&refusals](const std::string& refusal) {
        refusals += (refusals.empty() ? "" : "; ") + refusal;
    };
    if (!waiting.set) {
        if (waiting.names.empty()) {
            waiting.reply.respond(everyParameter());
            return;
        }
        for (const std::string& name : waiting.names) {
            std::string node;
            std::string parameter;
            if (splitName(name, node, parameter)) {
                byNode[node].push_back(parameter);
            }
        }
    }
    for (const web::Parameter& given : waiting.parameters) {
        std::string node;
        std::string parameter;
        NodeClients* clients = nullptr;
        if (!splitName(given.name, node, parameter) || (clients = clientsOf(node)) == nullptr) {
            refuse(given.name + " is no parameter of a node of the graph");
            continue;
        }
        byNode[node].push_back(parameter);
        // The parameter's kind, so that a whole number sets a double.
        rcl::GetParameters::Response current{};
        std::uint8_t declared = qorROS2::PARAMETER_NOT_SET;
        if (callWithin(*clients->get, {{parameter}}, current) && current.values.size() == 1) {
            declared = current.values[0].type;
        }
        rcl::SetParameters::Response result{};
        const rcl::Parameter set{parameter,
                                 qorApps::asDeclared(qorApps::toRosValue(given.value), declared)};
        if (!callWithin(*clients->set, {{set}}, result) || result.results.size() != 1) {
            refuse(given.name + " could not be set: " + node + " did not answer");
        } else if (!result.results[0].successful) {
            refuse(given.name + " could not be set: " + result.results[0].reason);
        }
    }
    std::vector<web::Parameter> values;
    for (const auto& [node, names] : byNode) {
        for (web::Parameter& value : valuesOf(node, names)) {
            values.push_back(std::move(value));
        }
    }
    waiting.reply.respond(values, refusals);
}

}  // namespace qorCli
