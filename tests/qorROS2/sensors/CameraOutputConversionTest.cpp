// convertCameraOutput: an Image record of the output's size, encoding and leading pixel bytes,
// stamped by truncating the simulation time.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "SensorTesting.h"
#include "qorROS2/ROS2Util.h"

namespace {

using qorSensor::CameraColorOutput;
using qorSensor::Resolution;
using qorTest::isStamp;
using qorTest::kA;
using qorTest::kB;
using qorTest::kG;
using qorTest::kR;
using qorTest::matrixOf;

const CameraColorOutput::ColorMappingMatrix kIdentity = matrixOf(kR, kG, kB, kA);

// An output whose pixels the platform has no type for, but whose bytes still form pixels of
// elementSize bytes each, as an SDK output of an opaque format would.
class OpaqueOutput : public CameraColorOutput {
  public:
    OpaqueOutput(Resolution resolution, std::uint64_t channels, std::uint64_t elementSize)
        : CameraColorOutput(resolution, channels, NONE, kIdentity), m_elementSize(elementSize) {}

    std::uint64_t getElementSize() const override { return m_elementSize; }

  protected:
    ~OpaqueOutput() override = default;

  private:
    std::uint64_t m_elementSize;
};

// An output that reports whatever size it is told, without pixels behind it: for the sizes that
// no real output has.
class ReportedSizeOutput : public CameraColorOutput {
  public:
    ReportedSizeOutput(Resolution reported, std::uint64_t elementSize)
        : CameraColorOutput({0, 0}, 3, UINT8, kIdentity),
          m_reported(reported),
          m_elementSize(elementSize) {}

    Resolution getResolution() const override { return m_reported; }
    std::uint64_t getElementSize() const override { return m_elementSize; }

  protected:
    ~ReportedSizeOutput() override = default;

  private:
    Resolution m_reported;
    std::uint64_t m_elementSize;
};

TEST(CameraOutputConversion, CopiesAVgaImageOfThreeBytePixels) {
    qor::ref_ptr<CameraColorOutput> output =
        qorTest::outputOf(3, CameraColorOutput::UINT8, kIdentity, 640, 480);
    const std::vector<std::uint8_t> pixels = qorTest::seededBytes(921600, 7);
    output->setData(pixels);

    const qorROS2::sensorMsgs::Image image =
        qorROS2::convertCameraOutput(output.get(), 3.5, "camera_optical");
    EXPECT_EQ(image.height, 480U);
    EXPECT_EQ(image.width, 640U);
    EXPECT_EQ(image.step, 1920U);
    EXPECT_EQ(image.encoding, "rgb8");
    EXPECT_EQ(image.header.frame_id, "camera_optical");
    EXPECT_TRUE(isStamp(image.header.stamp, 3, 500000000));
    ASSERT_EQ(image.data.size(), 921600U);
    EXPECT_EQ(image.data, pixels);
    // One allocation of exactly the bytes needed.
    EXPECT_EQ(image.data.capacity(), image.data.size());
}

TEST(CameraOutputConversion, AnEmptyOutputStillGetsItsEncoding) {
    qor::ref_ptr<CameraColorOutput> output =
        qorTest::outputOf(3, CameraColorOutput::UINT8, kIdentity, 0, 0);
    const qorROS2::sensorMsgs::Image image = qorROS2::convertCameraOutput(output.get(), 0.0, "c");
    EXPECT_EQ(image.height, 0U);
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.step, 0U);
    EXPECT_TRUE(image.data.empty());
    EXPECT_EQ(image.data.capacity(), 0U);
    EXPECT_EQ(image.encoding, "rgb8");
}

TEST(CameraOutputConversion, TruncatesTheStamp) {
    qor::ref_ptr<CameraColorOutput> output =
        qorTest::outputOf(1, CameraColorOutput::UINT8, matrixOf(kR, kG, kB, kA), 2, 2);
    EXPECT_TRUE(
        isStamp(qorROS2::convertCameraOutput(output.get(), 12.25, "").header.stamp, 12, 250000000));
    EXPECT_TRUE(isStamp(qorROS2::convertCameraOutput(output.get(), 1.9999999999, "").header.stamp,
                        1, 999999999));
    EXPECT_TRUE(
        isStamp(qorROS2::convertCameraOutput(output.get(), 1.001, "").header.stamp, 1, 999999));
}

TEST(CameraOutputConversion, TimesOutsideTheStampsRangeAreCarriedAsTheyConvert) {
    qor::ref_ptr<CameraColorOutput> output =
        qorTest::outputOf(1, CameraColorOutput::UINT8, kIdentity, 1, 1);
    EXPECT_TRUE(
        isStamp(qorROS2::convertCameraOutput(output.get(), -0.25, "").header.stamp, 0, 459551616));
    EXPECT_TRUE(isStamp(qorROS2::convertCameraOutput(output.get(), 2147483648.0, "").header.stamp,
                        -2147483647 - 1, 0));
}

