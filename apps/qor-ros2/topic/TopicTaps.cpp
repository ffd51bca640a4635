#include "topic/TopicTaps.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "cli/ArgumentError.h"
#include "cli/StopSignal.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "topic/DiscoveredType.h"

namespace qorCli {
namespace {

// Rung by every tap when data arrives, on the middleware's threads, so that one wait covers all
// topics. Counts rings, so a ring between looking and waiting is not lost.
class SampleBell {
  public:
    void ring() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_rings;
        }
        m_rung.notify_all();
    }

    std::uint64_t rings() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_rings;
    }

    void waitForRingAfter(std::uint64_t seen, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_rung.wait_for(lock, timeout, [&] { return m_rings != seen; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_rung;
    std::uint64_t m_rings = 0;
};

// Has the taps ring `bell` while it lives.
class RingingTaps {
  public:
    RingingTaps(const std::vector<std::unique_ptr<SampleTap>>& taps, SampleBell& bell)
        : m_taps(taps) {
        for (const auto& tap : m_taps) {
            tap->onSample([&bell] { bell.ring(); });
        }
    }
    ~RingingTaps() {
        for (const auto& tap : m_taps) {
            tap->onSample({});
        }
    }
    RingingTaps(const RingingTaps&) = delete;
    RingingTaps& operator=(const RingingTaps&) = delete;

  private:
    const std::vector<std::unique_ptr<SampleTap>>& m_taps;
};

}  // namespace

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
    const qorROS2::typesupport::TypeSupport* given =
        typeName.empty() ? nullptr : &passedMessageType(typeName);
    for (const std::string& topic : topics) {
        // One topic after the other, each waited for until it is published, as ros2 does.
        const qorROS2::typesupport::TypeSupport& type =
            given != nullptr ? *given : awaitedType(m_discovery, topic);
        m_taps.push_back(std::make_unique<SampleTap>(
            topic, type, subscriptionQos(m_discovery, topic, qos, spinTime), domain));
        // Ctrl-C while looking for the publishers' QoS: the verb prints nothing more.
        throwIfStopRequested();
    }
}

bool TopicTaps::measure(const std::function<bool(std::size_t, const TappedSample&)>& sample,
                        const std::function<void()>& second, RosClock& clock) {
    TappedSample taken;
    RosTimer everySecond(clock, std::chrono::seconds(1));
    SampleBell bell;
    const RingingTaps ringing(m_taps, bell);
    while (!stopRequested()) {
        const std::uint64_t rings = bell.rings();
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
            // Woken as soon as a sample arrives; the timeout only keeps Ctrl-C and the report
            // of each second prompt.
            bell.waitForRingAfter(rings, std::chrono::milliseconds(20));
        }
    }
    return true;
}

}  // namespace qorCli
