// The running demo driven through simulation_interfaces by another process: started paused, a
// lockstep client that steps, reads /joint_states and commands without losing a sample, a reset
// that drops a waiting command and repeats the first step bit for bit, step_simulation through
// qor-ros2, the simulate_steps action through qor-ros2's send_goal, and STATE_QUITTING ending the
// demo with 0.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/simulationInterfaces.h"

namespace {

using namespace qorROS2;
namespace srv = simulationInterfaces::srv;

constexpr int kControlDomain = 55;
constexpr auto kDomain = static_cast<std::int8_t>(kControlDomain);
constexpr double kStep = 0.002;  // the arm scene's time step

qorTest::ChildProcess startDemo(const std::vector<std::string>& extra) {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kControlDomain).c_str(), 1);
    std::vector<std::string> argv{QOR_DEMO, "--camera-rate", "0",          "--lidar-rate",
                                  "0",      "--no-tf",       "--duration", "600"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return qorTest::ChildProcess(argv, {qorTest::ChildProcess::SEPARATE, {}, ""});
}

template <typename Srv>
std::optional<typename Srv::Response> call(ServiceClient<Srv>& client,
                                           const typename Srv::Request& request) {
    typename Srv::Response response{};
    if (!client.call(request, response, qorTest::kDeliveryDeadline)) {
        return std::nullopt;
    }
    return response;
}

template <typename Srv>
std::unique_ptr<ServiceClient<Srv>> clientOf(const std::string& service) {
    auto client = std::make_unique<ServiceClient<Srv>>(service, kDomain);
    EXPECT_TRUE(client->waitForService(qorTest::kDeliveryDeadline)) << service;
    return client;
}

double seconds(const builtinInterfaces::Time& stamp) {
    return stamp.sec + stamp.nanosec * 1e-9;
}

QOS keepAll(QOS qos) {
    qos.history = QOS::KEEP_ALL;
    return qos;
}

// The next joint state, waiting for it.
std::optional<sensorMsgs::JointState> nextState(const Subscriber<sensorMsgs::JointState>& states) {
    sensorMsgs::JointState state{};
    if (qorTest::waitFor([&] { return states.receiveMessage(state); }, std::chrono::seconds(10))) {
        return state;
    }
    return std::nullopt;
}

std::string positionsOf(const sensorMsgs::JointState& state) {
    std::ostringstream text;
    text.precision(17);
    text << seconds(state.header.stamp) << ":";
    for (double position : state.position) {
        text << " " << position;
    }
    return text.str();
}

// The demo started paused, with a reader of its joint states matched to it and its
// simulator-control services found.
struct PausedDemo {
    PausedDemo()
        : process(startDemo({"--paused"})),
          states("/joint_states", keepAll(createSensorDataQOS()), kDomain) {}

    bool ready() {
        return process.started() && clientOf<srv::StepSimulation>("/step_simulation") &&
               qorTest::waitFor([&] { return states.matchedPublications() > 0; });
    }

    // The stamps of the states received until `enough` holds of them, and of any that come
    // within 200 ms after.
    template <typename Enough>
    std::vector<double> stampsUntil(Enough&& enough) {
        std::vector<double> stamps;
        const auto drain = [&] {
            sensorMsgs::JointState state{};
            while (states.receiveMessage(state)) {
                stamps.push_back(seconds(state.header.stamp));
            }
        };
        qorTest::waitFor(
            [&] {
                drain();
                return enough(stamps);
            },
            std::chrono::seconds(10));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        drain();
        return stamps;
    }

    qorTest::ChildProcess process;
    Subscriber<sensorMsgs::JointState> states;
};

