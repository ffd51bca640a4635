#pragma once

// Publishes the simulation time on the ROS 2 topic "clock", so that ROS 2 nodes can run on
// simulated time (use_sim_time).

#include <cstdint>

#include "qorROS2/Export.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/rosgraphMsgs.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// A step listener that sends the simulation time as a `rosgraph_msgs/Clock` on "clock" at the
/// start of every step. Add it to a simulation like any other step listener:
///
///     qor::ref_ptr<qorROS2::ROS2ClockPublisher> clock = new qorROS2::ROS2ClockPublisher(0);
///     simulation->add(clock.get());
///
/// It is counted like every SDK object and destroyed when its last reference goes. While it is
/// not part of a simulation it publishes nothing.
class QORROS2_EXPORT ROS2ClockPublisher : public qorSDK::StepEventListener {
  public:
    /// Creates the publisher of "clock" in ROS 2 domain `domainId`, with the transport's clock
    /// QOS, and selects the `pre` callback alone. Throws what the transport throws when it cannot
    /// create the endpoint (an invalid domain, a middleware failure).
    explicit ROS2ClockPublisher(std::int8_t domainId);

    // One listener stands for its endpoints: it is neither copied nor moved.
    ROS2ClockPublisher(const ROS2ClockPublisher&) = delete;
    ROS2ClockPublisher& operator=(const ROS2ClockPublisher&) = delete;
    ROS2ClockPublisher(ROS2ClockPublisher&&) = delete;
    ROS2ClockPublisher& operator=(ROS2ClockPublisher&&) = delete;

    /// Sends `time` (seconds) as the clock: whole seconds by floor, the rest rounded to the
    /// nearest nanosecond, a second never carried (1.9999999999 gives 1 s 1000000000 ns). Every
    /// call sends once, even when the time repeats or goes back. Allocates nothing of its own.
    void pre(const double& time) override;

  protected:
    ~ROS2ClockPublisher() override;

    /// The endpoint on "clock", alive as long as the listener.
    Publisher<rosgraphMsgs::Clock> m_clockPublisher;
    /// The last time sent; zero until the first `pre`. Reused at every step.
    rosgraphMsgs::Clock m_clockMessage;
};

}  // namespace qorROS2
