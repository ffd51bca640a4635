#include "qorROS2/ROS2ParameterServer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <list>
#include <mutex>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ServiceServer.h"
#include "qorROS2/TimeConversion.h"

namespace qorROS2 {
namespace {

using rclInterfaces::Parameter;
using Value = ROS2ParameterServer::Value;
using Descriptor = ROS2ParameterServer::Descriptor;
using Result = ROS2ParameterServer::Result;

Result accepted() {
    return Result{true, ""};
}

Result refused(std::string reason) {
    return Result{false, std::move(reason)};
}

bool knownType(std::uint8_t type) {
    return type <= PARAMETER_STRING_ARRAY;
}

// rclcpp compares the bounds and steps of floating-point ranges within 100 ulp.
bool doublesEqual(double x, double y) {
    return std::abs(x - y) <= std::numeric_limits<double>::epsilon() * std::abs(x + y) * 100.0;
}

std::string rangeReason(const std::string& name, const char* rangeType) {
    return "Parameter {" + name + "} doesn't comply with " + rangeType + " range.";
}

// The range check of rclcpp, bounds included and a value on a step from the lower bound.
Result checkRange(const Descriptor& descriptor, const Value& value) {
    if (!descriptor.integer_range.empty() && value.type == PARAMETER_INTEGER) {
        const std::int64_t v = value.integer_value;
        const rclInterfaces::IntegerRange& range = descriptor.integer_range.front();
        if (v == range.from_value || v == range.to_value) {
            return accepted();
        }
        if (v < range.from_value || v > range.to_value) {
            return refused(rangeReason(descriptor.name, "integer"));
        }
        // In unsigned arithmetic the distance from the lower bound cannot overflow.
        const std::uint64_t distance =
            static_cast<std::uint64_t>(v) - static_cast<std::uint64_t>(range.from_value);
        if (range.step == 0 || distance % range.step == 0) {
            return accepted();
        }
        return refused(rangeReason(descriptor.name, "integer"));
    }
    if (!descriptor.floating_point_range.empty() && value.type == PARAMETER_DOUBLE) {
        const double v = value.double_value;
        const rclInterfaces::FloatingPointRange& range = descriptor.floating_point_range.front();
        if (doublesEqual(v, range.from_value) || doublesEqual(v, range.to_value)) {
            return accepted();
        }
        if (v < range.from_value || v > range.to_value) {
            return refused(rangeReason(descriptor.name, "floating point"));
        }
        if (range.step == 0.0) {
            return accepted();
        }
        const double steps = std::round((v - range.from_value) / range.step);
        if (doublesEqual(v, range.from_value + steps * range.step)) {
            return accepted();
        }
        return refused(rangeReason(descriptor.name, "floating point"));
    }
    return accepted();
}

struct ParameterInfo {
    Descriptor descriptor{};
    Value value{};
};

using ParameterInfos = std::map<std::string, ParameterInfo>;

// Whether every value fits its parameter's descriptor: its type (unless dynamically typed),
// then its range. NaN never fits a range: neither bound equals it and no comparison holds, so
// it is let through by rclcpp's order of tests; it is refused here as out of range.
Result checkParameters(ParameterInfos& infos, const std::vector<Parameter>& parameters) {
    for (const Parameter& parameter : parameters) {
        Descriptor descriptor = infos[parameter.name].descriptor;
        if (descriptor.name.empty()) {
            descriptor.name = parameter.name;
        }
        const std::uint8_t newType = parameter.value.type;
        if (!descriptor.dynamic_typing && descriptor.type != newType) {
            return refused("Wrong parameter type, parameter {" + parameter.name + "} is of type {" +
                           parameterTypeName(descriptor.type) + "}, setting it to {" +
                           parameterTypeName(newType) + "} is not allowed.");
        }
        if (newType == PARAMETER_DOUBLE && std::isnan(parameter.value.double_value) &&
            !descriptor.floating_point_range.empty()) {
            return refused(rangeReason(descriptor.name, "floating point"));
        }
        Result result = checkRange(descriptor, parameter.value);
        if (!result.successful) {
            return result;
        }
    }
    return accepted();
}

// rclcpp separates the levels of parameter names by dots.
constexpr char kSeparator = '.';

const char* const kModifiedInCallback =
    "cannot set or declare a parameter, or change the callback from within set callback";

}  // namespace

std::string parameterTypeName(std::uint8_t type) {
    switch (type) {
        case PARAMETER_NOT_SET:
            return "not set";
        case PARAMETER_BOOL:
            return "bool";
        case PARAMETER_INTEGER:
            return "integer";
        case PARAMETER_DOUBLE:
            return "double";
        case PARAMETER_STRING:
            return "string";
        case PARAMETER_BYTE_ARRAY:
            return "byte_array";
        case PARAMETER_BOOL_ARRAY:
            return "bool_array";
        case PARAMETER_INTEGER_ARRAY:
            return "integer_array";
        case PARAMETER_DOUBLE_ARRAY:
            return "double_array";
        case PARAMETER_STRING_ARRAY:
            return "string_array";
        default:
            return "unknown type";
    }
}

struct ROS2ParameterServer::Impl {
    Impl(std::int8_t domainId, std::map<std::string, Value> givenOverrides)
        : overrides(std::move(givenOverrides)),
          node(nodeIdentity().fullName()),
          events("/parameter_events", presetQos("parameter_events"), domainId),
          describeService("~/describe_parameters", domainId, presetQos("parameters")),
          getService("~/get_parameters", domainId, presetQos("parameters")),
          getTypesService("~/get_parameter_types", domainId, presetQos("parameters")),
          listService("~/list_parameters", domainId, presetQos("parameters")),
          setService("~/set_parameters", domainId, presetQos("parameters")),
          setAtomicallyService("~/set_parameters_atomically", domainId, presetQos("parameters")) {}

