#pragma once

// ROS time as a ros2 verb's node reads it: the system's clock, or with -s/--use-sim-time the
// simulation's, from rosgraph_msgs/msg/Clock on /clock; and timers that run on it.

#include <chrono>
#include <cstdint>
#include <memory>

#include "qorROS2/builtinInterfaces.h"

namespace qorCli {

/// `nanoseconds` of ROS time as a message's stamp, as rclpy's Time.to_msg() splits it.
qorROS2::builtinInterfaces::Time rosTimeOf(std::int64_t nanoseconds);

/// A stamp in nanoseconds, as rclpy's Time.from_msg() reads it.
std::int64_t nanosecondsOf(const qorROS2::builtinInterfaces::Time& stamp);

/// The system clock in nanoseconds since the epoch: ROS time without a simulation, and what
/// `hz --wall-time` times with.
std::int64_t systemNanoseconds();

class RosClock {
  public:
    /// The system's clock; with `useSimTime`, the time of the last clock message received on
    /// /clock in `domain` (subscribed best effort, keep last 1, as rclpy's time source does),
    /// which is 0 until the first arrives. The clock messages are taken as bytes, so that a verb
    /// of this process can take or send rosgraph_msgs/msg/Clock as bytes too.
    RosClock(bool useSimTime, std::int8_t domain);
    ~RosClock();
    RosClock(const RosClock&) = delete;
    RosClock& operator=(const RosClock&) = delete;

    /// The current ROS time in nanoseconds.
    std::int64_t now();

    /// Whether the time is the simulation's.
    bool simulated() const { return m_clock != nullptr; }

    /// With a simulation clock, waits until its first message has come or `seconds` have
    /// passed, as ros2's node spins before it starts; returns at once otherwise.
    void waitForFirstMessage(double seconds);

  private:
    // Takes the waiting clock messages; true when one of them decoded.
    bool takeMessages();

    class Subscription;
    std::unique_ptr<Subscription> m_clock;
    std::int64_t m_last = 0;
};

/// A timer of a fixed period on a RosClock, as an rcl timer on a node's clock: it is due once the
/// clock has reached its next call time; a call moves that time on by the period, or past the
/// clock when calls were missed, so a late timer is due once, not once per missed period. When
/// the clock goes back before the last call, the timer starts its period again from there.
class RosTimer {
  public:
    RosTimer(RosClock& clock, std::chrono::nanoseconds period);

    /// True, once, when the timer is due; the call counts as the timer's callback.
    bool due();

  private:
    RosClock& m_clock;
    std::int64_t m_period;
    std::int64_t m_lastCall;
    std::int64_t m_nextCall;
};

}  // namespace qorCli
