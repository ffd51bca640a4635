#include "qorROS2/TimeConversion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using qorROS2::toRosTime;
using qorROS2::toSensorStamp;

constexpr std::int32_t kLowestSec = std::numeric_limits<std::int32_t>::min();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Compares both fields in one assertion, so that a failure shows the whole stamp.
::testing::AssertionResult isStamp(const qorROS2::builtinInterfaces::Time& time, std::int32_t sec,
                                   std::uint32_t nanosec) {
    if (time.sec == sec && time.nanosec == nanosec) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "got (" << time.sec << ", " << time.nanosec
                                         << "), expected (" << sec << ", " << nanosec << ")";
}

TEST(RosTime, ZeroIsZero) {
    EXPECT_TRUE(isStamp(toRosTime(0.0), 0, 0));
}

TEST(RosTime, SplitsWholeSecondsAndNanoseconds) {
    EXPECT_TRUE(isStamp(toRosTime(12.5), 12, 500000000));
    EXPECT_TRUE(isStamp(toRosTime(1.5), 1, 500000000));
}

TEST(RosTime, RoundsToTheNearestNanosecond) {
    EXPECT_TRUE(isStamp(toRosTime(1.0000000004), 1, 0));
    // (1.0000000005 - 1) * 1e9 is 0.50000004... in double precision, so it rounds up.
    EXPECT_TRUE(isStamp(toRosTime(1.0000000005), 1, 1));
    EXPECT_TRUE(isStamp(toRosTime(0.99999999949), 0, 999999999));
}

TEST(RosTime, NeverCarriesASecond) {
    EXPECT_TRUE(isStamp(toRosTime(0.9999999995), 0, 1000000000));
    EXPECT_TRUE(isStamp(toRosTime(2.9999999996), 2, 1000000000));
    EXPECT_TRUE(isStamp(toRosTime(1.9999999999), 1, 1000000000));
}

TEST(RosTime, NegativeTimesCountUpFromTheFloor) {
    EXPECT_TRUE(isStamp(toRosTime(-0.25), -1, 750000000));
    EXPECT_TRUE(isStamp(toRosTime(-3.0), -3, 0));
}

TEST(RosTime, SecondsBeyond32BitsGiveTheLowestValue) {
    EXPECT_TRUE(isStamp(toRosTime(3.0e9), kLowestSec, 0));
    EXPECT_TRUE(isStamp(toRosTime(2147483648.0), kLowestSec, 0));
    EXPECT_TRUE(isStamp(toRosTime(-2147483649.0), kLowestSec, 0));
}

TEST(RosTime, SecondsAtThe32BitLimitsStillFit) {
    EXPECT_TRUE(isStamp(toRosTime(2147483647.5), 2147483647, 500000000));
    EXPECT_TRUE(isStamp(toRosTime(-2147483648.0), kLowestSec, 0));
    EXPECT_TRUE(isStamp(toRosTime(-2147483647.75), kLowestSec, 250000000));
}

TEST(RosTime, NotANumberAndInfinitiesGiveTheLowestPattern) {
    EXPECT_TRUE(isStamp(toRosTime(kNaN), kLowestSec, 2147483648U));
    EXPECT_TRUE(isStamp(toRosTime(kInfinity), kLowestSec, 2147483648U));
    EXPECT_TRUE(isStamp(toRosTime(-kInfinity), kLowestSec, 2147483648U));
}

TEST(SensorStamp, ZeroIsZero) {
    EXPECT_TRUE(isStamp(toSensorStamp(0.0), 0, 0));
}

TEST(SensorStamp, SplitsWholeSecondsAndNanoseconds) {
    EXPECT_TRUE(isStamp(toSensorStamp(12.5), 12, 500000000));
    EXPECT_TRUE(isStamp(toSensorStamp(1.1), 1, 100000000));
}

TEST(SensorStamp, TruncatesInsteadOfRounding) {
    // 1.001 * 1e9 is 1000999999.9999999 in double precision.
    EXPECT_TRUE(isStamp(toSensorStamp(1.001), 1, 999999));
    EXPECT_TRUE(isStamp(toSensorStamp(1.9999999999), 1, 999999999));
    EXPECT_TRUE(isStamp(toSensorStamp(0.9999999995), 0, 999999999));
}

TEST(SensorStamp, DiffersFromTheRoundingConversionJustBelowASecond) {
    EXPECT_TRUE(isStamp(toRosTime(2.9999999996), 2, 1000000000));
    EXPECT_TRUE(isStamp(toSensorStamp(2.9999999996), 2, 999999999));
}

TEST(SensorStamp, NegativeTimesTakeTheTwosComplementRemainder) {
    // -250000000 read as unsigned 64 bits is 18446744073459551616.
    EXPECT_TRUE(isStamp(toSensorStamp(-0.25), 0, 459551616));
    EXPECT_TRUE(isStamp(toSensorStamp(-1.5), -1, 209551616));
}

TEST(SensorStamp, NotANumberGivesTheLowestPatterns) {
    EXPECT_TRUE(isStamp(toSensorStamp(kNaN), kLowestSec, 854775808));
}

TEST(SensorStamp, InfinitiesAndHugeTimesGiveTheLowestPatterns) {
    EXPECT_TRUE(isStamp(toSensorStamp(kInfinity), kLowestSec, 854775808));
    EXPECT_TRUE(isStamp(toSensorStamp(-kInfinity), kLowestSec, 854775808));
    EXPECT_TRUE(isStamp(toSensorStamp(1.0e300), kLowestSec, 854775808));
}

TEST(SensorStamp, ProductsFrom2To63UseTheUpperHalfOfTheUnsignedRange) {
    // 1e10 s is 1e19 ns: above 2^63, below 2^64, so it is exactly representable as unsigned.
    EXPECT_TRUE(isStamp(toSensorStamp(1.0e10), kLowestSec, 0));
    // 3e9 s: the seconds do not fit 32 bits, the nanoseconds still fit 64.
    EXPECT_TRUE(isStamp(toSensorStamp(3.0e9), kLowestSec, 0));
}

}  // namespace
