#pragma once

// Waiting in tests for something that happens on another thread or in another process: poll a
// condition until it holds or a deadline passes, never sleep for a guessed time. Every wait says
// whether the condition held, so that the test can print what it saw instead.

#include <algorithm>
#include <chrono>
#include <thread>

namespace qorTest {

/// How long a test waits, at most, for endpoints to match or a sample to arrive. Generous: on a
/// loaded machine discovery can take seconds, and a passing test never waits this long.
inline constexpr std::chrono::milliseconds kDeliveryDeadline{15000};

/// The moment by which something must have happened. Made from a duration it counts from now;
/// made from a moment, several waits share one limit.
class Deadline {
  public:
    using Clock = std::chrono::steady_clock;

    template <typename Rep, typename Period>
    Deadline(std::chrono::duration<Rep, Period> within)  // NOLINT: a duration reads as a limit
        : m_end(Clock::now() + std::chrono::duration_cast<Clock::duration>(within)) {}
    Deadline(Clock::time_point end) : m_end(end) {}  // NOLINT: so is a moment

    Clock::time_point end() const { return m_end; }
    bool passed() const { return Clock::now() >= m_end; }
    /// The earlier of this deadline and `within` from now.
    Deadline orWithin(std::chrono::milliseconds within) const {
        return Deadline(std::min(m_end, Clock::now() + within));
    }

  private:
    Clock::time_point m_end;
};

/// Polls `condition` until it returns true (then returns true) or `deadline` has passed (then
/// returns false, after one last look).
template <typename Condition>
bool waitFor(Condition&& condition, Deadline deadline = kDeliveryDeadline) {
    while (!condition()) {
        if (deadline.passed()) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Calls `act` and waits up to `interval` for `condition`, again and again until the condition
/// holds or `deadline` passes; returns whether it held. For what a lost first attempt would
/// otherwise leave waiting for ever (a best-effort sample sent before the reader matched).
template <typename Action, typename Condition>
bool repeatUntil(Action&& act, Condition&& condition, std::chrono::milliseconds interval,
                 Deadline deadline) {
    for (;;) {
        act();
        const Deadline next = deadline.orWithin(interval);
        if (waitFor(condition, next)) {
            return true;
        }
        if (next.end() == deadline.end()) {
            return false;
        }
    }
}

/// Waits until `publisher` and `subscriber` have matched each other: a writer's match alone
/// does not mean that the reader is ready to receive what it writes.
template <typename Publisher, typename Subscriber>
bool waitForMatch(const Publisher& publisher, const Subscriber& subscriber,
                  Deadline deadline = kDeliveryDeadline) {
    return waitFor(
        [&] {
            return publisher.matchedSubscriptions() > 0 && subscriber.matchedPublications() > 0;
        },
        deadline);
}

/// Waits until `subscriber` hands a sample to `message`.
template <typename Subscriber, typename Record>
bool receiveWithin(const Subscriber& subscriber, Record& message,
                   Deadline deadline = kDeliveryDeadline) {
    return waitFor([&] { return subscriber.receiveMessage(message); }, deadline);
}

}  // namespace qorTest
