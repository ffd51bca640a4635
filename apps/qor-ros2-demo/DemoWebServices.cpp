#include "DemoWebServices.h"

#include <exception>
#include <iterator>
#include <utility>

#include "qorROS2/NodeIdentity.h"
#include "qorROS2/simulationInterfaces.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorDemo {
namespace {

namespace srv = qorROS2::simulationInterfaces::srv;
using qorROS2::simulationInterfaces::Result;
using qorROS2::typesupport::getServiceTypeSupport;
using qorROS2::typesupport::ServiceTypeSupport;

constexpr const char* kPackage = "simulation_interfaces/srv/";
constexpr const char* kServices[][2] = {
    {"get_simulator_features", "GetSimulatorFeatures"},
    {"get_simulation_state", "GetSimulationState"},
    {"set_simulation_state", "SetSimulationState"},
    {"reset_simulation", "ResetSimulation"},
    {"step_simulation", "StepSimulation"},
};

// Where the ROS 2 services are: the demo serves them in the node's namespace.
std::string serviceName(const std::string& name) {
    const std::string nameSpace = qorROS2::nodeIdentity().nameSpace;
    return (nameSpace == "/" ? "" : nameSpace) + "/" + name;
}

template <typename Request>
Request decodeRequest(const qorROS2::web::ServiceCall& call) {
    // A TypeSupportError for bytes that are no request: the client hears it as the failure.
    return getServiceTypeSupport(call.type).request().decode(call.request).as<Request>();
}

template <typename Response>
void respond(const qorROS2::web::ServiceCall& call, const qorROS2::web::ServiceReply& reply,
             const Response& response) {
    const qorROS2::typesupport::TypeSupport& type = getServiceTypeSupport(call.type).response();
    qorROS2::typesupport::Sample sample = type.createSample();
    sample.as<Response>() = response;
    reply.respond(type.encode(sample));
}

}  // namespace

void DemoWebServices::takeCallsOf(qorROS2::web::ServerOptions& options) {
    options.onServiceCall = [this](const qorROS2::web::ServiceCall& call,
                                   qorROS2::web::ServiceReply reply) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting.push_back({call, std::move(reply)});
    };
}

void DemoWebServices::advertise(qorROS2::web::FoxgloveServer& server) {
    for (const auto& [name, type] : kServices) {
        const ServiceTypeSupport& support = getServiceTypeSupport(std::string(kPackage) + type);
        server.addService({serviceName(name), support.rosName(), support.request().rosName(),
                           support.request().schemaText(), support.response().rosName(),
                           support.response().schemaText()});
    }
}

std::size_t DemoWebServices::handleCalls(qorROS2::ROS2SimulationControlServer& control) {
    std::deque<Waiting> calls;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        calls.swap(m_waiting);
    }
    // The step_simulation calls that wait for the run under way, in the order they came.
    std::deque<Waiting> held;
    std::size_t taken = 0;
    for (Waiting& waiting : calls) {
        const bool step = waiting.call.type == std::string(kPackage) + "StepSimulation";
        if (step && (!held.empty() || control.stepping())) {
            held.push_back(std::move(waiting));
            continue;
        }
        try {
            answer(waiting, control);
        } catch (const std::exception& error) {
            waiting.reply.fail(error.what());
        }
        ++taken;
    }
    if (!held.empty()) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting.insert(m_waiting.begin(), std::make_move_iterator(held.begin()),
                         std::make_move_iterator(held.end()));
    }
    return taken;
}

void DemoWebServices::answer(const Waiting& waiting,
                             qorROS2::ROS2SimulationControlServer& control) {
    const qorROS2::web::ServiceCall& call = waiting.call;
    const qorROS2::web::ServiceReply& reply = waiting.reply;
    const std::string type = call.type.substr(std::string(kPackage).size());
    if (type == "GetSimulatorFeatures") {
        decodeRequest<srv::GetSimulatorFeatures::Request>(call);
        srv::GetSimulatorFeatures::Response response{};
        response.features.features = control.features();
        respond(call, reply, response);
    } else if (type == "GetSimulationState") {
        decodeRequest<srv::GetSimulationState::Request>(call);
        respond(call, reply,
                srv::GetSimulationState::Response{{control.state()}, {Result::RESULT_OK, {}}});
    } else if (type == "SetSimulationState") {
        const auto request = decodeRequest<srv::SetSimulationState::Request>(call);
        respond(call, reply,
                srv::SetSimulationState::Response{control.setState(request.state.state)});
    } else if (type == "ResetSimulation") {
        const auto request = decodeRequest<srv::ResetSimulation::Request>(call);
        respond(call, reply, srv::ResetSimulation::Response{control.reset(request.scope)});
    } else if (type == "StepSimulation") {
        const auto request = decodeRequest<srv::StepSimulation::Request>(call);
        // Answered after the run's last step, or when something ends it early.
        const Result started =
            control.startSteps(request.steps, {}, [call, reply](const Result& result) {
                respond(call, reply, srv::StepSimulation::Response{result});
            });
        if (started.result != Result::RESULT_OK) {
            respond(call, reply, srv::StepSimulation::Response{started});
        }
    } else {
        reply.fail("the demo does not serve " + call.type);
    }
}

}  // namespace qorDemo
