#include "DemoWebParameters.h"

#include <utility>

#include "common/WebParameterValues.h"

namespace qorDemo {
namespace {

namespace rcl = qorROS2::rclInterfaces;
namespace web = qorROS2::web;

// The web client's name of the node's parameter `name`.
std::string webName(const qorROS2::ROS2ParameterServer& parameters, const std::string& name) {
    return parameters.nodeName() + "." + name;
}

// The node's parameter a web name stands for, or "" when it names none of this node.
std::string nodeParameterOf(const qorROS2::ROS2ParameterServer& parameters,
                            const std::string& name) {
    const std::string prefix = parameters.nodeName() + ".";
    if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) {
        return "";
    }
    return name.substr(prefix.size());
}

// The values of the node's parameters `names` (those it has), as web clients name them.
std::vector<web::Parameter> valuesOf(const qorROS2::ROS2ParameterServer& parameters,
                                     const std::vector<std::string>& names) {
    std::vector<web::Parameter> values;
    for (const std::string& name : names) {
        if (parameters.hasParameter(name)) {
            values.push_back(
                {webName(parameters, name), qorApps::toWebValue(parameters.getParameter(name))});
        }
    }
    return values;
}

}  // namespace

std::size_t DemoWebParameters::handleRequests(qorROS2::ROS2ParameterServer& parameters) {
    const std::deque<qorApps::ParameterRequest> requests = m_requests.take();
    for (const qorApps::ParameterRequest& request : requests) {
        answer(request, parameters);
    }
    return requests.size();
}

void DemoWebParameters::answer(const qorApps::ParameterRequest& waiting,
                               qorROS2::ROS2ParameterServer& parameters) {
    if (!waiting.set) {
        std::vector<std::string> names;
        if (waiting.names.empty()) {
            names = parameters.listParameters({}, 0).names;
        }
        for (const std::string& name : waiting.names) {
            names.push_back(nodeParameterOf(parameters, name));
        }
        waiting.reply.respond(valuesOf(parameters, names));
        return;
    }
    std::string refusals;
    const auto refuse = [&refusals](const std::string& refusal) {
        refusals += (refusals.empty() ? "" : "; ") + refusal;
    };
    std::vector<std::string> names;
    for (const web::Parameter& given : waiting.parameters) {
        const std::string name = nodeParameterOf(parameters, given.name);
        if (name.empty() || !parameters.hasParameter(name)) {
            refuse(given.name + " is no parameter of " + parameters.nodeName());
            continue;
        }
        const rcl::ParameterValue value = qorApps::asDeclared(qorApps::toRosValue(given.value),
                                                              parameters.getParameter(name).type);
        const rcl::SetParametersResult result =
            parameters.setParameters({qorROS2::parameter(name, value)}).front();
        if (!result.successful) {
            refuse(given.name + " could not be set: " + result.reason);
        }
        names.push_back(name);
    }
    waiting.reply.respond(valuesOf(parameters, names), refusals);
}

void DemoWebParameters::pushChanges(qorROS2::ROS2ParameterServer& parameters,
                                    const std::vector<std::string>& names,
                                    web::FoxgloveServer& server) {
    server.updateParameters(valuesOf(parameters, names));
}

}  // namespace qorDemo
