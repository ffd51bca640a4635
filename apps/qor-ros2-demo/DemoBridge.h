#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CommandCountingInterface.h"
#include "DemoOptions.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/Camera.h"
#include "qorSensor/Lidar.h"

namespace qorDemo {

/// The scene, bridged to ROS 2: the clock and the control interface listen to every step, and
/// the camera and the lidar are published at their own rates of simulated time.
class DemoBridge {
  public:
    /// Loads the scene, registers every joint with the control interface and prepares the
    /// sensors. Throws with a message saying what is wrong (a bad scene, an unknown joint in the
    /// options, a scene without the camera or lidar mount the options ask for).
    explicit DemoBridge(const DemoOptions& options);
    ~DemoBridge();

    DemoBridge(const DemoBridge&) = delete;
    DemoBridge& operator=(const DemoBridge&) = delete;

    /// Runs one simulation step and publishes the sensors that are due.
    void step();

    /// The simulation time in seconds.
    double time() const;

    /// The joints registered with the control interface, each with its mode.
    const std::vector<std::string>& jointSummary() const noexcept { return m_jointSummary; }

    /// Subscriptions matched over all of the demo's topics.
    std::size_t matchedSubscriptions() const;

    /// Subscriptions found so far that asked for QoS the demo's topics do not offer.
    std::uint64_t incompatibleSubscriptions() const;

    /// Command messages taken so far.
    std::uint64_t commandsTaken() const noexcept { return m_control->commandsTaken(); }

    /// Writes the camera's latest image as PNG; false when there is none or writing failed.
    bool writeSnapshot(const std::string& path, std::string& error) const;

  private:
    void publishCamera(double time);
    void publishLidar(double time);

    qor::ref_ptr<qorSDK::Simulation> m_simulation;
    std::vector<qor::ref_ptr<qor::Constraint1DOF>> m_constraints;
    std::vector<std::string> m_jointSummary;
    qor::ref_ptr<qorROS2::ROS2ClockPublisher> m_clock;
    qor::ref_ptr<CommandCountingInterface> m_control;

    qor::ref_ptr<qorSensor::Camera> m_camera;
    qor::ref_ptr<qorSensor::CameraColorOutput> m_cameraOutput;
    qor::ref_ptr<qorSensor::Lidar> m_lidar;
    std::unique_ptr<qorROS2::Publisher<qorROS2::sensorMsgs::Image>> m_imagePublisher;
    std::unique_ptr<qorROS2::Publisher<qorROS2::sensorMsgs::CameraInfo>> m_infoPublisher;
    std::unique_ptr<qorROS2::Publisher<qorROS2::sensorMsgs::PointCloud2>> m_cloudPublisher;
    qorROS2::sensorMsgs::Image m_lastImage{};

    double m_cameraPeriod = 0.0;
    double m_nextCameraTime = 0.0;
    double m_lidarPeriod = 0.0;
    double m_nextLidarTime = 0.0;
    unsigned int m_lidarRows = 0;
};

}  // namespace qorDemo
