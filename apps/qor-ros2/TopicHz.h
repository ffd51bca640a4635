#pragma once

// `topic hz`: prints the receive rate of a topic, as `ros2 topic hz` does.

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "RateMeter.h"
#include "StopSignal.h"
#include "TopicOptions.h"
#include "qorROS2/Subscriber.h"

namespace qorCli {

template <typename Record>
int hzTopic(const TopicOptions& options) {
    const qorROS2::Subscriber<Record> subscriber(
        options.topic,
        qorROS2::QOS{qorROS2::QOS::VOLATILE, options.reliability, qorROS2::QOS::KEEP_LAST, 100},
        options.domain);
    RateMeter meter(options.window);
    const std::vector<std::string> topics{options.topic};
    Record message{};
    while (!stopRequested()) {
        bool any = false;
        while (subscriber.receiveMessage(message)) {
            any = true;
            // ROS time without a simulation clock: the system's time.
            const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                std::chrono::system_clock::now().time_since_epoch());
            meter.add(options.topic, now.count());
            if (const auto text = meter.report(topics)) {
                std::fwrite(text->data(), 1, text->size(), stdout);
                std::fflush(stdout);
            }
        }
        if (!any) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return 0;
}

}  // namespace qorCli
