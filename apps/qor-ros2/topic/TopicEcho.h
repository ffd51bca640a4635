#pragma once

// `topic echo`: prints every message received on a topic as `ros2 topic echo` does (YAML and
// "---", CSV, one field, arrays and strings cut or left out, the raw bytes), those a --filter
// expression matches, until a --timeout, or saves the images received as PNG files.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "cli/RosClock.h"
#include "cli/StopSignal.h"
#include "qorROS2/Subscriber.h"
#include "text/PythonValue.h"
#include "topic/EchoFormat.h"
#include "topic/ImagePng.h"
#include "topic/TopicOptions.h"

namespace qorCli {

/// Checks before subscribing what can be checked of echoing `Record` with `options`: that the
/// selected field exists (on the raw bytes, none does) and that the filter fits the type.
/// Throws UsageError in ros2's words otherwise.
template <typename Record>
void checkEcho(const TopicOptions& options) {
    if (options.raw) {
        const std::vector<std::string> path = echoFieldPath(options.echoFormat.field);
        if (!path.empty()) {
            throw CommandFailure(detail::invalidFieldMessage(path, 0, "bytes"));
        }
        return;
    }
    static const Record prototype{};
    formatEcho(prototype, options.echoFormat);
    if (options.filter != nullptr) {
        options.filter->check(
            echoFilterSubject(pythonValueOf(prototype), options.echoFormat));
    }
}

/// What echo prints for the sample `subscriber` took into `message`, or none when the filter
/// leaves it out. An image that --save writes is saved here, and its line returned.
template <typename Record>
std::optional<std::string> echoText(const qorROS2::Subscriber<Record>& subscriber,
                                    const Record& message, const TopicOptions& options) {
    if (options.raw) {
        const std::vector<std::uint8_t> sample = subscriber.lastSampleBytes();
        const std::string bytes(sample.begin(), sample.end());
        if (options.filter != nullptr &&
            !options.filter->matches(PythonValue{PythonBytes{bytes}})) {
            return std::nullopt;
        }
        return rawEchoText(bytes, options.echoFormat);
    }
    if (options.filter != nullptr && !options.filter->matches(echoFilterSubject(
                                         pythonValueOf(message), options.echoFormat))) {
        return std::nullopt;
    }
    if constexpr (std::is_same_v<Record, qorROS2::sensorMsgs::Image>) {
        if (!options.savePath.empty()) {
            // Each image replaces the last one saved.
            saveImagePng(message, options.savePath);
            return "saved a " + std::to_string(message.width) + "x" +
                   std::to_string(message.height) + " " + message.encoding + " image to " +
                   options.savePath + "\n";
        }
    }
    return formatEcho(message, options.echoFormat);
}

template <typename Record>
int echoTopic(const TopicOptions& options) {
    // A field the type does not have is refused before anything is received.
    checkEcho<Record>(options);
    RosClock clock(options.useSimTime, options.domain);
    std::optional<RosTimer> timeout;
    if (options.timeout) {
        // At most thirty years, which a count of nanoseconds can hold.
        timeout.emplace(clock, std::chrono::duration_cast<std::chrono::nanoseconds>(
                                   std::chrono::duration<double>(std::min(*options.timeout, 1e9))));
    }
    qorROS2::Subscriber<Record> subscriber(options.topic, options.qos, options.domain);
    if (options.raw) {
        subscriber.keepSampleBytes();
    }
    Record message{};
    while (!stopRequested()) {
        bool any = false;
        while (subscriber.receiveMessage(message)) {
            any = true;
            const std::optional<std::string> text = echoText(subscriber, message, options);
            if (!text) {
                continue;
            }
            std::fwrite(text->data(), 1, text->size(), stdout);
            std::fflush(stdout);
            if (options.once) {
                return 0;
            }
        }
        if (timeout && timeout->due()) {
            return 0;
        }
        if (!any) {
            // Woken as soon as a sample arrives; the timeout only keeps Ctrl-C and --timeout
            // prompt.
            subscriber.waitForSample(std::chrono::milliseconds(50));
        }
    }
    return 0;
}

}  // namespace qorCli
