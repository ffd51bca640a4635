#pragma once

// Waiting for a condition of this process (a matched count, a received sample) with a deadline.

#include <algorithm>
#include <chrono>
#include <thread>

#include "PeerProcess.h"

namespace qorInterop {

/// Checks `condition` until it holds or `deadline` passes; returns whether it held. The endpoints
/// offer no notification to wait on, so the check repeats every few milliseconds.
template <typename Condition>
bool waitUntil(Condition&& condition, Deadline deadline) {
    for (;;) {
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

/// Calls `act` and waits up to `interval` for `condition`, again and again until the condition
/// holds or `deadline` passes; returns whether it held.
template <typename Action, typename Condition>
bool repeatUntil(Action&& act, Condition&& condition, std::chrono::milliseconds interval,
                 Deadline deadline) {
    for (;;) {
        act();
        const Deadline next = std::min(deadline, deadlineIn(interval));
        if (waitUntil(condition, next)) {
            return true;
        }
        if (next == deadline) {
            return false;
        }
    }
}

}  // namespace qorInterop
