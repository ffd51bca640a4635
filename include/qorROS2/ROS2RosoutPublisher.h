#pragma once

// Publishes the process's log lines on /rosout, as every ROS 2 node does, so that rqt_console and
// `ros2 topic echo /rosout` show them.

#include <atomic>
#include <cstdint>
#include <string>

#include "qor/Notify.h"
#include "qorROS2/Export.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/rclInterfaces.h"

namespace qorROS2 {

/// A `rcl_interfaces/msg/Log` publisher on "/rosout" with rcl's QoS for it (reliable, transient
/// local, keep last 1000), whose records carry the logger name of the process's node as rcl
/// writes it ("robot1.qor_ros2_demo" for /robot1/qor_ros2_demo) and the time last given to
/// setTime() as their stamp. Lines come as the platform's logger hands them to a sink:
///
///     qorROS2::ROS2RosoutPublisher rosout(0);
///     const qor::ScopedNotifySink sink(rosout.sinkAround(previousSink));
///
/// publish() and the sink may be called from any thread.
class QORROS2_EXPORT ROS2RosoutPublisher {
  public:
    /// Creates the publisher in ROS 2 domain `domainId`. Throws what the transport throws when it
    /// cannot create the endpoint.
    explicit ROS2RosoutPublisher(std::int8_t domainId);
    ~ROS2RosoutPublisher();

    ROS2RosoutPublisher(const ROS2RosoutPublisher&) = delete;
    ROS2RosoutPublisher& operator=(const ROS2RosoutPublisher&) = delete;

    /// Makes `seconds` the node's time, the stamp of the lines published from now on: the
    /// simulation's time for a simulation, which therefore calls this at every step.
    void setTime(double seconds) noexcept;

    /// Publishes one line as a sink receives it: `level` a qor::NotifySeverity, `line` with the
    /// logger's prefix ("Warning: text", "Warning (file.cpp:42 in function): text"), which
    /// gives the record's level, file, line and function; its msg is the text after the prefix.
    void publish(int level, const std::string& line);

    /// A sink that publishes each line, then hands it to `next` (the default sink when empty),
    /// which keeps writing it where it did. The sink refers to this publisher: uninstall it
    /// before the publisher goes.
    qor::NotifySink sinkAround(qor::NotifySink next);

    /// The logger name rcl gives the node `name` in `nameSpace`: the name alone in "/", else
    /// the namespace without its leading '/', its '/' as '.', then '.' and the name.
    static std::string loggerName(const std::string& name, const std::string& nameSpace);

  private:
    Publisher<rclInterfaces::Log> m_publisher;
    std::atomic<double> m_time{0.0};
};

}  // namespace qorROS2
