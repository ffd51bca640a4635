#pragma once

// `topic echo`: prints every message received on a topic as `ros2 topic echo` does (YAML and
// "---", CSV, one field, arrays and strings cut or left out), or saves the images received as
// PNG files.

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <type_traits>

#include "EchoFormat.h"
#include "ImagePng.h"
#include "StopSignal.h"
#include "TopicOptions.h"
#include "qorROS2/Subscriber.h"

namespace qorCli {

template <typename Record>
int echoTopic(const TopicOptions& options) {
    // A field the type does not have is refused before anything is received.
    formatEcho(Record{}, options.echoFormat);
    const qorROS2::Subscriber<Record> subscriber(options.topic, options.qos, options.domain);
    Record message{};
    while (!stopRequested()) {
        bool any = false;
        while (subscriber.receiveMessage(message)) {
            any = true;
            if constexpr (std::is_same_v<Record, qorROS2::sensorMsgs::Image>) {
                if (!options.savePath.empty()) {
                    // Each image replaces the last one saved.
                    saveImagePng(message, options.savePath);
                    std::printf("saved a %ux%u %s image to %s\n", message.width, message.height,
                                message.encoding.c_str(), options.savePath.c_str());
                    std::fflush(stdout);
                    if (options.once) {
                        return 0;
                    }
                    continue;
                }
            }
            const std::string text = formatEcho(message, options.echoFormat);
            std::fwrite(text.data(), 1, text.size(), stdout);
            std::fflush(stdout);
            if (options.once) {
                return 0;
            }
        }
        if (!any) {
            // The subscriber never blocks: poll often enough for a high-rate topic.
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    return 0;
}

}  // namespace qorCli
