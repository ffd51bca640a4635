// Playing, pausing, stopping, resetting and stepping a simulation through the services of
// simulation_interfaces, called by typed clients while the test runs the application's loop.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "ParameterCalls.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ActionClient.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorROS2/ROS2ControlInterface.h"
#include "qorROS2/ROS2SimulationControlServer.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"
#include "qorSDK/Simulation.h"

namespace {

using namespace qorROS2;
namespace srv = simulationInterfaces::srv;
using Server = ROS2SimulationControlServer;

constexpr std::int8_t kDomain = 54;
// The memory test's own: the endpoints that tests in other processes make in a shared domain
// are discovered into this process's participant, and grow its memory by themselves.
constexpr std::int8_t kQuietDomain = 67;
// The stepping test's own: it counts the ticks of /clock, a name that every bench of the other
// tests publishes on as well.
constexpr std::int8_t kClockDomain = 86;
constexpr double kStep = 0.002;

// A sled on a slide joint, pushed by gravity along its rail so that it moves when left alone.
const char* const kScene =
    "<mujoco model='sled'><option timestep='0.002' gravity='1 0 -9.81'/><worldbody>"
    "<body name='sled' pos='0 0 1'><joint name='track' type='slide' axis='1 0 0'/>"
    "<geom type='box' size='0.1 0.05 0.05' mass='1' contype='0' conaffinity='0'/></body>"
    "</worldbody></mujoco>";

// The services of one test alone: tests of other processes run in the same domain at once.
std::string uniquePrefix() {
    return std::string("/") + ::testing::UnitTest::GetInstance()->current_test_info()->name() +
           "_" + std::to_string(::getpid());
}

// A simulation with a clock, a control interface and the server, and the loop an application
// runs around them.
struct Bench {
    explicit Bench(std::uint8_t initialState = Server::PLAYING, std::int8_t domainId = kDomain)
        : domain(domainId),
          prefix(uniquePrefix()),
          simulation(qorSDK::Simulation::createFromString(kScene)),
          clock(new ROS2ClockPublisher(domain)),
          control(new ROS2ControlInterface(prefix + "/commands", prefix + "/joint_states", false,
                                           domain)),
          server(new Server(domain, prefix, initialState)) {
        track = simulation->createConstraint("track");
        simulation->add(track.get());
        control->addJoint(track.get(), ROS2ControlInterface::VELOCITY);
        // Free until commanded: gravity slides the sled along its rail.
        track->getMotor1D()->setEnabled(false);
        simulation->add(clock.get());
        simulation->add(control.get());
        simulation->add(server.get());
    }

    // One turn of the application's loop.
    void turn() {
        server->handleRequests();
        if (server->shouldStep()) {
            simulation->stepForward();
        } else {
            server->waitForRequest(std::chrono::milliseconds(5));
        }
    }

    template <typename Srv>
    std::unique_ptr<ServiceClient<Srv>> client(const std::string& name) {
        auto made = std::make_unique<ServiceClient<Srv>>(prefix + "/" + name, domain);
        EXPECT_TRUE(made->waitForService(qorTest::kDeliveryDeadline)) << name;
        return made;
    }

    // Sends `request` and runs the loop until the answer comes.
    template <typename Srv>
    std::optional<typename Srv::Response> call(ServiceClient<Srv>& client,
                                               const typename Srv::Request& request) {
        return qorTest::callStepping(client, request, [this] { turn(); });
    }