    // Refuses a change made from within a callback, as rclcpp does; otherwise marks one as
    // running until the scope ends.
    class ChangeGuard {
      public:
        explicit ChangeGuard(bool& changing) : m_changing(changing) {
            if (m_changing) {
                throw std::logic_error(kModifiedInCallback);
            }
            m_changing = true;
        }
        ~ChangeGuard() { m_changing = false; }
        ChangeGuard(const ChangeGuard&) = delete;
        ChangeGuard& operator=(const ChangeGuard&) = delete;

      private:
        bool& m_changing;
    };

    // The callbacks, newest first, then the check's result: the first refusal wins.
    Result askCallbacks(const std::vector<Parameter>& parameters) {
        Result result = accepted();
        for (const auto& entry : callbacks) {
            result = entry.second(parameters);
            if (!result.successful) {
                return result;
            }
        }
        return result;
    }

    Result setAndAsk(ParameterInfos& target, const std::vector<Parameter>& parameters) {
        Result result = checkParameters(target, parameters);
        if (!result.successful) {
            return result;
        }
        result = askCallbacks(parameters);
        if (!result.successful) {
            return result;
        }
        for (const Parameter& parameter : parameters) {
            ParameterInfo& info = target[parameter.name];
            info.descriptor.name = parameter.name;
            info.descriptor.type = parameter.value.type;
            info.value = parameter.value;
        }
        return result;
    }

    void publish(rclInterfaces::ParameterEvent& event) {
        event.node = node;
        event.stamp = toRosTime(time.load());
        events.sendMessage(event);
    }

    // set_parameters_atomically; nullopt when a parameter is not declared, which each service
    // words its own way.
    std::optional<Result> setAtomically(const std::vector<Parameter>& parameters) {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        const ChangeGuard guard(changing);
        for (const Parameter& parameter : parameters) {
            if (parameter.name.empty()) {
                return refused("parameter name must not be empty");
            }
            if (!knownType(parameter.value.type)) {
                return refused("Unknown type: " + std::to_string(parameter.value.type));
            }
            const auto found = infos.find(parameter.name);
            if (found == infos.end()) {
                return std::nullopt;
            }
            if (found->second.descriptor.read_only) {
                return refused("parameter '" + parameter.name +
                               "' cannot be set because it is read-only");
            }
        }
        std::vector<std::string> undeclared;
        for (const Parameter& parameter : parameters) {
            if (parameter.value.type != PARAMETER_NOT_SET) {
                continue;
            }
            const ParameterInfo& info = infos.at(parameter.name);
            if (info.value.type != PARAMETER_NOT_SET) {
                if (!info.descriptor.dynamic_typing) {
                    return refused("cannot undeclare an statically typed parameter");
                }
                undeclared.push_back(parameter.name);
            }
        }
        Result result = setAndAsk(infos, parameters);
        if (!result.successful) {
            return result;
        }
        rclInterfaces::ParameterEvent event{};
        for (const std::string& name : undeclared) {
            const auto found = infos.find(name);
            if (found != infos.end()) {
                event.deleted_parameters.push_back(Parameter{name, found->second.value});
                infos.erase(found);
            }
        }
        for (const Parameter& parameter : parameters) {
            if (std::find(undeclared.begin(), undeclared.end(), parameter.name) ==
                undeclared.end()) {
                event.changed_parameters.push_back(parameter);
            }
        }
        publish(event);
        return result;
    }

