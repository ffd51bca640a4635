// What the step bridges cost per simulation step, beside the transport's bare send of the same
// message in the same run, so that the difference is the bridges' own work:
//
//   controlInterfaceStep/N/L pre + post of a control interface with N registered joints
//                            (no command waiting), its state heard by a subscriber; joint
//                            names fit the short-string buffer (L = 0) or do not (L = 1)
//   tenControlInterfaces/N   pre + post of 10 control interfaces of N joints each, as one
//                            simulation step runs them
//   stateSendOnly/N/L        Publisher<JointState>::sendMessage of the same N-joint state
//   clockPre                 pre of the clock publisher, heard by a subscriber
//   clockSendOnly            Publisher<Clock>::sendMessage of the same time
//
// Every endpoint lives in this process, on a domain of its own, with one matched subscriber.
// The counter allocs/step counts the heap allocations of a step (AllocationCounter.cpp replaces
// the global operator new of this program). Run with --benchmark_min_time=2 for steady figures.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "qor/Constraint1DOF.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2ClockPublisher.h"
#include "qorROS2/ROS2ControlInterface.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TimeConversion.h"

namespace {

using qorROS2::Publisher;
using qorROS2::QOS;
using qorROS2::ROS2ControlInterface;
using qorROS2::Subscriber;
using qorROS2::rosgraphMsgs::Clock;
using qorROS2::sensorMsgs::JointState;

// The clock topic's name is fixed: the benchmark uses a domain that no test uses.
constexpr std::int8_t kDomain = 120;
constexpr double kTimeStep = 0.002;

std::string topic(const std::string& name) {
    return "/qor_bench/p" + std::to_string(::getpid()) + "/" + name;
}

// Polls until `matched` holds; the benchmark is meaningless without a listener.
template <typename Condition>
void waitUntilMatched(Condition matched) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (!matched()) {
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the benchmark's endpoints did not match");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

// Joint names that fit the short-string buffer, "j000", "j001", ..., or, with `longNames`,
// names of a real robot's length that do not: "left_arm_shoulder_pitch_joint_000", ...
std::string jointName(std::int64_t index, bool longNames = false) {
    std::string digits = std::to_string(index);
    digits.insert(0, digits.size() < 3 ? 3 - digits.size() : 0, '0');
    return (longNames ? "left_arm_shoulder_pitch_joint_" : "j") + digits;
}

// Counts the steps per second and, from the allocations made since `allocationsBefore`, the
// heap allocations per step.
void perStep(benchmark::State& state, std::uint64_t allocationsBefore) {
    state.counters["steps/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    const std::uint64_t allocations = qorTest::allocationCounts().allocations - allocationsBefore;
    state.counters["allocs/step"] =
        static_cast<double>(allocations) / static_cast<double>(state.iterations());
}

std::uint64_t allocationsSoFar() {
    return qorTest::allocationCounts().allocations;
}

// A control interface with `joints` joints of every command interface in turn.
qor::ref_ptr<ROS2ControlInterface> controlInterface(const std::string& name, std::int64_t joints,
                                                    bool longNames) {
    const qor::ref_ptr<ROS2ControlInterface> control =
        new ROS2ControlInterface(topic(name + "/command"), topic(name + "/state"), false, kDomain);
    for (std::int64_t i = 0; i < joints; ++i) {
        qor::ref_ptr<qor::Constraint1DOF> joint = new qor::Constraint1DOF();
        joint->setName(jointName(i, longNames));
        joint->setAngle(0.01 * static_cast<double>(i));
        control->addJoint(joint.get(),
                          static_cast<ROS2ControlInterface::ROS2ControlCommandInterface>(i % 3));
    }
    return control;
}

void controlInterfaceStep(benchmark::State& state) {
    const std::string name =
        "step" + std::to_string(state.range(0)) + "_" + std::to_string(state.range(1));
    const qor::ref_ptr<ROS2ControlInterface> control =
        controlInterface(name, state.range(0), state.range(1) != 0);
    Subscriber<JointState> listener(topic(name + "/state"), qorROS2::createSensorDataQOS(),
                                    kDomain);
    waitUntilMatched([&] { return listener.matchedPublications() > 0; });
    // The subscriber's match alone does not mean that the writer sends to it yet: wait for a
    // state to arrive.
    JointState received{};
    double time = 0.0;
    waitUntilMatched([&] {
        control->post(time);
        return listener.receiveMessage(received);
    });

    const std::uint64_t allocationsBefore = allocationsSoFar();
    for (auto _ : state) {
        control->pre(time);
        time += kTimeStep;
        control->post(time);
    }
    perStep(state, allocationsBefore);
}

void tenControlInterfaces(benchmark::State& state) {
    std::vector<qor::ref_ptr<ROS2ControlInterface>> controls;
    std::vector<std::unique_ptr<Subscriber<JointState>>> listeners;
    for (int i = 0; i < 10; ++i) {
        const std::string name = "ten" + std::to_string(state.range(0)) + "_" + std::to_string(i);
        controls.push_back(controlInterface(name, state.range(0), false));
        listeners.push_back(std::make_unique<Subscriber<JointState>>(
            topic(name + "/state"), qorROS2::createSensorDataQOS(), kDomain));
    }
    double time = 0.0;
    JointState received{};
    for (std::size_t i = 0; i < controls.size(); ++i) {
        waitUntilMatched([&] {
            controls[i]->post(time);
            return listeners[i]->receiveMessage(received);
        });
    }

    const std::uint64_t allocationsBefore = allocationsSoFar();
    for (auto _ : state) {
        for (const auto& control : controls) {
            control->pre(time);
        }
        time += kTimeStep;
        for (const auto& control : controls) {
            control->post(time);
        }
    }
    perStep(state, allocationsBefore);
}

void stateSendOnly(benchmark::State& state) {
    const std::string name =
        "send" + std::to_string(state.range(0)) + "_" + std::to_string(state.range(1));
    Publisher<JointState> publisher(topic(name + "/state"), qorROS2::createSensorDataQOS(),
                                    kDomain);
    Subscriber<JointState> listener(topic(name + "/state"), qorROS2::createSensorDataQOS(),
                                    kDomain);
    JointState message{};
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        message.name.push_back(jointName(i, state.range(1) != 0));
        message.position.push_back(0.01 * static_cast<double>(i));
        message.velocity.push_back(0.0);
    }
    JointState received{};
    waitUntilMatched([&] {
        publisher.sendMessage(message);
        return listener.receiveMessage(received);
    });

    double time = 0.0;
    const std::uint64_t allocationsBefore = allocationsSoFar();
    for (auto _ : state) {
        time += kTimeStep;
        message.header.stamp = qorROS2::toRosTime(time);
        publisher.sendMessage(message);
    }
    perStep(state, allocationsBefore);
}

void clockPre(benchmark::State& state) {
    Subscriber<Clock> listener("clock", qorROS2::createClockQOS(), kDomain);
    const qor::ref_ptr<qorROS2::ROS2ClockPublisher> clock =
        new qorROS2::ROS2ClockPublisher(kDomain);
    Clock received{};
    double time = 0.0;
    waitUntilMatched([&] {
        clock->pre(time);
        return listener.receiveMessage(received);
    });

    const std::uint64_t allocationsBefore = allocationsSoFar();
    for (auto _ : state) {
        time += kTimeStep;
        clock->pre(time);
    }
    perStep(state, allocationsBefore);
}

void clockSendOnly(benchmark::State& state) {
    Subscriber<Clock> listener("clock", qorROS2::createClockQOS(), kDomain);
    Publisher<Clock> publisher("clock", qorROS2::createClockQOS(), kDomain);
    Clock message{};
    Clock received{};
    waitUntilMatched([&] {
        publisher.sendMessage(message);
        return listener.receiveMessage(received);
    });

    double time = 0.0;
    const std::uint64_t allocationsBefore = allocationsSoFar();
    for (auto _ : state) {
        time += kTimeStep;
        message.clock = qorROS2::toRosTime(time);
        publisher.sendMessage(message);
    }
    perStep(state, allocationsBefore);
}

// Joint counts with short names, then the larger ones with long names.
void jointCounts(benchmark::internal::Benchmark* benchmark) {
    for (const std::int64_t joints : {1, 10, 100, 1000}) {
        benchmark->Args({joints, 0});
    }
    benchmark->Args({100, 1})->Args({1000, 1});
}

BENCHMARK(controlInterfaceStep)->Apply(jointCounts);
BENCHMARK(tenControlInterfaces)->Arg(10)->Arg(100);
BENCHMARK(stateSendOnly)->Apply(jointCounts);
BENCHMARK(clockPre);
BENCHMARK(clockSendOnly);

}  // namespace

BENCHMARK_MAIN();
