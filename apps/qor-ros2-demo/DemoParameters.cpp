#include "DemoParameters.h"

#include <stdexcept>
#include <utility>

namespace qorDemo {
namespace {

namespace rcl = qorROS2::rclInterfaces;
using qorROS2::parameterValue;

// The highest rate of a sensor or of the pacing: beyond it a sensor is due at every step anyway.
constexpr double kHighestRate = 1000.0;
// The largest camera and lidar sizes the command line takes.
constexpr std::int64_t kLargestSize = 16384;

const char* const kJointsPrefix = "joints.";
const char* const kCommandInterfaceSuffix = ".command_interface";

rcl::ParameterDescriptor described(const std::string& description, bool readOnly = false,
                                   const std::string& constraints = "") {
    rcl::ParameterDescriptor descriptor{};
    descriptor.description = description;
    descriptor.read_only = readOnly;
    descriptor.additional_constraints = constraints;
    return descriptor;
}

rcl::ParameterDescriptor rate(const std::string& description) {
    rcl::ParameterDescriptor descriptor =
        described(description, false, "0 stops it; a sensor off at start stays off");
    descriptor.floating_point_range.push_back(rcl::FloatingPointRange{0.0, kHighestRate, 0.0});
    return descriptor;
}

rcl::ParameterDescriptor size(const std::string& description) {
    rcl::ParameterDescriptor descriptor = described(description, true);
    descriptor.integer_range.push_back(rcl::IntegerRange{1, kLargestSize, 1});
    return descriptor;
}

// The joint of "joints.<joint>.command_interface", or "" for any other name.
std::string jointOf(const std::string& name) {
    const std::string prefix = kJointsPrefix;
    const std::string suffix = kCommandInterfaceSuffix;
    if (name.size() > prefix.size() + suffix.size() && name.rfind(prefix, 0) == 0 &&
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
        return name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    }
    return "";
}

std::string jointParameter(const std::string& joint) {
    return kJointsPrefix + joint + kCommandInterfaceSuffix;
}

rcl::ParameterDescriptor jointDescriptor() {
    return described("how the joint is commanded on the joint command topic", true,
                     "position, velocity or effort");
}

const char* sensorQosWord(SensorReliability reliability) {
    return reliability == SensorReliability::BEST_EFFORT ? "best_effort" : "reliable";
}

// Declares `name` with the value of `setting` and writes back the value it got, an override's
// when one is given.
void declareInto(qorROS2::ROS2ParameterServer& server, const std::string& name, double& setting,
                 const rcl::ParameterDescriptor& descriptor) {
    setting = server.declareParameter(name, parameterValue(setting), descriptor).double_value;
}
void declareInto(qorROS2::ROS2ParameterServer& server, const std::string& name, bool& setting,
                 const rcl::ParameterDescriptor& descriptor) {
    setting = server.declareParameter(name, parameterValue(setting), descriptor).bool_value;
}
void declareInto(qorROS2::ROS2ParameterServer& server, const std::string& name,
                 std::int64_t& setting, const rcl::ParameterDescriptor& descriptor) {
    setting = server.declareParameter(name, parameterValue(setting), descriptor).integer_value;
}
// Sizes' ranges keep them within an unsigned int.
void declareInto(qorROS2::ROS2ParameterServer& server, const std::string& name,
                 unsigned int& setting, const rcl::ParameterDescriptor& descriptor) {
    std::int64_t wide = setting;
    declareInto(server, name, wide, descriptor);
    setting = static_cast<unsigned int>(wide);
}
void declareInto(qorROS2::ROS2ParameterServer& server, const std::string& name,
                 std::string& setting, const rcl::ParameterDescriptor& descriptor) {
    setting = server.declareParameter(name, parameterValue(setting), descriptor).string_value;
}
}  // namespace

DemoParameters::DemoParameters(DemoOptions& options, const Overrides& overrides)
    : m_server(new qorROS2::ROS2ParameterServer(options.domainId, overrides)) {
    m_server->addOnSetParametersCallback([this](const std::vector<rcl::Parameter>& parameters) {
        rcl::SetParametersResult result = check(parameters);
        if (result.successful) {
            apply(parameters);
            for (const rcl::Parameter& parameter : parameters) {
                m_changed.insert(parameter.name);
            }
        }
        return result;
    });
    // The joints are known once the scene is loaded; their overrides choose the modes the bridge
    // registers them with, checked as their declaration will check them.
    for (const auto& [name, value] : overrides) {
        const std::string joint = jointOf(name);
        if (joint.empty()) {
            continue;
        }
        CommandInterface mode = qorROS2::ROS2ControlInterface::POSITION;
        if (value.type != qorROS2::PARAMETER_STRING) {
            throw UsageError("parameter '" + name +
                             "' has invalid type: Wrong parameter type, parameter {" + name +
                             "} is of type {string}, setting it to {" +
                             qorROS2::parameterTypeName(value.type) + "} is not allowed.");
        }
        if (!commandInterfaceNamed(value.string_value, mode)) {
            throw UsageError("parameter '" + name + "' could not be set: " +
                             check({qorROS2::parameter(name, value)}).reason);
        }
        options.jointModes[joint] = mode;
    }
    try {
        rcl::ParameterDescriptor simTime =
            described("the node's time is the simulation's, published on /clock", true);
        m_server->declareParameter("use_sim_time", parameterValue(true), simTime);

        rcl::ParameterDescriptor factor = described("simulated seconds per real second");
        factor.floating_point_range.push_back(rcl::FloatingPointRange{0.001, kHighestRate, 0.0});
        declareInto(*m_server, "real_time_factor", options.rateFactor, factor);
        declareInto(*m_server, "as_fast_as_possible", options.asFastAsPossible,
                    described("step without pacing, as fast as possible"));
        declareInto(*m_server, "camera.rate", options.cameraRate,
                    rate("images per simulated second"));
        declareInto(*m_server, "camera.width", options.cameraWidth, size("image width in pixels"));
        declareInto(*m_server, "camera.height", options.cameraHeight,
                    size("image height in pixels"));
        declareInto(*m_server, "lidar.rate", options.lidarRate, rate("scans per simulated second"));
        declareInto(*m_server, "lidar.rows", options.lidarRows, size("beams one above the other"));
        declareInto(*m_server, "lidar.columns", options.lidarColumns, size("beams side by side"));
        std::string qos = sensorQosWord(options.sensorQos);
        declareInto(
            *m_server, "sensor_qos", qos,
            described("the QoS of the camera and lidar topics", true, "reliable or best_effort"));
        options.sensorQos =
            qos == "best_effort" ? SensorReliability::BEST_EFFORT : SensorReliability::RELIABLE;
    } catch (const std::invalid_argument& error) {
        throw UsageError(error.what());
    }
}

std::vector<std::string> DemoParameters::takeChanged() {
    std::vector<std::string> changed(m_changed.begin(), m_changed.end());
    m_changed.clear();
    return changed;
}

void DemoParameters::bind(DemoBridge& bridge, Pacing& pacing) {
    for (const auto& [joint, mode] : bridge.jointModes()) {
        // Their overrides were applied before the bridge was made.
        m_server->declareParameter(jointParameter(joint),
                                   parameterValue(commandInterfaceName(mode)), jointDescriptor(),
                                   true);
    }
    m_bridge = &bridge;
    m_pacing = &pacing;
}

// What the descriptors cannot say: use_sim_time stays true, the words a string takes, and that a
// sensor left out at start cannot be turned on.
rcl::SetParametersResult DemoParameters::check(
    const std::vector<rcl::Parameter>& parameters) const {
    for (const rcl::Parameter& parameter : parameters) {
        const std::string& name = parameter.name;
        const std::string& word = parameter.value.string_value;
        CommandInterface mode = qorROS2::ROS2ControlInterface::POSITION;
        if (name == "use_sim_time" && !parameter.value.bool_value) {
            return {false, "use_sim_time is always true here: the node's time is the simulation's"};
        }
        if (name == "sensor_qos" && word != "reliable" && word != "best_effort") {
            return {false, "sensor_qos is reliable or best_effort, not '" + word + "'"};
        }
        if (!jointOf(name).empty() && !commandInterfaceNamed(word, mode)) {
            return {false, name + " is position, velocity or effort, not '" + word + "'"};
        }
        if (m_bridge != nullptr && name == "camera.rate" && !m_bridge->hasCamera()) {
            return {false, "the camera is off for this run: it was left out at start"};
        }
        if (m_bridge != nullptr && name == "lidar.rate" && !m_bridge->hasLidar()) {
            return {false, "the lidar is off for this run: it was left out at start"};
        }
    }
    return {true, ""};
}

void DemoParameters::apply(const std::vector<rcl::Parameter>& parameters) {
    if (m_bridge == nullptr) {
        return;  // declared before the bridge: the options carry the values
    }
    for (const rcl::Parameter& parameter : parameters) {
        const rcl::ParameterValue& value = parameter.value;
        if (parameter.name == "camera.rate") {
            m_bridge->setCameraRate(value.double_value);
        } else if (parameter.name == "lidar.rate") {
            m_bridge->setLidarRate(value.double_value);
        } else if (parameter.name == "real_time_factor") {
            m_pacing->factor = value.double_value;
        } else if (parameter.name == "as_fast_as_possible") {
            m_pacing->asFastAsPossible = value.bool_value;
        }
    }
}

}  // namespace qorDemo
