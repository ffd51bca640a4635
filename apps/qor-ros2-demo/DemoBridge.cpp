#include "DemoBridge.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include "ArmFrames.h"
#include "DemoEntities.h"
#include "common/PngFile.h"
#include "qorROS2/MessageFields.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/ROS2Conventions.h"
#include "qorROS2/ROS2Util.h"
#include "qorROS2/RosNames.h"

namespace qorDemo {
namespace {

// The simulation_interfaces services sit at the root of the names, where tools look for a
// simulator's; a demo given a namespace serves them in it instead ("/robot1/step_simulation"), so
// that the simulations of two namespaced demos on one domain are driven apart.
std::string simulationServicesPrefix() {
    return qorROS2::nodeIdentity().nameSpace == "/" ? "/" : "";
}

constexpr const char* kCameraName = "overview";
constexpr const char* kLidarSite = "lidar_mount";

// Reliable writers serve reliable and best-effort readers alike, so rviz2's displays (reliable
// by default) and sensor-data subscribers both receive; keep last never blocks the step.
qorROS2::QOS sensorQos(SensorReliability reliability) {
    qorROS2::QOS qos = qorROS2::createSensorDataQOS();
    if (reliability == SensorReliability::RELIABLE) {
        qos.reliability = qorROS2::QOS::RELIABLE;
    }
    return qos;
}

// As ROS 2's robot-description publishers latch it: a robot_state_publisher or rviz2 started
// later still gets the one message.
constexpr qorROS2::QOS kRobotDescriptionQos{qorROS2::QOS::TRANSIENT_LOCAL, qorROS2::QOS::RELIABLE,
                                            qorROS2::QOS::KEEP_LAST, 1};

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

// Gives the joint's lock and motor the force range its drive has in the scene, before the control
// interface registers it (an effort joint takes its clamp from the lock's range then): an extreme
// position or speed command then moves the joint as hard as the drive can and no harder.
void applyForceLimit(const qorSDK::Simulation& simulation, qor::Constraint1DOF& constraint) {
    const std::optional<double> limit = simulation.getJointForceLimit(constraint.getName());
    if (limit) {
        const qor::Range<double> range(-*limit, *limit);
        constraint.getLock1D()->setForceRange(range);
        constraint.getMotor1D()->setForceRange(range);
    }
}

// The index of the first multiple of `period` after `time`.
std::uint64_t multipleAfter(double time, double period) {
    return static_cast<std::uint64_t>(std::floor(time / period)) + 1;
}
}  // namespace

DemoBridge::DemoBridge(const DemoOptions& options)
    : m_simulation(qorSDK::Simulation::createFromFile(options.scenePath)),
      m_designConventions(options.designConventions),
      m_sensorsUnsubscribed(options.sensorsUnsubscribed) {
    const std::vector<std::string> joints = m_simulation->getJointNames();
    for (const auto& [name, mode] : options.jointModes) {
        if (std::find(joints.begin(), joints.end(), name) == joints.end()) {
            throw UsageError("the scene has no joint '" + name + "' for --joint");
        }
    }

    m_clock = new qorROS2::ROS2ClockPublisher(options.domainId);
    listTopic<qorROS2::rosgraphMsgs::Clock>("clock", qorROS2::createClockQOS(), true);
    m_control =
        new CommandCountingInterface("joint_commands", "joint_states", false, options.domainId);
    listTopic<qorROS2::sensorMsgs::JointState>("joint_states", qorROS2::createSensorDataQOS(),
                                               true);
    listTopic<qorROS2::sensorMsgs::JointState>("joint_commands", qorROS2::QOS{}, false);
    for (const std::string& joint : joints) {
        qor::ref_ptr<qor::Constraint1DOF> constraint = m_simulation->createConstraint(joint);
        applyForceLimit(*m_simulation, *constraint);
        m_simulation->add(constraint.get());
        const auto chosen = options.jointModes.find(joint);
        const CommandInterface mode =
            chosen != options.jointModes.end() ? chosen->second : defaultMode(joint);
        m_control->addJoint(constraint.get(), mode);
        m_jointSummary.push_back(joint + " (" + commandInterfaceName(mode) + ")");
        m_jointModes.emplace_back(joint, mode);
        m_constraints.push_back(constraint);
    }
    m_simulation->add(m_clock.get());
    m_simulation->add(m_control.get());
    for (const qor::ref_ptr<qor::Constraint1DOF>& constraint : m_constraints) {
        const qor::LockController& lock = *constraint->getLock1D();
        const qor::TargetSpeedController& motor = *constraint->getMotor1D();
        m_startDrives.push_back(DriveSettings{lock.getEnable(), lock.getPosition(),
                                              lock.getForceRange(), motor.getEnable(),
                                              motor.getSpeed(), motor.getForceRange()});
    }
    m_simulationControl = new qorROS2::ROS2SimulationControlServer(
        options.domainId, simulationServicesPrefix(),
        options.startPaused ? qorROS2::ROS2SimulationControlServer::PAUSED
                            : qorROS2::ROS2SimulationControlServer::PLAYING);
    m_simulationControl->onReset([this](bool time, bool state) { afterReset(time, state); });
    m_simulation->add(m_simulationControl.get());
    if (options.publishTf) {
        m_transforms = new qorROS2::ROS2TransformPublisher(*m_simulation, options.domainId);
        addArmFrames(*m_transforms);
        addPropFrames(*m_transforms);
        m_simulation->add(m_transforms.get());
        listTopic<qorROS2::tf2Msgs::TFMessage>("/tf", qorROS2::ROS2TransformPublisher::kTfQos,
                                               true);
        listTopic<qorROS2::tf2Msgs::TFMessage>("/tf_static",
                                               qorROS2::ROS2TransformPublisher::kTfStaticQos, true);
    }
    m_entities = new qorROS2::ROS2EntityStateServer(*m_simulation, demoEntities(), options.domainId,
                                                    simulationServicesPrefix(), kWorldFrame);
    m_simulationControl->addFeatures(qorROS2::ROS2EntityStateServer::features());
    m_simulation->add(m_entities.get());
    m_odometry = new qorROS2::ROS2OdometryPublisher(*m_simulation, kOdometryBody, kOdometryTopic,
                                                    kWorldFrame, kOdometryBody, options.domainId);
    m_simulation->add(m_odometry.get());
    listTopic<qorROS2::navMsgs::Odometry>(kOdometryTopic,
                                          qorROS2::ROS2OdometryPublisher::kOdometryQos, true);

    if (options.cameraRate > 0.0) {
        const qorSensor::Resolution resolution{options.cameraWidth, options.cameraHeight};
        m_camera = new qorSensor::Camera(*m_simulation, kCameraName, resolution);
        m_cameraOutput =
            new qorSensor::CameraColorOutput(resolution, 3, qorSensor::CameraColorOutput::UINT8,
                                             qorSensor::CameraColorOutput::identityMatrix());
        m_camera->addOutput(m_cameraOutput.get());
        m_imagePublisher = advertise<qorROS2::sensorMsgs::Image>(
            "camera/image_raw", sensorQos(options.sensorQos), options.domainId);
        m_infoPublisher = advertise<qorROS2::sensorMsgs::CameraInfo>(
            "camera/camera_info", sensorQos(options.sensorQos), options.domainId);
        m_cameraSchedule.period = 1.0 / options.cameraRate;
        if (options.sensorThreads) {
            m_cameraWorker = std::make_unique<SensorWorker>(
                *m_simulation,
                [this](const qorSDK::SceneSnapshot& snapshot) { publishCamera(snapshot); });
        }
    }
    if (options.lidarRate > 0.0) {
        qorSensor::LidarPattern pattern;
        pattern.rows = options.lidarRows;
        pattern.columns = options.lidarColumns;
        m_lidar = new qorSensor::Lidar(*m_simulation, kLidarSite, pattern);
        m_cloudPublisher = advertise<qorROS2::sensorMsgs::PointCloud2>(
            "lidar/points", sensorQos(options.sensorQos), options.domainId);
        m_lidarSchedule.period = 1.0 / options.lidarRate;
        m_lidarRows = options.lidarRows;
        if (options.sensorThreads) {
            m_lidarWorker = std::make_unique<SensorWorker>(
                *m_simulation,
                [this](const qorSDK::SceneSnapshot& snapshot) { publishLidar(snapshot); });
        }
    }
    if (!options.robotDescriptionPath.empty()) {
        publishRobotDescription(options.robotDescriptionPath, options.domainId);
    }
}

DemoBridge::~DemoBridge() {
    m_simulation->remove(m_odometry.get());
    m_simulation->remove(m_entities.get());
    if (m_transforms) {
        m_simulation->remove(m_transforms.get());
    }
    m_simulation->remove(m_simulationControl.get());
    m_simulation->remove(m_control.get());
    m_simulation->remove(m_clock.get());
}

void DemoBridge::afterReset(bool time, bool state) {
    // Frames of the old timeline go out before anything of the new one. A sensor that failed
    // says so at the next step.
    drainSensors();
    m_control->dropPendingCommands();
    if (state) {
        for (std::size_t i = 0; i < m_constraints.size(); ++i) {
            const DriveSettings& drive = m_startDrives[i];
            qor::LockController& lock = *m_constraints[i]->getLock1D();
            qor::TargetSpeedController& motor = *m_constraints[i]->getMotor1D();
            lock.setEnabled(drive.lockEnabled);
            lock.setPosition(drive.lockPosition);
            lock.setForceRange(drive.lockRange);
            motor.setEnabled(drive.motorEnabled);
            motor.setSpeed(drive.motorSpeed);
            motor.setForceRange(drive.motorRange);
        }
    }
    if (time) {
        // Due again from the first step, as after the start.
        m_cameraSchedule.next = 0;
        m_lidarSchedule.next = 0;
    }
    // Nodes on simulated time see the jump at once, not only when the next step is made.
    const double now = m_simulation->getTime();
    m_clock->pre(now);
    m_control->post(now);
}

template <typename T>
std::unique_ptr<qorROS2::Publisher<T>> DemoBridge::advertise(const std::string& topic,
                                                             const qorROS2::QOS& qos,
                                                             std::int8_t domainId) {
    auto publisher = std::make_unique<qorROS2::Publisher<T>>(topic, qos, domainId);
    listTopic<T>(topic, qos, true);
    return publisher;
}

template <typename T>
void DemoBridge::listTopic(const std::string& topic, const qorROS2::QOS& qos, bool published) {
    m_topics.push_back(
        DemoTopic{qorROS2::resolveTopicName(topic), qorROS2::rosTypeName<T>(), qos, published});
}

void DemoBridge::publishRobotDescription(const std::string& path, std::int8_t domainId) {
    std::ifstream file(path);
    std::ostringstream text;
    if (file) {
        text << file.rdbuf();
    }
    if (text.str().empty()) {
        throw std::runtime_error("cannot read the robot description '" + path +
                                 "': missing, empty or not a file");
    }
    m_descriptionPublisher =
        advertise<qorROS2::stdMsgs::String>("robot_description", kRobotDescriptionQos, domainId);
    qorROS2::stdMsgs::String description{};
    description.data = text.str();
    if (!m_descriptionPublisher->sendMessage(description)) {
        throw std::runtime_error("cannot publish the robot description '" + path + "'");
    }
}

void DemoBridge::step() {
    m_simulation->stepForward();
    const double now = m_simulation->getTime();
    if (m_camera && due(m_cameraSchedule, now)) {
        m_cameraSchedule.active = cameraWanted();
        if (m_cameraSchedule.active) {
            ++m_cameraFrames;
            if (m_cameraWorker) {
                m_cameraWorker->submit(*m_simulation);
            } else {
                publishCamera(now);
            }
        }
    }
    if (m_lidar && due(m_lidarSchedule, now)) {
        m_lidarSchedule.active = lidarWanted();
        if (m_lidarSchedule.active) {
            ++m_lidarScans;
            if (m_lidarWorker) {
                m_lidarWorker->submit(*m_simulation);
            } else {
                publishLidar(now);
            }
        }
    }
}

void DemoBridge::finishSensors() {
    drainSensors();
    for (const std::unique_ptr<SensorWorker>* worker : {&m_cameraWorker, &m_lidarWorker}) {
        const std::string failure = *worker ? (*worker)->failure() : std::string();
        if (!failure.empty()) {
            throw std::runtime_error(failure);
        }
    }
}

void DemoBridge::drainSensors() {
    for (const std::unique_ptr<SensorWorker>* worker : {&m_cameraWorker, &m_lidarWorker}) {
        if (*worker) {
            (*worker)->drain();
        }
    }
}

bool DemoBridge::due(Schedule& schedule, double now) const {
    // Multiples of the period rather than a sum of periods, so that rounding never drifts the
    // rate; half a step of tolerance, since step times are themselves sums of rounded steps.
    if (schedule.period <= 0.0) {
        return false;  // stopped by a rate of 0
    }
    const double tolerance = 0.5 * m_simulation->getTimeStep();
    if (now + tolerance < static_cast<double>(schedule.next) * schedule.period) {
        return false;
    }
    schedule.next = multipleAfter(now + tolerance, schedule.period);
    return true;
}

void DemoBridge::setCameraRate(double rate) {
    if (!m_camera) {
        throw std::logic_error("the camera is off for this run: it was left out at start");
    }
    reschedule(m_cameraSchedule, rate);
}

void DemoBridge::setLidarRate(double rate) {
    if (!m_lidar) {
        throw std::logic_error("the lidar is off for this run: it was left out at start");
    }
    reschedule(m_lidarSchedule, rate);
}

void DemoBridge::reschedule(Schedule& schedule, double rate) const {
    if (!std::isfinite(rate) || rate < 0.0) {
        throw std::invalid_argument("a sensor rate must be a finite number of at least 0");
    }
    schedule.period = rate > 0.0 ? 1.0 / rate : 0.0;
    if (rate > 0.0) {
        // Due next at the first multiple of the new period after now.
        const double tolerance = 0.5 * m_simulation->getTimeStep();
        schedule.next = multipleAfter(m_simulation->getTime() + tolerance, schedule.period);
    }
}

// A recording in the process is a reader that no publisher counts.
bool DemoBridge::cameraWanted() const {
    return m_sensorsUnsubscribed ||
           m_imagePublisher->matchedSubscriptions() + m_infoPublisher->matchedSubscriptions() > 0;
}

bool DemoBridge::lidarWanted() const {
    return m_sensorsUnsubscribed || m_cloudPublisher->matchedSubscriptions() > 0;
}

void DemoBridge::publishCamera(double time) {
    m_camera->render();
    sendCameraFrame(time);
}

void DemoBridge::publishCamera(const qorSDK::SceneSnapshot& snapshot) {
    m_camera->render(snapshot);
    sendCameraFrame(snapshot.getTime());
}

void DemoBridge::sendCameraFrame(double time) {
    m_imagePublisher->sendMessage(
        qorROS2::convertCameraOutput(m_cameraOutput.get(), time, kCameraOpticalFrame));
    // rviz2's Camera display, image_proc and image_geometry read K and P in pixels about the
    // principal point; the converter's own record serves only those who asked for it.
    m_infoPublisher->sendMessage(
        m_designConventions
            ? qorROS2::convertCameraInfo(m_camera->getModel(), time, kCameraOpticalFrame)
            : qorROS2::convertCameraInfoForRos(m_camera->getModel(), time, kCameraOpticalFrame));
}

void DemoBridge::publishLidar(double time) {
    m_lidar->scan();
    sendLidarScan(time);
}

void DemoBridge::publishLidar(const qorSDK::SceneSnapshot& snapshot) {
    m_lidar->scan(snapshot);
    sendLidarScan(snapshot.getTime());
}

void DemoBridge::sendLidarScan(double time) {
    // PCL's fromROSMsg walks the rows by row_step, in bytes.
    m_cloudPublisher->sendMessage(
        m_designConventions ? qorROS2::convertLidarOutput(m_lidar->getOutput(), time, kLidarFrame,
                                                          false, m_lidarRows)
                            : qorROS2::convertLidarOutputForRos(m_lidar->getOutput(), time,
                                                                kLidarFrame, false, m_lidarRows));
}

const char* DemoBridge::activeSensors() const noexcept {
    const bool camera = m_camera && m_cameraSchedule.active;
    const bool lidar = m_lidar && m_lidarSchedule.active;
    if (camera && lidar) {
        return "camera, lidar";
    }
    return camera ? "camera" : lidar ? "lidar" : "none";
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
    if (m_descriptionPublisher) {
        incompatible += m_descriptionPublisher->incompatibleSubscriptions();
    }
    return incompatible;
}

bool DemoBridge::writeSnapshot(const std::string& path, std::string& error) {
    if (!m_camera) {
        error = "no camera image to write: the camera is off (--camera-rate 0)";
        return false;
    }
    // The camera's thread renders into the same output.
    drainSensors();
    m_camera->render();
    return qorApps::writePng(
        path, qorROS2::convertCameraOutput(m_cameraOutput.get(), time(), kCameraOpticalFrame),
        error);
}

}  // namespace qorDemo
