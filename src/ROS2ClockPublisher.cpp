#include "qorROS2/ROS2ClockPublisher.h"

#include "qorROS2/QOS.h"
#include "qorROS2/TimeConversion.h"

namespace qorROS2 {

namespace {

// The SDK's callback masks: the base is first built selecting pre and post, as every bridge
// listener is, and then narrowed to pre, the only callback the clock needs.
constexpr int kPreAndPost = 6;
constexpr int kPreOnly = 2;

}  // namespace

ROS2ClockPublisher::ROS2ClockPublisher(std::int8_t domainId)
    : qorSDK::StepEventListener(kPreAndPost),
      m_clockPublisher("clock", createClockQOS(), domainId),
      m_clockMessage{} {
    setMask(kPreOnly);
}

ROS2ClockPublisher::~ROS2ClockPublisher() = default;

void ROS2ClockPublisher::pre(const double& time) {
    m_clockMessage.clock = toRosTime(time);
    // A lost clock sample is superseded by the next step's: there is nothing to do about it here.
    m_clockPublisher.sendMessage(m_clockMessage);
}

}  // namespace qorROS2
