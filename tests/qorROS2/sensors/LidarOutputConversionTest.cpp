// convertLidarOutput: a PointCloud2 whose fields describe every element of the output's
// non-padding fields, with the points' bytes unchanged.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "SensorTesting.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2Util.h"
#include "qorSensor/RtOutput.h"

namespace {

using qorSensor::RtOutput;
using qorTest::isStamp;

// Fields by their 32-bit identifiers: meaning << 24 | bytes << 16 | elements << 12 | padding
// bit 0x400 | element type.
RtOutput::Field fieldId(std::uint32_t bits) {
    return static_cast<RtOutput::Field>(bits);
}

struct ExpectedField {
    std::string name;
    std::uint32_t offset;
    std::uint8_t datatype;
};

void expectFields(const qorROS2::sensorMsgs::PointCloud2& cloud,
                  const std::vector<ExpectedField>& expected) {
    ASSERT_EQ(cloud.fields.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(cloud.fields[i].name, expected[i].name) << "field " << i;
        EXPECT_EQ(cloud.fields[i].offset, expected[i].offset) << "field " << i;
        EXPECT_EQ(cloud.fields[i].datatype, expected[i].datatype) << "field " << i;
        EXPECT_EQ(cloud.fields[i].count, 1U) << "field " << i;
    }
}

// An output of the usual lidar layout holding count points of seeded bytes.
qor::ref_ptr<RtOutput> pointsOf(std::size_t count, std::vector<std::uint8_t>* bytes = nullptr) {
    qor::ref_ptr<RtOutput> output =
        new RtOutput({RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4, RtOutput::INTENSITY_F32});
    std::vector<std::uint8_t> points = qorTest::seededBytes(count * 20, 23);
    if (bytes != nullptr) {
        *bytes = points;
    }
    output->setData(std::move(points));
    return output;
}

TEST(LidarOutputConversion, ANullOutputGivesHeaderAndShapeOnly) {
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(nullptr, 12.5, "lidar", false, 16);
    EXPECT_EQ(cloud.header.frame_id, "lidar");
    EXPECT_TRUE(isStamp(cloud.header.stamp, 12, 500000000));
    EXPECT_EQ(cloud.height, 16U);
    EXPECT_EQ(cloud.width, 0U);
    EXPECT_TRUE(cloud.fields.empty());
    EXPECT_TRUE(cloud.data.empty());
    EXPECT_EQ(cloud.point_step, 0U);
    EXPECT_EQ(cloud.row_step, 0U);
    EXPECT_FALSE(cloud.is_dense);
    EXPECT_FALSE(cloud.is_bigendian);
}

TEST(LidarOutputConversion, ANullDenseOutputIsOneRow) {
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(nullptr, 0, "lidar", true, 16);
    EXPECT_EQ(cloud.height, 1U);
    EXPECT_TRUE(cloud.is_dense);
}

TEST(LidarOutputConversion, SplitsThePositionAndSkipsThePadding) {
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(pointsOf(3).get(), 0, "lidar", true, 1);
    expectFields(cloud, {{"x", 0, 7}, {"y", 4, 7}, {"z", 8, 7}, {"intensity", 16, 7}});
    EXPECT_EQ(cloud.point_step, 20U);
}

TEST(LidarOutputConversion, AFieldWithoutElementsTakesNoRoom) {
    // 16 bytes of float32 type, but no element: neither a field nor an offset.
    const RtOutput::Field empty = fieldId(0x00100007);
    ASSERT_EQ(RtOutput::sizeOf(empty), 16U);
    ASSERT_EQ(RtOutput::getFieldElementCount(empty), 0U);
    qor::ref_ptr<RtOutput> output =
        new RtOutput({RtOutput::XYZ_VEC3_F32, empty, RtOutput::INTENSITY_F32});
    output->setData(qorTest::seededBytes(2 * 32, 3));
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(output.get(), 0, "lidar", true, 1);
    expectFields(cloud, {{"x", 0, 7}, {"y", 4, 7}, {"z", 8, 7}, {"intensity", 12, 7}});
    EXPECT_EQ(cloud.point_step, 16U);
    // The points themselves are 32 bytes; the field layout and the data are taken independently.
    EXPECT_EQ(cloud.data.size(), 64U);
}

TEST(LidarOutputConversion, ADenseCloudIsOneRowOfAllPoints) {
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(pointsOf(1000).get(), 0, "lidar", true, 16);
    EXPECT_EQ(cloud.height, 1U);
    EXPECT_EQ(cloud.width, 1000U);
    EXPECT_EQ(cloud.row_step, 1000U);
    EXPECT_TRUE(cloud.is_dense);
}

TEST(LidarOutputConversion, AnOrganisedCloudDropsTheRemainderFromTheWidthOnly) {
    std::vector<std::uint8_t> bytes;
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(pointsOf(1000, &bytes).get(), 0, "lidar", false, 16);
    EXPECT_EQ(cloud.height, 16U);
    EXPECT_EQ(cloud.width, 62U);
    EXPECT_EQ(cloud.row_step, 1000U);
    EXPECT_FALSE(cloud.is_dense);
    ASSERT_EQ(cloud.data.size(), 20000U);
    EXPECT_EQ(cloud.data, bytes);
    EXPECT_EQ(cloud.data.capacity(), cloud.data.size());
}

TEST(LidarOutputConversion, NoRowsMeansNoWidth) {
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(pointsOf(10).get(), 0, "lidar", false, 0);
    EXPECT_EQ(cloud.height, 0U);
    EXPECT_EQ(cloud.width, 0U);
    EXPECT_EQ(cloud.row_step, 10U);
    EXPECT_EQ(cloud.data.size(), 200U);
}

TEST(LidarOutputConversion, TruncatesTheStamp) {
    qor::ref_ptr<RtOutput> output = pointsOf(1);
    EXPECT_TRUE(isStamp(qorROS2::convertLidarOutput(output.get(), 12.5, "", true, 1).header.stamp,
                        12, 500000000));
    EXPECT_TRUE(isStamp(qorROS2::convertLidarOutput(output.get(), -0.25, "", true, 1).header.stamp,
                        0, 459551616));
}

TEST(LidarOutputConversion, PaddingMakesNoFieldWhateverItsSize) {
    // Padding of 0, 1, 12 and 255 bytes, and a position identifier with the padding bit set.
    const std::vector<RtOutput::Field> paddings = {fieldId(0x00000400), RtOutput::PADDING_1,
                                                   fieldId(0x000C0400), fieldId(0x00FF0400),
                                                   fieldId(0x010C3407)};
    qor::ref_ptr<RtOutput> output = new RtOutput(paddings);
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(output.get(), 0, "lidar", true, 1);
    EXPECT_TRUE(cloud.fields.empty());
    EXPECT_EQ(cloud.point_step, 0U + 1U + 12U + 255U + 12U);
}

TEST(LidarOutputConversion, OffsetsCountThePaddingBeforeEachField) {
    qor::ref_ptr<RtOutput> output =
        new RtOutput({RtOutput::PADDING_2, RtOutput::RING_U16, RtOutput::PADDING_4,
                      RtOutput::RANGE_F32, RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_8});
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(output.get(), 0, "lidar", true, 1);
    // The element types go in as PointField codes: 4 is uint16, 7 float32.
    expectFields(cloud,
                 {{"ring", 2, 4}, {"range", 8, 7}, {"x", 12, 7}, {"y", 16, 7}, {"z", 20, 7}});
    EXPECT_EQ(cloud.point_step, 32U);
    EXPECT_TRUE(cloud.data.empty());
    EXPECT_EQ(cloud.width, 0U);
}

TEST(LidarOutputConversion, CopiesASinglePointOfOneByte) {
    const RtOutput::Field oneByte = fieldId(0x04011002);  // one uint8 element named "ring"
    qor::ref_ptr<RtOutput> output = new RtOutput({oneByte});
    output->setData({0xA5});
    const qorROS2::sensorMsgs::PointCloud2 cloud =
        qorROS2::convertLidarOutput(output.get(), 0, "lidar", true, 1);
    expectFields(cloud, {{"ring", 0, 2}});
    EXPECT_EQ(cloud.data, std::vector<std::uint8_t>{0xA5});
    EXPECT_EQ(cloud.data.capacity(), 1U);
    EXPECT_EQ(cloud.width, 1U);
}

}  // namespace
