#pragma once

// Counts the heap allocations of the whole test binary. Linking AllocationCounter.cpp into a test
// executable replaces the global operator new and delete there, and only there.

#include <cstddef>
#include <cstdint>

namespace qorTest {

/// What the replaced global operator new and delete have seen so far.
struct AllocationCounts {
    std::uint64_t allocations;    ///< calls to any operator new
    std::uint64_t deallocations;  ///< calls to any operator delete with a non-null pointer
    std::int64_t liveBytes;       ///< bytes allocated and not yet released
};

/// The counts at this moment.
AllocationCounts allocationCounts() noexcept;

/// The calls to any operator new made so far by the calling thread alone, so that a test can
/// count what a call allocates while other threads (a middleware's) allocate at the same time.
std::uint64_t threadAllocations() noexcept;

/// The size of the largest single allocation since the last resetLargestAllocation() (or since
/// the program started), so that a test can prove that no buffer outgrew a bound.
std::size_t largestAllocation() noexcept;

/// Starts a new watch for largestAllocation().
void resetLargestAllocation() noexcept;

}  // namespace qorTest
