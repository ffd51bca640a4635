#pragma once

// Publishes the ground truth of one body of the simulation as nav_msgs/Odometry, so that a
// navigation stack or rviz2 follows it as it would a robot's odometry.

#include <cstdint>
#include <memory>
#include <string>

#include "qorROS2/Export.h"
#include "qorROS2/QOS.h"
#include "qorROS2/navMsgs.h"
#include "qorSDK/Simulation.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// A step listener that publishes, at the end of every step and stamped with the simulation
/// time, the odometry of a body as nav_msgs defines it: the pose of the body's frame
/// (child_frame_id) in the world frame (header.frame_id), and its twist in the body's own axes,
/// as REP 105 has a robot's odometry. The covariances are zero: the values are exact.
///
///     qor::ref_ptr<qorROS2::ROS2OdometryPublisher> odometry = new qorROS2::ROS2OdometryPublisher(
///         *simulation, "blue_ball", "blue_ball/odom", "world", "blue_ball", 0);
///     simulation->add(odometry.get());
///
/// It has no thread of its own; its methods are called on the simulation's thread.
class QORROS2_EXPORT ROS2OdometryPublisher : public qorSDK::StepEventListener {
  public:
    /// ROS 2's default QOS, which odometry publishers use: reliable, volatile, keep last 10.
    static constexpr QOS kOdometryQos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

    /// Creates the publisher of `topic` (resolved as every topic is) in ROS 2 domain `domainId`
    /// for the body `body` of `simulation`, which must outlive the listener, and selects the
    /// `post` callback alone. Throws std::invalid_argument when a frame name is empty, what
    /// qorSDK::Simulation::getPose throws when the scene has no such body, and what the
    /// transport throws when it cannot create the publisher.
    ROS2OdometryPublisher(qorSDK::Simulation& simulation, const std::string& body,
                          const std::string& topic, const std::string& frame,
                          const std::string& childFrame, std::int8_t domainId);

    // One listener stands for its endpoint: it is neither copied nor moved.
    ROS2OdometryPublisher(const ROS2OdometryPublisher&) = delete;
    ROS2OdometryPublisher& operator=(const ROS2OdometryPublisher&) = delete;
    ROS2OdometryPublisher(ROS2OdometryPublisher&&) = delete;
    ROS2OdometryPublisher& operator=(ROS2OdometryPublisher&&) = delete;

    /// The odometry of the body as it stands now, stamped with `time`.
    const navMsgs::Odometry& odometry(double time);

    /// Sends the odometry at `time`, the end of the step. Allocates nothing in steady state.
    void post(const double& time) override;

  protected:
    ~ROS2OdometryPublisher() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2
