#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "qorROS2/ROS2ControlInterface.h"

namespace qorDemo {

/// The control interface, counting the commands it takes in: the status line reports them.
class CommandCountingInterface : public qorROS2::ROS2ControlInterface {
  public:
    using ROS2ControlInterface::ROS2ControlInterface;

    /// Takes and applies at most one waiting command, as the interface does, and counts it.
    void pre(const double& time) override {
        // A command taken in this step replaces the whole message, stamp included; no sender
        // stamps its commands with the lowest second.
        m_commandMessage.header.stamp.sec = kUntouched;
        ROS2ControlInterface::pre(time);
        if (m_commandMessage.header.stamp.sec != kUntouched) {
            ++m_commandsTaken;
        }
    }

    /// Discards the commands that wait, unapplied and uncounted: after a reset they were meant
    /// for a state that is gone.
    void dropPendingCommands() {
        while (m_commandSubscriber.receiveMessage(m_dropped)) {
        }
    }

    /// The number of command messages taken since construction.
    std::uint64_t commandsTaken() const noexcept { return m_commandsTaken; }

  protected:
    ~CommandCountingInterface() override = default;

  private:
    static constexpr std::int32_t kUntouched = std::numeric_limits<std::int32_t>::min();
    std::uint64_t m_commandsTaken = 0;
    qorROS2::sensorMsgs::JointState m_dropped;  ///< where discarded commands land
};

}  // namespace qorDemo