    // The infos of `names`, or nullopt when one is not declared.
    template <typename Item, typename Read>
    std::optional<std::vector<Item>> readAll(const std::vector<std::string>& names,
                                             Read read) const {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        std::vector<Item> items;
        items.reserve(names.size());
        for (const std::string& name : names) {
            const auto found = infos.find(name);
            if (found == infos.end()) {
                return std::nullopt;
            }
            items.push_back(read(found->second));
        }
        return items;
    }

    // rclcpp's listing: without prefixes every name within `depth` dots (0: any), else the names
    // equal to a prefix or below it within `depth` levels; each name's part before its last dot is
    // a prefix, listed once.
    rclInterfaces::ListParametersResult listNames(const std::vector<std::string>& prefixes,
                                                  std::uint64_t depth) const {
        const std::lock_guard<std::recursive_mutex> lock(mutex);

        const auto dots = [](const std::string& text) {
            return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), kSeparator));
        };
        rclInterfaces::ListParametersResult result;
        for (const auto& entry : infos) {
            const std::string& name = entry.first;
            const bool all = prefixes.empty() && (depth == 0 || dots(name) < depth);
            const bool underPrefix =
                std::any_of(prefixes.begin(), prefixes.end(), [&](const std::string& prefix) {
                    if (name == prefix) {
                        return true;
                    }
                    if (name.rfind(prefix + kSeparator, 0) == 0) {
                        return depth == 0 || dots(name.substr(prefix.size())) < depth;
                    }
                    return false;
                });
            if (!all && !underPrefix) {
                continue;
            }
            result.names.push_back(name);
            const std::size_t last = name.find_last_of(kSeparator);
            if (last != std::string::npos) {
                std::string prefix = name.substr(0, last);
                if (std::find(result.prefixes.begin(), result.prefixes.end(), prefix) ==
                    result.prefixes.end()) {
                    result.prefixes.push_back(std::move(prefix));
                }
            }
        }
        return result;
    }

    mutable std::recursive_mutex mutex;
    bool changing = false;
    ParameterInfos infos;
    const std::map<std::string, Value> overrides;
    std::list<std::pair<std::size_t, SetCallback>> callbacks;
    std::size_t nextHandle = 1;
    std::atomic<double> time{0.0};
    const std::string node;

    Publisher<rclInterfaces::ParameterEvent> events;
    ServiceServer<rclInterfaces::DescribeParameters> describeService;
    ServiceServer<rclInterfaces::GetParameters> getService;
    ServiceServer<rclInterfaces::GetParameterTypes> getTypesService;
    ServiceServer<rclInterfaces::ListParameters> listService;
    ServiceServer<rclInterfaces::SetParameters> setService;
    ServiceServer<rclInterfaces::SetParametersAtomically> setAtomicallyService;
};

ROS2ParameterServer::ROS2ParameterServer(std::int8_t domainId,
                                         std::map<std::string, Value> overrides)
    : qorSDK::StepEventListener(PRE_STEP),
      m_impl(std::make_unique<Impl>(domainId, std::move(overrides))) {}

ROS2ParameterServer::~ROS2ParameterServer() = default;

