#pragma once

// `topic pub`: sends a message, built from YAML values, once, N times or at a rate, as
// `ros2 topic pub` does.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cli/RosClock.h"
#include "cli/StopSignal.h"
#include "cli/UsageError.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/typesupport/Yaml.h"
#include "text/PythonValueText.h"
#include "topic/TopicOptions.h"

namespace qorCli {

/// The stamps of a record that `topic pub` sets to the current time as it sends each message:
/// each builtin_interfaces/Time field given as `now`, and the stamp of each std_msgs/Header
/// given as `auto` (whose frame_id stays empty). They point into the record filled.
using StampFields = std::vector<qorROS2::builtinInterfaces::Time*>;

/// Whether the YAML text `values` is a mapping. Throws UsageError when it is not YAML.
bool valuesAreMapping(const std::string& values);

/// Fills `record`, at its defaults, as the YAML text `values` describes it; with `stamps`,
/// `header: auto` and `stamp: now` are taken as stamps to set later, into `stamps`, which point
/// into `record`. Throws UsageError, naming the field, when the text is not YAML, names a field
/// the record does not have, or gives a value of the wrong type or (for a fixed array) length.
void fillFromYaml(const std::string& values, const qorROS2::typesupport::RecordView& record,
                  StampFields* stamps);

template <typename Record>
void fillRecordFromYaml(const std::string& values, Record& record, StampFields* stamps) {
    fillFromYaml(values, qorROS2::typesupport::viewOfRecord(record), stamps);
}

/// The record that the YAML text `values` describes, as fillRecordFromYaml reads it.
template <typename Record>
Record recordFromYaml(const std::string& values) {
    Record record{};
    fillRecordFromYaml(values, record, nullptr);
    return record;
}

/// How often the publisher checks for matched subscriptions, and how often it says that it is
/// still waiting for them.
inline constexpr std::chrono::milliseconds kMatchPoll{100};
inline constexpr int kPollsBetweenWaitingLines = 10;
/// A match is seen by the two ends at slightly different moments: a volatile subscription that
/// does not know the publisher yet would drop the first message for good, so the publisher waits
/// this long after the subscriptions it waited for have matched.
inline constexpr std::chrono::milliseconds kMatchSettle{200};

/// `seconds` as a clock duration; an absurdly long one (a rate of 1e-300 Hz) lasts some thirty
/// years instead of overflowing the clock's count of nanoseconds.
inline std::chrono::steady_clock::duration clockDuration(double seconds) {
    constexpr double kLongest = 1e9;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(std::min(seconds, kLongest)));
}

/// How long ros2's node spins before it publishes, which is how long a simulation clock has to
/// send its first message.
inline constexpr double kDefaultSpinTime = 0.5;

/// Waits, polling every kMatchPoll, until `publisher` has matched `wanted` subscriptions, saying
/// so once a second. With `maxWaitSeconds`, gives up as ros2 does: after that many polls' worth
/// of waiting, with std::runtime_error in ros2's words. Returns false on Ctrl-C.
template <typename Publisher>
bool waitForSubscriptions(const Publisher& publisher, std::uint64_t wanted,
                          const std::optional<double>& maxWaitSeconds) {
    // ros2 adds up its sleeps, so a limit of 1 s ends after 11 of them, not 10.
    double waited = 0.0;
    for (int polls = 0; publisher.matchedSubscriptions() < wanted; ++polls) {
        if (stopRequested()) {
            return false;
        }
        if (polls % kPollsBetweenWaitingLines == 0) {
            std::printf("Waiting for at least %llu matching subscription(s)...\n",
                        static_cast<unsigned long long>(wanted));
            std::fflush(stdout);
        }
        if (maxWaitSeconds && *maxWaitSeconds <= waited) {
            // "subcribers" is ros2's spelling.
            throw std::runtime_error("Timed out waiting for subscribers: Expected " +
                                     std::to_string(wanted) + " subcribers but only got " +
                                     std::to_string(publisher.matchedSubscriptions()) +
                                     " subscribers");
        }
        std::this_thread::sleep_for(kMatchPoll);
        waited += std::chrono::duration<double>(kMatchPoll).count();
    }
    return true;
}

template <typename Record>
int publishTopic(const TopicOptions& options) {
    // The values are checked before any endpoint exists: bad input sends nothing.
    Record message{};
    StampFields stamps;
    fillRecordFromYaml(options.values, message, &stamps);
    RosClock clock(options.useSimTime, options.domain);
    qorROS2::Publisher<Record> publisher(options.topic, options.qos, options.domain);
    if (options.waitMatching == 0 && options.maxWaitSeconds) {
        throw std::runtime_error(
            "--max-wait-time-secs option is only effective with --wait-matching-subscriptions, "
            "--once or --times");
    }
    clock.waitForFirstMessage(options.spinTime.value_or(kDefaultSpinTime));
    if (!waitForSubscriptions(publisher, options.waitMatching, options.maxWaitSeconds)) {
        return 0;
    }
    if (options.waitMatching > 0) {
        std::this_thread::sleep_for(kMatchSettle);
    }
    std::printf("publisher: beginning loop\n");
    std::fflush(stdout);
    const auto period = clockDuration(1.0 / options.rate);
    auto next = std::chrono::steady_clock::now();
    for (std::uint64_t sent = 0; (options.times == 0 || sent < options.times) && !stopRequested();
         ++sent) {
        if (sent > 0) {
            while (std::chrono::steady_clock::now() < next && !stopRequested()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            if (stopRequested()) {
                break;
            }
        }
        // Every stamp of one message is the same instant, as ros2 reads its clock once.
        const qorROS2::builtinInterfaces::Time now =
            stamps.empty() ? qorROS2::builtinInterfaces::Time{} : rosTimeOf(clock.now());
        for (qorROS2::builtinInterfaces::Time* stamp : stamps) {
            *stamp = now;
        }
        if (options.printEvery != 0 && (sent + 1) % options.printEvery == 0) {
            // ros2 prints the message's repr and a blank line after it.
            std::printf("publishing #%llu: %s\n\n", static_cast<unsigned long long>(sent + 1),
                        pythonMessageRepr(message).c_str());
            std::fflush(stdout);
        }
        if (!publisher.sendMessage(message)) {
            std::fprintf(stderr, "qor-ros2: message #%llu was not accepted by the middleware\n",
                         static_cast<unsigned long long>(sent + 1));
            return 1;
        }
        next += period;
    }
    // The publisher stays a little, so that what was sent reaches the wire and a reliable
    // subscription can still ask for a lost sample.
    const auto aliveUntil = std::chrono::steady_clock::now() + clockDuration(options.keepAlive);
    while (std::chrono::steady_clock::now() < aliveUntil && !stopRequested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return 0;
}

}  // namespace qorCli
