#include "topic/TopicTaps.h"

#include <chrono>
#include <thread>

#include "cli/ArgumentError.h"
#include "cli/StopSignal.h"
#include "topic/DiscoveredType.h"

namespace qorCli {

std::size_t measuringWindow(const CLI::App& verb, const std::optional<std::uint64_t>& given,
                            std::size_t fallback) {
    if (!given.has_value()) {
        return fallback;
    }
    if (*given == 0) {
        throw ArgumentError(verb, "argument -w/--window: invalid positive_int value: '0'");
    }
    return static_cast<std::size_t>(*given);
}

TopicTaps::TopicTaps(const std::vector<std::string>& topics, const std::string& typeName,
                     const QosFlags& qos, std::int8_t domain, const std::optional<double>& spinTime)
    : m_discovery(domain), m_topics(topics) {
    const MessageType* given = typeName.empty() ? nullptr : &passedMessageType(typeName);
    for (const std::string& topic : topics) {
        // One topic after the other, each waited for until it is published, as ros2 does.
        const MessageType& type = given != nullptr ? *given : awaitedType(m_discovery, topic);
        m_taps.push_back(
            type.tap(topic, subscriptionQos(m_discovery, topic, qos, spinTime), domain));
        // Ctrl-C while looking for the publishers' QoS: the verb prints nothing more.
        throwIfStopRequested();
    }
}

bool TopicTaps::measure(const std::function<bool(std::size_t, const TappedSample&)>& sample,
                        const std::function<void()>& second, RosClock& clock) {
    TappedSample taken;
    RosTimer everySecond(clock, std::chrono::seconds(1));
    while (!stopRequested()) {
        bool any = false;
        for (std::size_t index = 0; index < m_taps.size(); ++index) {
            while (m_taps[index]->take(taken)) {
                any = true;
                if (!sample(index, taken)) {
                    return false;
                }
            }
        }
        if (everySecond.due()) {
            second();
        }
        if (!any) {
            // Subscriptions never block: poll often enough for a high-rate topic.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return true;
}

}  // namespace qorCli