Value ROS2ParameterServer::declareParameter(const std::string& name, const Value& defaultValue,
                                            const Descriptor& descriptor, bool ignoreOverride) {
    Impl& impl = *m_impl;
    const std::lock_guard<std::recursive_mutex> lock(impl.mutex);
    const Impl::ChangeGuard guard(impl.changing);
    if (name.empty()) {
        throw std::invalid_argument("parameter name must not be empty");
    }
    if (impl.infos.count(name) != 0) {
        throw std::invalid_argument("parameter '" + name + "' has already been declared");
    }
    if (!knownType(defaultValue.type)) {
        throw std::invalid_argument("parameter '" + name + "' has invalid type: Unknown type: " +
                                    std::to_string(defaultValue.type));
    }
    ParameterInfos declared{{name, ParameterInfo{descriptor, Value{}}}};
    Descriptor& described = declared.at(name).descriptor;
    if (!described.dynamic_typing) {
        described.type = defaultValue.type;
        if (described.type == PARAMETER_NOT_SET) {
            throw std::invalid_argument(
                "parameter '" + name +
                "' has invalid type: cannot declare a statically typed parameter with an "
                "uninitialized value");
        }
    }
    const Value* initial = &defaultValue;
    const auto overridden = impl.overrides.find(name);
    if (!ignoreOverride && overridden != impl.overrides.end()) {
        initial = &overridden->second;
    }
    rclInterfaces::ParameterEvent event{};
    if (initial->type == PARAMETER_NOT_SET) {
        described.name = name;
        if (described.dynamic_typing) {
            described.type = PARAMETER_NOT_SET;
        }
    } else {
        const std::vector<Parameter> wrapped{Parameter{name, *initial}};
        const Result result = impl.setAndAsk(declared, wrapped);
        if (!result.successful) {
            if (result.reason.rfind("Wrong parameter type", 0) == 0) {
                throw std::invalid_argument("parameter '" + name +
                                            "' has invalid type: " + result.reason);
            }
            throw std::invalid_argument("parameter '" + name +
                                        "' could not be set: " + result.reason);
        }
        event.new_parameters.push_back(wrapped.front());
    }
    impl.infos[name] = declared.at(name);
    impl.publish(event);
    return impl.infos.at(name).value;
}

void ROS2ParameterServer::undeclareParameter(const std::string& name) {
    Impl& impl = *m_impl;
    const std::lock_guard<std::recursive_mutex> lock(impl.mutex);
    const Impl::ChangeGuard guard(impl.changing);
    const auto found = impl.infos.find(name);
    if (found == impl.infos.end()) {
        throw std::invalid_argument("cannot undeclare parameter '" + name +
                                    "' which has not yet been declared");
    }
    if (found->second.descriptor.read_only) {
        throw std::invalid_argument("cannot undeclare parameter '" + name +
                                    "' because it is read-only");
    }
    if (!found->second.descriptor.dynamic_typing) {
        throw std::invalid_argument("parameter '" + name +
                                    "' has invalid type: cannot undeclare an statically typed "
                                    "parameter");
    }
    impl.infos.erase(found);
}

bool ROS2ParameterServer::hasParameter(const std::string& name) const {
    const std::lock_guard<std::recursive_mutex> lock(m_impl->mutex);
    return m_impl->infos.count(name) != 0;
}

Value ROS2ParameterServer::getParameter(const std::string& name) const {
    const std::optional<std::vector<Value>> values =
        m_impl->readAll<Value>({name}, [](const ParameterInfo& info) { return info.value; });
    if (!values) {
        throw std::invalid_argument("parameter '" + name + "' is not declared");
    }
    return values->front();
}

std::vector<Result> ROS2ParameterServer::setParameters(const std::vector<Parameter>& parameters) {
    std::vector<Result> results;
    results.reserve(parameters.size());
    for (const Parameter& parameter : parameters) {
        const std::optional<Result> result = m_impl->setAtomically({parameter});
        results.push_back(result ? *result
                                 : refused("parameter '" + parameter.name +
                                           "' cannot be set because it was not declared"));
    }
    return results;
}

Result ROS2ParameterServer::setParametersAtomically(const std::vector<Parameter>& parameters) {
    const std::optional<Result> result = m_impl->setAtomically(parameters);
    return result ? *result : refused("One or more parameters were not declared before setting");
}

namespace {

// The first of `names` that `has` does not know, for the error of a reading method.
template <typename Has>
[[noreturn]] void throwUndeclared(const std::vector<std::string>& names, Has has) {
    for (const std::string& name : names) {
        if (!has(name)) {
            throw std::invalid_argument("parameter '" + name + "' is not declared");
        }
    }
    throw std::logic_error("a parameter went while it was read");
}

}  // namespace

std::vector<Descriptor> ROS2ParameterServer::describeParameters(
    const std::vector<std::string>& names) const {
    std::optional<std::vector<Descriptor>> descriptors = m_impl->readAll<Descriptor>(
        names, [](const ParameterInfo& info) { return info.descriptor; });
    if (!descriptors) {
        throwUndeclared(names, [this](const std::string& name) { return hasParameter(name); });
    }
    return std::move(*descriptors);
}

