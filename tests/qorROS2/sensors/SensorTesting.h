#pragma once

// Hand-made sensor outputs for the converter tests: no simulation and no rendering, just the
// values that the converters read.

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "qor/ref_ptr.h"
#include "qorROS2/builtinInterfaces.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraColorOutput.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/CameraModel.h"
#include "qorSensor/LensDistortion.h"

namespace qorTest {

using qorSensor::CameraColorOutput;
using Row = std::array<double, 4>;

inline constexpr Row kR = {1.0, 0.0, 0.0, 0.0};
inline constexpr Row kG = {0.0, 1.0, 0.0, 0.0};
inline constexpr Row kB = {0.0, 0.0, 1.0, 0.0};
inline constexpr Row kA = {0.0, 0.0, 0.0, 1.0};
inline constexpr Row kZero = {0.0, 0.0, 0.0, 0.0};

// A colour mapping matrix made of four rows, row 0 first.
inline CameraColorOutput::ColorMappingMatrix matrixOf(const Row& row0, const Row& row1,
                                                      const Row& row2, const Row& row3) {
    CameraColorOutput::ColorMappingMatrix matrix{};
    const Row* rows[4] = {&row0, &row1, &row2, &row3};
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t c = 0; c < 4; ++c) {
            matrix[r * 4 + c] = (*rows[r])[c];
        }
    }
    return matrix;
}

// An output of width × height pixels (none unless given) with the given channels.
inline qor::ref_ptr<CameraColorOutput> outputOf(std::uint64_t channels,
                                                CameraColorOutput::ChannelType type,
                                                const CameraColorOutput::ColorMappingMatrix& matrix,
                                                std::int64_t width = 0, std::int64_t height = 0) {
    return new CameraColorOutput({width, height}, channels, type, matrix);
}

inline const std::array<double, 9> kIdentity3 = {1, 0, 0, 0, 1, 0, 0, 0, 1};

// A kind of distortion that neither the converters nor ROS know: not Brown–Conrady.
class EquidistantDistortion : public qorSensor::LensDistortion {
  protected:
    ~EquidistantDistortion() override = default;
};

// A single-element lens of focalLength, with distortion (none when null), on a CMOS sensor of
// width × height pixels.
inline qor::ref_ptr<qorSensor::CameraModel> cameraOf(
    double focalLength, std::int64_t width, std::int64_t height,
    qorSensor::LensDistortion* distortion = nullptr) {
    return new qorSensor::CameraModel(
        new qorSensor::CameraLensSingleElement(focalLength, distortion),
        new qorSensor::CameraCMOSSensor({width, height}));
}

// count bytes from a generator seeded with seed, so that every run sees the same bytes.
inline std::vector<std::uint8_t> seededBytes(std::size_t count, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::vector<std::uint8_t> bytes(count);
    for (std::uint8_t& value : bytes) {
        value = static_cast<std::uint8_t>(byte(generator));
    }
    return bytes;
}

// Compares both fields of a stamp in one assertion, so that a failure shows the whole stamp.
inline ::testing::AssertionResult isStamp(const qorROS2::builtinInterfaces::Time& time,
                                          std::int32_t sec, std::uint32_t nanosec) {
    if (time.sec == sec && time.nanosec == nanosec) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "got (" << time.sec << ", " << time.nanosec
                                         << "), expected (" << sec << ", " << nanosec << ")";
}

}  // namespace qorTest
