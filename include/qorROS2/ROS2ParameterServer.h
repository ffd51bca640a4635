#pragma once

// Serves the parameters of the process's node as every ROS 2 node serves them, so that
// `ros2 param list/get/set/describe` and rqt's parameter views work on a simulation.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qorROS2/Export.h"
#include "qorROS2/ParameterTypes.h"
#include "qorROS2/rclInterfaces.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// The word ROS 2 uses for a parameter type in its messages: "bool", "integer", "double",
/// "string", "byte_array", ..., "not set", and "unknown type" for a number it does not know.
QORROS2_EXPORT std::string parameterTypeName(std::uint8_t type);

namespace detail {
/// A value of `type` held in `member`.
template <typename T>
rclInterfaces::ParameterValue typedParameterValue(std::uint8_t type,
                                                  T rclInterfaces::ParameterValue::*member,
                                                  T value) {
    rclInterfaces::ParameterValue made{};
    made.type = type;
    made.*member = std::move(value);
    return made;
}
}  // namespace detail

/// A parameter value of the type its argument has.
inline rclInterfaces::ParameterValue parameterValue(bool value) {
    return detail::typedParameterValue(PARAMETER_BOOL, &rclInterfaces::ParameterValue::bool_value,
                                       value);
}
inline rclInterfaces::ParameterValue parameterValue(std::int64_t value) {
    return detail::typedParameterValue(PARAMETER_INTEGER,
                                       &rclInterfaces::ParameterValue::integer_value, value);
}
inline rclInterfaces::ParameterValue parameterValue(int value) {
    return parameterValue(static_cast<std::int64_t>(value));
}
inline rclInterfaces::ParameterValue parameterValue(double value) {
    return detail::typedParameterValue(PARAMETER_DOUBLE,
                                       &rclInterfaces::ParameterValue::double_value, value);
}
inline rclInterfaces::ParameterValue parameterValue(std::string value) {
    return detail::typedParameterValue(
        PARAMETER_STRING, &rclInterfaces::ParameterValue::string_value, std::move(value));
}
inline rclInterfaces::ParameterValue parameterValue(const char* value) {
    return parameterValue(std::string(value));
}

/// The parameter `name` with `value`.
inline rclInterfaces::Parameter parameter(std::string name, rclInterfaces::ParameterValue value) {
    return rclInterfaces::Parameter{std::move(name), std::move(value)};
}

/// The parameters of the process's node (nodeIdentity() when the server is made), kept and
/// served as rclcpp keeps and serves a node's parameters: each is declared with a value and a
/// rcl_interfaces/msg/ParameterDescriptor (its type unless dynamic_typing, read_only, at most one
/// integer or floating-point range with its step), a set is checked against the descriptor, then
/// offered to the callbacks (addOnSetParametersCallback()), which may refuse it with a reason,
/// and each change is published on "/parameter_events". The six services of rclcpp
/// (~/describe_parameters, ~/get_parameters, ~/get_parameter_types, ~/list_parameters,
/// ~/set_parameters, ~/set_parameters_atomically) are served with ROS 2's parameters QOS, on the
/// thread that calls handleRequests() or pre(): as a step listener, on the simulation's stepping
/// thread, so the callbacks run there and a setting changed by a request applies from that step
/// on. It has no thread of its own.
///
///     qor::ref_ptr<qorROS2::ROS2ParameterServer> parameters = new qorROS2::ROS2ParameterServer(0);
///     parameters->declareParameter("rate", qorROS2::parameterValue(30.0));
///     simulation->add(parameters.get());
///
/// The refusals are rclcpp's own words ("parameter 'rate' cannot be set because it is
/// read-only", "Parameter {rate} doesn't comply with floating point range.", "Wrong parameter
/// type, parameter {rate} is of type {double}, setting it to {string} is not allowed."). Every
/// method may be called from any thread; the callbacks run under the server's lock, as rclcpp
/// runs them, and may not declare or set parameters themselves.
class QORROS2_EXPORT ROS2ParameterServer : public qorSDK::StepEventListener {
  public:
    using Value = rclInterfaces::ParameterValue;
    using Descriptor = rclInterfaces::ParameterDescriptor;
    using Result = rclInterfaces::SetParametersResult;
    /// Accepts (successful) or refuses (with a reason) the parameters about to be set at once.
    using SetCallback = std::function<Result(const std::vector<rclInterfaces::Parameter>&)>;

