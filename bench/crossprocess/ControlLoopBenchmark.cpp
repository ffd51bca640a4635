// The loop a ROS 2 controller closes with the simulation, between two processes on this host:
// after a step the simulation publishes its joint states; a controller in another process takes
// them and sends a position command for every joint; the simulation takes that command before
// its next step and applies it. Measured from the state's publishing to the command applied, at
// 1, 10 and 100 joints:
//   - ours: the simulation side is the control interface itself (its post publishes the state,
//     its pre applies the command to the joints), the controller our transport's endpoints;
//   - raw Fast DDS with fastddsgen's types (Fast DDS's default QoS, and ROS 2's settings) and
//     Cyclone DDS with idlc's: the same two topics with the same QoS (states best effort, keep
//     last 5; commands reliable, keep last 1) and the same bytes, the loop ending when the
//     command is taken.
// Both sides poll, as a step loop does.
//
//   qorControlLoopBenchmark [--repetitions N] [--loops N]
//
// Each case runs once per stack per repetition, stacks interleaved, so that load from elsewhere on
// the machine falls on all of them alike; the table gives the median over the repetitions of each
// figure, then the ratios of ours to each other stack.

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "BenchmarkDriver.h"
#include "Channel.h"
#include "PeerProcess.h"
#include "Percentile.h"
#include "SampleShape.h"
#include "qor/Constraint1DOF.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2ControlInterface.h"

namespace qorROS2::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<Stack, 4> kStacks{Stack::Ours, Stack::RawFastDds, Stack::RawFastDdsRosSettings,
                                       Stack::Cyclone};
constexpr std::array<std::size_t, 3> kJointCounts{1, 10, 100};
constexpr int kWarmUpLoops = 200;
// A loop whose command has not been applied by then is counted as lost.
constexpr auto kLoopTimeout = std::chrono::milliseconds(200);
// The control interface's QoS: states as ROS 2's sensor-data profile, commands reliable, the
// newest winning.
constexpr std::uint32_t kStateDepth = 5;
constexpr std::uint32_t kCommandDepth = 1;

struct Options {
    int repetitions = 3;
    int loops = 5000;
};

/// One run's figures, in microseconds per loop.
struct Figures {
    double median = 0;
    double p99 = 0;
    int lost = 0;
};

std::string loopTopic(int run, const char* what) {
    return "qor_control_loop/p" + std::to_string(::getpid()) + "_" + std::to_string(run) + "/" +
           what;
}

// The states' endpoints, or with `command` the commands', of `joints` joints.
ChannelSettings loopSettings(Stack stack, std::size_t joints, std::uint32_t domain, bool command) {
    ChannelSettings settings;
    settings.stack = stack;
    settings.shape = jointShape(joints, command);
    settings.reliable = command;
    settings.depth = command ? kCommandDepth : kStateDepth;
    settings.domain = domain;
    return settings;
}

/// The controller: answers every state with a command of the same sequence until told to stop.
int runController(const std::vector<std::string>& arguments) {
    watchForStop();
    const Stack stack = stackNamed(arguments.at(0));
    const auto joints = static_cast<std::size_t>(std::stoul(arguments.at(1)));
    const auto domain = static_cast<std::uint32_t>(std::stoul(arguments.at(2)));
    ChannelSettings states = loopSettings(stack, joints, domain, false);
    states.receiveTopic = arguments.at(3);
    ChannelSettings commands = loopSettings(stack, joints, domain, true);
    commands.sendTopic = arguments.at(4);
    const std::unique_ptr<Channel> stateReader = makeChannel(states);
    const std::unique_ptr<Channel> commandWriter = makeChannel(commands);
    while (!stopRequested()) {
        std::uint32_t sequence = 0;
        if (stateReader->take(sequence)) {
            commandWriter->send(sequence);
        } else {
            std::this_thread::yield();
        }
    }
    return 0;
}

