// What the step bridges cost per simulation step, beside the transport's bare send of the same
// message in the same run, so that the difference is the bridges' own work:
//
//   controlInterfaceStep/N   pre + post of a control interface with N registered joints
//                            (no command waiting), its state heard by a subscriber
//   stateSendOnly/N          Publisher<JointState>::sendMessage of the same N-joint state
//   clockPre                 pre of the clock publisher, heard by a subscriber
//   clockSendOnly            Publisher<Clock>::sendMessage of the same time
//
// Every endpoint lives in this process, on a domain of its own, with one matched subscriber.
// Run with --benchmark_min_time=2 for steady figures.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

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

// Joint names that fit the short-string buffer: "j000", "j001", ...
std::string jointName(std::int64_t index) {
    std::string digits = std::to_string(index);
    digits.insert(0, digits.size() < 3 ? 3 - digits.size() : 0, '0');
    return "j" + digits;
}

void perStep(benchmark::State& state) {
    state.counters["steps/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void controlInterfaceStep(benchmark::State& state) {
    const std::string name = "step" + std::to_string(state.range(0));
    const qor::ref_ptr<ROS2ControlInterface> control =
        new ROS2ControlInterface(topic(name + "/command"), topic(name + "/state"), false, kDomain);
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        qor::ref_ptr<qor::Constraint1DOF> joint = new qor::Constraint1DOF();
        joint->setName(jointName(i));
        joint->setAngle(0.01 * static_cast<double>(i));
        control->addJoint(joint.get(),
                          static_cast<ROS2ControlInterface::ROS2ControlCommandInterface>(i % 3));
    }
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

    for (auto _ : state) {
        control->pre(time);
        time += kTimeStep;
        control->post(time);
    }
    perStep(state);
}

void stateSendOnly(benchmark::State& state) {
    const std::string name = "send" + std::to_string(state.range(0));
    Publisher<JointState> publisher(topic(name + "/state"), qorROS2::createSensorDataQOS(),
                                    kDomain);
    Subscriber<JointState> listener(topic(name + "/state"), qorROS2::createSensorDataQOS(),
                                    kDomain);
    JointState message{};
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        message.name.push_back(jointName(i));
        message.position.push_back(0.01 * static_cast<double>(i));
        message.velocity.push_back(0.0);
    }
    JointState received{};
    waitUntilMatched([&] {
        publisher.sendMessage(message);
        return listener.receiveMessage(received);
    });

    double time = 0.0;
    for (auto _ : state) {
        time += kTimeStep;
        message.header.stamp = qorROS2::toRosTime(time);
        publisher.sendMessage(message);
    }
    perStep(state);
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

    for (auto _ : state) {
        time += kTimeStep;
        clock->pre(time);
    }
    perStep(state);
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
    for (auto _ : state) {
        time += kTimeStep;
        message.clock = qorROS2::toRosTime(time);
        publisher.sendMessage(message);
    }
    perStep(state);
}

BENCHMARK(controlInterfaceStep)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(stateSendOnly)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(clockPre);
BENCHMARK(clockSendOnly);

}  // namespace

BENCHMARK_MAIN();
