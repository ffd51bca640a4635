#include "DemoBridge.h"

#include <algorithm>
#include <stdexcept>

#include "PngFile.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2Util.h"

namespace qorDemo {
namespace {

constexpr const char* kCameraName = "overview";
constexpr const char* kLidarSite = "lidar_mount";

// The arm holds its pose, the wrist spins on command and the rail slides under a commanded force:
// one joint of each kind unless the command line says otherwise.
CommandInterface defaultMode(const std::string& joint) {
    if (joint == "wrist_roll") {
        return qorROS2::ROS2ControlInterface::VELOCITY;
    }
    if (joint == "rail") {
        return qorROS2::ROS2ControlInterface::EFFORT;
    }
    return qorROS2::ROS2ControlInterface::POSITION;
}

const char* modeName(CommandInterface mode) {
    switch (mode) {
        case qorROS2::ROS2ControlInterface::VELOCITY:
            return "velocity";
        case qorROS2::ROS2ControlInterface::EFFORT:
            return "effort";
        default:
            return "position";
    }
}

}  // namespace

DemoBridge::DemoBridge(const DemoOptions& options)
    : m_simulation(qorSDK::Simulation::createFromFile(options.scenePath)) {
    const std::vector<std::string> joints = m_simulation->getJointNames();
    for (const auto& [name, mode] : options.jointModes) {
        if (std::find(joints.begin(), joints.end(), name) == joints.end()) {
            throw UsageError("the scene has no joint '" + name + "' for --joint");
        }
    }

    m_clock = new qorROS2::ROS2ClockPublisher(options.domainId);
    m_control =
        new CommandCountingInterface("joint_commands", "joint_states", false, options.domainId);
    for (const std::string& joint : joints) {
        qor::ref_ptr<qor::Constraint1DOF> constraint = m_simulation->createConstraint(joint);
        m_simulation->add(constraint.get());
        const auto chosen = options.jointModes.find(joint);
        const CommandInterface mode =
            chosen != options.jointModes.end() ? chosen->second : defaultMode(joint);
        m_control->addJoint(constraint.get(), mode);
        m_jointSummary.push_back(joint + " (" + modeName(mode) + ")");
        m_constraints.push_back(constraint);
    }
    m_simulation->add(m_clock.get());
    m_simulation->add(m_control.get());

    if (options.cameraRate > 0.0) {
        const qorSensor::Resolution resolution{options.cameraWidth, options.cameraHeight};
        m_camera = new qorSensor::Camera(*m_simulation, kCameraName, resolution);
        m_cameraOutput =
            new qorSensor::CameraColorOutput(resolution, 3, qorSensor::CameraColorOutput::UINT8,
                                             qorSensor::CameraColorOutput::identityMatrix());
        m_camera->addOutput(m_cameraOutput.get());
        m_imagePublisher = std::make_unique<qorROS2::Publisher<qorROS2::sensorMsgs::Image>>(
            "camera/image_raw", qorROS2::createSensorDataQOS(), options.domainId);
        m_infoPublisher = std::make_unique<qorROS2::Publisher<qorROS2::sensorMsgs::CameraInfo>>(
            "camera/camera_info", qorROS2::createSensorDataQOS(), options.domainId);
        m_cameraPeriod = 1.0 / options.cameraRate;
    }
    if (options.lidarRate > 0.0) {
        qorSensor::LidarPattern pattern;
        pattern.rows = options.lidarRows;
        pattern.columns = options.lidarColumns;
        m_lidar = new qorSensor::Lidar(*m_simulation, kLidarSite, pattern);
        m_cloudPublisher = std::make_unique<qorROS2::Publisher<qorROS2::sensorMsgs::PointCloud2>>(
            "lidar/points", qorROS2::createSensorDataQOS(), options.domainId);
        m_lidarPeriod = 1.0 / options.lidarRate;
        m_lidarRows = options.lidarRows;
    }
}

DemoBridge::~DemoBridge() {
    m_simulation->remove(m_control.get());
    m_simulation->remove(m_clock.get());
}

void DemoBridge::step() {
    m_simulation->stepForward();
    const double now = m_simulation->getTime();
    if (m_camera && now >= m_nextCameraTime) {
        publishCamera(now);
        m_nextCameraTime += m_cameraPeriod;
    }
    if (m_lidar && now >= m_nextLidarTime) {
        publishLidar(now);
        m_nextLidarTime += m_lidarPeriod;
    }
}

void DemoBridge::publishCamera(double time) {
    m_camera->render();
    m_lastImage = qorROS2::convertCameraOutput(m_cameraOutput.get(), time, "camera");
    m_imagePublisher->sendMessage(m_lastImage);
    m_infoPublisher->sendMessage(qorROS2::convertCameraInfo(m_camera->getModel(), time, "camera"));
}

void DemoBridge::publishLidar(double time) {
    m_lidar->scan();
    m_cloudPublisher->sendMessage(
        qorROS2::convertLidarOutput(m_lidar->getOutput(), time, "lidar", false, m_lidarRows));
}

double DemoBridge::time() const {
    return m_simulation->getTime();
}

std::size_t DemoBridge::matchedSubscriptions() const {
    std::size_t matched = 0;
    if (m_imagePublisher) {
        matched += m_imagePublisher->matchedSubscriptions();
        matched += m_infoPublisher->matchedSubscriptions();
    }
    if (m_cloudPublisher) {
        matched += m_cloudPublisher->matchedSubscriptions();
    }
    return matched;
}

std::uint64_t DemoBridge::incompatibleSubscriptions() const {
    std::uint64_t incompatible = 0;
    if (m_imagePublisher) {
        incompatible += m_imagePublisher->incompatibleSubscriptions();
        incompatible += m_infoPublisher->incompatibleSubscriptions();
    }
    if (m_cloudPublisher) {
        incompatible += m_cloudPublisher->incompatibleSubscriptions();
    }
    return incompatible;
}

bool DemoBridge::writeSnapshot(const std::string& path, std::string& error) const {
    if (m_lastImage.data.empty()) {
        error = "no camera image was rendered (is the camera off?)";
        return false;
    }
    return writeRgbPng(path, m_lastImage, error);
}

}  // namespace qorDemo
