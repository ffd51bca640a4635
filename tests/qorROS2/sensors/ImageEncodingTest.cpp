// The encoding that convertCameraOutput names for each kind of camera output: standard ROS 2
// names for the layouts it recognises, a generic name otherwise.

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "SensorTesting.h"
#include "qorROS2/ROS2Util.h"

namespace {

using qorSensor::CameraColorOutput;
using qorTest::kA;
using qorTest::kB;
using qorTest::kG;
using qorTest::kR;
using qorTest::kZero;
using qorTest::matrixOf;
using qorTest::Row;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string encodingOf(std::uint64_t channels, CameraColorOutput::ChannelType type,
                       const CameraColorOutput::ColorMappingMatrix& matrix) {
    return qorROS2::convertCameraOutput(qorTest::outputOf(channels, type, matrix).get(), 0.0, "")
        .encoding;
}

const CameraColorOutput::ColorMappingMatrix kIdentity = matrixOf(kR, kG, kB, kA);

struct NamedLayout {
    std::uint64_t channels;
    CameraColorOutput::ColorMappingMatrix matrix;
    std::string name8;
    std::string name16;
};

// Names a layout by its 8-bit encoding in test output.
void PrintTo(const NamedLayout& layout, std::ostream* out) {
    *out << layout.name8;
}

class ImageEncodingNamedLayout : public ::testing::TestWithParam<NamedLayout> {};

TEST_P(ImageEncodingNamedLayout, Names8And16BitChannels) {
    const NamedLayout& layout = GetParam();
    EXPECT_EQ(encodingOf(layout.channels, CameraColorOutput::UINT8, layout.matrix), layout.name8);
    EXPECT_EQ(encodingOf(layout.channels, CameraColorOutput::UINT16, layout.matrix), layout.name16);
}

INSTANTIATE_TEST_SUITE_P(
    ImageEncoding, ImageEncodingNamedLayout,
    ::testing::Values(NamedLayout{1, matrixOf(kR, kZero, kZero, kZero), "mono8", "mono16"},
                      NamedLayout{3, matrixOf(kR, kG, kB, kZero), "rgb8", "rgb16"},
                      NamedLayout{3, matrixOf(kB, kG, kR, kZero), "bgr8", "bgr16"},
                      NamedLayout{4, matrixOf(kR, kG, kB, kA), "rgba8", "rgba16"},
                      NamedLayout{4, matrixOf(kR, kG, kG, kB), "bayer_rggb8", "bayer_rggb16"},
                      NamedLayout{4, matrixOf(kB, kG, kR, kA), "bgra8", "bgra16"},
                      NamedLayout{4, matrixOf(kB, kG, kG, kR), "bayer_bggr8", "bayer_bggr16"},
                      NamedLayout{4, matrixOf(kG, kB, kR, kG), "bayer_gbrg8", "bayer_gbrg16"},
                      NamedLayout{4, matrixOf(kG, kR, kB, kG), "bayer_grbg8", "bayer_grbg16"}),
    [](const ::testing::TestParamInfo<NamedLayout>& tested) { return tested.param.name8; });

TEST(ImageEncoding, NoChannelTypeGivesAnEmptyNameWhateverTheLayout) {
    const std::vector<CameraColorOutput::ColorMappingMatrix> matrices = {
        kIdentity, matrixOf(kB, kG, kR, kA), matrixOf(kR, kG, kG, kB),
        matrixOf(kZero, kZero, kZero, kZero), matrixOf(kR, {kNaN, 2.0, 3.0, 4.0}, kB, kA)};
    for (const std::uint64_t channels : {0U, 1U, 2U, 3U, 4U, 5U, 12U}) {
        for (const CameraColorOutput::ColorMappingMatrix& matrix : matrices) {
            EXPECT_EQ(encodingOf(channels, CameraColorOutput::NONE, matrix), "")
                << channels << " channels";
        }
    }
}

TEST(ImageEncoding, MonoExaminesRowZeroOnly) {
    EXPECT_EQ(encodingOf(1, CameraColorOutput::UINT8,
                         matrixOf(kR, {kNaN, 7.0, -3.0, 0.5}, {2.0, 2.0, 2.0, 2.0}, kG)),
              "mono8");
}

TEST(ImageEncoding, ThreeChannelsIgnoreRowThree) {
    EXPECT_EQ(
        encodingOf(3, CameraColorOutput::UINT16, matrixOf(kR, kG, kB, {0.25, kNaN, -1.0, 9.0})),
        "rgb16");
}

TEST(ImageEncoding, AWeightOutsideThePatternGivesTheGenericName) {
    EXPECT_EQ(encodingOf(3, CameraColorOutput::UINT8, matrixOf(kR, kG, {0.0, 0.0, 1.0, 0.5}, kA)),
              "8U3");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT8, matrixOf(kR, kG, kB, {0.0, 0.0, 0.0, 0.999})),
              "8U4");
}

