// Payloads of a few records, written out byte by byte: what the encoder must write and the
// decoder must read back. The comments give each value's offset counted from the end of the
// encapsulation header, the origin of every alignment.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "CodecTesting.h"
#include "Hex.h"
#include "KnownRecords.h"
#include "RecordWalk.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/Messages.h"

namespace {

using namespace qorROS2;
using Bytes = std::vector<std::uint8_t>;
using qorTest::knownJointState;

template <typename Record>
void expectLayout(const Record& record, const Bytes& expected) {
    EXPECT_EQ(cdr::encodedSize(record), expected.size());
    EXPECT_EQ(qorTest::toHex(qorTest::encodeToVector(record)), qorTest::toHex(expected));
    Record decoded{};
    const cdr::DecodeResult result = cdr::decode(expected.data(), expected.size(), decoded);
    ASSERT_TRUE(result.ok()) << result.describe();
    EXPECT_TRUE(qorTest::sameContents(decoded, record));
}

TEST(CdrLayout, ClockIsTwoWordsAfterTheHeader) {
    rosgraphMsgs::Clock clock{};
    clock.clock.sec = -2;
    clock.clock.nanosec = 500000000;
    expectLayout(clock, {0x00, 0x01, 0x00, 0x00,    // little-endian plain CDR
                         0xfe, 0xff, 0xff, 0xff,    //  0 clock.sec
                         0x00, 0x65, 0xcd, 0x1d});  //  4 clock.nanosec
}

TEST(CdrLayout, HeaderStringCountsItsNul) {
    stdMsgs::Header header{};
    header.stamp.sec = 0x01020304;
    header.stamp.nanosec = 5;
    header.frame_id = "map";
    expectLayout(header, {0x00, 0x01, 0x00, 0x00,    //
                          0x04, 0x03, 0x02, 0x01,    //  0 stamp.sec
                          0x05, 0x00, 0x00, 0x00,    //  4 stamp.nanosec
                          0x04, 0x00, 0x00, 0x00,    //  8 frame_id length, NUL included
                          'm',  'a',  'p',  0x00});  // 12 frame_id
}

TEST(CdrLayout, DoubleAfterAnOddStringIsPaddedToEight) {
    geometryMsgs::PointStamped point{};
    point.header.stamp.sec = 7;
    point.header.stamp.nanosec = 8;
    point.header.frame_id = "odom";
    point.point.x = 1.0;
    point.point.y = -2.0;
    point.point.z = 0.5;
    expectLayout(point, {0x00, 0x01, 0x00, 0x00,                          //
                         0x07, 0x00, 0x00, 0x00,                          //  0 stamp.sec
                         0x08, 0x00, 0x00, 0x00,                          //  4 stamp.nanosec
                         0x05, 0x00, 0x00, 0x00,                          //  8 frame_id length
                         'o',  'd',  'o',  'm',  0x00,                    // 12 frame_id
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,        // 17 padding
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf0, 0x3f,  // 24 x
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xc0,  // 32 y
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xe0, 0x3f});
}

TEST(CdrLayout, EmptyIsItsPlaceholderByte) {
    expectLayout(stdMsgs::Empty{}, {0x00, 0x01, 0x00, 0x00, 0x00});
}

TEST(CdrLayout, JointStateSequencesAlignTheirBlocksOnlyWhenNotEmpty) {
    expectLayout(knownJointState(),
                 {0x00, 0x01, 0x00, 0x00,                          //
                  0x01, 0x00, 0x00, 0x00,                          //  0 header.stamp.sec
                  0x02, 0x00, 0x00, 0x00,                          //  4 header.stamp.nanosec
                  0x01, 0x00, 0x00, 0x00,                          //  8 frame_id length
                  0x00,                                            // 12 frame_id: the NUL only
                  0x00, 0x00, 0x00,                                // 13 padding
                  0x02, 0x00, 0x00, 0x00,                          // 16 name count
                  0x02, 0x00, 0x00, 0x00,                          // 20 name[0] length
                  'a',  0x00,                                      // 24 name[0]
                  0x00, 0x00,                                      // 26 padding
                  0x03, 0x00, 0x00, 0x00,                          // 28 name[1] length
                  'b',  'c',  0x00,                                // 32 name[1]
                  0x00,                                            // 35 padding
                  0x01, 0x00, 0x00, 0x00,                          // 36 position count
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xf8, 0x3f,  // 40 position[0]
                  0x00, 0x00, 0x00, 0x00,                          // 48 velocity count, no block
                  0x02, 0x00, 0x00, 0x00,                          // 52 effort count
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xc0,  // 56 effort[0]
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xd0, 0x3f});
}

TEST(CdrLayout, ImagePixelsFollowTheirCount) {
    sensorMsgs::Image image{};
    image.header.frame_id = "cam";
    image.height = 1;
    image.width = 2;
    image.encoding = "mono8";
    image.is_bigendian = 1;
    image.step = 2;
    image.data = {0x10, 0xff};
    expectLayout(image, {0x00, 0x01, 0x00, 0x00,             //
                         0x00, 0x00, 0x00, 0x00,             //  0 header.stamp.sec
                         0x00, 0x00, 0x00, 0x00,             //  4 header.stamp.nanosec
                         0x04, 0x00, 0x00, 0x00,             //  8 frame_id length
                         'c',  'a',  'm',  0x00,             // 12 frame_id
                         0x01, 0x00, 0x00, 0x00,             // 16 height
                         0x02, 0x00, 0x00, 0x00,             // 20 width
                         0x06, 0x00, 0x00, 0x00,             // 24 encoding length
                         'm',  'o',  'n',  'o',  '8', 0x00,  // 28 encoding
                         0x01,                               // 34 is_bigendian
                         0x00,                               // 35 padding
                         0x02, 0x00, 0x00, 0x00,             // 36 step
                         0x02, 0x00, 0x00, 0x00,             // 40 data count
                         0x10, 0xff});                       // 44 data
}

TEST(CdrLayout, PointCloud2FieldsAreRecordsInARow) {
    sensorMsgs::PointCloud2 cloud{};
    cloud.header.stamp.sec = 3;
    cloud.header.stamp.nanosec = 4;
    cloud.header.frame_id = "l";
    cloud.height = 1;
    cloud.width = 1;
    cloud.fields.resize(2);
    cloud.fields[0].name = "x";
    cloud.fields[0].offset = 0;
    cloud.fields[0].datatype = 7;
    cloud.fields[0].count = 1;
    cloud.fields[1].name = "rgb";
    cloud.fields[1].offset = 4;
    cloud.fields[1].datatype = 6;
    cloud.fields[1].count = 1;
    cloud.is_bigendian = false;
    cloud.point_step = 8;
    cloud.row_step = 8;
    cloud.data = {1, 2, 3, 4, 5, 6, 7, 8};
    cloud.is_dense = true;
    expectLayout(cloud, {0x00, 0x01, 0x00, 0x00,  //
                         0x03, 0x00, 0x00, 0x00,  //  0 header.stamp.sec
                         0x04, 0x00, 0x00, 0x00,  //  4 header.stamp.nanosec
                         0x02, 0x00, 0x00, 0x00,  //  8 frame_id length
                         'l',  0x00,              // 12 frame_id
                         0x00, 0x00,              // 14 padding
                         0x01, 0x00, 0x00, 0x00,  // 16 height
                         0x01, 0x00, 0x00, 0x00,  // 20 width
                         0x02, 0x00, 0x00, 0x00,  // 24 fields count
                         0x02, 0x00, 0x00, 0x00,  // 28 fields[0].name length
                         'x',  0x00,              // 32 fields[0].name
                         0x00, 0x00,              // 34 padding
                         0x00, 0x00, 0x00, 0x00,  // 36 fields[0].offset
                         0x07,                    // 40 fields[0].datatype
                         0x00, 0x00, 0x00,        // 41 padding
                         0x01, 0x00, 0x00, 0x00,  // 44 fields[0].count
                         0x04, 0x00, 0x00, 0x00,  // 48 fields[1].name length
                         'r',  'g',  'b',  0x00,  // 52 fields[1].name
                         0x04, 0x00, 0x00, 0x00,  // 56 fields[1].offset
                         0x06,                    // 60 fields[1].datatype
                         0x00, 0x00, 0x00,        // 61 padding
                         0x01, 0x00, 0x00, 0x00,  // 64 fields[1].count
                         0x00,                    // 68 is_bigendian
                         0x00, 0x00, 0x00,        // 69 padding
                         0x08, 0x00, 0x00, 0x00,  // 72 point_step
                         0x08, 0x00, 0x00, 0x00,  // 76 row_step
                         0x08, 0x00, 0x00, 0x00,  // 80 data count
                         0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,  // 84 data
                         0x01});                                          // 92 is_dense
}

TEST(CdrLayout, EncapsulationOptionsAreIgnored) {
    std::vector<std::uint8_t> payload = qorTest::encodeToVector(knownJointState());
    payload[2] = 0x12;
    payload[3] = 0x34;
    sensorMsgs::JointState decoded{};
    const cdr::DecodeResult result = cdr::decode(payload.data(), payload.size(), decoded);
    ASSERT_TRUE(result.ok()) << result.describe();
    EXPECT_TRUE(qorTest::sameContents(decoded, knownJointState()));
}

TEST(CdrLayout, DecodeResultOfASuccessSaysSo) {
    const std::vector<std::uint8_t> payload = qorTest::encodeToVector(knownJointState());
    sensorMsgs::JointState decoded{};
    const cdr::DecodeResult result = cdr::decode(payload.data(), payload.size(), decoded);
    EXPECT_TRUE(result.ok());
    EXPECT_EQ(result.error(), cdr::DecodeError::none);
    EXPECT_EQ(result.describe(), "decoded");
}

}  // namespace