/// The simulation's side of one loop, whatever the stack: publishes the state of `sequence` and
/// tells whether the command answering it has been applied.
class SimulationSide {
  public:
    virtual ~SimulationSide() = default;
    virtual bool matched() const = 0;
    virtual void publishState(std::uint32_t sequence) = 0;
    virtual bool commandApplied(std::uint32_t sequence) = 0;
};

/// The control interface, with what it holds in view: its endpoints' matches and the stamp of
/// the command it applied last.
class ObservedControlInterface : public ROS2ControlInterface {
  public:
    using ROS2ControlInterface::ROS2ControlInterface;

    bool matched() const {
        return m_jointStatePublisher.matchedSubscriptions() > 0 &&
               m_commandSubscriber.matchedPublications() > 0;
    }
    std::int32_t appliedStamp() const { return m_commandMessage.header.stamp.sec; }

  protected:
    ~ObservedControlInterface() override = default;
};

class OurSimulationSide final : public SimulationSide {
  public:
    OurSimulationSide(std::size_t joints, std::uint32_t domain, const std::string& stateTopic,
                      const std::string& commandTopic)
        : m_control(new ObservedControlInterface(commandTopic, stateTopic, false,
                                                 static_cast<std::int8_t>(domain))) {
        for (std::size_t i = 0; i < joints; ++i) {
            const qor::ref_ptr<qor::Constraint1DOF> joint = new qor::Constraint1DOF();
            joint->setName(jointName(i));
            m_control->addJoint(joint.get(), ROS2ControlInterface::POSITION);
        }
    }

    bool matched() const override { return m_control->matched(); }

    // The state is stamped with the simulation time, which is the sequence in whole seconds.
    void publishState(std::uint32_t sequence) override {
        m_control->post(static_cast<double>(sequence));
    }

    bool commandApplied(std::uint32_t sequence) override {
        m_control->pre(static_cast<double>(sequence));
        return m_control->appliedStamp() == static_cast<std::int32_t>(sequence);
    }

  private:
    qor::ref_ptr<ObservedControlInterface> m_control;
};

class RawSimulationSide final : public SimulationSide {
  public:
    RawSimulationSide(Stack stack, std::size_t joints, std::uint32_t domain,
                      const std::string& stateTopic, const std::string& commandTopic) {
        ChannelSettings states = loopSettings(stack, joints, domain, false);
        states.sendTopic = stateTopic;
        ChannelSettings commands = loopSettings(stack, joints, domain, true);
        commands.receiveTopic = commandTopic;
        m_stateWriter = makeChannel(states);
        m_commandReader = makeChannel(commands);
    }

    bool matched() const override { return m_stateWriter->matched() && m_commandReader->matched(); }

    void publishState(std::uint32_t sequence) override { m_stateWriter->send(sequence); }

    bool commandApplied(std::uint32_t sequence) override {
        std::uint32_t taken = 0;
        return m_commandReader->take(taken) && taken == sequence;
    }

  private:
    std::unique_ptr<Channel> m_stateWriter;
    std::unique_ptr<Channel> m_commandReader;
};

/// One loop: the state of `sequence` out, its command applied; its duration, or a negative one
/// when the command did not come.
Clock::duration loop(SimulationSide& simulation, std::uint32_t sequence) {
    const Clock::time_point start = Clock::now();
    simulation.publishState(sequence);
    for (;;) {
        if (simulation.commandApplied(sequence)) {
            return Clock::now() - start;
        }
        if (Clock::now() - start > kLoopTimeout) {
            return Clock::duration(-1);
        }
        std::this_thread::yield();
    }
}

