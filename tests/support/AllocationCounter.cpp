#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> g_allocations{0};
std::atomic<std::uint64_t> g_deallocations{0};
std::atomic<std::int64_t> g_liveBytes{0};
std::atomic<std::size_t> g_largestAllocation{0};
// Plain data, so that using it inside operator new needs no initialisation of its own.
thread_local std::uint64_t t_threadAllocations = 0;

// Each block carries its size in front of it, so that an unsized delete can subtract it again.
// The header keeps the block aligned for any fundamental type.
constexpr std::size_t kHeaderSize = alignof(std::max_align_t);

void* allocate(std::size_t size) noexcept {
    void* block = std::malloc(size + kHeaderSize);
    if (block == nullptr) {
        return nullptr;
    }
    *static_cast<std::size_t*>(block) = size;
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    ++t_threadAllocations;
    g_liveBytes.fetch_add(static_cast<std::int64_t>(size), std::memory_order_relaxed);
    std::size_t largest = g_largestAllocation.load(std::memory_order_relaxed);
    while (size > largest &&
           !g_largestAllocation.compare_exchange_weak(largest, size, std::memory_order_relaxed)) {
    }
    return static_cast<unsigned char*>(block) + kHeaderSize;
}

void* allocateOrThrow(std::size_t size) {
    void* memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void release(void* memory) noexcept {
    if (memory == nullptr) {
        return;
    }
    void* block = static_cast<unsigned char*>(memory) - kHeaderSize;
    const std::size_t size = *static_cast<std::size_t*>(block);
    g_deallocations.fetch_add(1, std::memory_order_relaxed);
    g_liveBytes.fetch_sub(static_cast<std::int64_t>(size), std::memory_order_relaxed);
    std::free(block);
}

}  // namespace

namespace qorTest {

AllocationCounts allocationCounts() noexcept {
    return AllocationCounts{g_allocations.load(), g_deallocations.load(), g_liveBytes.load()};
}

std::uint64_t threadAllocations() noexcept {
    return t_threadAllocations;
}

std::size_t largestAllocation() noexcept {
    return g_largestAllocation.load();
}

void resetLargestAllocation() noexcept {
    g_largestAllocation.store(0);
}

}  // namespace qorTest

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
