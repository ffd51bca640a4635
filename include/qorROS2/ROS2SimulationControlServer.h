#pragma once

// Lets ROS 2 tools play, pause, stop, reset and step a simulation through the standard services of
// the package simulation_interfaces, so that a client can drive it in lockstep.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/Export.h"
#include "qorROS2/simulationInterfaces.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// Serves, for the simulation it is added to, the services get_simulator_features,
/// get_simulation_state, set_simulation_state, reset_simulation and step_simulation of
/// simulation_interfaces, and its action simulate_steps (goal: the steps; feedback after every
/// step: the steps completed and remaining; result: OK after the last, or why the run ended
/// early; a canceled goal's run ends at once), under a prefix ("/" by default:
/// "/step_simulation"; a relative prefix resolves in the node's namespace, as every name of the
/// node does). One run of steps is under way at a time: step_simulation requests and
/// simulate_steps goals that come during a run wait for its end, in order.
///
/// It has no thread of its own and never steps the simulation: the application asks it between
/// steps whether to step (shouldStep()) and whether to quit (quitRequested()), calls
/// handleRequests() between steps, and while nothing is to be stepped waits for the next request
/// with waitForRequest(). As a step listener it answers the two read-only services in `pre`, and
/// counts the steps of a run in `last`, after every listener's `post`, so that the reply to
/// step_simulation follows what the N-th step published. Changes of state and resets are carried
/// out by handleRequests(), between steps, since a simulation is not reset inside a step.
///
///     qor::ref_ptr<qorROS2::ROS2SimulationControlServer> control =
///         new qorROS2::ROS2SimulationControlServer(0);
///     simulation->add(control.get());
///     while (!control->quitRequested()) {
///         control->handleRequests();
///         if (control->shouldStep()) simulation->stepForward();
///         else control->waitForRequest(std::chrono::milliseconds(20));
///     }
///
/// The states are those of SimulationState: PLAYING; PAUSED (a run of steps may be under way);
/// STOPPED, reset and paused; QUITTING, after which the application is to stop the simulation
/// and exit. Every method belongs to the thread that steps the simulation, except
/// waitForRequest(), which may be called from any thread.
class QORROS2_EXPORT ROS2SimulationControlServer : public qorSDK::StepEventListener {
  public:
    using Result = simulationInterfaces::Result;
    /// Called after each step of a run with the steps done and still to do.
    using StepCallback = std::function<void(std::uint64_t completed, std::uint64_t remaining)>;
    /// Called once when a run ends: RESULT_OK after its last step, or why it ended early.
    using DoneCallback = std::function<void(const Result& result)>;
    /// Called after a reset, with what was reset: the time (back to 0), the state of the bodies
    /// and joints (back to the scene's). The place to drop what was pending for the old state.
    using ResetCallback = std::function<void(bool time, bool state)>;

    /// The SimulationState constants.
    enum State : std::uint8_t {
        STOPPED = 0,
        PLAYING = 1,
        PAUSED = 2,
        QUITTING = 3,
        NO_WORLD = 4,
        LOADING_WORLD = 5
    };

    /// Serves in ROS 2 domain `domainId`, under `prefix`, starting in `initialState` (PLAYING,
    /// PAUSED or STOPPED). Selects the `pre` and `last` callbacks. Throws std::invalid_argument
    /// for another initial state, and what the transport throws when it cannot create the
    /// services (an invalid name or domain).
    explicit ROS2SimulationControlServer(std::int8_t domainId, const std::string& prefix = "/",
                                         std::uint8_t initialState = PLAYING);

    // One listener stands for its endpoints: it is neither copied nor moved.
    ROS2SimulationControlServer(const ROS2SimulationControlServer&) = delete;
    ROS2SimulationControlServer& operator=(const ROS2SimulationControlServer&) = delete;
    ROS2SimulationControlServer(ROS2SimulationControlServer&&) = delete;
    ROS2SimulationControlServer& operator=(ROS2SimulationControlServer&&) = delete;

    /// Adds features that other parts of the application serve (ENTITY_STATE_GETTING 10, ...) to
    /// those get_simulator_features lists.
    void addFeatures(const std::vector<std::uint16_t>& features);

    /// The features served, in ascending order without repeats: SIMULATION_RESET 20,
    /// SIMULATION_RESET_TIME 21, SIMULATION_RESET_STATE 22, SIMULATION_STATE_GETTING 24,
    /// SIMULATION_STATE_SETTING 25, SIMULATION_STATE_PAUSE 26, STEP_SIMULATION_SINGLE 31,
    /// STEP_SIMULATION_MULTIPLE 32, STEP_SIMULATION_ACTION 33, and those added.
    std::vector<std::uint16_t> features() const;

    /// Calls `callback` after every reset from now on, in the order added.
    void onReset(ResetCallback callback);

    /// Answers the requests that wait now; carries out the changes of state and the resets they
    /// ask for, and starts the run of a step_simulation request. A step_simulation request that
    /// comes while a run is under way waits for its end. To be called between steps. Returns how
    /// many requests it took.
    std::size_t handleRequests();

    /// Blocks until a request waits that handleRequests() has not taken (true) or `timeout` has
    /// passed (false).
    bool waitForRequest(std::chrono::nanoseconds timeout) const;

    /// Whether the application is to step now: while playing, or while a run has steps to do.
    bool shouldStep() const noexcept;

    /// Whether QUITTING was asked for: the application is to stop stepping and exit.
    bool quitRequested() const noexcept;

    /// The current SimulationState constant.
    std::uint8_t state() const noexcept;

    /// Changes the state as set_simulation_state does, and answers as it does: RESULT_OK,
    /// ALREADY_IN_TARGET_STATE 101, STATE_TRANSITION_ERROR 102, INCORRECT_TRANSITION 103.
    /// Between steps only.
    Result setState(std::uint8_t target);

    /// Resets as reset_simulation does for `scope`, and answers as it does. Between steps only.
    Result reset(std::uint8_t scope);

    /// Starts a run of `steps` steps of the paused simulation: `afterStep` is called after each
    /// of them (after every listener's `post`), then `done` once with RESULT_OK. Returns
    /// RESULT_OK when the run started (or, for 0 steps, is already done), RESULT_OPERATION_FAILED
    /// when the simulation is not paused, RESULT_INCORRECT_STATE while another run is under way;
    /// `done` is not called then. A change of state or a reset ends a run early, calling `done`
    /// with RESULT_OPERATION_FAILED and the reason.
    Result startSteps(std::uint64_t steps, StepCallback afterStep, DoneCallback done);

    /// Ends the run under way, calling its `done` with RESULT_OPERATION_FAILED and `reason`.
    /// Returns false when no run is under way.
    bool cancelSteps(const std::string& reason);

    /// Whether a run is under way.
    bool stepping() const noexcept;

    /// Answers get_simulator_features and get_simulation_state.
    void pre(const double& time) override;

    /// Counts the step for the run under way, and ends the run after its last step.
    void last(const double& time) override;

  protected:
    ~ROS2SimulationControlServer() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2