Figures measure(Stack stack, std::size_t joints, int run, const Options& options) {
    const std::uint32_t domain = benchmarkDomain();
    const std::string stateTopic = loopTopic(run, "joint_states");
    const std::string commandTopic = loopTopic(run, "joint_commands");
    PeerProcess controller({"--controller", stackName(stack), std::to_string(joints),
                            std::to_string(domain), stateTopic, commandTopic});
    std::unique_ptr<SimulationSide> simulation;
    if (stack == Stack::Ours) {
        simulation = std::make_unique<OurSimulationSide>(joints, domain, stateTopic, commandTopic);
    } else {
        simulation =
            std::make_unique<RawSimulationSide>(stack, joints, domain, stateTopic, commandTopic);
    }

    // Matched on our side does not mean the controller's writer already sends to us: loop until
    // one command comes back.
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
    std::uint32_t sequence = 1;
    while (!simulation->matched() || loop(*simulation, sequence++) < Clock::duration::zero()) {
        if (Clock::now() > deadline) {
            throw std::runtime_error(std::string("no command from the ") + stackName(stack) +
                                     " controller");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    for (int i = 0; i < kWarmUpLoops; ++i) {
        loop(*simulation, sequence++);
    }

    std::vector<double> loops;
    loops.reserve(static_cast<std::size_t>(options.loops));
    Figures figures;
    for (int i = 0; i < options.loops; ++i) {
        const Clock::duration took = loop(*simulation, sequence++);
        if (took < Clock::duration::zero()) {
            ++figures.lost;
        } else {
            loops.push_back(std::chrono::duration<double, std::micro>(took).count());
        }
    }
    figures.median = percentile(loops, 0.5);
    figures.p99 = percentile(loops, 0.99);
    return figures;
}

int runBenchmark(const Options& options) {
    std::map<std::tuple<std::size_t, Stack>, std::vector<Figures>> runs;
    int run = 0;
    for (int repetition = 0; repetition < options.repetitions; ++repetition) {
        for (const std::size_t joints : kJointCounts) {
            for (const Stack stack : kStacks) {
                const Figures figures = measure(stack, joints, run++, options);
                std::printf("run %d: %3zu joints %-12s median %7.1f us  p99 %7.1f us  lost %d\n",
                            repetition + 1, joints, stackName(stack), figures.median, figures.p99,
                            figures.lost);
                std::fflush(stdout);
                runs[{joints, stack}].push_back(figures);
            }
        }
    }

    const auto over = [](const std::vector<Figures>& all, double Figures::*figure) {
        std::vector<double> values;
        for (const Figures& one : all) {
            values.push_back(one.*figure);
        }
        return median(values);
    };
    std::printf(
        "\nState published to command applied, median over %d repetitions of %d loops (us)\n",
        options.repetitions, options.loops);
    std::printf("%6s %-12s %8s %8s %5s\n", "joints", "stack", "median", "p99", "lost");
    for (const std::size_t joints : kJointCounts) {
        for (const Stack stack : kStacks) {
            const std::vector<Figures>& all = runs[{joints, stack}];
            int lost = 0;
            for (const Figures& one : all) {
                lost += one.lost;
            }
            std::printf("%6zu %-12s %8.1f %8.1f %5d\n", joints, stackName(stack),
                        over(all, &Figures::median), over(all, &Figures::p99), lost);
        }
    }
    for (const Stack other : {Stack::RawFastDds, Stack::RawFastDdsRosSettings, Stack::Cyclone}) {
        std::printf("\nours / %s\n", stackName(other));
        for (const std::size_t joints : kJointCounts) {
            const std::vector<Figures>& ours = runs[{joints, Stack::Ours}];
            const std::vector<Figures>& theirs = runs[{joints, other}];
            std::printf("%6zu joints  median %5.2f  p99 %5.2f\n", joints,
                        over(ours, &Figures::median) / over(theirs, &Figures::median),
                        over(ours, &Figures::p99) / over(theirs, &Figures::p99));
        }
    }
    return 0;
}

}  // namespace
}  // namespace qorROS2::bench

int main(int argc, char** argv) {
    using namespace qorROS2::bench;
    return runBenchmarkProgram(
        argc, argv, "qorControlLoopBenchmark", "--controller", runController, [&] {
            Options options;
            parseNumericOptions(
                argc, argv,
                {{"--repetitions", &options.repetitions, 1}, {"--loops", &options.loops, 1}});
            return runBenchmark(options);
        });
}
