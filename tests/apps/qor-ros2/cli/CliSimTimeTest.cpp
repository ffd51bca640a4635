// -s/--use-sim-time: `topic delay`, `hz`, `bw` and `pub` read ROS time from a simulation clock
// that the test publishes on /clock, as ros2's verbs do with use_sim_time.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "CliRuns.h"
#include "RepeatingPublisher.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

// A domain for each simulation, as each has its own /clock.
constexpr int kDelayDomain = 63;
constexpr int kHzDomain = 64;
constexpr int kBwDomain = 65;
constexpr int kPubDomain = 66;
constexpr int kClockHzDomain = 6;

using qorROS2::QOS;
using Time = qorROS2::builtinInterfaces::Time;

// The simulation starts at 1000 s, far from the system's clock.
constexpr std::int64_t kSimulationStart = 1000000000000;

Time stampOf(std::int64_t nanoseconds) {
    return {static_cast<std::int32_t>(nanoseconds / 1000000000),
            static_cast<std::uint32_t>(nanoseconds % 1000000000)};
}

std::int64_t nanosecondsOf(const Time& stamp) {
    return std::int64_t{stamp.sec} * 1000000000 + stamp.nanosec;
}

std::int64_t systemNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

using Simulation = qorCliTest::RepeatingPublisher<qorROS2::rosgraphMsgs::Clock>;

// A simulation of the test: every 20 ms of wall time its clock moves on by `step` and `tick` is
// called with the tick's number and the simulation's time, to publish what the simulation stamps
// with it; then the clock is published on /clock.
Simulation simulation(int domain, std::chrono::nanoseconds step,
                      std::function<void(std::int64_t tick, std::int64_t now)> tick) {
    return Simulation(
        "/clock", domain,
        [step, tick, count = std::int64_t{0}, now = kSimulationStart]() mutable {
            tick(count++, now);
            qorROS2::rosgraphMsgs::Clock clock{};
            clock.clock = stampOf(now);
            now += step.count();
            return clock;
        },
        std::chrono::milliseconds(20), qorROS2::createClockQOS());
}

// A shell test that the output holds at least `count` lines with `text`.
std::string printedLines(const std::string& text, int count) {
    return "[ $(grep -c '" + text + "' \"$out\") -ge " + std::to_string(count) + " ]";
}

// Every number a line of `output` gives after `label` ("average delay: ").
std::vector<double> valuesAfter(const std::string& output, const std::string& label) {
    std::vector<double> values;
    const std::regex line(label + "([0-9.e+-]+)");
    for (auto match = std::sregex_iterator(output.begin(), output.end(), line);
         match != std::sregex_iterator(); ++match) {
        values.push_back(std::atof((*match)[1].str().c_str()));
    }
    return values;
}

// Runs hz `command` until it has reported thrice, then stops it as a user would (exit code 2),
// and checks that its last average rate lies between `low` and `high`.
void expectLastRateWithin(const std::string& command, int domain, double low, double high) {
    const auto result =
        qorCliTest::runCliUntilPrinted(command, printedLines("average rate", 3), domain);
    EXPECT_EQ(result.exitCode, 2) << result.output;
    const std::vector<double> rates = valuesAfter(result.output, "average rate: ");
    ASSERT_FALSE(rates.empty()) << result.output;
    EXPECT_GT(rates.back(), low) << result.output;
    EXPECT_LT(rates.back(), high) << result.output;
}