TEST(DemoSimulationControl, PausedDemoStepsInLockstepAndResetsToItsFirstStep) {
    qorTest::ChildProcess demo = startDemo({"--paused"});
    ASSERT_TRUE(demo.started()) << demo.startError();
    Subscriber<sensorMsgs::JointState> states("/joint_states", keepAll(createSensorDataQOS()),
                                              kDomain);
    Subscriber<rosgraphMsgs::Clock> clock("/clock", keepAll(createSensorDataQOS()), kDomain);
    Publisher<sensorMsgs::JointState> commands("/joint_commands", QOS{}, kDomain);
    auto getState = clientOf<srv::GetSimulationState>("/get_simulation_state");
    auto step = clientOf<srv::StepSimulation>("/step_simulation");
    auto reset = clientOf<srv::ResetSimulation>("/reset_simulation");
    ASSERT_TRUE(qorTest::waitFor([&] {
        return states.matchedPublications() > 0 && clock.matchedPublications() > 0 &&
               commands.matchedSubscriptions() > 0;
    })) << demo.errors();

    const auto paused = call(*getState, {});
    ASSERT_TRUE(paused) << "no answer from get_simulation_state:\n" << demo.errors();
    EXPECT_EQ(paused->state.state, 2) << "--paused starts in STATE_PAUSED";
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    rosgraphMsgs::Clock tick{};
    EXPECT_FALSE(clock.receiveMessage(tick)) << "the clock ticked while paused: " << tick.clock.sec
                                             << " s " << tick.clock.nanosec << " ns";

    // Lockstep: step, read the state of that step, command, step again.
    std::optional<sensorMsgs::JointState> first;
    const int kRounds = 60;
    for (int round = 1; round <= kRounds; ++round) {
        const auto stepped = call(*step, {1});
        ASSERT_TRUE(stepped) << "no answer to step " << round << ":\n" << demo.errors();
        ASSERT_EQ(stepped->result.result, 1) << stepped->result.error_message;
        const auto state = nextState(states);
        ASSERT_TRUE(state) << "no joint state after step " << round;
        ASSERT_NEAR(seconds(state->header.stamp), round * kStep, 1e-9)
            << "a sample was lost or repeated at step " << round;
        if (round == 1) {
            first = state;
        }
        sensorMsgs::JointState command{};
        command.name = {"elbow"};
        command.position = {0.01 * round};
        ASSERT_TRUE(commands.sendMessage(command));
    }
    sensorMsgs::JointState extra{};
    EXPECT_FALSE(states.receiveMessage(extra)) << "a state came without a step";

    // A command waits when the reset comes: it is dropped with the old state.
    sensorMsgs::JointState late{};
    late.name = {"shoulder_pitch"};
    late.position = {0.8};
    ASSERT_TRUE(commands.sendMessage(late));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    while (clock.receiveMessage(tick)) {
    }
    const auto wasReset = call(*reset, {0});
    ASSERT_TRUE(wasReset) << "no answer from reset_simulation";
    EXPECT_EQ(wasReset->result.result, 1) << wasReset->result.error_message;
    ASSERT_TRUE(qorTest::waitFor([&] { return clock.receiveMessage(tick); }))
        << "no /clock at the reset";
    EXPECT_EQ(tick.clock.sec, 0);
    EXPECT_EQ(tick.clock.nanosec, 0U) << "the clock jumps back to 0 at once";
    const auto atReset = nextState(states);
    ASSERT_TRUE(atReset) << "no joint state at the reset";
    EXPECT_EQ(seconds(atReset->header.stamp), 0.0);
    EXPECT_EQ(atReset->position, std::vector<double>(atReset->name.size(), 0.0))
        << "the scene's joints start at 0: " << positionsOf(*atReset);

    const auto again = call(*step, {1});
    ASSERT_TRUE(again && again->result.result == 1);
    const auto repeated = nextState(states);
    ASSERT_TRUE(repeated);
    EXPECT_EQ(repeated->position, first->position)
        << "first: " << positionsOf(*first) << "\nafter the reset: " << positionsOf(*repeated);
    EXPECT_EQ(repeated->velocity, first->velocity);
    EXPECT_EQ(repeated->header.stamp.nanosec, first->header.stamp.nanosec);
}

