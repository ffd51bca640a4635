#pragma once

// `topic hz`: prints the receive rate of a topic once a second, as `ros2 topic hz` does.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <thread>

#include "StopSignal.h"
#include "TopicOptions.h"
#include "qorROS2/Subscriber.h"

namespace qorCli {

template <typename Record>
int hzTopic(const TopicOptions& options) {
    using Clock = std::chrono::steady_clock;
    const qorROS2::Subscriber<Record> subscriber(options.topic, options.qos, options.domain);
    Record message{};
    std::deque<double> intervals;
    Clock::time_point last{};
    bool haveLast = false;
    std::size_t printedCount = 0;
    std::size_t received = 0;
    auto nextReport = Clock::now() + std::chrono::seconds(1);
    while (!stopRequested()) {
        while (subscriber.receiveMessage(message)) {
            const auto now = Clock::now();
            ++received;
            if (haveLast) {
                intervals.push_back(std::chrono::duration<double>(now - last).count());
                if (intervals.size() > options.window) {
                    intervals.pop_front();
                }
            }
            last = now;
            haveLast = true;
        }
        if (Clock::now() >= nextReport) {
            nextReport += std::chrono::seconds(1);
            if (intervals.empty() || received == printedCount) {
                if (intervals.empty()) {
                    std::printf("no new messages\n");
                }
            } else {
                printedCount = received;
                double sum = 0.0;
                double low = intervals.front();
                double high = intervals.front();
                for (double interval : intervals) {
                    sum += interval;
                    low = std::min(low, interval);
                    high = std::max(high, interval);
                }
                const double mean = sum / static_cast<double>(intervals.size());
                double squares = 0.0;
                for (double interval : intervals) {
                    squares += (interval - mean) * (interval - mean);
                }
                const double deviation = std::sqrt(squares / static_cast<double>(intervals.size()));
                std::printf(
                    "average rate: %.3f\n\tmin: %.3fs max: %.3fs std dev: %.5fs window: "
                    "%zu\n",
                    1.0 / mean, low, high, deviation, intervals.size() + 1);
            }
            std::fflush(stdout);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return 0;
}

}  // namespace qorCli