TEST(CliSimTime, DelayIsMeasuredAgainstTheSimulationClock) {
    // The simulation runs at the wall's pace and stamps its joint states 0.25 s in its own past;
    // the system's clock is some 1.7e9 s ahead of it.
    qorROS2::Publisher<qorROS2::sensorMsgs::JointState> states(
        "/cli/sim_states", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}, kDelayDomain);
    const Simulation running = simulation(kDelayDomain, std::chrono::milliseconds(20),
                                          [&](std::int64_t, std::int64_t now) {
                                              qorROS2::sensorMsgs::JointState state{};
                                              state.header.stamp = stampOf(now - 250000000);
                                              states.sendMessage(state);
                                          });
    const auto result = qorCliTest::runCliUntilPrinted(
        "topic delay -s /cli/sim_states", printedLines("average delay", 2), kDelayDomain);
    EXPECT_EQ(result.exitCode, 2) << result.output;
    const std::vector<double> delays = valuesAfter(result.output, "average delay: ");
    ASSERT_FALSE(delays.empty()) << result.output;
    for (const double delay : delays) {
        // 0.25 s, give or take the clock messages that had not arrived, or had arrived early.
        EXPECT_GE(delay, 0.2) << result.output;
        EXPECT_LT(delay, 1.0) << result.output;
    }
    // The long form is the same flag.
    const auto help = qorCliTest::runCli("topic delay --help", kDelayDomain, false);
    EXPECT_NE(help.output.find("-s, --use-sim-time"), std::string::npos) << help.output;
}

// The verb takes /clock raw while the same process reads it typed for its time.
TEST(CliSimTime, HzOfTheClockItselfIsTimedWithTheClock) {
    // Five times the wall's pace: fifty clock messages a wall second, ten a simulated one.
    const Simulation running = simulation(kClockHzDomain, std::chrono::milliseconds(100),
                                          [](std::int64_t, std::int64_t) {});
    expectLastRateWithin("topic hz --use-sim-time /clock", kClockHzDomain, 5.0, 20.0);
}

TEST(CliSimTime, HzTimesTheRateWithTheSimulationClockUnlessWallTimeIsAsked) {
    // Five times the wall's pace, a message every half second of simulated time.
    qorROS2::Publisher<qorROS2::stdMsgs::String> ticks(
        "/cli/sim_ticks", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}, kHzDomain);
    {
        const Simulation running = simulation(kHzDomain, std::chrono::milliseconds(100),
                                              [&](std::int64_t tick, std::int64_t) {
                                                  if (tick % 5 == 0) {
                                                      ticks.sendMessage(qorROS2::stdMsgs::String{});
                                                  }
                                              });
        // Two a second of the simulation's time; the wall sees ten.
        expectLastRateWithin("topic hz --use-sim-time /cli/sim_ticks", kHzDomain, 1.5, 2.7);
    }
    // A simulation that stands still: its time never moves on a second, so hz never reports,
    // unless it times with the wall.
    const Simulation stopped("/clock", kHzDomain, [] {
        qorROS2::rosgraphMsgs::Clock clock{};
        clock.clock = stampOf(kSimulationStart);
        return clock;
    });
    const qorCliTest::RepeatingPublisher<qorROS2::stdMsgs::String> more(
        "/cli/sim_more", kHzDomain, [] { return qorROS2::stdMsgs::String{}; });
    // Both run side by side, the one that times with the wall until it has reported thrice.
    const std::string cli = QOR_ROS2_CLI;
    const std::string script =
        "still=$(mktemp); out=$(mktemp); " + cli +
        " topic hz -s /cli/sim_more >\"$still\" 2>&1 & a=$!; " + cli +
        " topic hz -s --wall-time /cli/sim_more >\"$out\" 2>&1 & b=$!; "
        "for i in $(seq 200); do " +
        printedLines("average rate", 3) +
        " && break; sleep 0.1; done; kill -INT $a $b; wait $a; wait $b; "
        "cat \"$still\"; echo =====; cat \"$out\"; rm -f \"$still\" \"$out\"";
    const auto both =
        qorCliTest::runShellWithin("sh -c " + qorCliTest::shellQuoted(script), kHzDomain, 40);
    const std::size_t split = both.output.find("=====\n");
    ASSERT_NE(split, std::string::npos) << both.output;
    EXPECT_EQ(both.output.substr(0, split), "") << both.output;
    EXPECT_GE(valuesAfter(both.output.substr(split), "average rate: ").size(), 3U) << both.output;
}

