#include "qorROS2/ROS2SimulationControlServer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "SimulationServiceNames.h"
#include "qorROS2/ActionServer.h"
#include "qorROS2/ServiceServer.h"
#include "qorSDK/Simulation.h"

namespace qorROS2 {
namespace {

namespace srv = simulationInterfaces::srv;
using Result = ROS2SimulationControlServer::Result;
using State = ROS2SimulationControlServer::State;

// simulation_interfaces/srv/SetSimulationState.
constexpr std::uint8_t kAlreadyInTargetState = 101;
constexpr std::uint8_t kStateTransitionError = 102;
constexpr std::uint8_t kIncorrectTransition = 103;
// simulation_interfaces/srv/ResetSimulation: DEFAULT means ALL; SPAWNED (4) and the bits above
// it have nothing to reset here.
constexpr std::uint8_t kScopeDefault = 0;
constexpr std::uint8_t kScopeTime = 1;
constexpr std::uint8_t kScopeState = 2;
constexpr std::uint8_t kScopeAll = 255;

// SIMULATION_RESET, _TIME, _STATE; SIMULATION_STATE_GETTING, _SETTING, _PAUSE;
// STEP_SIMULATION_SINGLE, _MULTIPLE, _ACTION.
const std::vector<std::uint16_t> kOwnFeatures{20, 21, 22, 24, 25, 26, 31, 32, 33};

using SimulateSteps = simulationInterfaces::SimulateSteps;

Result ok() {
    return Result{Result::RESULT_OK, ""};
}

std::string stateName(std::uint8_t state) {
    static const char* const kNames[] = {"STATE_STOPPED",  "STATE_PLAYING",  "STATE_PAUSED",
                                         "STATE_QUITTING", "STATE_NO_WORLD", "STATE_LOADING_WORLD"};
    return state < std::size(kNames) ? kNames[state] : std::to_string(state);
}

}  // namespace

struct ROS2SimulationControlServer::Impl {
    Impl(const ROS2SimulationControlServer& owner, std::int8_t domainId, const std::string& prefix,
         std::uint8_t initialState)
        : state(initialState),
          featuresService(detail::simulationServiceName(prefix, "get_simulator_features"),
                          domainId),
          getStateService(detail::simulationServiceName(prefix, "get_simulation_state"), domainId),
          setStateService(detail::simulationServiceName(prefix, "set_simulation_state"), domainId),
          resetService(detail::simulationServiceName(prefix, "reset_simulation"), domainId),
          stepService(detail::simulationServiceName(prefix, "step_simulation"), domainId),
          simulateSteps(
              detail::simulationServiceName(prefix, "simulate_steps"), domainId,
              [this](const GoalId& id, const SimulateSteps::Goal&) {
                  // Goals run one at a time, in the order they came; a goal that cannot run
                  // is aborted with the reason rather than rejected, since a rejection tells
                  // the client nothing.
                  waitingGoals.push_back(id);
                  return GoalResponse::acceptAndDefer;
              },
              CancelCallback(), simulationClock(owner)) {
        const auto wake = [this] {
            {
                const std::lock_guard<std::mutex> lock(arrivalMutex);
                ++arrivals;
            }
            arrived.notify_all();
        };
        featuresService.onRequest(wake);
        getStateService.onRequest(wake);
        setStateService.onRequest(wake);
        resetService.onRequest(wake);
        stepService.onRequest(wake);
        simulateSteps.onRequest(wake);
    }

    using CancelCallback = ActionServer<SimulateSteps>::CancelCallback;

    // Goals are stamped with the simulation's time, as a node with use_sim_time stamps them.
    static ActionServerOptions simulationClock(const ROS2SimulationControlServer& owner) {
        ActionServerOptions options;
        options.clock = [&owner]() -> std::int64_t {
            const qorSDK::Simulation* simulation = owner.getSimulation();
            const double time = simulation == nullptr ? 0.0 : simulation->getTime();
            return std::isfinite(time) && time > 0.0 ? std::llround(time * 1e9) : 0;
        };
        return options;
    }