    std::int8_t domain;
    std::string prefix;
    qor::ref_ptr<qorSDK::Simulation> simulation;
    qor::ref_ptr<qor::Constraint1DOF> track;
    qor::ref_ptr<ROS2ClockPublisher> clock;
    qor::ref_ptr<ROS2ControlInterface> control;
    qor::ref_ptr<Server> server;
};

std::string describe(const simulationInterfaces::Result& result) {
    return std::to_string(result.result) + " '" + result.error_message + "'";
}

std::uint8_t setState(Bench& bench, ServiceClient<srv::SetSimulationState>& client,
                      std::uint8_t state, std::string* message = nullptr) {
    const auto answer = bench.call(client, {{state}});
    EXPECT_TRUE(answer) << "set_simulation_state " << int(state) << " gave no answer";
    if (message != nullptr && answer) {
        *message = answer->result.error_message;
    }
    return answer ? answer->result.result : 255;
}

TEST(SimulationControl, FeaturesAreExactlyThoseServedAndThoseAdded) {
    Bench bench;
    using Features = std::vector<std::uint16_t>;
    EXPECT_EQ(bench.server->features(), (Features{20, 21, 22, 24, 25, 26, 31, 32, 33}));
    bench.server->addFeatures({12, 10, 11, 8, 33, 10});
    auto client = bench.client<srv::GetSimulatorFeatures>("get_simulator_features");

    const auto answer = bench.call(*client, {});

    ASSERT_TRUE(answer) << "get_simulator_features gave no answer";
    EXPECT_EQ(answer->features.features,
              (Features{8, 10, 11, 12, 20, 21, 22, 24, 25, 26, 31, 32, 33}));
    EXPECT_TRUE(answer->features.spawn_formats.empty());
}

TEST(SimulationControl, StatesChangeAndAnswerWithTheCodesOfTheService) {
    Bench bench;
    auto get = bench.client<srv::GetSimulationState>("get_simulation_state");
    auto set = bench.client<srv::SetSimulationState>("set_simulation_state");
    const auto stateNow = [&] {
        const auto answer = bench.call(*get, {});
        EXPECT_TRUE(answer) << "get_simulation_state gave no answer";
        EXPECT_EQ(answer ? answer->result.result : 0, 1);
        return answer ? int(answer->state.state) : -1;
    };
    EXPECT_EQ(stateNow(), Server::PLAYING);
    std::string message;

    EXPECT_EQ(setState(bench, *set, Server::PLAYING, &message), 101) << message;
    EXPECT_EQ(message, "the simulation is already STATE_PLAYING");
    EXPECT_EQ(setState(bench, *set, Server::NO_WORLD, &message), 103);
    EXPECT_EQ(message,
              "STATE_NO_WORLD cannot be set: the world stays loaded, and worlds are not loaded or "
              "unloaded here");
    EXPECT_EQ(setState(bench, *set, Server::LOADING_WORLD), 103);
    EXPECT_EQ(setState(bench, *set, 17, &message), 103);
    EXPECT_EQ(message, "17 is no simulation state");
    EXPECT_EQ(stateNow(), Server::PLAYING);

    EXPECT_EQ(setState(bench, *set, Server::PAUSED), 1);
    EXPECT_EQ(stateNow(), Server::PAUSED);
    EXPECT_FALSE(bench.server->shouldStep());
    EXPECT_EQ(setState(bench, *set, Server::PAUSED), 101);

    ASSERT_GT(bench.simulation->getTime(), 0.0);
    EXPECT_EQ(setState(bench, *set, Server::STOPPED), 1);
    EXPECT_EQ(stateNow(), Server::STOPPED);
    EXPECT_EQ(bench.simulation->getTime(), 0.0) << "stopping resets";
    EXPECT_EQ(bench.track->getAngle(), 0.0);
    EXPECT_EQ(setState(bench, *set, Server::PAUSED), 1) << "a stopped simulation may be paused";
    EXPECT_EQ(setState(bench, *set, Server::PLAYING), 1);
    EXPECT_TRUE(bench.server->shouldStep());

    EXPECT_FALSE(bench.server->quitRequested());
    EXPECT_EQ(setState(bench, *set, Server::QUITTING), 1);
    EXPECT_TRUE(bench.server->quitRequested());
    EXPECT_FALSE(bench.server->shouldStep());
    EXPECT_EQ(bench.simulation->getTime(), 0.0) << "quitting stops first";
    EXPECT_EQ(setState(bench, *set, Server::PLAYING, &message), 103);
    EXPECT_EQ(message, "the simulation is quitting; it cannot become STATE_PLAYING");
}

TEST(SimulationControl, StepIsRefusedUnlessPausedAndThenStepsExactlyN) {
    Bench bench(Server::PLAYING, kClockDomain);
    auto step = bench.client<srv::StepSimulation>("step_simulation");
    auto set = bench.client<srv::SetSimulationState>("set_simulation_state");
    const auto refused = bench.call(*step, {10});
    ASSERT_TRUE(refused) << "step_simulation gave no answer";
    EXPECT_EQ(refused->result.result, 4) << describe(refused->result);
    EXPECT_EQ(refused->result.error_message,
              "the simulation is STATE_PLAYING, not STATE_PAUSED: only a paused simulation is "
              "stepped");
    ASSERT_EQ(setState(bench, *set, Server::PAUSED), 1);

    QOS keepAll = createSensorDataQOS();
    keepAll.history = QOS::KEEP_ALL;
    Subscriber<rosgraphMsgs::Clock> clock("/clock", keepAll, bench.domain);
    Subscriber<sensorMsgs::JointState> states(bench.prefix + "/joint_states", keepAll,
                                              bench.domain);
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return clock.matchedPublications() > 0 && states.matchedPublications() > 0; }));
    // Paused: nothing is stepped, so nothing is published.
    for (int i = 0; i < 20; ++i) {
        bench.turn();
    }
    const double before = bench.simulation->getTime();
    rosgraphMsgs::Clock tick{};
    sensorMsgs::JointState state{};
    while (clock.receiveMessage(tick) || states.receiveMessage(state)) {
    }

    const auto stepped = bench.call(*step, {10});

    ASSERT_TRUE(stepped) << "step_simulation gave no answer";
    EXPECT_EQ(stepped->result.result, 1) << describe(stepped->result);
    EXPECT_DOUBLE_EQ(bench.simulation->getTime(), before + 10 * kStep);
    EXPECT_FALSE(bench.server->shouldStep());
    std::vector<double> ticks;
    std::vector<double> stamps;
    qorTest::waitFor(
        [&] {
            while (clock.receiveMessage(tick)) {
                ticks.push_back(tick.clock.sec + tick.clock.nanosec * 1e-9);
            }
            while (states.receiveMessage(state)) {
                stamps.push_back(state.header.stamp.sec + state.header.stamp.nanosec * 1e-9);
            }
            return ticks.size() >= 10 && stamps.size() >= 10;
        },
        std::chrono::seconds(5));
    for (int i = 0; i < 20; ++i) {
        bench.turn();
    }
    while (clock.receiveMessage(tick)) {
        ticks.push_back(tick.clock.sec + tick.clock.nanosec * 1e-9);
    }
    std::ostringstream evidence;
    for (double t : ticks) {
        evidence << t << " ";
    }
    ASSERT_EQ(ticks.size(), 10U) << "clock: " << evidence.str();
    ASSERT_EQ(stamps.size(), 10U);
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        // The clock is sent at the start of each step, the joints' state at its end.
        EXPECT_NEAR(ticks[i], before + double(i) * kStep, 1e-9) << "clock: " << evidence.str();
        EXPECT_NEAR(stamps[i], before + double(i + 1) * kStep, 1e-9);
    }
}

