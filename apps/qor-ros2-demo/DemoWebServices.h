#pragma once

// The demo's simulation services offered to web clients, beside the ROS 2 ones.

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>

#include "qorROS2/ROS2SimulationControlServer.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorDemo {

/// Offers get_simulator_features, get_simulation_state, set_simulation_state, reset_simulation
/// and step_simulation of simulation_interfaces to the clients of a FoxgloveServer, under the
/// names the ROS 2 services have, and answers them with what ROS2SimulationControlServer does
/// for those: the same states, resets and runs of steps, and the same results. A call is only
/// queued on the server's thread; the step loop answers it between steps (handleCalls()), as it
/// does the ROS 2 requests, so that nothing else touches the simulation.
class DemoWebServices {
  public:
    /// Has the calls of the server that `options` will make queued here.
    void takeCallsOf(qorROS2::web::ServerOptions& options);

    /// Advertises the services on `server`, made with those options.
    void advertise(qorROS2::web::FoxgloveServer& server);

    /// Between steps, on the step loop's thread: answers the calls that wait, in order. A
    /// step_simulation call that comes during a run of steps waits for its end, in order, as the
    /// ROS 2 requests of step_simulation do; the other services are answered at once (a change
    /// of state ends the run). Returns how many it took.
    std::size_t handleCalls(qorROS2::ROS2SimulationControlServer& control);

  private:
    struct Waiting {
        qorROS2::web::ServiceCall call;
        qorROS2::web::ServiceReply reply;
    };

    /// Answers `waiting` through `control`.
    static void answer(const Waiting& waiting, qorROS2::ROS2SimulationControlServer& control);

    std::mutex m_mutex;
    std::deque<Waiting> m_waiting;
};

}  // namespace qorDemo
