#include "DemoWebParameters.h"

#include <exception>
#include <type_traits>
#include <utility>
#include <variant>

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

// The web server's values and ROS 2's list their kinds in the same order.
web::ParameterValue toWeb(const rcl::ParameterValue& value) {
    switch (value.type) {
        case qorROS2::PARAMETER_BOOL:
            return value.bool_value;
        case qorROS2::PARAMETER_INTEGER:
            return value.integer_value;
        case qorROS2::PARAMETER_DOUBLE:
            return value.double_value;
        case qorROS2::PARAMETER_STRING:
            return value.string_value;
        case qorROS2::PARAMETER_BYTE_ARRAY:
            return value.byte_array_value;
        case qorROS2::PARAMETER_BOOL_ARRAY:
            return value.bool_array_value;
        case qorROS2::PARAMETER_INTEGER_ARRAY:
            return value.integer_array_value;
        case qorROS2::PARAMETER_DOUBLE_ARRAY:
            return value.double_array_value;
        case qorROS2::PARAMETER_STRING_ARRAY:
            return value.string_array_value;
        default:
            return std::monostate{};
    }
}

rcl::ParameterValue toRos(const web::ParameterValue& value) {
    rcl::ParameterValue made{};
    made.type = static_cast<std::uint8_t>(value.index());
    std::visit(
        [&made](const auto& held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, bool>) {
                made.bool_value = held;
            } else if constexpr (std::is_same_v<Held, std::int64_t>) {
                made.integer_value = held;
            } else if constexpr (std::is_same_v<Held, double>) {
                made.double_value = held;
            } else if constexpr (std::is_same_v<Held, std::string>) {
                made.string_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::uint8_t>>) {
                made.byte_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<bool>>) {
                made.bool_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::int64_t>>) {
                made.integer_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<double>>) {
                made.double_array_value = held;
            } else if constexpr (std::is_same_v<Held, std::vector<std::string>>) {
                made.string_array_value = held;
            }
        },
        value);
    return made;
}

// JSON does not tell 30 from 30.0, nor an empty array's kind: a whole number given for a double
// parameter is that double, an empty array one of the parameter's own kind.
rcl::ParameterValue asDeclared(rcl::ParameterValue value, std::uint8_t declared) {
    if (value.type == qorROS2::PARAMETER_INTEGER && declared == qorROS2::PARAMETER_DOUBLE) {
        value.type = qorROS2::PARAMETER_DOUBLE;
        value.double_value = static_cast<double>(value.integer_value);
    } else if (value.type == qorROS2::PARAMETER_INTEGER_ARRAY &&
               declared == qorROS2::PARAMETER_DOUBLE_ARRAY) {
        value.type = qorROS2::PARAMETER_DOUBLE_ARRAY;
        value.double_array_value.assign(value.integer_array_value.begin(),
                                        value.integer_array_value.end());
    } else if (value.type == qorROS2::PARAMETER_INTEGER_ARRAY &&
               value.integer_array_value.empty() && declared >= qorROS2::PARAMETER_BYTE_ARRAY &&
               declared <= qorROS2::PARAMETER_STRING_ARRAY) {
        value = rcl::ParameterValue{};
        value.type = declared;
    }
    return value;
}

// The values of the node's parameters `names` (those it has), as web clients name them.
std::vector<web::Parameter> valuesOf(const qorROS2::ROS2ParameterServer& parameters,
                                     const std::vector<std::string>& names) {
    std::vector<web::Parameter> values;
    for (const std::string& name : names) {
        if (parameters.hasParameter(name)) {
            values.push_back({webName(parameters, name), toWeb(parameters.getParameter(name))});
        }
    }
    return values;
}

}  // namespace

void DemoWebParameters::takeRequestsOf(web::ServerOptions& options) {
    options.onGetParameters = [this](const std::vector<std::string>& names,
                                     web::ParameterReply reply) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting.push_back({names, {}, false, std::move(reply)});
    };
    options.onSetParameters = [this](const std::vector<web::Parameter>& parameters,
                                     web::ParameterReply reply) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiting.push_back({{}, parameters, true, std::move(reply)});
    };
}

std::size_t DemoWebParameters::handleRequests(qorROS2::ROS2ParameterServer& parameters) {
    std::deque<Waiting> waiting;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        waiting.swap(m_waiting);
    }
    for (const Waiting& request : waiting) {
        answer(request, parameters);
    }
    return waiting.size();
}

void DemoWebParameters::answer(const Waiting& waiting, qorROS2::ROS2ParameterServer& parameters) {
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
        const rcl::ParameterValue value =
            asDeclared(toRos(given.value), parameters.getParameter(name).type);
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
