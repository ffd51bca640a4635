// The colour output: its size, its storage, and how it maps rendered colours into channels.

#include "qorSensor/CameraColorOutput.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

#include "AllocationCounter.h"
#include "ExpectInvalidArgument.h"
#include "qor/ref_ptr.h"

namespace {

using qorSensorTest::expectInvalidArgument;

using qorSensor::CameraColorOutput;
using Matrix = CameraColorOutput::ColorMappingMatrix;

const Matrix kIdentity = CameraColorOutput::identityMatrix();
const Matrix kBgr = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1};
const Matrix kRggb = {1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

// Reads value i of type T from the output's pixels.
template <class T>
T valueAt(const CameraColorOutput& output, std::size_t i) {
    T value{};
    std::memcpy(&value, output.getData().data + i * sizeof(T), sizeof(T));
    return value;
}

std::vector<std::uint8_t> bytesOf(const CameraColorOutput& output) {
    const CameraColorOutput::Buffer buffer = output.getData();
    return {buffer.data, buffer.data + buffer.size};
}

// A 2 x 2 source image, rows top-down: red, green / blue, a mixed colour.
const std::vector<std::uint8_t> kSource = {255, 0, 0, 0, 255, 0, 0, 0, 255, 200, 100, 50};

TEST(CameraColorOutput, SizesEveryTypeByItsWidth) {
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::NONE), 0U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::INT8), 1U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::UINT8), 1U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::INT16), 2U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::UINT16), 2U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::INT32), 4U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::UINT32), 4U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::FLOAT32), 4U);
    EXPECT_EQ(CameraColorOutput::sizeOf(CameraColorOutput::FLOAT64), 8U);
    for (const std::int32_t unused : {3, 6, 10, 11, 13, -1}) {
        EXPECT_EQ(CameraColorOutput::sizeOf(static_cast<CameraColorOutput::ChannelType>(unused)),
                  0U)
            << unused;
    }
}

TEST(CameraColorOutput, CodesFollowTheirSizeAndKind) {
    EXPECT_EQ(static_cast<std::int32_t>(CameraColorOutput::NONE), 0);
    EXPECT_EQ(static_cast<std::int32_t>(CameraColorOutput::UINT8), 2);
    EXPECT_EQ(static_cast<std::int32_t>(CameraColorOutput::UINT16), 5);
    EXPECT_EQ(static_cast<std::int32_t>(CameraColorOutput::FLOAT32), 9);
}

TEST(CameraColorOutput, StartsAsAZeroImageOfItsSize) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({4, 3}, 3, CameraColorOutput::UINT16, kBgr);
    EXPECT_EQ(output->getResolution().width, 4);
    EXPECT_EQ(output->getResolution().height, 3);
    EXPECT_EQ(output->getChannelCount(), 3U);
    EXPECT_EQ(output->getChannelType(), CameraColorOutput::UINT16);
    EXPECT_EQ(output->getColorMappingMatrix(), kBgr);
    EXPECT_EQ(output->getPixelLayout(), CameraColorOutput::INTERLEAVED);
    EXPECT_EQ(output->getElementSize(), 6U);
    EXPECT_EQ(bytesOf(*output), std::vector<std::uint8_t>(72, 0));
}

TEST(CameraColorOutput, AMosaicPixelHoldsOneValue) {
    qor::ref_ptr<CameraColorOutput> output = new CameraColorOutput(
        {4, 2}, 4, CameraColorOutput::UINT16, kRggb, CameraColorOutput::MOSAIC_2X2);
    EXPECT_EQ(output->getChannelCount(), 4U);
    EXPECT_EQ(output->getElementSize(), 2U);
    EXPECT_EQ(output->getData().size, 16U);
}

TEST(CameraColorOutput, AnEmptyImageHasNoBytes) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({0, 0}, 3, CameraColorOutput::UINT8, kIdentity);
    EXPECT_EQ(output->getData().data, nullptr);
    EXPECT_EQ(output->getData().size, 0U);
}