TEST(CameraOutputConversion, IsNeverBigEndian) {
    const std::vector<CameraColorOutput::ChannelType> types = {
        CameraColorOutput::UINT8, CameraColorOutput::UINT16, CameraColorOutput::INT16,
        CameraColorOutput::FLOAT32, CameraColorOutput::FLOAT64};
    for (const CameraColorOutput::ChannelType type : types) {
        qor::ref_ptr<CameraColorOutput> output = qorTest::outputOf(3, type, kIdentity, 4, 3);
        const qorROS2::sensorMsgs::Image image = qorROS2::convertCameraOutput(output.get(), 0, "");
        EXPECT_EQ(image.is_bigendian, 0U) << image.encoding;
        EXPECT_EQ(image.step, 4 * 3 * CameraColorOutput::sizeOf(type)) << image.encoding;
    }
    qor::ref_ptr<CameraColorOutput> rgb16 =
        qorTest::outputOf(3, CameraColorOutput::UINT16, kIdentity, 4, 3);
    EXPECT_EQ(qorROS2::convertCameraOutput(rgb16.get(), 0, "").encoding, "rgb16");
}

TEST(CameraOutputConversion, AnOutputWithoutChannelTypeKeepsItsPixels) {
    qor::ref_ptr<OpaqueOutput> output = new OpaqueOutput({5, 4}, 3, 3);
    const std::vector<std::uint8_t> pixels = qorTest::seededBytes(60, 11);
    output->setData(pixels);
    const qorROS2::sensorMsgs::Image image = qorROS2::convertCameraOutput(output.get(), 0, "");
    EXPECT_EQ(image.encoding, "");
    EXPECT_EQ(image.step, 15U);
    EXPECT_EQ(image.data, pixels);
}

TEST(CameraOutputConversion, TakesOnlyTheLeadingBytesOfALongerBuffer) {
    qor::ref_ptr<CameraColorOutput> output = qorTest::outputOf(
        4, CameraColorOutput::UINT16, matrixOf(kR, kG, kG, kB), /*width=*/3, /*height=*/2);
    const std::vector<std::uint8_t> pixels = qorTest::seededBytes(48 + 17, 13);
    output->setData(pixels);
    const qorROS2::sensorMsgs::Image image = qorROS2::convertCameraOutput(output.get(), 0, "");
    EXPECT_EQ(image.encoding, "bayer_rggb16");
    EXPECT_EQ(image.step, 24U);
    EXPECT_EQ(image.data, std::vector<std::uint8_t>(pixels.begin(), pixels.begin() + 48));
}

TEST(CameraOutputConversion, CopiesTheBytesUnchangedWithoutFlippingOrSwapping) {
    // bgr8 stays in blue, green, red order, rows stay in the order of the buffer.
    qor::ref_ptr<CameraColorOutput> output =
        qorTest::outputOf(3, CameraColorOutput::UINT8, matrixOf(kB, kG, kR, kA), 2, 2);
    const std::vector<std::uint8_t> pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    output->setData(pixels);
    const qorROS2::sensorMsgs::Image image = qorROS2::convertCameraOutput(output.get(), 0, "");
    EXPECT_EQ(image.encoding, "bgr8");
    EXPECT_EQ(image.data, pixels);
}

TEST(CameraOutputConversion, TakesAFrameIdentifierMovedIn) {
    qor::ref_ptr<CameraColorOutput> output =
        qorTest::outputOf(1, CameraColorOutput::UINT8, kIdentity, 1, 1);
    std::string frame(200, 'f');
    const qorROS2::sensorMsgs::Image image =
        qorROS2::convertCameraOutput(output.get(), 0, std::move(frame));
    EXPECT_EQ(image.header.frame_id, std::string(200, 'f'));
}

TEST(CameraOutputConversion, TruncatesSizesTo32BitsAndWrapsTheStep) {
    // 2^31-byte pixels, two to a row: the step wraps to 0; no row means no bytes.
    qor::ref_ptr<ReportedSizeOutput> wide =
        new ReportedSizeOutput({(std::int64_t{1} << 32) + 2, 0}, std::uint64_t{1} << 31);
    const qorROS2::sensorMsgs::Image image = qorROS2::convertCameraOutput(wide.get(), 0, "");
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.height, 0U);
    EXPECT_EQ(image.step, 0U);
    EXPECT_TRUE(image.data.empty());
}

TEST(CameraOutputConversion, ANegativeByteCountRaisesTheStandardLengthError) {
    qor::ref_ptr<ReportedSizeOutput> negative = new ReportedSizeOutput({-1, 1}, 3);
    try {
        qorROS2::convertCameraOutput(negative.get(), 0, "");
        FAIL() << "no exception";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "cannot create std::vector larger than max_size()");
    }
}

}  // namespace
