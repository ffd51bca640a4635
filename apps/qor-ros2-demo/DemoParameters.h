#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "DemoBridge.h"
#include "DemoOptions.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2ParameterServer.h"

namespace qorDemo {

/// How the main loop paces simulated time against the wall clock; parameters change it between
/// steps.
struct Pacing {
    double factor = 1.0;            ///< simulated seconds per wall-clock second
    bool asFastAsPossible = false;  ///< no pacing at all
};

/// The demo's settings as parameters of its node, served as a ROS 2 node serves them:
/// use_sim_time (true and read-only: the node's time is the simulation's), the pacing
/// (real_time_factor, as_fast_as_possible), the sensors' rates (camera.rate, lidar.rate: set
/// one and it applies from the next step), and what is fixed once the scene runs, read-only:
/// the sensors' sizes, their QoS (sensor_qos) and each joint's command interface
/// (joints.<joint>.command_interface).
class DemoParameters {
  public:
    using Overrides = std::map<std::string, qorROS2::rclInterfaces::ParameterValue>;

    /// Declares the settings of `options` on a parameter server of the process's node in
    /// options.domainId, each with its value there unless `overrides` (from -p and parameter
    /// files) gives another, and writes the values back into `options`, so that the bridge is
    /// made from them. Throws UsageError in rclcpp's words ("parameter 'camera.rate' could not be
    /// set: Parameter {camera.rate} doesn't comply with floating point range.") for a value that
    /// does not fit.
    DemoParameters(DemoOptions& options, const Overrides& overrides);

    /// Declares each joint of `bridge` with its command interface, and from now on applies a
    /// change of a rate to `bridge` and of the pacing to `pacing`. Both must outlive this object.
    void bind(DemoBridge& bridge, Pacing& pacing);

    /// Answers the requests that wait, with `time` (the simulation's) as the node's time. Call
    /// it between steps, on the thread that steps.
    void serve(double time) { m_server->pre(time); }

    qorROS2::ROS2ParameterServer& server() { return *m_server; }

    /// The parameters set since the last call, whoever set them (a ROS 2 client, a web client),
    /// each named once. On the thread that steps.
    std::vector<std::string> takeChanged();

  private:
    qorROS2::rclInterfaces::SetParametersResult check(
        const std::vector<qorROS2::rclInterfaces::Parameter>& parameters) const;
    void apply(const std::vector<qorROS2::rclInterfaces::Parameter>& parameters);

    qor::ref_ptr<qorROS2::ROS2ParameterServer> m_server;
    DemoBridge* m_bridge = nullptr;
    Pacing* m_pacing = nullptr;
    std::set<std::string> m_changed;  // set under the server's lock, in its callback
};

}  // namespace qorDemo