TEST(CameraColorOutput, CopiesTopDownColoursIntoRgb8) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({2, 2}, 3, CameraColorOutput::UINT8, kIdentity);
    output->setFromColors(kSource.data(), 3, false);
    EXPECT_EQ(bytesOf(*output), kSource);
}

TEST(CameraColorOutput, TurnsBottomUpRowsTopDown) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({2, 2}, 3, CameraColorOutput::UINT8, kIdentity);
    output->setFromColors(kSource.data(), 3, true);
    EXPECT_EQ(bytesOf(*output),
              (std::vector<std::uint8_t>{0, 0, 255, 200, 100, 50, 255, 0, 0, 0, 255, 0}));
}

TEST(CameraColorOutput, SwapsRedAndBlueForBgr8) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({2, 2}, 3, CameraColorOutput::UINT8, kBgr);
    output->setFromColors(kSource.data(), 3, false);
    EXPECT_EQ(bytesOf(*output),
              (std::vector<std::uint8_t>{0, 0, 255, 0, 255, 0, 255, 0, 0, 50, 100, 200}));
}

// Byte outputs whose matrix only moves channels are filled by moving bytes; a weight a hair off
// 1 (or 0) sends the same source through the per-channel arithmetic, which must agree everywhere:
// every byte value, both row orders, sources with and without alpha, constant channels.
TEST(CameraColorOutput, MovedChannelsEqualComputedOnes) {
    const qorSensor::Resolution size{64, 3};
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(size.width * size.height * 4));
    for (std::size_t i = 0; i < rgba.size(); ++i) {
        rgba[i] = static_cast<std::uint8_t>((i * 7 + i / 256) % 256);
    }
    const Matrix gbrZero = {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    const Matrix alphaRed = {0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (const Matrix& matrix : {kIdentity, kBgr, gbrZero, alphaRed}) {
        for (std::uint64_t channels = 1; channels <= 4; ++channels) {
            Matrix nudged = matrix;
            for (std::size_t row = 0; row < channels; ++row) {
                nudged[row * 4 + 2] += 1e-9;  // worth 2.55e-7 of a byte: no rounding changes
            }
            qor::ref_ptr<CameraColorOutput> moved =
                new CameraColorOutput(size, channels, CameraColorOutput::UINT8, matrix);
            qor::ref_ptr<CameraColorOutput> computed =
                new CameraColorOutput(size, channels, CameraColorOutput::UINT8, nudged);
            for (const std::uint64_t sourceChannels : {3U, 4U}) {
                for (const bool bottomUp : {false, true}) {
                    moved->setFromColors(rgba.data(), sourceChannels, bottomUp);
                    computed->setFromColors(rgba.data(), sourceChannels, bottomUp);
                    EXPECT_EQ(bytesOf(*moved), bytesOf(*computed))
                        << channels << " channels from " << sourceChannels
                        << (bottomUp ? " bottom-up" : " top-down") << ", matrix starting "
                        << matrix[0] << " " << matrix[1] << " " << matrix[2] << " " << matrix[3];
                }
            }
        }
    }
}

TEST(CameraColorOutput, WeighsColoursIntoMono8) {
    const Matrix luminance = {0.299, 0.587, 0.114, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({2, 2}, 1, CameraColorOutput::UINT8, luminance);
    output->setFromColors(kSource.data(), 3, false);
    // 0.299 * 255 = 76.2, 0.587 * 255 = 149.7, 0.114 * 255 = 29.1, 59.8 + 58.7 + 5.7 = 124.2.
    EXPECT_EQ(bytesOf(*output), (std::vector<std::uint8_t>{76, 150, 29, 124}));
}

TEST(CameraColorOutput, ScalesToTheFullSixteenBitRangeWithOpaqueAlpha) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({1, 1}, 4, CameraColorOutput::UINT16, kIdentity);
    const std::uint8_t colour[] = {255, 128, 0};
    output->setFromColors(colour, 3, false);
    EXPECT_EQ(valueAt<std::uint16_t>(*output, 0), 65535);
    EXPECT_EQ(valueAt<std::uint16_t>(*output, 1), 128 * 257);
    EXPECT_EQ(valueAt<std::uint16_t>(*output, 2), 0);
    EXPECT_EQ(valueAt<std::uint16_t>(*output, 3), 65535);
}

TEST(CameraColorOutput, TakesAlphaFromAnRgbaSource) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({1, 1}, 4, CameraColorOutput::UINT16, kIdentity);
    const std::uint8_t colour[] = {1, 2, 3, 51};
    output->setFromColors(colour, 4, false);
    EXPECT_EQ(valueAt<std::uint16_t>(*output, 0), 257);
    EXPECT_EQ(valueAt<std::uint16_t>(*output, 3), 51 * 257);
}

