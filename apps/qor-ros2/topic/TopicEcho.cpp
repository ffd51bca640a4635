#include "topic/TopicEcho.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "cli/DroppedSamples.h"
#include "cli/RosClock.h"
#include "cli/StopSignal.h"
#include "qorROS2/Messages.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/typesupport/RecordView.h"
#include "text/PythonValue.h"
#include "topic/EchoFormat.h"
#include "topic/ImagePng.h"

namespace qorCli {
namespace {

// How long one wait for a sample lasts at most, so that Ctrl-C and --timeout stay prompt.
constexpr std::chrono::milliseconds kSampleWaitSlice{50};

// The line --save prints for the image it wrote.
std::string savedImageLine(const qorROS2::sensorMsgs::Image& image, const std::string& path) {
    return "saved a " + std::to_string(image.width) + "x" + std::to_string(image.height) + " " +
           image.encoding + " image to " + path + "\n";
}

// What echo prints for the sample of `bytes`, or none when the filter leaves it out or the
// bytes are no sample of `type`. An image that --save writes is saved here, and its line
// returned.
std::optional<std::string> echoText(const qorROS2::typesupport::TypeSupport& type,
                                    const std::vector<std::uint8_t>& bytes,
                                    const TopicOptions& options,
                                    qorROS2::MalformedSampleReport& dropped) {
    if (options.raw) {
        const std::string raw(bytes.begin(), bytes.end());
        if (options.filter != nullptr && !options.filter->matches(PythonValue{PythonBytes{raw}})) {
            return std::nullopt;
        }
        return rawEchoText(raw, options.echoFormat);
    }
    const std::optional<qorROS2::typesupport::Sample> message = decodeOrDrop(type, bytes, dropped);
    if (!message) {
        return std::nullopt;
    }
    const qorROS2::typesupport::ConstRecordView view = qorROS2::typesupport::viewOf(*message);
    if (options.filter != nullptr &&
        !options.filter->matches(echoFilterSubject(pythonValueOf(view), options.echoFormat))) {
        return std::nullopt;
    }
    if (!options.savePath.empty()) {
        // The verb allows --save for images only. Each image replaces the last one saved.
        const auto& image = message->as<qorROS2::sensorMsgs::Image>();
        saveImagePng(image, options.savePath);
        return savedImageLine(image, options.savePath);
    }
    return formatEcho(view, options.echoFormat);
}

}  // namespace

void checkEcho(const qorROS2::typesupport::TypeSupport& type, const TopicOptions& options) {
    if (options.raw) {
        const std::vector<std::string> path = echoFieldPath(options.echoFormat.field);
        if (!path.empty()) {
            throw CommandFailure(detail::invalidFieldMessage(path, 0, "bytes"));
        }
        return;
    }
    const qorROS2::typesupport::Sample prototype = type.createSample();
    const qorROS2::typesupport::ConstRecordView view = qorROS2::typesupport::viewOf(prototype);
    formatEcho(view, options.echoFormat);
    if (options.filter != nullptr) {
        options.filter->check(echoFilterSubject(pythonValueOf(view), options.echoFormat));
    }
}

int echoTopic(const qorROS2::typesupport::TypeSupport& type, const TopicOptions& options) {
    // A field the type does not have is refused before anything is received.
    checkEcho(type, options);
    RosClock clock(options.useSimTime, options.domain);
    std::optional<RosTimer> timeout;
    if (options.timeout) {
        // At most thirty years, which a count of nanoseconds can hold.
        timeout.emplace(clock, std::chrono::duration_cast<std::chrono::nanoseconds>(
                                   std::chrono::duration<double>(std::min(*options.timeout, 1e9))));
    }
    // Announced as a subscription of the record itself would be: its type name and type hash.
    const qorROS2::RawSubscriber subscriber(options.topic, type.rosName(), options.qos,
                                            options.domain, type.typeHash());
    qorROS2::MalformedSampleReport dropped(options.topic);
    qorROS2::RawSample sample;
    while (!stopRequested()) {
        bool any = false;
        while (subscriber.takeSample(sample)) {
            any = true;
            const std::optional<std::string> text = echoText(type, sample.bytes, options, dropped);
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
            // Woken as soon as a sample arrives; the slice only keeps Ctrl-C and --timeout
            // prompt.
            subscriber.waitForSample(kSampleWaitSlice);
        }
    }
    return 0;
}

}  // namespace qorCli