TEST(CliSimTime, BwTimesTheBandwidthWithTheSimulationClock) {
    // Five times the wall's pace: 16-byte samples ten times a second of the wall's, two of the
    // simulation's.
    qorROS2::Publisher<qorROS2::stdMsgs::String> data(
        "/cli/sim_data", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}, kBwDomain);
    const Simulation running =
        simulation(kBwDomain, std::chrono::milliseconds(100), [&](std::int64_t tick, std::int64_t) {
            if (tick % 5 == 0) {
                qorROS2::stdMsgs::String text{};
                text.data = "hello";
                data.sendMessage(text);
            }
        });
    const auto result = qorCliTest::runCliUntilPrinted("topic bw -s /cli/sim_data",
                                                       printedLines("B/s from", 2), kBwDomain);
    EXPECT_EQ(result.exitCode, 2) << result.output;
    const std::regex report("([0-9.]+) B/s from ([0-9]+) messages\n");
    std::vector<double> bandwidths;
    for (auto match = std::sregex_iterator(result.output.begin(), result.output.end(), report);
         match != std::sregex_iterator(); ++match) {
        bandwidths.push_back(std::atof((*match)[1].str().c_str()));
    }
    ASSERT_FALSE(bandwidths.empty()) << result.output;
    // 32 B/s of simulated time; the wall's would be 160.
    EXPECT_GT(bandwidths.back(), 16.0) << result.output;
    EXPECT_LT(bandwidths.back(), 64.0) << result.output;
}

TEST(CliSimTime, PubStampsAutoHeadersAndNowTimesWithTheSystemClock) {
    const qorROS2::Subscriber<qorROS2::sensorMsgs::TimeReference> subscriber(
        "/cli/stamped", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kPubDomain);
    const std::int64_t before = systemNanoseconds();
    const auto result = qorCliTest::runCli(
        "topic pub --once /cli/stamped sensor_msgs/msg/TimeReference "
        "'{header: auto, time_ref: now, source: gps}'",
        kPubDomain, true);
    const std::int64_t after = systemNanoseconds();
    EXPECT_EQ(result.exitCode, 0) << result.output;
    qorROS2::sensorMsgs::TimeReference received{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received)) << result.output;
    const std::int64_t stamp = nanosecondsOf(received.header.stamp);
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, after);
    // One instant for every stamp of a message; ros2 leaves the frame empty.
    EXPECT_EQ(nanosecondsOf(received.time_ref), stamp);
    EXPECT_EQ(received.header.frame_id, "");
    EXPECT_EQ(received.source, "gps");
    // What is printed is what was sent.
    const std::string time =
        "builtin_interfaces.msg.Time(sec=" + std::to_string(received.header.stamp.sec) +
        ", nanosec=" + std::to_string(received.header.stamp.nanosec) + ")";
    EXPECT_NE(result.output.find("publishing #1: sensor_msgs.msg.TimeReference(header="
                                 "std_msgs.msg.Header(stamp=" +
                                 time + ", frame_id=''), time_ref=" + time + ", source='gps')"),
              std::string::npos)
        << result.output;
}

TEST(CliSimTime, PubStampsWithTheSimulationClockUnderUseSimTime) {
    const qorROS2::Subscriber<qorROS2::stdMsgs::Header> subscriber(
        "/cli/sim_stamped", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1},
        kPubDomain);
    const Simulation clock("/clock", kPubDomain, [] {
        qorROS2::rosgraphMsgs::Clock message{};
        message.clock = stampOf(kSimulationStart + 500000000);
        return message;
    });
    // The spin time bounds the wait for the first clock message.
    const auto result = qorCliTest::runCli(
        "topic pub -s --spin-time 10 --once /cli/sim_stamped std_msgs/msg/Header "
        "'{stamp: now, frame_id: base}'",
        kPubDomain, true);
    EXPECT_EQ(result.exitCode, 0) << result.output;
    qorROS2::stdMsgs::Header received{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received)) << result.output;
    EXPECT_EQ(received.stamp.sec, 1000);
    EXPECT_EQ(received.stamp.nanosec, 500000000U);
    EXPECT_EQ(received.frame_id, "base");
}

}  // namespace