TEST(CameraColorOutput, KeepsFloatValuesUnscaledAndUnclamped) {
    const Matrix weights = {1, 0, 0, 0, 0, 2, 0, 0, 0, 0, -1, 0, 0, 0, 0, 0};
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({1, 1}, 3, CameraColorOutput::FLOAT32, weights);
    const std::uint8_t colour[] = {255, 204, 51};
    output->setFromColors(colour, 3, false);
    EXPECT_FLOAT_EQ(valueAt<float>(*output, 0), 1.0F);
    EXPECT_FLOAT_EQ(valueAt<float>(*output, 1), 1.6F);
    EXPECT_FLOAT_EQ(valueAt<float>(*output, 2), -0.2F);

    qor::ref_ptr<CameraColorOutput> precise =
        new CameraColorOutput({1, 1}, 1, CameraColorOutput::FLOAT64, kIdentity);
    precise->setFromColors(colour, 3, false);
    EXPECT_DOUBLE_EQ(valueAt<double>(*precise, 0), 1.0);
}

TEST(CameraColorOutput, SaturatesIntegerChannels) {
    const Matrix weights = {
        2, 0, 0, 0, -1, 0, 0, 0, -2, 0, 0, 0, std::numeric_limits<double>::quiet_NaN(), 0, 0, 0};
    const std::uint8_t white[] = {255, 255, 255};
    qor::ref_ptr<CameraColorOutput> unsigned8 =
        new CameraColorOutput({1, 1}, 4, CameraColorOutput::UINT8, weights);
    unsigned8->setFromColors(white, 3, false);
    EXPECT_EQ(bytesOf(*unsigned8), (std::vector<std::uint8_t>{255, 0, 0, 0}));

    qor::ref_ptr<CameraColorOutput> signed8 =
        new CameraColorOutput({1, 1}, 4, CameraColorOutput::INT8, weights);
    signed8->setFromColors(white, 3, false);
    EXPECT_EQ(valueAt<std::int8_t>(*signed8, 0), 127);
    EXPECT_EQ(valueAt<std::int8_t>(*signed8, 1), -127);
    EXPECT_EQ(valueAt<std::int8_t>(*signed8, 2), -128);
    EXPECT_EQ(valueAt<std::int8_t>(*signed8, 3), 0);

    qor::ref_ptr<CameraColorOutput> unsigned32 =
        new CameraColorOutput({1, 1}, 1, CameraColorOutput::UINT32, weights);
    unsigned32->setFromColors(white, 3, false);
    EXPECT_EQ(valueAt<std::uint32_t>(*unsigned32, 0), 4294967295U);
}