TEST(SimulationControl, ResetScopesPutBackTimeOrJointsOrBoth) {
    Bench bench(Server::PAUSED);
    auto reset = bench.client<srv::ResetSimulation>("reset_simulation");
    std::vector<std::string> calls;
    bench.server->onReset([&](bool time, bool state) {
        calls.push_back(std::string(time ? "time" : "") + (state ? "state" : ""));
    });
    const auto runSteps = [&](std::uint64_t steps) {
        ASSERT_EQ(bench.server->startSteps(steps, {}, {}).result, 1);
        while (bench.server->stepping()) {
            bench.turn();
        }
    };
    const auto resetWith = [&](std::uint8_t scope) {
        const auto answer = bench.call(*reset, {scope});
        EXPECT_TRUE(answer) << "reset_simulation gave no answer";
        return answer ? answer->result : simulationInterfaces::Result{255, "no answer"};
    };

    runSteps(50);
    const double moved = bench.track->getAngle();
    ASSERT_GT(moved, 0.0);
    EXPECT_EQ(resetWith(1).result, 1);
    EXPECT_EQ(bench.simulation->getTime(), 0.0);
    EXPECT_EQ(bench.track->getAngle(), moved) << "SCOPE_TIME leaves the joints";

    runSteps(5);
    EXPECT_EQ(resetWith(2).result, 1);
    EXPECT_DOUBLE_EQ(bench.simulation->getTime(), 5 * kStep) << "SCOPE_STATE leaves the time";
    EXPECT_EQ(bench.track->getAngle(), 0.0);
    EXPECT_EQ(bench.track->getCurrentSpeed(), 0.0);

    for (const std::uint8_t scope : std::vector<std::uint8_t>{0, 255, 3}) {
        runSteps(7);
        EXPECT_EQ(resetWith(scope).result, 1) << int(scope);
        EXPECT_EQ(bench.simulation->getTime(), 0.0) << int(scope);
        EXPECT_EQ(bench.track->getAngle(), 0.0) << int(scope);
    }
    runSteps(3);
    for (const std::uint8_t scope : std::vector<std::uint8_t>{4, 5, 8, 128}) {
        const simulationInterfaces::Result refused = resetWith(scope);
        EXPECT_EQ(refused.result, 0) << int(scope) << ": " << describe(refused);
        EXPECT_EQ(refused.error_message,
                  "reset scope " + std::to_string(scope) +
                      " is not supported: only SCOPE_TIME (1), SCOPE_STATE (2), both, "
                      "SCOPE_DEFAULT and SCOPE_ALL are; nothing is spawned to despawn");
    }
    EXPECT_DOUBLE_EQ(bench.simulation->getTime(), 3 * kStep) << "a refused reset changes nothing";
    EXPECT_EQ(calls,
              (std::vector<std::string>{"time", "state", "timestate", "timestate", "timestate"}));
    EXPECT_EQ(bench.server->state(), Server::PAUSED);
}

