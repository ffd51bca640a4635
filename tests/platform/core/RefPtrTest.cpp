#include "qor/ref_ptr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "CountedObjects.h"

namespace qor::test {
namespace {

// Owns another counted object, to check assignments where the old object owns the new one.
class Node : public Tracked {
  public:
    using Tracked::Tracked;
    ref_ptr<Node> m_child;

  protected:
    ~Node() override = default;
};

static_assert(std::is_convertible_v<ref_ptr<TrackedChild>, ref_ptr<Tracked>>);
static_assert(!std::is_convertible_v<ref_ptr<Tracked>, ref_ptr<TrackedChild>>);
static_assert(!std::is_convertible_v<ref_ptr<Tracked>, bool>);
static_assert(std::is_constructible_v<bool, ref_ptr<Tracked>>);

TEST(RefPtr, DefaultIsNull) {
    const ref_ptr<Tracked> ref;
    EXPECT_EQ(ref.get(), nullptr);
    EXPECT_FALSE(ref.valid());
    EXPECT_FALSE(ref);
    EXPECT_TRUE(ref == nullptr);
}

TEST(RefPtr, FromRawPointerTakesReference) {
    std::atomic<int> destructions{0};
    auto* object = new Tracked(destructions);
    {
        const ref_ptr<Tracked> ref(object);
        EXPECT_EQ(ref.get(), object);
        EXPECT_TRUE(ref.valid());
        EXPECT_TRUE(ref);
        EXPECT_EQ(object->getReferenceCount(), 1);
        EXPECT_EQ(&*ref, object);
        EXPECT_EQ(ref->getReferenceCount(), 1);
    }
    EXPECT_EQ(destructions.load(), 1);
}

TEST(RefPtr, CopySharesTheObject) {
    std::atomic<int> destructions{0};
    ref_ptr<Tracked> first = new Tracked(destructions);
    {
        const ref_ptr<Tracked> second(first);
        EXPECT_EQ(second.get(), first.get());
        EXPECT_EQ(first->getReferenceCount(), 2);
    }
    EXPECT_EQ(first->getReferenceCount(), 1);
    EXPECT_EQ(destructions.load(), 0);
    first = nullptr;
    EXPECT_EQ(destructions.load(), 1);
}

TEST(RefPtr, MoveTransfersWithoutCounting) {
    std::atomic<int> destructions{0};
    ref_ptr<Tracked> source = new Tracked(destructions);
    Tracked* object = source.get();

    ref_ptr<Tracked> moved(std::move(source));
    EXPECT_EQ(moved.get(), object);
    EXPECT_EQ(source.get(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(object->getReferenceCount(), 1);

    ref_ptr<Tracked> assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.get(), object);
    EXPECT_EQ(moved.get(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(object->getReferenceCount(), 1);
    EXPECT_EQ(destructions.load(), 0);

    assigned.reset();
    EXPECT_EQ(destructions.load(), 1);
}

TEST(RefPtr, MoveAssignmentDropsThePreviousObject) {
    std::atomic<int> destructions{0};
    ref_ptr<Tracked> target = new Tracked(destructions);
    ref_ptr<Tracked> source = new Tracked(destructions);
    target = std::move(source);
    EXPECT_EQ(destructions.load(), 1);
    EXPECT_EQ(target->getReferenceCount(), 1);
}

TEST(RefPtr, ConvertsFromDerivedByCopyAndMove) {
    std::atomic<int> destructions{0};
    ref_ptr<TrackedChild> child = new TrackedChild(destructions);
    TrackedChild* object = child.get();

    const ref_ptr<Tracked> copied(child);
    EXPECT_EQ(copied.get(), object);
    EXPECT_EQ(object->getReferenceCount(), 2);

    ref_ptr<Tracked> assigned;
    assigned = child;
    EXPECT_EQ(assigned.get(), object);
    EXPECT_EQ(object->getReferenceCount(), 3);

    const ref_ptr<Tracked> moved(std::move(child));
    EXPECT_EQ(moved.get(), object);
    EXPECT_EQ(child.get(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(object->getReferenceCount(), 3);

    ref_ptr<TrackedChild> another = new TrackedChild(destructions);
    assigned = std::move(another);
    EXPECT_EQ(another.get(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(object->getReferenceCount(), 2);
    EXPECT_EQ(assigned->getReferenceCount(), 1);
    EXPECT_EQ(destructions.load(), 0);
}

TEST(RefPtr, SelfAssignmentKeepsTheObject) {
    std::atomic<int> destructions{0};
    ref_ptr<Tracked> ref = new Tracked(destructions);
    Tracked* object = ref.get();

    const ref_ptr<Tracked>& alias = ref;
    ref = alias;
    EXPECT_EQ(ref.get(), object);
    EXPECT_EQ(object->getReferenceCount(), 1);

    ref = ref.get();
    EXPECT_EQ(ref.get(), object);
    EXPECT_EQ(object->getReferenceCount(), 1);

    ref_ptr<Tracked>& sameRef = ref;
    ref = std::move(sameRef);
    EXPECT_EQ(ref.get(), object);
    EXPECT_EQ(object->getReferenceCount(), 1);
    EXPECT_EQ(destructions.load(), 0);
}

TEST(RefPtr, AssigningAnObjectOwnedByTheOldOneKeepsItAlive) {
    std::atomic<int> destructions{0};
    ref_ptr<Node> ref = new Node(destructions);
    ref->m_child = new Node(destructions);
    Node* child = ref->m_child.get();

    // The parent holds the only reference to the child, and ref the only one to the parent.
    ref = ref->m_child;
    EXPECT_EQ(destructions.load(), 1);
    EXPECT_EQ(ref.get(), child);
    EXPECT_EQ(child->getReferenceCount(), 1);

    ref_ptr<Node> raw = new Node(destructions);
    raw->m_child = new Node(destructions);
    Node* rawChild = raw->m_child.get();
    raw = rawChild;
    EXPECT_EQ(destructions.load(), 2);
    EXPECT_EQ(raw.get(), rawChild);
    EXPECT_EQ(rawChild->getReferenceCount(), 1);
}

TEST(RefPtr, ResetDropsTheReference) {
    std::atomic<int> destructions{0};
    ref_ptr<Tracked> ref = new Tracked(destructions);
    ref.reset();
    EXPECT_EQ(ref.get(), nullptr);
    EXPECT_EQ(destructions.load(), 1);
    ref.reset();
    EXPECT_EQ(destructions.load(), 1);
}

TEST(RefPtr, SwapExchangesObjectsWithoutCounting) {
    std::atomic<int> destructions{0};
    ref_ptr<Tracked> first = new Tracked(destructions);
    ref_ptr<Tracked> second = new Tracked(destructions);
    Tracked* firstObject = first.get();
    Tracked* secondObject = second.get();

    first.swap(second);
    EXPECT_EQ(first.get(), secondObject);
    EXPECT_EQ(second.get(), firstObject);

    using std::swap;
    swap(first, second);
    EXPECT_EQ(first.get(), firstObject);
    EXPECT_EQ(second.get(), secondObject);
    EXPECT_EQ(firstObject->getReferenceCount(), 1);
    EXPECT_EQ(secondObject->getReferenceCount(), 1);
    EXPECT_EQ(destructions.load(), 0);
}

TEST(RefPtr, ComparesWithRefPtrRawPointerAndNull) {
    std::atomic<int> destructions{0};
    const ref_ptr<TrackedChild> child = new TrackedChild(destructions);
    const ref_ptr<Tracked> sameObject = child;
    const ref_ptr<Tracked> other = new Tracked(destructions);
    const ref_ptr<Tracked> null;

    EXPECT_TRUE(sameObject == child);
    EXPECT_FALSE(sameObject != child);
    EXPECT_TRUE(other != sameObject);
    EXPECT_FALSE(other == sameObject);

    const Tracked* raw = child.get();
    EXPECT_TRUE(sameObject == raw);
    EXPECT_TRUE(raw == sameObject);
    EXPECT_TRUE(other != raw);
    EXPECT_TRUE(raw != other);
    EXPECT_FALSE(other == raw);

    EXPECT_TRUE(null == nullptr);
    EXPECT_TRUE(nullptr == null);
    EXPECT_FALSE(null != nullptr);
    EXPECT_TRUE(other != nullptr);
    EXPECT_TRUE(nullptr != other);
    EXPECT_FALSE(other == nullptr);
}

TEST(RefPtr, KeysAMapByObject) {
    std::atomic<int> destructions{0};
    const ref_ptr<Tracked> first = new Tracked(destructions);
    const ref_ptr<Tracked> second = new Tracked(destructions);

    std::map<ref_ptr<Tracked>, std::string> names;
    names[first] = "first";
    names[second] = "second";
    names[ref_ptr<Tracked>(first.get())] = "first again";

    ASSERT_EQ(names.size(), 2U);
    EXPECT_EQ(names.at(first), "first again");
    EXPECT_EQ(names.at(second), "second");
    EXPECT_NE(first < second, second < first);
    EXPECT_FALSE(first < first);
    EXPECT_EQ(first->getReferenceCount(), 2);

    names.clear();
    EXPECT_EQ(first->getReferenceCount(), 1);

    std::unordered_set<ref_ptr<Tracked>> set{first, second, first};
    EXPECT_EQ(set.size(), 2U);
    EXPECT_EQ(set.count(second), 1U);
}

TEST(RefPtr, LastOfSeveralReferencesDeletes) {
    std::atomic<int> destructions{0};
    auto* first = new ref_ptr<Tracked>(new Tracked(destructions));
    auto* second = new ref_ptr<Tracked>(*first);
    ref_ptr<Tracked> third = *second;

    delete first;
    EXPECT_EQ(destructions.load(), 0);
    third = nullptr;
    EXPECT_EQ(destructions.load(), 0);
    delete second;
    EXPECT_EQ(destructions.load(), 1);
}

}  // namespace
}  // namespace qor::test
