#include "qor/Referenced.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "CountedObjects.h"

namespace qor::test {
namespace {

// Lives on the stack, so that copies can be made and inspected without ever being deleted.
class Plain : public Referenced {
  public:
    Plain() = default;
    Plain(const Plain&) = default;
    Plain& operator=(const Plain&) = default;
    ~Plain() override = default;
};

TEST(Referenced, StartsUnreferenced) {
    Plain plain;
    EXPECT_EQ(plain.getReferenceCount(), 0);
}

TEST(Referenced, ReferenceAndUnreferenceNoDeleteMoveTheCount) {
    Plain plain;
    plain.reference();
    plain.reference();
    EXPECT_EQ(plain.getReferenceCount(), 2);
    plain.unreferenceNoDelete();
    EXPECT_EQ(plain.getReferenceCount(), 1);
    plain.unreferenceNoDelete();
    EXPECT_EQ(plain.getReferenceCount(), 0);
}

TEST(Referenced, UnreferenceDeletesOnceWhenLastReferenceGoes) {
    std::atomic<int> destructions{0};
    auto* object = new Tracked(destructions);
    object->reference();
    object->reference();
    object->unreference();
    EXPECT_EQ(destructions.load(), 0);
    EXPECT_EQ(object->getReferenceCount(), 1);
    object->unreference();
    EXPECT_EQ(destructions.load(), 1);
}

TEST(Referenced, UnreferenceNoDeleteKeepsObjectAtZero) {
    std::atomic<int> destructions{0};
    auto* object = new Tracked(destructions);
    object->reference();
    object->unreferenceNoDelete();
    EXPECT_EQ(destructions.load(), 0);
    EXPECT_EQ(object->getReferenceCount(), 0);
    // Hand it back to normal counting so the test does not leak it.
    object->reference();
    object->unreference();
    EXPECT_EQ(destructions.load(), 1);
}

TEST(Referenced, CopyStartsAtZero) {
    Plain original;
    original.reference();
    original.reference();
    const Plain copy(original);
    EXPECT_EQ(copy.getReferenceCount(), 0);
    EXPECT_EQ(original.getReferenceCount(), 2);
    original.unreferenceNoDelete();
    original.unreferenceNoDelete();
}

TEST(Referenced, AssignmentKeepsTargetCount) {
    Plain source;
    source.reference();
    source.reference();
    source.reference();
    Plain target;
    target.reference();
    target = source;
    EXPECT_EQ(target.getReferenceCount(), 1);
    EXPECT_EQ(source.getReferenceCount(), 3);
    target.unreferenceNoDelete();
    for (int i = 0; i < 3; ++i) {
        source.unreferenceNoDelete();
    }
}

TEST(Referenced, ConcurrentCountingDeletesExactlyOnce) {
    constexpr int kRounds = 100000;
    std::atomic<int> destructions{0};
    auto* object = new Tracked(destructions);
    // One reference per thread, taken before either starts, so that the count cannot touch
    // zero until both threads have dropped their last one.
    object->reference();
    object->reference();

    auto churn = [object] {
        for (int i = 0; i < kRounds; ++i) {
            object->reference();
            object->unreference();
        }
        object->unreference();
    };
    std::thread first(churn);
    std::thread second(churn);
    first.join();
    second.join();

    EXPECT_EQ(destructions.load(), 1);
}

TEST(Referenced, ConcurrentPilesOfReferencesAreAllCounted) {
    constexpr int kRounds = 100000;
    Plain plain;
    auto pile = [&plain] {
        for (int i = 0; i < kRounds; ++i) {
            plain.reference();
        }
    };
    std::thread first(pile);
    std::thread second(pile);
    first.join();
    second.join();
    EXPECT_EQ(plain.getReferenceCount(), 2 * kRounds);

    auto unpile = [&plain] {
        for (int i = 0; i < kRounds; ++i) {
            plain.unreferenceNoDelete();
        }
    };
    std::thread third(unpile);
    std::thread fourth(unpile);
    third.join();
    fourth.join();
    EXPECT_EQ(plain.getReferenceCount(), 0);
}

}  // namespace
}  // namespace qor::test
