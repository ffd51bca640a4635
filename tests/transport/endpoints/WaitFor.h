#pragma once

// Waiting in tests for something that happens on another thread or in another process: poll a
// condition until it holds or a deadline passes, never sleep for a guessed time.

#include <chrono>
#include <thread>

namespace qorTest {

/// How long a test waits, at most, for endpoints to match or a sample to arrive. Generous: on a
/// loaded machine discovery can take seconds, and a passing test never waits this long.
inline constexpr std::chrono::milliseconds kDeliveryDeadline{15000};

/// Polls `condition` until it returns true (then returns true) or `deadline` has passed (then
/// returns false, after one last look).
template <typename Condition>
bool waitFor(Condition condition, std::chrono::milliseconds deadline = kDeliveryDeadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return condition();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Waits until `publisher` and `subscriber` have matched each other: a writer's match alone
/// does not mean that the reader is ready to receive what it writes.
template <typename Publisher, typename Subscriber>
bool waitForMatch(const Publisher& publisher, const Subscriber& subscriber,
                  std::chrono::milliseconds deadline = kDeliveryDeadline) {
    return waitFor(
        [&] {
            return publisher.matchedSubscriptions() > 0 && subscriber.matchedPublications() > 0;
        },
        deadline);
}

/// Waits until `subscriber` hands a sample to `message`.
template <typename Subscriber, typename Record>
bool receiveWithin(const Subscriber& subscriber, Record& message,
                   std::chrono::milliseconds deadline = kDeliveryDeadline) {
    return waitFor([&] { return subscriber.receiveMessage(message); }, deadline);
}

}  // namespace qorTest