TEST(SimulationControl, ARunEndsEarlyWhenResetOrPlayedAndRunsOneAtATime) {
    Bench bench(Server::PAUSED);
    std::vector<std::string> log;
    const auto record = [&](const simulationInterfaces::Result& result) {
        log.push_back(describe(result));
    };
    std::uint64_t lastCompleted = 0;
    std::uint64_t lastRemaining = 0;
    ASSERT_EQ(bench.server
                  ->startSteps(
                      100,
                      [&](std::uint64_t completed, std::uint64_t remaining) {
                          lastCompleted = completed;
                          lastRemaining = remaining;
                      },
                      record)
                  .result,
              1);
    EXPECT_EQ(bench.server->startSteps(1, {}, record).result, 3) << "one run at a time";
    for (int i = 0; i < 3; ++i) {
        bench.simulation->stepForward();
    }
    EXPECT_EQ(lastCompleted, 3U);
    EXPECT_EQ(lastRemaining, 97U);
    EXPECT_EQ(bench.server->reset(0).result, 1);
    EXPECT_FALSE(bench.server->stepping());

    ASSERT_EQ(bench.server->startSteps(5, {}, record).result, 1);
    bench.simulation->stepForward();
    EXPECT_EQ(bench.server->setState(Server::PLAYING).result, 1);
    ASSERT_EQ(bench.server->setState(Server::PAUSED).result, 1);
    ASSERT_EQ(bench.server->startSteps(2, {}, record).result, 1);
    bench.simulation->stepForward();
    EXPECT_TRUE(bench.server->cancelSteps("cancelled by its client"));
    EXPECT_FALSE(bench.server->cancelSteps("again"));
    ASSERT_EQ(bench.server->startSteps(0, {}, record).result, 1);

    EXPECT_EQ(log, (std::vector<std::string>{
                       "4 'stepping ended after 3 of 100 steps: the simulation was reset'",
                       "4 'stepping ended after 1 of 5 steps: the simulation was set to "
                       "STATE_PLAYING'",
                       "4 'stepping ended after 1 of 2 steps: cancelled by its client'", "1 ''"}));
}