TEST(CameraColorOutput, AMosaicTakesTheChannelOfEachPlaceInTheCell) {
    // 4 x 2 pixels: the RGGB cell repeats every two columns.
    std::vector<std::uint8_t> source;
    for (std::uint8_t pixel = 0; pixel < 8; ++pixel) {
        const auto base = static_cast<std::uint8_t>(pixel * 30);
        source.insert(source.end(), {base, static_cast<std::uint8_t>(base + 1),
                                     static_cast<std::uint8_t>(base + 2)});
    }
    qor::ref_ptr<CameraColorOutput> output = new CameraColorOutput(
        {4, 2}, 4, CameraColorOutput::UINT8, kRggb, CameraColorOutput::MOSAIC_2X2);
    output->setFromColors(source.data(), 3, false);
    // Top row R G R G, bottom row G B G B.
    EXPECT_EQ(bytesOf(*output), (std::vector<std::uint8_t>{0, 31, 60, 91, 121, 152, 181, 212}));
}

TEST(CameraColorOutput, KeepsALongerBufferWholeAndRefusesAShorterOne) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({2, 2}, 3, CameraColorOutput::UINT8, kIdentity);
    output->setData(std::vector<std::uint8_t>(20, 7));
    EXPECT_EQ(output->getData().size, 20U);
    expectInvalidArgument([&] { output->setData(std::vector<std::uint8_t>(11, 7)); },
                          "CameraColorOutput::setData: 11 bytes given; an image of 2x2 needs 12");
    EXPECT_EQ(output->getData().size, 20U);
}

TEST(CameraColorOutput, MappingAllocatesNothing) {
    qor::ref_ptr<CameraColorOutput> output =
        new CameraColorOutput({2, 2}, 4, CameraColorOutput::FLOAT32, kIdentity);
    const std::uint64_t before = qorTest::allocationCounts().allocations;
    output->setFromColors(kSource.data(), 3, true);
    EXPECT_EQ(qorTest::allocationCounts().allocations, before);
}

TEST(CameraColorOutput, RefusesWhatItCannotBe) {
    expectInvalidArgument(
        [] {
            const qor::ref_ptr<CameraColorOutput> made =
                new CameraColorOutput({-1, 2}, 3, CameraColorOutput::UINT8, kIdentity);
        },
        "CameraColorOutput: the resolution -1x2 is negative");
    expectInvalidArgument(
        [] {
            const qor::ref_ptr<CameraColorOutput> made = new CameraColorOutput(
                {1, 1}, 3, static_cast<CameraColorOutput::ChannelType>(3), kIdentity);
        },
        "CameraColorOutput: channel type 3 is not a type of this platform");
    expectInvalidArgument(
        [] {
            const qor::ref_ptr<CameraColorOutput> made = new CameraColorOutput(
                {2, 2}, 3, CameraColorOutput::UINT8, kIdentity, CameraColorOutput::MOSAIC_2X2);
        },
        "CameraColorOutput: a 2x2 mosaic needs 4 channels, one per place in the cell; 3 were "
        "given");
}

TEST(CameraColorOutput, RefusesColoursItCannotMap) {
    qor::ref_ptr<CameraColorOutput> rgb =
        new CameraColorOutput({2, 2}, 3, CameraColorOutput::UINT8, kIdentity);
    expectInvalidArgument([&] { rgb->setFromColors(kSource.data(), 2, false); },
                          "CameraColorOutput::setFromColors: source pixels of 2 channels; only 3 "
                          "(RGB) and 4 (RGBA) can be mapped");
    qor::ref_ptr<CameraColorOutput> untyped =
        new CameraColorOutput({2, 2}, 3, CameraColorOutput::NONE, kIdentity);
    expectInvalidArgument([&] { untyped->setFromColors(kSource.data(), 3, false); },
                          "CameraColorOutput::setFromColors: an output of 3 channels of type 0 "
                          "cannot be mapped from colours; it needs a channel type and at most 4 "
                          "channels");
    qor::ref_ptr<CameraColorOutput> wide =
        new CameraColorOutput({2, 2}, 5, CameraColorOutput::UINT8, kIdentity);
    expectInvalidArgument([&] { wide->setFromColors(kSource.data(), 3, false); },
                          "CameraColorOutput::setFromColors: an output of 5 channels of type 2 "
                          "cannot be mapped from colours; it needs a channel type and at most 4 "
                          "channels");
}

}  // namespace