    ~Impl() {
        // The middleware's threads must be done with `wake` before the members it touches go.
        featuresService.onRequest({});
        getStateService.onRequest({});
        setStateService.onRequest({});
        resetService.onRequest({});
        stepService.onRequest({});
        simulateSteps.onRequest({});
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    // Marks every request that arrived until now as seen by a handler.
    void markSeen() {
        const std::lock_guard<std::mutex> lock(arrivalMutex);
        seen = arrivals;
    }

    std::size_t answerReadOnly() {
        const std::size_t answered = featuresService.handleRequests(
            [this](const srv::GetSimulatorFeatures::Request&, const ServiceRequestId&) {
                srv::GetSimulatorFeatures::Response response{};
                response.features.features = features;
                return std::optional(response);
            });
        return answered +
               getStateService.handleRequests(
                   [this](const srv::GetSimulationState::Request&, const ServiceRequestId&) {
                       return std::optional(srv::GetSimulationState::Response{{state}, ok()});
                   });
    }

    // The run of a step_simulation request, or of startSteps().
    struct Run {
        std::uint64_t steps = 0;
        std::uint64_t completed = 0;
        StepCallback afterStep;
        DoneCallback done;
    };

    // Ends the run, if any, with `result`; the run is gone before `done` runs, so that `done` may
    // start the next.
    bool endRun(const Result& result) {
        if (!run) {
            return false;
        }
        Run ended = std::move(*run);
        run.reset();
        if (ended.done) {
            ended.done(result);
        }
        return true;
    }

    bool interruptRun(const std::string& why) {
        if (!run) {
            return false;
        }
        return endRun(Result{Result::RESULT_OPERATION_FAILED,
                             "stepping ended after " + std::to_string(run->completed) + " of " +
                                 std::to_string(run->steps) + " steps: " + why});
    }

    std::uint8_t state;
    std::vector<std::uint16_t> features = kOwnFeatures;
    std::vector<ResetCallback> resetCallbacks;
    std::optional<Run> run;

    mutable std::mutex arrivalMutex;
    mutable std::condition_variable arrived;
    std::uint64_t arrivals = 0;
    std::uint64_t seen = 0;

    ServiceServer<srv::GetSimulatorFeatures> featuresService;
    ServiceServer<srv::GetSimulationState> getStateService;
    ServiceServer<srv::SetSimulationState> setStateService;
    ServiceServer<srv::ResetSimulation> resetService;
    ServiceServer<srv::StepSimulation> stepService;

    // The simulate_steps action: goals accepted and waiting for their run, and the goal whose
    // run is under way.
    ActionServer<SimulateSteps> simulateSteps;
    std::deque<GoalId> waitingGoals;
    std::optional<GoalId> runningGoal;

    // Answers the requests of simulate_steps, ends the goals canceled and starts the next
    // goal's run when none is under way. Returns how many requests it took. Defined in the
    // class, as the other members of Impl are, so that it is not exported with the server.
    std::size_t handleGoals(ROS2SimulationControlServer& owner) {
        ActionServer<SimulateSteps>& action = simulateSteps;
        const std::size_t taken = action.handleRequests();
        // A goal whose cancellation was accepted ends now: the running one by ending its run,
        // whose end reports it CANCELED, a waiting one at once.
        if (runningGoal && action.status(*runningGoal) == goalStatus::canceling) {
            owner.cancelSteps("the goal was canceled");
        }
        for (auto waiting = waitingGoals.begin(); waiting != waitingGoals.end();) {
            if (action.status(*waiting) == goalStatus::canceling) {
                (void)action.canceled(*waiting,
                                      SimulateSteps::Result{Result{Result::RESULT_OPERATION_FAILED,
                                                                   "the goal was canceled"}});
                waiting = waitingGoals.erase(waiting);
            } else {
                ++waiting;
            }
        }
        // The next goal starts once no run is under way, as the requests of step_simulation do.
        while (!run && !waitingGoals.empty()) {
            const GoalId id = waitingGoals.front();
            waitingGoals.pop_front();
            const SimulateSteps::Goal* goal = action.goal(id);
            if (goal == nullptr || !action.execute(id)) {
                continue;
            }
            const Result started = owner.startSteps(
                goal->steps,
                [&action, id](std::uint64_t completed, std::uint64_t remaining) {
                    SimulateSteps::Feedback feedback{};
                    feedback.completed_steps = completed;
                    feedback.remaining_steps = remaining;
                    (void)action.publishFeedback(id, feedback);
                },
                [this, &action, id](const Result& result) {
                    runningGoal.reset();
                    const SimulateSteps::Result ended{result};
                    if (action.status(id) == goalStatus::canceling) {
                        (void)action.canceled(id, ended);
                    } else if (result.result == Result::RESULT_OK) {
                        (void)action.succeed(id, ended);
                    } else {
                        (void)action.abort(id, ended);
                    }
                });
            if (started.result != Result::RESULT_OK) {
                (void)action.abort(id, SimulateSteps::Result{started});
            } else if (run) {
                runningGoal = id;
            }
        }
        return taken;
    }
};

ROS2SimulationControlServer::ROS2SimulationControlServer(std::int8_t domainId,
                                                         const std::string& prefix,
                                                         std::uint8_t initialState)
    : StepEventListener(PRE_STEP | LAST_STEP) {
    if (initialState != PLAYING && initialState != PAUSED && initialState != STOPPED) {
        throw std::invalid_argument(
            "ROS2SimulationControlServer: the initial state must be STATE_PLAYING, STATE_PAUSED "
            "or STATE_STOPPED, not " +
            stateName(initialState));
    }
    m_impl = std::make_unique<Impl>(*this, domainId, prefix, initialState);
}

ROS2SimulationControlServer::~ROS2SimulationControlServer() = default;

void ROS2SimulationControlServer::addFeatures(const std::vector<std::uint16_t>& features) {
    std::vector<std::uint16_t>& served = m_impl->features;
    served.insert(served.end(), features.begin(), features.end());
    std::sort(served.begin(), served.end());
    served.erase(std::unique(served.begin(), served.end()), served.end());
}

std::vector<std::uint16_t> ROS2SimulationControlServer::features() const {
    return m_impl->features;
}

void ROS2SimulationControlServer::onReset(ResetCallback callback) {
    m_impl->resetCallbacks.push_back(std::move(callback));
}

std::size_t ROS2SimulationControlServer::handleRequests() {
    Impl& impl = *m_impl;
    impl.markSeen();
    std::size_t taken = impl.answerReadOnly();
    taken += impl.setStateService.handleRequests(
        [this](const srv::SetSimulationState::Request& request, const ServiceRequestId&) {
            return std::optional(srv::SetSimulationState::Response{setState(request.state.state)});
        });
    taken += impl.resetService.handleRequests(
        [this](const srv::ResetSimulation::Request& request, const ServiceRequestId&) {
            return std::optional(srv::ResetSimulation::Response{reset(request.scope)});
        });
    // One run at a time: the requests that come during a run wait for its end, in order.
    srv::StepSimulation::Request request{};
    ServiceRequestId id;
    while (!impl.run && impl.stepService.takeRequest(request, id)) {
        ++taken;
        ServiceServer<srv::StepSimulation>& service = impl.stepService;
        const Result started = startSteps(request.steps, {}, [&service, id](const Result& result) {
            service.sendReply(id, srv::StepSimulation::Response{result});
        });
        if (started.result != Result::RESULT_OK) {
            service.sendReply(id, srv::StepSimulation::Response{started});
        }
    }
    return taken + impl.handleGoals(*this);
}

bool ROS2SimulationControlServer::waitForRequest(std::chrono::nanoseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_impl->arrivalMutex);
    return m_impl->arrived.wait_for(lock, timeout,
                                    [this] { return m_impl->arrivals != m_impl->seen; });
}

bool ROS2SimulationControlServer::shouldStep() const noexcept {
    return m_impl->state == PLAYING || m_impl->run.has_value();
}

bool ROS2SimulationControlServer::quitRequested() const noexcept {
    return m_impl->state == QUITTING;
}

std::uint8_t ROS2SimulationControlServer::state() const noexcept {
    return m_impl->state;
}

Result ROS2SimulationControlServer::setState(std::uint8_t target) {
    Impl& impl = *m_impl;
    if (target == impl.state) {
        return Result{kAlreadyInTargetState, "the simulation is already " + stateName(target)};
    }
    if (target == NO_WORLD || target == LOADING_WORLD) {
        return Result{kIncorrectTransition,
                      stateName(target) +
                          " cannot be set: the world stays loaded, and worlds "
                          "are not loaded or unloaded here"};
    }
    if (target > LOADING_WORLD) {
        return Result{kIncorrectTransition, stateName(target) + " is no simulation state"};
    }
    if (impl.state == QUITTING) {
        return Result{kIncorrectTransition,
                      "the simulation is quitting; it cannot become " + stateName(target)};
    }
    if (target == STOPPED || target == QUITTING) {
        // Stopping is pausing and resetting; quitting stops first.
        const Result reset = this->reset(kScopeAll);
        if (reset.result != Result::RESULT_OK) {
            return Result{kStateTransitionError, reset.error_message};
        }
    } else {
        impl.interruptRun("the simulation was set to " + stateName(target));
    }
    impl.state = target;
    return ok();
}

Result ROS2SimulationControlServer::reset(std::uint8_t scope) {
    Impl& impl = *m_impl;
    const bool all = scope == kScopeDefault || scope == kScopeAll;
    if (!all && (scope & ~(kScopeTime | kScopeState)) != 0) {
        return Result{Result::RESULT_FEATURE_UNSUPPORTED,
                      "reset scope " + std::to_string(scope) +
                          " is not supported: only SCOPE_TIME (1), SCOPE_STATE (2), both, "
                          "SCOPE_DEFAULT and SCOPE_ALL are; nothing is spawned to despawn"};
    }
    qorSDK::Simulation* simulation = getSimulation();
    if (simulation == nullptr) {
        return Result{Result::RESULT_OPERATION_FAILED,
                      "the server has not been added to a simulation"};
    }
    const bool time = all || (scope & kScopeTime) != 0;
    const bool state = all || (scope & kScopeState) != 0;
    impl.interruptRun("the simulation was reset");
    if (state) {
        const double kept = simulation->getTime();
        simulation->reset();
        if (!time) {
            simulation->setTimeStamp(kept);
        }
    } else {
        simulation->setTimeStamp(0.0);
    }
    for (const ResetCallback& callback : impl.resetCallbacks) {
        callback(time, state);
    }
    return ok();
}

Result ROS2SimulationControlServer::startSteps(std::uint64_t steps, StepCallback afterStep,
                                               DoneCallback done) {
    Impl& impl = *m_impl;
    if (impl.state != PAUSED) {
        return Result{Result::RESULT_OPERATION_FAILED,
                      "the simulation is " + stateName(impl.state) +
                          ", not STATE_PAUSED: only a paused simulation is "
                          "stepped"};
    }
    if (impl.run) {
        return Result{Result::RESULT_INCORRECT_STATE,
                      "a run of " + std::to_string(impl.run->steps) + " steps is under way"};
    }
    impl.run = Impl::Run{steps, 0, std::move(afterStep), std::move(done)};
    if (steps == 0) {
        impl.endRun(ok());
    }
    return ok();
}

bool ROS2SimulationControlServer::cancelSteps(const std::string& reason) {
    return m_impl->interruptRun(reason);
}

bool ROS2SimulationControlServer::stepping() const noexcept {
    return m_impl->run.has_value();
}

void ROS2SimulationControlServer::pre(const double& /*time*/) {
    m_impl->answerReadOnly();
}

void ROS2SimulationControlServer::last(const double& /*time*/) {
    Impl& impl = *m_impl;
    if (!impl.run) {
        return;
    }
    Impl::Run& run = *impl.run;
    ++run.completed;
    if (run.afterStep) {
        // The callback may end the run, which must not destroy the callback while it runs.
        StepCallback afterStep = std::move(run.afterStep);
        afterStep(run.completed, run.steps - run.completed);
        if (impl.run) {
            impl.run->afterStep = std::move(afterStep);
        }
    }
    if (impl.run && impl.run->completed >= impl.run->steps) {
        impl.endRun(ok());
    }
}

}  // namespace qorROS2
