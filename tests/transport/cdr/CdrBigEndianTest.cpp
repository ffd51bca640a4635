// Big-endian payloads (encapsulation 00 00), which some DDS implementations on some hosts send:
// every primitive arrives byte-swapped, blocks included, and must decode to the same record as its
// little-endian twin. Each layout is written once by hand for both byte orders; the little-endian
// one must be exactly what the encoder writes, which checks the hand-written layout itself.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <vector>

#include "CodecTesting.h"
#include "Hex.h"
#include "KnownRecords.h"
#include "PayloadBuilder.h"
#include "RecordWalk.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/Messages.h"

namespace {

using namespace qorROS2;
using qorTest::ByteOrder;
using qorTest::PayloadBuilder;

using Layout = std::function<void(PayloadBuilder&)>;

std::vector<std::uint8_t> build(ByteOrder order, const Layout& layout) {
    PayloadBuilder builder(order);
    layout(builder);
    return builder.bytes();
}

template <typename Record>
void expectBothOrdersDecodeTo(const Record& record, const Layout& layout) {
    const std::vector<std::uint8_t> little = build(ByteOrder::little, layout);
    const std::vector<std::uint8_t> big = build(ByteOrder::big, layout);
    ASSERT_EQ(qorTest::toHex(qorTest::encodeToVector(record)), qorTest::toHex(little))
        << "the hand-written layout is not the one the encoder writes";
    ASSERT_NE(little, big);

    Record decoded{};
    const cdr::DecodeResult result = cdr::decode(big.data(), big.size(), decoded);
    ASSERT_TRUE(result.ok()) << result.describe();
    EXPECT_TRUE(qorTest::sameContents(decoded, record));
}

void jointStateLayout(PayloadBuilder& b) {
    b.i32(1).u32(2).u32(1).text("").pad(3);                     // header
    b.u32(2).u32(2).text("a").pad(2).u32(3).text("bc").pad(1);  // name
    b.u32(1).f64(1.5);                                          // position
    b.u32(0);                                                   // velocity
    b.u32(2).f64(-2.0).f64(0.25);                               // effort
}

TEST(CdrBigEndian, JointStateDecodesLikeItsLittleEndianTwin) {
    expectBothOrdersDecodeTo(qorTest::knownJointState(), jointStateLayout);
}

TEST(CdrBigEndian, CameraInfoFixedArraysAreSwappedElementByElement) {
    sensorMsgs::CameraInfo info{};
    info.header.stamp.sec = 100;
    info.header.stamp.nanosec = 200;
    info.header.frame_id = "camera";
    info.height = 480;
    info.width = 640;
    info.distortion_model = "plumb_bob";
    info.d = {0.1, -0.2, 0.001, 0.002, -0.0};
    info.k = {500.0, 0.0, 320.5, 0.0, 501.0, 240.25, 0.0, 0.0, 1.0};
    info.r = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    info.p = {500.0, 0.0, 320.5, -35.0, 0.0, 501.0, 240.25, 0.0, 0.0, 0.0, 1.0, 0.0};
    info.binning_x = 2;
    info.binning_y = 3;
    info.roi = {10, 20, 30, 40, true};
    expectBothOrdersDecodeTo(info, [](PayloadBuilder& b) {
        b.i32(100).u32(200).u32(7).text("camera").pad(1);                //  0 header
        b.u32(480).u32(640);                                             // 20 height, width
        b.u32(10).text("plumb_bob").pad(2);                              // 28 distortion_model
        b.u32(5).f64s({0.1, -0.2, 0.001, 0.002, -0.0});                  // 44 d; values at 48
        b.f64s({500.0, 0.0, 320.5, 0.0, 501.0, 240.25, 0.0, 0.0, 1.0});  // 88 k
        b.f64s({1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0});           // 160 r
        b.f64s({500.0, 0.0, 320.5, -35.0, 0.0, 501.0, 240.25, 0.0, 0.0, 0.0, 1.0, 0.0});  // 232 p
        b.u32(2).u32(3);                          // 328 binning
        b.u32(10).u32(20).u32(30).u32(40).u8(1);  // 336 roi
    });
}

TEST(CdrBigEndian, SixteenBitBlocksAreSwapped) {
    stdMsgs::Int16MultiArray array{};
    array.layout.dim.resize(1);
    array.layout.dim[0].label = "x";
    array.layout.dim[0].size = 3;
    array.layout.dim[0].stride = 3;
    array.data = {-2, 0x1234, 7};
    expectBothOrdersDecodeTo(array, [](PayloadBuilder& b) {
        b.u32(1).u32(2).text("x").pad(2).u32(3).u32(3);  // layout.dim
        b.u32(0);                                        // layout.data_offset
        b.u32(3).i16(-2).i16(0x1234).i16(7);             // data
    });
}

TEST(CdrBigEndian, SixtyFourBitIntegersAreSwapped) {
    stdMsgs::UInt64MultiArray array{};
    array.layout.data_offset = 9;
    array.data = {0x0102030405060708ULL, 0xfffffffffffffffeULL};
    expectBothOrdersDecodeTo(array, [](PayloadBuilder& b) {
        b.u32(0).u32(9);                                                        // layout
        b.u32(2).pad(4).u64(0x0102030405060708ULL).u64(0xfffffffffffffffeULL);  // data
    });
}

TEST(CdrBigEndian, SingleFloatsAreSwapped) {
    sensorMsgs::Range range{};
    range.header.stamp.sec = -1;
    range.header.stamp.nanosec = 2;
    range.header.frame_id = "ir";
    range.radiation_type = 1;
    range.field_of_view = 0.5f;
    range.min_range = 0.1f;
    range.max_range = 4.0f;
    range.range = -2.5f;
    expectBothOrdersDecodeTo(range, [](PayloadBuilder& b) {
        b.i32(-1).u32(2).u32(3).text("ir");          //  0 header
        b.u8(1);                                     // 15 radiation_type
        b.f32(0.5f).f32(0.1f).f32(4.0f).f32(-2.5f);  // 16 the rest
    });
}

TEST(CdrBigEndian, LengthsAreCheckedInTheirOwnByteOrder) {
    std::vector<std::uint8_t> big = build(ByteOrder::big, jointStateLayout);
    // The name count, 16 after the header, becomes 256 in big-endian (65536 read the other way).
    const std::uint8_t count[] = {0x00, 0x00, 0x01, 0x00};
    std::copy(std::begin(count), std::end(count), big.begin() + 20);
    sensorMsgs::JointState decoded{};
    const cdr::DecodeResult result = cdr::decode(big.data(), big.size(), decoded);
    EXPECT_EQ(result.describe(),
              "name: sequence length 256 at byte 20 exceeds the 52 bytes left (each element "
              "takes at least 5)");
}

}  // namespace
