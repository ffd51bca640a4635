// Lockstep through simulation_interfaces: a client steps the paused arm one step at a time with
// step_simulation and reads the /joint_states of that step before the next, as a learning agent
// or a test harness does; then resets it again and again. The simulation runs the application's
// loop on a thread of its own, as the demo's main loop does. Prints the steps a second, and the
// median and 99th percentile of the latency of a step (request to joint state) and of a reset.
// Runs alone: qor_lockstep_benchmark [steps] (5000 by default).

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "CountArgument.h"
#include "Percentile.h"
#include "qor/ref_ptr.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorROS2/ROS2ControlInterface.h"
#include "qorROS2/ROS2SimulationControlServer.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"
#include "qorSDK/Simulation.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace qorROS2;
namespace srv = simulationInterfaces::srv;

constexpr std::int8_t kDomain = 7;
constexpr auto kDeadline = std::chrono::seconds(10);

double microsecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
    int steps = 5000;
    if (!qorROS2::bench::readCountArgument(argc, argv, "qor_lockstep_benchmark [steps]", steps)) {
        return 2;
    }
    const std::string prefix = "/lockstep_bench_" + std::to_string(::getpid());
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromFile(QOR_ARM_SCENE);
    qor::ref_ptr<ROS2ClockPublisher> clock = new ROS2ClockPublisher(kDomain);
    qor::ref_ptr<ROS2ControlInterface> control =
        new ROS2ControlInterface(prefix + "/commands", prefix + "/joint_states", false, kDomain);
    for (const std::string& joint : simulation->getJointNames()) {
        qor::ref_ptr<qor::Constraint1DOF> constraint = simulation->createConstraint(joint);
        simulation->add(constraint.get());
        control->addJoint(constraint.get(), ROS2ControlInterface::POSITION);
    }
    qor::ref_ptr<ROS2SimulationControlServer> server =
        new ROS2SimulationControlServer(kDomain, prefix, ROS2SimulationControlServer::PAUSED);
    simulation->add(clock.get());
    simulation->add(control.get());
    simulation->add(server.get());

    std::atomic<bool> stop{false};
    std::thread loop([&] {
        while (!stop) {
            server->handleRequests();
            if (server->shouldStep()) {
                simulation->stepForward();
            } else {
                server->waitForRequest(std::chrono::milliseconds(20));
            }
        }
    });

    QOS keepAll = createSensorDataQOS();
    keepAll.history = QOS::KEEP_ALL;
    Subscriber<sensorMsgs::JointState> states(prefix + "/joint_states", keepAll, kDomain);
    ServiceClient<srv::StepSimulation> step(prefix + "/step_simulation", kDomain);
    ServiceClient<srv::ResetSimulation> reset(prefix + "/reset_simulation", kDomain);
    int failures = 0;
    if (!step.waitForService(kDeadline) || !reset.waitForService(kDeadline)) {
        std::fprintf(stderr, "qor_lockstep_benchmark: the services were not found\n");
        failures = 1;
    }
    const auto matchDeadline = Clock::now() + kDeadline;
    while (failures == 0 && states.matchedPublications() == 0 && Clock::now() < matchDeadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    std::vector<double> stepUs;
    stepUs.reserve(static_cast<std::size_t>(steps));
    sensorMsgs::JointState state{};
    srv::StepSimulation::Response stepped{};
    const auto begin = Clock::now();
    for (int i = 0; i < steps && failures == 0; ++i) {
        const auto start = Clock::now();
        if (!step.call({1}, stepped, kDeadline) || stepped.result.result != 1) {
            ++failures;
            break;
        }
        while (!states.receiveMessage(state)) {
            if (!states.waitForSample(kDeadline)) {
                ++failures;
                break;
            }
        }
        stepUs.push_back(microsecondsSince(start));
    }
    const double wallSeconds = std::chrono::duration<double>(Clock::now() - begin).count();

    std::vector<double> resetUs;
    srv::ResetSimulation::Response wasReset{};
    for (int i = 0; i < 500 && failures == 0; ++i) {
        const auto start = Clock::now();
        if (!reset.call({0}, wasReset, kDeadline) || wasReset.result.result != 1) {
            ++failures;
            break;
        }
        resetUs.push_back(microsecondsSince(start));
    }
    stop = true;
    loop.join();

    if (failures != 0) {
        std::fprintf(stderr, "qor_lockstep_benchmark: a call failed after %zu steps\n",
                     stepUs.size());
        return 1;
    }
    std::printf("lockstep steps                 %d\n", steps);
    std::printf("steps per second               %.0f\n",
                static_cast<double>(stepUs.size()) / wallSeconds);
    std::printf("step (request to joint state)  median %.1f us  p99 %.1f us\n",
                bench::median(stepUs), bench::percentile(stepUs, 0.99));
    std::printf("reset                          median %.1f us  p99 %.1f us\n",
                bench::median(resetUs), bench::percentile(resetUs, 0.99));
    return 0;
}
