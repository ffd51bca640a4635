// One-way latency between two processes on this host, through our transport, through raw Fast DDS
// with fastddsgen's types (with Fast DDS's default QoS, and with the settings of ROS 2's own Fast
// DDS layer) and through Cyclone DDS: ping-pong of a Clock and of 6- and 100-joint
// JointStates, reliable and best effort. One-way latency is half a round trip. Both sides poll
// their reader in a loop, as the simulation's step path polls its subscriptions.
//
//   qorTransportLatencyBenchmark [--repetitions N] [--round-trips N] [--stack NAME]
//
// --stack measures one stack alone (ours, fastdds, fastdds_ros, cyclone), for a profiler to
// look at it without the others.
//
// Every case runs once per stack per repetition, stacks interleaved, so that load from elsewhere
// on the machine falls on all of them alike; the table gives the median over the repetitions of
// each figure, then the ratios of ours to raw Fast DDS.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "BenchmarkDriver.h"
#include "Channel.h"
#include "PeerProcess.h"
#include "Percentile.h"

namespace qorROS2::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<Stack, 4> kStacks{Stack::Ours, Stack::RawFastDds, Stack::RawFastDdsRosSettings,
                                       Stack::Cyclone};
constexpr std::array<Shape, 3> kShapes{Shape::Clock, Shape::JointState6, Shape::JointState100};
constexpr int kWarmUpRoundTrips = 200;
// A round trip that has not come back by then is counted as lost (best effort may drop).
constexpr auto kRoundTripTimeout = std::chrono::milliseconds(200);

struct Options {
    int repetitions = 3;
    int roundTrips = 5000;
    std::vector<Stack> stacks{kStacks.begin(), kStacks.end()};
};

bool measured(const Options& options, Stack stack) {
    return std::find(options.stacks.begin(), options.stacks.end(), stack) != options.stacks.end();
}

struct Case {
    Shape shape;
    bool reliable;
};

/// One run's figures, in microseconds of one-way latency.
struct Figures {
    double median = 0;
    double p99 = 0;
    double p999 = 0;
    int lost = 0;
};

const char* reliabilityName(bool reliable) {
    return reliable ? "reliable" : "best_effort";
}

std::string caseTopic(int run, const char* direction) {
    return "qor_latency/p" + std::to_string(::getpid()) + "_" + std::to_string(run) + "/" +
           direction;
}

/// The peer's side: echoes every ping's sequence number until told to stop.
int runEcho(const std::vector<std::string>& arguments) {
    watchForStop();
    ChannelSettings settings;
    settings.stack = stackNamed(arguments.at(0));
    settings.shape = shapeNamed(arguments.at(1));
    settings.reliable = arguments.at(2) == "reliable";
    settings.domain = static_cast<std::uint32_t>(std::stoul(arguments.at(3)));
    settings.receiveTopic = arguments.at(4);
    settings.sendTopic = arguments.at(5);
    const std::unique_ptr<Channel> channel = makeChannel(settings);
    while (!stopRequested()) {
        std::uint32_t sequence = 0;
        if (channel->take(sequence)) {
            channel->send(sequence);
        } else {
            std::this_thread::yield();
        }
    }
    return 0;
}

/// Sends `sequence` and waits for it to come back; the round trip's duration, or a negative one
/// when it was lost.
Clock::duration roundTrip(Channel& channel, std::uint32_t sequence) {
    const Clock::time_point start = Clock::now();
    channel.send(sequence);
    for (;;) {
        std::uint32_t echoed = 0;
        if (channel.take(echoed) && echoed == sequence) {
            return Clock::now() - start;
        }
        if (Clock::now() - start > kRoundTripTimeout) {
            return Clock::duration(-1);
        }
        std::this_thread::yield();
    }
}

