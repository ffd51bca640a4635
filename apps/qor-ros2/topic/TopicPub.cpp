#include "topic/TopicPub.h"

#include "cli/RosClock.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/typesupport/RecordView.h"
#include "text/PythonValueText.h"

namespace qorCli {

bool valuesAreMapping(const std::string& values) {
    try {
        return qorROS2::typesupport::isYamlMapping(values);
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        throw UsageError(error.what());
    }
}

void fillFromYaml(const std::string& values, const qorROS2::typesupport::RecordView& record,
                  StampFields* stamps) {
    try {
        const std::vector<qorROS2::typesupport::RecordView> found = qorROS2::typesupport::fromYaml(
            values, record, qorROS2::typesupport::YamlReadOptions{stamps != nullptr});
        for (const qorROS2::typesupport::RecordView& stamp : found) {
            // fromYaml gives builtin_interfaces/Time records only.
            stamps->push_back(static_cast<qorROS2::builtinInterfaces::Time*>(stamp.data()));
        }
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        throw UsageError(error.what());
    }
}

int publishTopic(const qorROS2::typesupport::TypeSupport& type, const TopicOptions& options) {
    // The values are checked before any endpoint exists: bad input sends nothing. The stamps
    // point into the sample's record, which stays where it is for the sample's life.
    qorROS2::typesupport::Sample message = type.createSample();
    StampFields stamps;
    fillFromYaml(options.values, qorROS2::typesupport::viewOf(message), &stamps);
    RosClock clock(options.useSimTime, options.domain);
    // Announced as a publisher of the record itself would be: its DDS type name and type hash.
    qorROS2::RawPublisher publisher(options.topic, type.rosName(), options.qos, options.domain,
                                    type.typeHash());
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
                        pythonMessageRepr(qorROS2::typesupport::viewOf(message)).c_str());
            std::fflush(stdout);
        }
        if (!publisher.publish(type.encode(message))) {
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
