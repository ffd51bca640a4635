#include "qorROS2/ROS2OdometryPublisher.h"

#include <stdexcept>

#include "BodyStates.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/TimeConversion.h"

namespace qorROS2 {

struct ROS2OdometryPublisher::Impl {
    Impl(qorSDK::Simulation& sim, std::string bodyName, const std::string& topic,
         std::int8_t domainId)
        : simulation(sim), body(std::move(bodyName)), publisher(topic, kOdometryQos, domainId) {}

    qorSDK::Simulation& simulation;
    const std::string body;
    navMsgs::Odometry message{};
    Publisher<navMsgs::Odometry> publisher;
};

ROS2OdometryPublisher::ROS2OdometryPublisher(qorSDK::Simulation& simulation,
                                             const std::string& body, const std::string& topic,
                                             const std::string& frame,
                                             const std::string& childFrame, std::int8_t domainId)
    : qorSDK::StepEventListener(POST_STEP) {
    if (frame.empty() || childFrame.empty()) {
        throw std::invalid_argument("ROS2OdometryPublisher: the odometry of body '" + body +
                                    "' needs both a frame and a child frame");
    }
    // Refuses, in the platform's words, a body the scene does not have.
    simulation.getPose(qorSDK::Simulation::FrameKind::BODY, body);
    m_impl = std::make_unique<Impl>(simulation, body, topic, domainId);
    m_impl->message.header.frame_id = frame;
    m_impl->message.child_frame_id = childFrame;
}

ROS2OdometryPublisher::~ROS2OdometryPublisher() = default;

const navMsgs::Odometry& ROS2OdometryPublisher::odometry(double time) {
    Impl& impl = *m_impl;
    const qorSDK::Simulation::Pose pose =
        impl.simulation.getPose(qorSDK::Simulation::FrameKind::BODY, impl.body);
    const qorSDK::Simulation::Motion velocity = impl.simulation.getVelocity(impl.body);
    navMsgs::Odometry& message = impl.message;
    message.header.stamp = toRosTime(time);
    message.pose.pose = detail::toRosPose(pose);
    // nav_msgs: the twist is given in the child frame, the body's own axes.
    message.twist.twist.linear =
        detail::toVector3(detail::inFrameAxes(pose.orientation, velocity.linear));
    message.twist.twist.angular =
        detail::toVector3(detail::inFrameAxes(pose.orientation, velocity.angular));
    return message;
}

void ROS2OdometryPublisher::post(const double& time) {
    m_impl->publisher.sendMessage(odometry(time));
}

}  // namespace qorROS2
