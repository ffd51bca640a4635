#include "qorROS2/TimeConversion.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace qorROS2 {
namespace {

constexpr double kNanosecondsPerSecond = 1000000000.0;
constexpr double kTwoTo31 = 2147483648.0;
constexpr double kTwoTo63 = 9223372036854775808.0;

// Truncates toward zero. A value that does not fit, or NaN, gives the lowest value: the answer of
// the processor's own truncating conversion, made explicit so that it is defined behaviour.
std::int32_t truncateToInt32(double value) noexcept {
    if (value > -kTwoTo31 - 1.0 && value < kTwoTo31) {
        return static_cast<std::int32_t>(value);
    }
    return std::numeric_limits<std::int32_t>::min();
}

std::int64_t truncateToInt64(double value) noexcept {
    if (value >= -kTwoTo63 && value < kTwoTo63) {
        return static_cast<std::int64_t>(value);
    }
    return std::numeric_limits<std::int64_t>::min();
}

// Truncates to an unsigned 64-bit pattern the way compilers do it on x86-64: values from 2^63 on
// go through the signed conversion shifted down by 2^63, with the top bit set afterwards.
std::uint64_t truncateToUint64Bits(double value) noexcept {
    if (value >= kTwoTo63) {
        return static_cast<std::uint64_t>(truncateToInt64(value - kTwoTo63)) |
               (std::uint64_t{1} << 63U);
    }
    return static_cast<std::uint64_t>(truncateToInt64(value));
}

}  // namespace

builtinInterfaces::Time toRosTime(double seconds) noexcept {
    const double wholeSeconds = std::floor(seconds);
    const double nanoseconds = std::round((seconds - wholeSeconds) * kNanosecondsPerSecond);
    builtinInterfaces::Time time{};
    time.sec = truncateToInt32(wholeSeconds);
    // Rounding may reach 1000000000; the second is deliberately not carried into `sec`.
    time.nanosec = static_cast<std::uint32_t>(truncateToInt32(nanoseconds));
    return time;
}

builtinInterfaces::Time toSensorStamp(double seconds) noexcept {
    builtinInterfaces::Time time{};
    time.sec = truncateToInt32(seconds);
    const std::uint64_t nanosecondBits = truncateToUint64Bits(seconds * kNanosecondsPerSecond);
    time.nanosec = static_cast<std::uint32_t>(nanosecondBits % 1000000000U);
    return time;
}

}  // namespace qorROS2
