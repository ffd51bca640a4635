#include "qor/Range.h"

#include <gtest/gtest.h>

namespace qor::test {
namespace {

TEST(Range, DefaultIsZero) {
    const Range<double> range;
    EXPECT_EQ(range.lower, 0.0);
    EXPECT_EQ(range.upper, 0.0);
    const Range<int> ints;
    EXPECT_EQ(ints.lower, 0);
    EXPECT_EQ(ints.upper, 0);
}

TEST(Range, KeepsLowerFirst) {
    const Range<double> range(-1.5, 2.5);
    EXPECT_EQ(range.lower, -1.5);
    EXPECT_EQ(range.upper, 2.5);
}

TEST(Range, StoresInvertedBoundsUnchanged) {
    const Range<double> range(3.0, -3.0);
    EXPECT_EQ(range.lower, 3.0);
    EXPECT_EQ(range.upper, -3.0);
}

TEST(Range, EqualityComparesBothBounds) {
    EXPECT_TRUE(Range<int>(1, 2) == Range<int>(1, 2));
    EXPECT_FALSE(Range<int>(1, 2) != Range<int>(1, 2));
    EXPECT_TRUE(Range<int>(1, 2) != Range<int>(2, 1));
    EXPECT_TRUE(Range<int>(1, 2) != Range<int>(1, 3));
    EXPECT_TRUE(Range<int>(1, 2) != Range<int>(0, 2));
    EXPECT_FALSE(Range<int>(1, 2) == Range<int>(1, 3));
}

TEST(Range, IsUsableInConstantExpressions) {
    constexpr Range<int> range(4, 7);
    static_assert(range.lower == 4 && range.upper == 7);
    static_assert(range != Range<int>());
    EXPECT_EQ(range, Range<int>(4, 7));
}

}  // namespace
}  // namespace qor::test
