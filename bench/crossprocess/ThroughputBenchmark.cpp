// Large samples between two processes on this host: a 1920 x 1080 rgb8 Image (6.2 MB) and a
// 100 000-point PointCloud2 (1.6 MB), reliable keep-last 10 and best-effort keep-last 5, sent at
// 30 Hz and as fast as the writer takes them, through our transport beside raw Fast DDS with
// fastddsgen's types and Cyclone DDS. This process receives; a peer process sends a fixed number
// of samples. Reported: the rate delivered, the samples lost and the CPU each process used.
//
//   qorTransportThroughputBenchmark [--repetitions N] [--samples N]
//
// Runs interleave the stacks; the table gives the median over the repetitions of each figure,
// then the ratio of ours to raw Fast DDS.

#include <time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

constexpr std::array<Stack, 3> kStacks{Stack::Ours, Stack::RawFastDds, Stack::Cyclone};
constexpr std::array<Shape, 2> kShapes{Shape::Image1080p, Shape::PointCloud100k};
// 0 Hz: as fast as the writer takes samples.
constexpr std::array<int, 2> kRates{30, 0};
// Once the last sample should have arrived, how long the receiver still waits for stragglers.
constexpr auto kStragglerWait = std::chrono::seconds(2);

struct Options {
    int repetitions = 3;
    int samples = 90;
};

struct Case {
    Shape shape;
    bool reliable;
    int rateHz;
};

struct Figures {
    double deliveredHz = 0;
    int lost = 0;
    double receiverCpu = 0;  ///< fraction of one core
    double senderCpu = 0;    ///< fraction of one core
};

double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

ChannelSettings settingsFor(Stack stack, Shape shape, bool reliable) {
    ChannelSettings settings;
    settings.stack = stack;
    settings.shape = shape;
    settings.reliable = reliable;
    settings.depth = reliable ? 10 : 5;
    settings.domain = benchmarkDomain();
    return settings;
}

