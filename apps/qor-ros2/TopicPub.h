#pragma once

// `topic pub`: sends a message, built from YAML values, once, N times or at a rate.

#include <chrono>
#include <cstdio>
#include <thread>

#include "StopSignal.h"
#include "TopicOptions.h"
#include "YamlToRecord.h"
#include "qorROS2/Publisher.h"

namespace qorCli {

/// How long --once and --times wait for a subscription before sending anyway, and how long the
/// publisher stays after the last message so that a reliable subscription that matched late can
/// still ask for it again.
inline constexpr std::chrono::seconds kMatchWait{5};
inline constexpr std::chrono::milliseconds kLingerAfterLast{1000};

template <typename Record>
int publishTopic(const TopicOptions& options) {
    // The values are checked before any endpoint exists: bad input sends nothing.
    const Record message = recordFromYaml<Record>(options.values);
    qorROS2::Publisher<Record> publisher(
        options.topic,
        qorROS2::QOS{qorROS2::QOS::VOLATILE, options.reliability, qorROS2::QOS::KEEP_LAST, 7},
        options.domain);
    const std::size_t count = options.once ? 1 : options.times;
    std::printf("publisher: beginning loop\n");
    std::fflush(stdout);
    if (count > 0) {
        const auto deadline = std::chrono::steady_clock::now() + kMatchWait;
        while (publisher.matchedSubscriptions() == 0 && !stopRequested() &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    const auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(1.0 / options.rate));
    auto next = std::chrono::steady_clock::now();
    for (std::size_t sent = 0; (count == 0 || sent < count) && !stopRequested(); ++sent) {
        if (sent > 0) {
            while (std::chrono::steady_clock::now() < next && !stopRequested()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        }
        if (!publisher.sendMessage(message)) {
            std::fprintf(stderr, "qor-ros2: message #%zu was not accepted by the middleware\n",
                         sent + 1);
            return 1;
        }
        std::printf("publishing #%zu: %s\n", sent + 1, qorROS2::rosTypeName<Record>().c_str());
        std::fflush(stdout);
        next += period;
    }
    const auto lingerEnd = std::chrono::steady_clock::now() + kLingerAfterLast;
    while (std::chrono::steady_clock::now() < lingerEnd && !stopRequested()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return 0;
}

}  // namespace qorCli