    /// Serves the parameters of the process's node in ROS 2 domain `domainId`. `overrides`
    /// (from `-p name:=value` and parameter files) replace the default value of the parameters
    /// declared with their names. Selects the `pre` callback alone. Throws what the transport
    /// throws when it cannot create the services or the events publisher.
    explicit ROS2ParameterServer(std::int8_t domainId, std::map<std::string, Value> overrides = {});

    // One listener stands for its endpoints: it is neither copied nor moved.
    ROS2ParameterServer(const ROS2ParameterServer&) = delete;
    ROS2ParameterServer& operator=(const ROS2ParameterServer&) = delete;
    ROS2ParameterServer(ROS2ParameterServer&&) = delete;
    ROS2ParameterServer& operator=(ROS2ParameterServer&&) = delete;

    /// Declares `name` with `defaultValue` (or its override), described by `descriptor`, whose
    /// name and (unless dynamic_typing) type are set from them, and publishes it as new. Returns
    /// the value it got. Throws std::invalid_argument in rclcpp's words when the name is empty
    /// ("parameter name must not be empty"), already declared ("parameter 'x' has already been
    /// declared"), a statically typed parameter has no value, or the value breaks the
    /// descriptor's range or is refused by a callback ("parameter 'x' could not be set: ...").
    Value declareParameter(const std::string& name, const Value& defaultValue,
                           const Descriptor& descriptor = Descriptor{},
                           bool ignoreOverride = false);

    /// Removes `name`, as rclcpp does: only a parameter declared with dynamic_typing and not
    /// read_only; throws std::invalid_argument in rclcpp's words otherwise.
    void undeclareParameter(const std::string& name);

    /// Whether `name` is declared.
    bool hasParameter(const std::string& name) const;

    /// The value of `name`; throws std::invalid_argument ("parameter 'x' is not declared") when
    /// it is not declared.
    Value getParameter(const std::string& name) const;

    /// Sets each parameter on its own, as the service set_parameters does: one result per
    /// parameter, in order; a refused one leaves its value unchanged.
    std::vector<Result> setParameters(const std::vector<rclInterfaces::Parameter>& parameters);

    /// Sets all `parameters` or none, as set_parameters_atomically does. A parameter whose value
    /// is PARAMETER_NOT_SET undeclares it (dynamically typed parameters only).
    Result setParametersAtomically(const std::vector<rclInterfaces::Parameter>& parameters);

    /// The descriptors of `names`, in order; throws std::invalid_argument naming the first one
    /// not declared.
    std::vector<Descriptor> describeParameters(const std::vector<std::string>& names) const;

    /// The types of the values of `names`, in order; throws as describeParameters().
    std::vector<std::uint8_t> getParameterTypes(const std::vector<std::string>& names) const;

    /// The declared names under `prefixes` (all when none), at most `depth` levels below them
    /// (0 for any), and the prefixes of the names found: what list_parameters answers.
    rclInterfaces::ListParametersResult listParameters(const std::vector<std::string>& prefixes,
                                                       std::uint64_t depth) const;

    /// Adds `callback`, which is asked first from now on, before those added earlier. Returns its
    /// handle for removeOnSetParametersCallback().
    std::size_t addOnSetParametersCallback(SetCallback callback);

    /// Removes the callback of `handle`; throws std::invalid_argument when there is none.
    void removeOnSetParametersCallback(std::size_t handle);

    /// Makes `seconds` the node's time, the stamp of the events published from now on.
    void setTime(double seconds) noexcept;

    /// Answers the requests that wait now on the six services, on the calling thread; returns how
    /// many it answered.
    std::size_t handleRequests();

    /// The node's full name, as the events name it ("/robot1/qor_ros2_demo").
    const std::string& nodeName() const;

    /// Takes `time` as the node's time, then answers the requests that wait (handleRequests()).
    void pre(const double& time) override;

  protected:
    ~ROS2ParameterServer() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2