// Records the steps after which the joint's commanded speed had changed: those in which the
// control interface took a command.
class StepRecorder : public qorSDK::StepEventListener {
  public:
    StepRecorder(qorSDK::Simulation& simulation, qor::Constraint1DOF& joint)
        : StepEventListener(POST_STEP),
          m_simulation(simulation),
          m_joint(joint),
          m_last(joint.getMotor1D()->getSpeed()) {}
    void post(const double& /*time*/) override {
        const double speed = m_joint.getMotor1D()->getSpeed();
        if (speed != m_last) {
            changes.push_back(std::to_string(m_simulation.getTime()) + " -> " +
                              std::to_string(speed));
        }
        m_last = speed;
    }
    std::vector<std::string> changes;

  protected:
    ~StepRecorder() override = default;

  private:
    qorSDK::Simulation& m_simulation;
    qor::Constraint1DOF& m_joint;
    double m_last;
};

TEST(SimulationControl, CommandsWaitingWhilePausedAreTakenOneAStepWithinARun) {
    Bench bench(Server::PAUSED);
    qor::ref_ptr<StepRecorder> recorder = new StepRecorder(*bench.simulation, *bench.track);
    bench.simulation->add(recorder.get());
    auto step = bench.client<srv::StepSimulation>("step_simulation");
    Publisher<sensorMsgs::JointState> commands(bench.prefix + "/commands", QOS{}, kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return commands.matchedSubscriptions() > 0; }));
    const auto send = [&](double speed) {
        sensorMsgs::JointState command{};
        command.name = {"track"};
        command.velocity = {speed};
        ASSERT_TRUE(commands.sendMessage(command));
    };
    send(0.25);
    send(0.5);
    // Delivered while paused: the interface keeps the newest, for the next step.
    for (int i = 0; i < 20; ++i) {
        bench.turn();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));

    const auto stepped = bench.call(*step, {5});
    ASSERT_TRUE(stepped && stepped->result.result == 1);
    send(0.75);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const auto again = bench.call(*step, {3});
    ASSERT_TRUE(again && again->result.result == 1);

    std::ostringstream evidence;
    for (const std::string& change : recorder->changes) {
        evidence << change << "\n";
    }
    EXPECT_EQ(recorder->changes,
              (std::vector<std::string>{"0.002000 -> 0.500000", "0.012000 -> 0.750000"}))
        << evidence.str();
}

TEST(SimulationControl, ARelativePrefixResolvesInTheNodesNamespace) {
    const std::string prefix = "sim_" + std::to_string(::getpid());
    setNodeIdentity("control_test", "/robot7");
    qor::ref_ptr<Server> server(new Server(kDomain, prefix, Server::PAUSED));
    setNodeIdentity("qorROS2SimulationControlTests", "/");
    ServiceClient<srv::GetSimulationState> client("/robot7/" + prefix + "/get_simulation_state",
                                                  kDomain);
    ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline));

    const auto answer = qorTest::callStepping(client, {}, [&] { server->pre(0.0); });

    ASSERT_TRUE(answer) << "get_simulation_state gave no answer";
    EXPECT_EQ(answer->state.state, Server::PAUSED);
}