std::vector<std::uint8_t> ROS2ParameterServer::getParameterTypes(
    const std::vector<std::string>& names) const {
    std::optional<std::vector<std::uint8_t>> types = m_impl->readAll<std::uint8_t>(
        names, [](const ParameterInfo& info) { return info.value.type; });
    if (!types) {
        throwUndeclared(names, [this](const std::string& name) { return hasParameter(name); });
    }
    return std::move(*types);
}

rclInterfaces::ListParametersResult ROS2ParameterServer::listParameters(
    const std::vector<std::string>& prefixes, std::uint64_t depth) const {
    return m_impl->listNames(prefixes, depth);
}

std::size_t ROS2ParameterServer::addOnSetParametersCallback(SetCallback callback) {
    const std::lock_guard<std::recursive_mutex> lock(m_impl->mutex);
    const Impl::ChangeGuard guard(m_impl->changing);
    const std::size_t handle = m_impl->nextHandle++;
    m_impl->callbacks.emplace_front(handle, std::move(callback));
    return handle;
}

void ROS2ParameterServer::removeOnSetParametersCallback(std::size_t handle) {
    const std::lock_guard<std::recursive_mutex> lock(m_impl->mutex);
    const Impl::ChangeGuard guard(m_impl->changing);
    auto& callbacks = m_impl->callbacks;
    const auto found = std::find_if(callbacks.begin(), callbacks.end(),
                                    [handle](const auto& entry) { return entry.first == handle; });
    if (found == callbacks.end()) {
        throw std::invalid_argument("no parameter callback has the handle " +
                                    std::to_string(handle));
    }
    callbacks.erase(found);
}

void ROS2ParameterServer::setTime(double seconds) noexcept {
    m_impl->time.store(seconds);
}

const std::string& ROS2ParameterServer::nodeName() const {
    return m_impl->node;
}

// Each service answers as rclcpp's parameter service does: a read that names an undeclared
// parameter gets an empty answer, a set gets a refusal in the words of its service.
std::size_t ROS2ParameterServer::handleRequests() {
    Impl& impl = *m_impl;
    std::size_t answered = 0;
    answered += impl.describeService.handleRequests(
        [&impl](const rclInterfaces::DescribeParameters::Request& request,
                const ServiceRequestId&) {
            rclInterfaces::DescribeParameters::Response response{};
            response.descriptors =
                impl.readAll<Descriptor>(request.names,
                                         [](const ParameterInfo& info) { return info.descriptor; })
                    .value_or(std::vector<Descriptor>{});
            return std::optional(response);
        });
    answered += impl.getService.handleRequests(
        [&impl](const rclInterfaces::GetParameters::Request& request, const ServiceRequestId&) {
            rclInterfaces::GetParameters::Response response{};
            response.values =
                impl.readAll<Value>(request.names,
                                    [](const ParameterInfo& info) { return info.value; })
                    .value_or(std::vector<Value>{});
            return std::optional(response);
        });
    answered += impl.getTypesService.handleRequests(
        [&impl](const rclInterfaces::GetParameterTypes::Request& request, const ServiceRequestId&) {
            rclInterfaces::GetParameterTypes::Response response{};
            response.types =
                impl.readAll<std::uint8_t>(
                        request.names, [](const ParameterInfo& info) { return info.value.type; })
                    .value_or(std::vector<std::uint8_t>{});
            return std::optional(response);
        });
    answered += impl.listService.handleRequests(
        [&impl](const rclInterfaces::ListParameters::Request& request, const ServiceRequestId&) {
            rclInterfaces::ListParameters::Response response{};
            response.result = impl.listNames(request.prefixes, request.depth);
            return std::optional(response);
        });
    answered += impl.setService.handleRequests(
        [this](const rclInterfaces::SetParameters::Request& request, const ServiceRequestId&) {
            rclInterfaces::SetParameters::Response response{};
            response.results = setParameters(request.parameters);
            return std::optional(response);
        });
    answered += impl.setAtomicallyService.handleRequests(
        [this](const rclInterfaces::SetParametersAtomically::Request& request,
               const ServiceRequestId&) {
            rclInterfaces::SetParametersAtomically::Response response{};
            response.result = setParametersAtomically(request.parameters);
            return std::optional(response);
        });
    return answered;
}

void ROS2ParameterServer::pre(const double& time) {
    setTime(time);
    handleRequests();
}

}  // namespace qorROS2