/// The peer's side: once matched, sends `samples` samples at `rate` Hz (0: back to back), then
/// stays until stopped, so that a reliable writer can finish its repairs, and writes the CPU
/// fraction it used while sending and the time it started to `report`.
int runSender(const std::vector<std::string>& arguments) {
    watchForStop();
    ChannelSettings settings = settingsFor(stackNamed(arguments.at(0)), shapeNamed(arguments.at(1)),
                                           arguments.at(2) == "reliable");
    const int rate = std::stoi(arguments.at(3));
    const int samples = std::stoi(arguments.at(4));
    settings.domain = static_cast<std::uint32_t>(std::stoul(arguments.at(5)));
    settings.sendTopic = arguments.at(6);
    const std::string report = arguments.at(7);
    const std::unique_ptr<Channel> channel = makeChannel(settings);
    while (!channel->matched() && !stopRequested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // The reader's side of the match may lag behind ours.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const double cpuBefore = processCpuSeconds();
    const Clock::time_point start = Clock::now();
    const auto period =
        rate > 0 ? std::chrono::nanoseconds(1000000000 / rate) : std::chrono::nanoseconds(0);
    for (int i = 1; i <= samples && !stopRequested(); ++i) {
        std::this_thread::sleep_until(start + (i - 1) * period);
        channel->send(static_cast<std::uint32_t>(i));
    }
    const double sendingCpu = processCpuSeconds() - cpuBefore;
    const double sendingWall = seconds(Clock::now() - start);
    // The steady clock is the system's monotonic clock, the same in both processes.
    std::ofstream(report)
        << sendingCpu / sendingWall << " "
        << std::chrono::duration_cast<std::chrono::nanoseconds>(start.time_since_epoch()).count()
        << "\n";
    while (!stopRequested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return 0;
}

Figures measure(Stack stack, const Case& what, int run, const Options& options) {
    ChannelSettings settings = settingsFor(stack, what.shape, what.reliable);
    settings.receiveTopic =
        "qor_throughput/p" + std::to_string(::getpid()) + "_" + std::to_string(run);
    const std::string report =
        "/tmp/qor_throughput_" + std::to_string(::getpid()) + "_" + std::to_string(run);
    const std::unique_ptr<Channel> channel = makeChannel(settings);
    PeerProcess sender({"--send", stackName(stack), shapeName(what.shape),
                        what.reliable ? "reliable" : "best_effort", std::to_string(what.rateHz),
                        std::to_string(options.samples), std::to_string(settings.domain),
                        settings.receiveTopic, report});

    // Waits for the first sample, then for the last one or until the stream has dried up.
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
    std::uint32_t sequence = 0;
    while (!channel->take(sequence)) {
        if (Clock::now() > deadline) {
            throw std::runtime_error(std::string("nothing arrived from the ") + stackName(stack) +
                                     " sender");
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    const Clock::time_point first = Clock::now();
    const double cpuBefore = processCpuSeconds();
    Clock::time_point last = first;
    int received = 1;
    const auto expectedSpan = what.rateHz > 0
                                  ? std::chrono::milliseconds(1000 * options.samples / what.rateHz)
                                  : std::chrono::milliseconds(0);
    while (sequence < static_cast<std::uint32_t>(options.samples)) {
        if (channel->take(sequence)) {
            ++received;
            last = Clock::now();
            continue;
        }
        if (Clock::now() > std::max(first + expectedSpan, last) + kStragglerWait) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    const double receivingCpu = processCpuSeconds() - cpuBefore;
    sender.stop();

    Figures figures;
    const double span = seconds(last - first);
    long long sendingStart = 0;
    std::ifstream(report) >> figures.senderCpu >> sendingStart;
    std::remove(report.c_str());
    // Samples delivered per second from the first send to the last arrival.
    const double stream = seconds(last - Clock::time_point(std::chrono::nanoseconds(sendingStart)));
    figures.deliveredHz = stream > 0 ? received / stream : 0.0;
    figures.lost = options.samples - received;
    figures.receiverCpu = span > 0 ? receivingCpu / span : 0.0;
    return figures;
}

std::string rateName(int rateHz) {
    return rateHz > 0 ? std::to_string(rateHz) + " Hz" : "max";
}

int runBenchmark(const Options& options) {
    std::vector<Case> cases;
    for (Shape shape : kShapes) {
        for (bool reliable : {true, false}) {
            for (int rate : kRates) {
                cases.push_back({shape, reliable, rate});
            }
        }
    }
    std::map<std::tuple<std::size_t, Stack>, std::vector<Figures>> runs;
    int run = 0;
    for (int repetition = 0; repetition < options.repetitions; ++repetition) {
        for (std::size_t c = 0; c < cases.size(); ++c) {
            for (Stack stack : kStacks) {
                const Figures f = measure(stack, cases[c], run++, options);
                std::printf(
                    "run %d: %-16s %-11s %-6s %-8s %6.1f Hz  lost %3d  cpu receiver %3.0f%% "
                    "sender %3.0f%%\n",
                    repetition + 1, shapeName(cases[c].shape),
                    cases[c].reliable ? "reliable" : "best_effort",
                    rateName(cases[c].rateHz).c_str(), stackName(stack), f.deliveredHz, f.lost,
                    100 * f.receiverCpu, 100 * f.senderCpu);
                std::fflush(stdout);
                runs[{c, stack}].push_back(f);
            }
        }
    }

    const auto over = [](const std::vector<Figures>& all, auto figure) {
        std::vector<double> values;
        for (const Figures& one : all) {
            values.push_back(static_cast<double>(one.*figure));
        }
        return median(values);
    };
    std::printf("\nDelivered rate, median over %d repetitions of %d samples\n", options.repetitions,
                options.samples);
    std::printf("%-16s %-11s %-6s %-8s %9s %5s %9s %7s\n", "message", "reliability", "rate",
                "stack", "delivered", "lost", "cpu recv", "cpu send");
    for (std::size_t c = 0; c < cases.size(); ++c) {
        for (Stack stack : kStacks) {
            const std::vector<Figures>& all = runs[{c, stack}];
            std::printf(
                "%-16s %-11s %-6s %-8s %6.1f Hz %5.0f %8.0f%% %7.0f%%\n", shapeName(cases[c].shape),
                cases[c].reliable ? "reliable" : "best_effort", rateName(cases[c].rateHz).c_str(),
                stackName(stack), over(all, &Figures::deliveredHz), over(all, &Figures::lost),
                100 * over(all, &Figures::receiverCpu), 100 * over(all, &Figures::senderCpu));
        }
    }
    std::printf(
        "\nours / raw Fast DDS, delivered rate (goal: >= 0.90; 1080p reliable 30 Hz with 0 "
        "lost)\n");
    for (std::size_t c = 0; c < cases.size(); ++c) {
        const double ratio = over(runs[{c, Stack::Ours}], &Figures::deliveredHz) /
                             over(runs[{c, Stack::RawFastDds}], &Figures::deliveredHz);
        std::printf("%-16s %-11s %-6s %5.2f\n", shapeName(cases[c].shape),
                    cases[c].reliable ? "reliable" : "best_effort",
                    rateName(cases[c].rateHz).c_str(), ratio);
    }
    return 0;
}

}  // namespace
}  // namespace qorROS2::bench

int main(int argc, char** argv) {
    using namespace qorROS2::bench;
    return runBenchmarkProgram(
        argc, argv, "qorTransportThroughputBenchmark", "--send", runSender, [&] {
            Options options;
            if (argc < 2 || std::string(argv[1]) != "--send") {
                parseNumericOptions(argc, argv,
                                    {{"--repetitions", &options.repetitions, 1},
                                     {"--samples", &options.samples, 2}});
            }
            return runBenchmark(options);
        });
}