Figures measure(Stack stack, const Case& what, int run, const Options& options) {
    ChannelSettings settings;
    settings.stack = stack;
    settings.shape = what.shape;
    settings.reliable = what.reliable;
    settings.domain = benchmarkDomain();
    settings.sendTopic = caseTopic(run, "ping");
    settings.receiveTopic = caseTopic(run, "pong");
    PeerProcess echo({"--echo", stackName(stack), shapeName(what.shape),
                      reliabilityName(what.reliable), std::to_string(settings.domain),
                      settings.sendTopic, settings.receiveTopic});
    const std::unique_ptr<Channel> channel = makeChannel(settings);

    // Matched on our side does not mean the echo's writer already sends to us: ping until one
    // comes back.
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
    std::uint32_t sequence = 1;
    while (!channel->matched() || roundTrip(*channel, sequence++) < Clock::duration::zero()) {
        if (Clock::now() > deadline) {
            throw std::runtime_error(std::string("no echo from the ") + stackName(stack) + " peer");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    for (int i = 0; i < kWarmUpRoundTrips; ++i) {
        roundTrip(*channel, sequence++);
    }

    std::vector<double> oneWay;
    oneWay.reserve(static_cast<std::size_t>(options.roundTrips));
    Figures figures;
    for (int i = 0; i < options.roundTrips; ++i) {
        const Clock::duration trip = roundTrip(*channel, sequence++);
        if (trip < Clock::duration::zero()) {
            ++figures.lost;
        } else {
            oneWay.push_back(std::chrono::duration<double, std::micro>(trip).count() / 2.0);
        }
    }
    figures.median = percentile(oneWay, 0.5);
    figures.p99 = percentile(oneWay, 0.99);
    figures.p999 = percentile(oneWay, 0.999);
    return figures;
}

int runBenchmark(const Options& options) {
    std::vector<Case> cases;
    for (Shape shape : kShapes) {
        cases.push_back({shape, true});
        cases.push_back({shape, false});
    }
    // Per case and stack, each figure over the repetitions.
    std::map<std::tuple<std::size_t, Stack>, std::vector<Figures>> runs;
    int run = 0;
    for (int repetition = 0; repetition < options.repetitions; ++repetition) {
        for (std::size_t c = 0; c < cases.size(); ++c) {
            for (Stack stack : options.stacks) {
                const Figures figures = measure(stack, cases[c], run++, options);
                std::printf(
                    "run %d: %-16s %-11s %-8s median %7.1f us  p99 %7.1f us  "
                    "p99.9 %7.1f us  lost %d\n",
                    repetition + 1, shapeName(cases[c].shape), reliabilityName(cases[c].reliable),
                    stackName(stack), figures.median, figures.p99, figures.p999, figures.lost);
                std::fflush(stdout);
                runs[{c, stack}].push_back(figures);
            }
        }
    }

    std::printf("\nOne-way latency, median over %d repetitions of %d round trips (us)\n",
                options.repetitions, options.roundTrips);
    std::printf("%-16s %-11s %-8s %8s %8s %8s %5s\n", "message", "reliability", "stack", "median",
                "p99", "p99.9", "lost");
    const auto over = [](const std::vector<Figures>& all, double Figures::*figure) {
        std::vector<double> values;
        for (const Figures& one : all) {
            values.push_back(one.*figure);
        }
        return median(values);
    };
    for (std::size_t c = 0; c < cases.size(); ++c) {
        for (Stack stack : options.stacks) {
            const std::vector<Figures>& all = runs[{c, stack}];
            int lost = 0;
            for (const Figures& one : all) {
                lost += one.lost;
            }
            std::printf("%-16s %-11s %-8s %8.1f %8.1f %8.1f %5d\n", shapeName(cases[c].shape),
                        reliabilityName(cases[c].reliable), stackName(stack),
                        over(all, &Figures::median), over(all, &Figures::p99),
                        over(all, &Figures::p999), lost);
        }
    }

    for (Stack baseline : {Stack::RawFastDds, Stack::RawFastDdsRosSettings, Stack::Cyclone}) {
        if (!measured(options, Stack::Ours) || !measured(options, baseline)) {
            continue;
        }
        std::printf("\nours / %s (goal: median and p99 <= 1.10)\n", stackName(baseline));
        for (std::size_t c = 0; c < cases.size(); ++c) {
            const std::vector<Figures>& ours = runs[{c, Stack::Ours}];
            const std::vector<Figures>& raw = runs[{c, baseline}];
            const double medianRatio = over(ours, &Figures::median) / over(raw, &Figures::median);
            const double p99Ratio = over(ours, &Figures::p99) / over(raw, &Figures::p99);
            const double p999Ratio = over(ours, &Figures::p999) / over(raw, &Figures::p999);
            std::printf("%-16s %-11s median %5.2f  p99 %5.2f  p99.9 %5.2f%s\n",
                        shapeName(cases[c].shape), reliabilityName(cases[c].reliable), medianRatio,
                        p99Ratio, p999Ratio,
                        medianRatio <= 1.1 && p99Ratio <= 1.1 ? "" : "  (over)");
        }
    }
    return 0;
}

}  // namespace
}  // namespace qorROS2::bench

int main(int argc, char** argv) {
    using namespace qorROS2::bench;
    return runBenchmarkProgram(argc, argv, "qorTransportLatencyBenchmark", "--echo", runEcho, [&] {
        Options options;
        if (argc < 2 || std::string(argv[1]) != "--echo") {
            // "--stack NAME" is taken out before the numeric options are read.
            std::vector<char*> rest;
            for (int i = 0; i < argc; ++i) {
                if (std::string(argv[i]) == "--stack" && i + 1 < argc) {
                    options.stacks = {stackNamed(argv[++i])};
                } else {
                    rest.push_back(argv[i]);
                }
            }
            parseNumericOptions(static_cast<int>(rest.size()), rest.data(),
                                {{"--repetitions", &options.repetitions, 1},
                                 {"--round-trips", &options.roundTrips, 1}});
        }
        return runBenchmark(options);
    });
}
