#include "cli/RosClock.h"

#include <algorithm>
#include <chrono>

#include "cli/DroppedSamples.h"
#include "cli/StopSignal.h"
#include "qorROS2/Messages.h"
#include "qorROS2/RawSubscriber.h"

namespace qorCli {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1000000000;
// Bounds each wait for a clock message, so that Ctrl-C ends the wait promptly.
constexpr std::chrono::milliseconds kClockWaitSlice{50};

}  // namespace

class RosClock::Subscription {
  public:
    explicit Subscription(std::int8_t domain)
        : type(qorROS2::typesupport::getTypeSupport(
              qorROS2::rosTypeName<qorROS2::rosgraphMsgs::Clock>())),
          subscriber("/clock", type.rosName(),
                     qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::BEST_EFFORT,
                                  qorROS2::QOS::KEEP_LAST, 1},
                     domain, type.typeHash()),
          dropped("/clock") {}

    const qorROS2::typesupport::TypeSupport& type;
    qorROS2::RawSubscriber subscriber;
    qorROS2::MalformedSampleReport dropped;
    qorROS2::RawSample sample;
};

qorROS2::builtinInterfaces::Time rosTimeOf(std::int64_t nanoseconds) {
    std::int64_t seconds = nanoseconds / kNanosecondsPerSecond;
    std::int64_t rest = nanoseconds % kNanosecondsPerSecond;
    if (rest < 0) {
        seconds -= 1;
        rest += kNanosecondsPerSecond;
    }
    return {static_cast<std::int32_t>(seconds), static_cast<std::uint32_t>(rest)};
}

std::int64_t nanosecondsOf(const qorROS2::builtinInterfaces::Time& stamp) {
    return std::int64_t{stamp.sec} * kNanosecondsPerSecond + std::int64_t{stamp.nanosec};
}

std::int64_t systemNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

RosClock::RosClock(bool useSimTime, std::int8_t domain) {
    if (useSimTime) {
        m_clock = std::make_unique<Subscription>(domain);
    }
}

RosClock::~RosClock() = default;

bool RosClock::takeMessages() {
    bool any = false;
    while (m_clock->subscriber.takeSample(m_clock->sample)) {
        if (const auto message =
                decodeOrDrop(m_clock->type, m_clock->sample.bytes, m_clock->dropped)) {
            m_last = nanosecondsOf(message->as<qorROS2::rosgraphMsgs::Clock>().clock);
            any = true;
        }
    }
    return any;
}

std::int64_t RosClock::now() {
    if (m_clock == nullptr) {
        return systemNanoseconds();
    }
    takeMessages();
    return m_last;
}

void RosClock::waitForFirstMessage(double seconds) {
    if (m_clock == nullptr) {
        return;
    }
    // A wait of thirty years at most, which the clock's count can hold.
    const auto until = std::chrono::steady_clock::now() +
                       std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                           std::chrono::duration<double>(std::min(seconds, 1e9)));
    while (!stopRequested()) {
        if (takeMessages()) {
            return;
        }
        const auto left = until - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero()) {
            return;
        }
        m_clock->subscriber.waitForSample(
            std::min<std::chrono::nanoseconds>(left, kClockWaitSlice));
    }
}

RosTimer::RosTimer(RosClock& clock, std::chrono::nanoseconds period)
    : m_clock(clock),
      m_period(std::max<std::int64_t>(period.count(), 1)),
      m_lastCall(clock.now()),
      m_nextCall(m_lastCall + m_period) {}

bool RosTimer::due() {
    const std::int64_t now = m_clock.now();
    if (now < m_lastCall) {
        m_lastCall = now;
        m_nextCall = now + m_period;
        return false;
    }
    if (now < m_nextCall) {
        return false;
    }
    m_lastCall = now;
    m_nextCall += m_period;
    if (m_nextCall <= now) {
        m_nextCall += m_period * (1 + (now - m_nextCall) / m_period);
    }
    return true;
}

}  // namespace qorCli