TEST(SimulationControl, WaitingForARequestBlocksUntilOneComesOrTheTimeoutPasses) {
    Bench bench(Server::PAUSED);
    auto get = bench.client<srv::GetSimulationState>("get_simulation_state");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(bench.server->waitForRequest(std::chrono::milliseconds(100)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));

    get->sendRequest({}, [](srv::GetSimulationState::Response&&) {});
    EXPECT_TRUE(bench.server->waitForRequest(qorTest::kDeliveryDeadline));
    EXPECT_TRUE(bench.server->waitForRequest(std::chrono::milliseconds(0)))
        << "still waiting: not yet taken";
    EXPECT_EQ(bench.server->handleRequests(), 1U);
    EXPECT_FALSE(bench.server->waitForRequest(std::chrono::milliseconds(10)));
}

TEST(SimulationControl, AnInitialStateOtherThanPlayingPausedOrStoppedIsRefused) {
    try {
        qor::ref_ptr<Server> server(new Server(kDomain, uniquePrefix(), Server::QUITTING));
        FAIL() << "made";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "ROS2SimulationControlServer: the initial state must be STATE_PLAYING, "
                     "STATE_PAUSED or STATE_STOPPED, not STATE_QUITTING");
    }
}

TEST(SimulationControl, TenThousandStepCallsLeaveMemoryFlat) {
    Bench bench(Server::PAUSED, kQuietDomain);
    auto step = bench.client<srv::StepSimulation>("step_simulation");
    const auto callSteps = [&](int calls) {
        for (int i = 0; i < calls; ++i) {
            const auto answer = bench.call(*step, {1});
            ASSERT_TRUE(answer) << "call " << i << " gave no answer";
            ASSERT_EQ(answer->result.result, 1) << describe(answer->result);
        }
    };
    callSteps(1000);
    const std::int64_t warm = qorTest::allocationCounts().liveBytes;
    callSteps(10000);
    const std::int64_t grown = qorTest::allocationCounts().liveBytes - warm;
    EXPECT_LT(grown, 64 * 1024) << "live bytes grew by " << grown << " over 10000 calls";
    EXPECT_DOUBLE_EQ(bench.simulation->getTime(), 11000 * kStep);
}

}  // namespace

namespace {

using SimulateSteps = simulationInterfaces::SimulateSteps;

// The application's loop on a thread of its own, for clients that block until answered.
class RunningLoop {
  public:
    explicit RunningLoop(Bench& bench)
        : m_thread([this, &bench] {
              while (!m_stop) {
                  bench.turn();
              }
          }) {}
    ~RunningLoop() { stop(); }
    RunningLoop(const RunningLoop&) = delete;
    RunningLoop& operator=(const RunningLoop&) = delete;

