// What one command naming many unknown joints costs in the step, beside what composing its
// warnings alone costs in the same run, so that the difference is the bridge's and the logger's
// own work:
//
//   unknownNamesToStderr/N   setCommandOnJoints with N unknown names, to the default sink (stderr
//                            redirected to /dev/null by the benchmark): at most 20 lines a second
//                            are written, the rest counted
//   unknownNamesToSink/N     the same command, every line delivered to an installed sink
//   composeWarningsOnly/N    the N warning lines composed on the logger's thread stream and
//                            handed to an installed sink, without the bridge
//
// Each reports names/s (items_per_second); a rate that stays flat from 10^4 to 10^6 names shows
// that nothing is quadratic. The ratio of the first two to the third is the overhead on top of
// composing.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "qor/Notify.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2ControlInterface.h"

namespace {

using qorROS2::ROS2ControlInterface;
using qorROS2::sensorMsgs::JointState;

// A domain that no test uses.
constexpr std::int8_t kDomain = 121;

// Sends this process's stderr to /dev/null while it exists.
class SilencedStderr {
  public:
    SilencedStderr() : m_saved(::dup(STDERR_FILENO)) {
        std::fflush(stderr);
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, STDERR_FILENO);
        ::close(null);
    }
    ~SilencedStderr() {
        std::fflush(stderr);
        ::dup2(m_saved, STDERR_FILENO);
        ::close(m_saved);
    }
    SilencedStderr(const SilencedStderr&) = delete;
    SilencedStderr& operator=(const SilencedStderr&) = delete;

  private:
    int m_saved;
};

JointState unknownNames(std::int64_t count) {
    JointState message{};
    for (std::int64_t i = 0; i < count; ++i) {
        message.name.push_back("unknown_" + std::to_string(i));
    }
    message.position.assign(1, 0.0);
    return message;
}

void perName(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void runCommand(benchmark::State& state) {
    const std::string suffix = std::to_string(::getpid()) + "_" + std::to_string(state.range(0));
    const qor::ref_ptr<ROS2ControlInterface> control = new ROS2ControlInterface(
        "/qor_bench/flood_command_" + suffix, "/qor_bench/flood_state_" + suffix, false, kDomain);
    JointState message = unknownNames(state.range(0));
    for (auto _ : state) {
        control->setCommandOnJoints(message);
    }
    perName(state);
}

void unknownNamesToStderr(benchmark::State& state) {
    const qor::ScopedNotifySink defaultSink{qor::NotifySink()};
    const SilencedStderr silenced;
    runCommand(state);
}

void unknownNamesToSink(benchmark::State& state) {
    std::size_t lines = 0;
    const qor::ScopedNotifySink counting{[&](int, const std::string&) { ++lines; }};
    runCommand(state);
    benchmark::DoNotOptimize(lines);
}

void composeWarningsOnly(benchmark::State& state) {
    std::size_t lines = 0;
    const qor::ScopedNotifySink counting{[&](int, const std::string&) { ++lines; }};
    const JointState message = unknownNames(state.range(0));
    for (auto _ : state) {
        for (const std::string& name : message.name) {
            std::ostream& out = qor::Notify::getThreadStringStream();
            out << qor::Notify::setDebugStrings(qor::WARNING, "", -1, "") << "Joint with name "
                << name << " is not added to the control interface" << std::endl
                << qor::Notify::end();
        }
    }
    benchmark::DoNotOptimize(lines);
    perName(state);
}

BENCHMARK(unknownNamesToStderr)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(unknownNamesToSink)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(composeWarningsOnly)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