TEST(DemoSimulationControl, StepSimulationThroughTheCli) {
    PausedDemo demo;
    ASSERT_TRUE(demo.ready()) << demo.process.startError();

    const qorTest::RunResult run = qorCliTest::runCli(
        "service call /step_simulation simulation_interfaces/srv/StepSimulation '{steps: 10}'",
        kControlDomain, true);

    EXPECT_EQ(run.exitCode, 0) << run.output;
    EXPECT_NE(run.output.find("simulation_interfaces.srv.StepSimulation_Response(result="
                              "simulation_interfaces.msg.Result(result=1, error_message=''))"),
              std::string::npos)
        << run.output;
    const std::vector<double> stamps =
        demo.stampsUntil([](const std::vector<double>& got) { return got.size() >= 10; });
    ASSERT_EQ(stamps.size(), 10U) << run.output;
    EXPECT_NEAR(stamps.back(), 10 * kStep, 1e-9);
}

TEST(DemoSimulationControl, SimulateStepsThroughTheCliStepsThePausedDemoWithFeedback) {
    PausedDemo demo;
    ASSERT_TRUE(demo.ready()) << demo.process.startError();

    const qorTest::RunResult run = qorCliTest::runCli(
        "action send_goal --feedback /simulate_steps simulation_interfaces/action/SimulateSteps "
        "'{steps: 500}'",
        kControlDomain, true);

    EXPECT_EQ(run.exitCode, 0) << run.output;
    EXPECT_NE(run.output.find("Goal accepted with ID: "), std::string::npos) << run.output;
    // The last feedback is never dropped from the feedback topic's history. ros2 indents only
    // the first line of a feedback's YAML.
    EXPECT_NE(run.output.find("Feedback:\n    completed_steps: 500\nremaining_steps: 0\n"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("Goal finished with status: SUCCEEDED"), std::string::npos)
        << run.output;
    // The demo stepped exactly the goal's steps: its last state is that of the 500th step, and
    // it stays paused after it.
    const std::vector<double> stamps = demo.stampsUntil([](const std::vector<double>& got) {
        return !got.empty() && got.back() >= 500 * kStep - 1e-9;
    });
    ASSERT_FALSE(stamps.empty()) << run.output;
    EXPECT_NEAR(stamps.back(), 500 * kStep, 1e-9) << run.output;
}

TEST(DemoSimulationControl, ANamespacedDemoServesTheSimulationServicesInItsNamespace) {
    qorTest::ChildProcess demo = startDemo({"--ros-args", "-r", "__ns:=/robot1"});
    ASSERT_TRUE(demo.started()) << demo.startError();
    auto state = clientOf<srv::GetSimulationState>("/robot1/get_simulation_state");
    clientOf<srv::GetEntities>("/robot1/get_entities");

    const auto playing = call(*state, {});
    const qorTest::RunResult list = qorCliTest::runCli("service list", kControlDomain, true);

    ASSERT_TRUE(playing) << demo.errors();
    EXPECT_EQ(playing->state.state, 1);
    EXPECT_NE(list.output.find("/robot1/step_simulation\n"), std::string::npos) << list.output;
    EXPECT_NE(list.output.find("/robot1/set_entity_state\n"), std::string::npos) << list.output;
    const std::string lines = "\n" + list.output;
    EXPECT_EQ(lines.find("\n/step_simulation\n"), std::string::npos) << list.output;
    EXPECT_EQ(lines.find("\n/get_entities\n"), std::string::npos) << list.output;
}

TEST(DemoSimulationControl, QuittingEndsTheDemoWithZeroAfterItsStatusLine) {
    qorTest::ChildProcess demo = startDemo({});
    ASSERT_TRUE(demo.started()) << demo.startError();
    auto set = clientOf<srv::SetSimulationState>("/set_simulation_state");

    const auto quitting = call(*set, {{3}});

    ASSERT_TRUE(quitting) << "no answer to STATE_QUITTING:\n" << demo.errors();
    EXPECT_EQ(quitting->result.result, 1) << quitting->result.error_message;
    const std::optional<int> code = demo.waitForExit(std::chrono::seconds(20));
    ASSERT_TRUE(code) << "the demo still runs:\n" << demo.output();
    EXPECT_EQ(*code, 0) << demo.errors();
    const std::vector<std::string> lines = demo.lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().rfind("sim ", 0), 0U) << demo.output();
}

}  // namespace