    void stop() {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

  private:
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

GoalId goalId(std::uint8_t first) {
    GoalId id{};
    id[0] = first;
    id[15] = 0x5a;
    return id;
}

constexpr auto kAnswerDeadline = std::chrono::seconds(30);

// A bench in `initialState`, an action client of its simulate_steps and the application's loop
// running, declared in that order so that the loop stops first.
struct ActionBench {
    explicit ActionBench(std::uint8_t initialState)
        : bench(initialState), client(bench.prefix + "/simulate_steps", kDomain), loop(bench) {}

    Bench bench;
    ActionClient<SimulateSteps> client;
    RunningLoop loop;
};

}  // namespace

TEST(SimulationControl, SimulateStepsRunsItsStepsWithFeedbackAfterEachAndSucceeds) {
    ActionBench served(Server::PAUSED);
    Bench& bench = served.bench;
    ActionClient<SimulateSteps>& client = served.client;
    ASSERT_TRUE(client.waitForServer(qorTest::kDeliveryDeadline));

    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(client.sendGoal(goalId(1), {500}, accepted, kAnswerDeadline));
    ASSERT_TRUE(accepted.accepted);
    SimulateSteps::GetResult::Response result{};
    ASSERT_TRUE(client.getResult(goalId(1), result, kAnswerDeadline));
    served.loop.stop();

    EXPECT_EQ(result.status, goalStatus::succeeded);
    EXPECT_EQ(result.result.result.result, 1) << describe(result.result.result);
    // Exactly the goal's steps, and the simulation paused again after them.
    EXPECT_NEAR(bench.simulation->getTime(), 500 * kStep, 1e-9);
    EXPECT_FALSE(bench.server->shouldStep());
    // Feedback after every step: keep-last history may drop old samples for a slow reader,
    // never the last, and what arrives counts up with the remaining steps down.
    std::vector<std::string> feedback;
    std::uint64_t lastCompleted = 0;
    SimulateSteps::FeedbackMessage message{};
    while (client.waitForFeedback(std::chrono::seconds(2)) && client.takeFeedback(message)) {
        EXPECT_EQ(message.goal_id.uuid, goalId(1));
        EXPECT_GT(message.feedback.completed_steps, lastCompleted);
        EXPECT_EQ(message.feedback.completed_steps + message.feedback.remaining_steps, 500U);
        lastCompleted = message.feedback.completed_steps;
        feedback.push_back(std::to_string(message.feedback.completed_steps));
        if (lastCompleted == 500) {
            break;
        }
    }
    EXPECT_EQ(lastCompleted, 500U)
        << feedback.size() << " feedback samples, the last at " << lastCompleted;
}

TEST(SimulationControl, SimulateStepsWhilePlayingIsAbortedWithTheReason) {
    ActionBench served(Server::PLAYING);
    ActionClient<SimulateSteps>& client = served.client;
    ASSERT_TRUE(client.waitForServer(qorTest::kDeliveryDeadline));

    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(client.sendGoal(goalId(2), {5}, accepted, kAnswerDeadline));
    SimulateSteps::GetResult::Response result{};
    ASSERT_TRUE(client.getResult(goalId(2), result, kAnswerDeadline));

    EXPECT_EQ(result.status, goalStatus::aborted);
    EXPECT_EQ(result.result.result.result, 4) << describe(result.result.result);
    EXPECT_NE(result.result.result.error_message.find("STATE_PLAYING"), std::string::npos)
        << describe(result.result.result);
}

TEST(SimulationControl, CanceledSimulateStepsGoalEndsItsRunAndTheNextGoalRuns) {
    ActionBench served(Server::PAUSED);
    Bench& bench = served.bench;
    ActionClient<SimulateSteps>& client = served.client;
    ASSERT_TRUE(client.waitForServer(qorTest::kDeliveryDeadline));

    // A goal too long to end by itself, and one waiting behind it.
    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(client.sendGoal(goalId(3), {1000000000}, accepted, kAnswerDeadline));
    ASSERT_TRUE(accepted.accepted);
    ASSERT_TRUE(client.sendGoal(goalId(4), {7}, accepted, kAnswerDeadline));
    ASSERT_TRUE(accepted.accepted);
    ASSERT_TRUE(client.waitForFeedback(kAnswerDeadline));
    actionMsgs::CancelGoal::Request cancel{};
    cancel.goal_info.goal_id.uuid = goalId(3);
    actionMsgs::CancelGoal::Response canceling{};
    ASSERT_TRUE(client.cancelGoals(cancel, canceling, kAnswerDeadline));
    EXPECT_EQ(canceling.return_code, 0);
    SimulateSteps::GetResult::Response first{};
    ASSERT_TRUE(client.getResult(goalId(3), first, kAnswerDeadline));
    SimulateSteps::GetResult::Response second{};
    ASSERT_TRUE(client.getResult(goalId(4), second, kAnswerDeadline));
    served.loop.stop();

    EXPECT_EQ(first.status, goalStatus::canceled);
    EXPECT_EQ(first.result.result.result, 4) << describe(first.result.result);
    EXPECT_EQ(second.status, goalStatus::succeeded) << describe(second.result.result);
    EXPECT_FALSE(bench.server->shouldStep());
}
