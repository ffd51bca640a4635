#pragma once

// `topic pub`: sends a message, built from YAML values, once, N times or at a rate, as
// `ros2 topic pub` does.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "RecordToRepr.h"
#include "StopSignal.h"
#include "TopicOptions.h"
#include "YamlToRecord.h"
#include "qorROS2/Publisher.h"

namespace qorCli {

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

template <typename Record>
int publishTopic(const TopicOptions& options) {
    // The values are checked before any endpoint exists: bad input sends nothing.
    const Record message = recordFromYaml<Record>(options.values);
    qorROS2::Publisher<Record> publisher(options.topic, options.qos, options.domain);
    for (int polls = 0; publisher.matchedSubscriptions() < options.waitMatching; ++polls) {
        if (stopRequested()) {
            return 0;
        }
        if (polls % kPollsBetweenWaitingLines == 0) {
            std::printf("Waiting for at least %llu matching subscription(s)...\n",
                        static_cast<unsigned long long>(options.waitMatching));
            std::fflush(stdout);
        }
        std::this_thread::sleep_for(kMatchPoll);
    }
    if (options.waitMatching > 0) {
        std::this_thread::sleep_for(kMatchSettle);
    }
    std::printf("publisher: beginning loop\n");
    std::fflush(stdout);
    const std::string text = recordToRepr(message);
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
        if (options.printEvery != 0 && (sent + 1) % options.printEvery == 0) {
            // ros2 prints the message's repr and a blank line after it.
            std::printf("publishing #%llu: %s\n\n", static_cast<unsigned long long>(sent + 1),
                        text.c_str());
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