TEST(ImageEncoding, NamesSixteenBitBggrAndEightBitGrbg) {
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT16, matrixOf(kB, kG, kG, kR)), "bayer_bggr16");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT8, matrixOf(kG, kR, kB, kG)), "bayer_grbg8");
}

TEST(ImageEncoding, GreenBlueRowsThatFitNoLayoutGiveTheGenericName) {
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT8, matrixOf(kG, kB, kB, kG)), "8U4");
}

TEST(ImageEncoding, ARecognisedLayoutOfAnotherTypeIsNotNamed) {
    // FLOAT32 is code 9 and 4 bytes wide.
    ASSERT_EQ(static_cast<std::int32_t>(CameraColorOutput::FLOAT32), 9);
    EXPECT_EQ(encodingOf(3, CameraColorOutput::FLOAT32, matrixOf(kR, kG, kB, kZero)), "32F3");
    EXPECT_EQ(encodingOf(1, CameraColorOutput::FLOAT32, matrixOf(kR, kZero, kZero, kZero)), "32F1");
}

TEST(ImageEncoding, OtherChannelCountsGetTheGenericNameWithoutTheMatrix) {
    ASSERT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::UINT8), 1U);
    EXPECT_EQ(encodingOf(2, CameraColorOutput::UINT8, kIdentity), "8U2");
    EXPECT_EQ(encodingOf(0, CameraColorOutput::UINT8, kIdentity), "8U0");
}

TEST(ImageEncoding, WritesMultiDigitChannelCountsInFull) {
    ASSERT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::UINT16), 2U);
    EXPECT_EQ(encodingOf(12, CameraColorOutput::UINT16, kIdentity), "16U12");
}

TEST(ImageEncoding, TypeLetterFollowsTheCode) {
    // Codes 1, 4, 7, ... are signed, 2, 5, 8, ... unsigned, 3, 6, 9, ... floating point.
    EXPECT_EQ(encodingOf(3, CameraColorOutput::INT8, kIdentity), "8S3");
    EXPECT_EQ(encodingOf(1, CameraColorOutput::INT16, kIdentity), "16S1");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::INT32, kIdentity), "32S4");
    EXPECT_EQ(encodingOf(3, CameraColorOutput::UINT32, kIdentity), "32U3");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::FLOAT64, kIdentity), "64F4");
}

TEST(ImageEncoding, ANaNOrANearlyOneWeightIsNotRecognised) {
    for (std::size_t entry = 0; entry < 12; ++entry) {
        CameraColorOutput::ColorMappingMatrix matrix = matrixOf(kR, kG, kB, kZero);
        matrix[entry] = kNaN;
        EXPECT_EQ(encodingOf(3, CameraColorOutput::UINT8, matrix), "8U3") << "NaN at " << entry;
    }
    EXPECT_EQ(encodingOf(3, CameraColorOutput::UINT8,
                         matrixOf({1.0000001, 0.0, 0.0, 0.0}, kG, kB, kZero)),
              "8U3");
    EXPECT_EQ(encodingOf(1, CameraColorOutput::UINT16,
                         matrixOf({1.0000001, 0.0, 0.0, 0.0}, kZero, kZero, kZero)),
              "16U1");
}

TEST(ImageEncoding, NegativeZeroCountsAsZero) {
    EXPECT_EQ(encodingOf(3, CameraColorOutput::UINT8,
                         matrixOf({1.0, -0.0, -0.0, -0.0}, {-0.0, 1.0, -0.0, -0.0},
                                  {-0.0, -0.0, 1.0, -0.0}, kZero)),
              "rgb8");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT16,
                         matrixOf({-0.0, 0.0, 1.0, 0.0}, kG, kG, {1.0, -0.0, 0.0, -0.0})),
              "bayer_bggr16");
}

TEST(ImageEncoding, RowsInAnotherOrderAreNotALayout) {
    EXPECT_EQ(encodingOf(3, CameraColorOutput::UINT8, matrixOf(kG, kR, kB, kZero)), "8U3");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT8, matrixOf(kA, kG, kB, kR)), "8U4");
    EXPECT_EQ(encodingOf(4, CameraColorOutput::UINT16, matrixOf(kR, kG, kB, kB)), "16U4");
    EXPECT_EQ(encodingOf(1, CameraColorOutput::UINT8, matrixOf(kG, kZero, kZero, kZero)), "8U1");
}

}  // namespace
