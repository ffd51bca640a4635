// Foreign payloads that are wrong in every way we know: cut short anywhere, lengths that claim
// more than the payload holds, bools that are not 0 or 1, strings without their NUL, unknown
// encapsulations, and seeded garbage. Each must fail cleanly with a message that says what and
// where, never read outside the payload, and never allocate more than the payload justifies.
//
// AllocationCounter.cpp is linked into this program: it counts every allocation and remembers the
// largest one. Each payload sits in a heap block of exactly its size, so a sanitizer build also
// catches any read past its end.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "CodecTesting.h"
#include "KnownRecords.h"
#include "SampleRecords.h"
#include "cdr/CdrCodec.h"
#include "qorROS2/Messages.h"

namespace {

using namespace qorROS2;
using Bytes = std::vector<std::uint8_t>;

// What decoding one payload did.
struct Attempt {
    cdr::DecodeResult result;
    std::size_t largestAllocation;  ///< the largest single allocation while decoding
    std::uint64_t allocations;      ///< allocations while decoding
};

// Decodes `payload` from a heap block of exactly its size into a fresh record.
template <typename Record>
Attempt decodeAlone(const Bytes& payload, Record& out) {
    const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[payload.size()]);
    std::copy(payload.begin(), payload.end(), exact.get());
    qorTest::resetLargestAllocation();
    const std::uint64_t before = qorTest::allocationCounts().allocations;
    cdr::DecodeResult result = cdr::decode(exact.get(), payload.size(), out);
    return Attempt{result, qorTest::largestAllocation(),
                   qorTest::allocationCounts().allocations - before};
}

template <typename Record>
Attempt decodeAlone(const Bytes& payload) {
    Record record{};
    return decodeAlone(payload, record);
}

template <typename Record>
std::string describeDecode(const Bytes& payload) {
    return decodeAlone<Record>(payload).result.describe();
}

Bytes knownJointStatePayload() {
    return qorTest::encodeToVector(qorTest::knownJointState());
}

void putUInt32(Bytes& payload, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        payload[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

TEST(CdrMalformed, EveryTruncationOfAJointStateFailsCleanly) {
    const Bytes whole = knownJointStatePayload();
    ASSERT_EQ(whole.size(), 76U);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        const Attempt attempt = decodeAlone<sensorMsgs::JointState>(cut);
        EXPECT_FALSE(attempt.result.ok());
        EXPECT_LE(attempt.largestAllocation,
                  size * cdr::heapBytesPerWireByte<sensorMsgs::JointState>);
        // A value may be reported at the aligned place where it would have started.
        EXPECT_LE(attempt.result.offset(), size + 7);
    }
}

TEST(CdrMalformed, TruncationSaysWhatWasCutAndWhere) {
    const Bytes whole = knownJointStatePayload();
    const auto cutTo = [&whole](std::size_t size) {
        return describeDecode<sensorMsgs::JointState>(
            Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    };
    EXPECT_EQ(cutTo(0), "payload of 0 bytes is shorter than its 4-byte encapsulation header");
    EXPECT_EQ(cutTo(1), "payload of 1 byte is shorter than its 4-byte encapsulation header");
    EXPECT_EQ(cutTo(4), "header.stamp.sec: int32 at byte 4 needs 4 bytes, only 0 left");
    EXPECT_EQ(cutTo(10), "header.stamp.nanosec: uint32 at byte 8 needs 4 bytes, only 2 left");
    EXPECT_EQ(cutTo(16), "header.frame_id: string length 1 at byte 12 exceeds the 0 bytes left");
    EXPECT_EQ(cutTo(17), "name: sequence length at byte 20 needs 4 bytes, only 0 left");
    EXPECT_EQ(cutTo(30),
              "name: sequence length 2 at byte 20 exceeds the 6 bytes left (each element takes "
              "at least 5)");
    EXPECT_EQ(cutTo(44),
              "position: sequence length 1 at byte 40 exceeds the 0 bytes left (each element "
              "takes at least 8)");
    EXPECT_EQ(cutTo(75),
              "effort: sequence length 2 at byte 56 exceeds the 15 bytes left (each element "
              "takes at least 8)");
}

TEST(CdrMalformed, BlockCutInsideItsPaddingIsTruncated) {
    stdMsgs::Float64MultiArray array{};
    array.data = {1.0, 2.0};
    const Bytes whole = qorTest::encodeToVector(array);
    // dim count 4, data_offset 8, data count 12, padding 16, values 20 to 35.
    ASSERT_EQ(whole.size(), 36U);
    EXPECT_EQ(describeDecode<stdMsgs::Float64MultiArray>(Bytes(whole.begin(), whole.end() - 4)),
              "data: float64[2] at byte 20 needs 16 bytes, only 12 left");
}

TEST(CdrMalformed, SequenceLengthOfAllOnesIsRefusedBeforeAnyAllocation) {
    stdMsgs::UInt8MultiArray bytes{};
    bytes.data = {1, 2, 3, 4, 5, 6, 7, 8};
    Bytes payload = qorTest::encodeToVector(bytes);
    putUInt32(payload, 12, 0xffffffffU);
    const Attempt attempt = decodeAlone<stdMsgs::UInt8MultiArray>(payload);
    EXPECT_EQ(attempt.result.describe(),
              "data: sequence length 4294967295 at byte 12 exceeds the 8 bytes left");
    EXPECT_EQ(attempt.allocations, 0U);
}

TEST(CdrMalformed, SequenceLengthOfAllOnesIsRefusedAtAnyDepth) {
    Bytes names = knownJointStatePayload();
    putUInt32(names, 20, 0xffffffffU);
    const Attempt namesAttempt = decodeAlone<sensorMsgs::JointState>(names);
    EXPECT_EQ(namesAttempt.result.describe(),
              "name: sequence length 4294967295 at byte 20 exceeds the 52 bytes left (each "
              "element takes at least 5)");
    EXPECT_EQ(namesAttempt.allocations, 0U);

    Bytes positions = knownJointStatePayload();
    putUInt32(positions, 40, 0xffffffffU);
    const Attempt positionsAttempt = decodeAlone<sensorMsgs::JointState>(positions);
    EXPECT_EQ(positionsAttempt.result.describe(),
              "position: sequence length 4294967295 at byte 40 exceeds the 32 bytes left (each "
              "element takes at least 8)");
    // Only the two names were allocated before the refusal.
    EXPECT_LE(positionsAttempt.largestAllocation, positions.size());

    qorMsgs::AnySequence values{};
    values.data.resize(2);
    values.data[1].data = {9, 9, 9};
    Bytes nested = qorTest::encodeToVector(values);
    // data count 4, data[0].data count 8, data[1].data count 12, its bytes 16.
    putUInt32(nested, 12, 0xfffffff0U);
    const Attempt nestedAttempt = decodeAlone<qorMsgs::AnySequence>(nested);
    EXPECT_EQ(nestedAttempt.result.describe(),
              "data.data: sequence length 4294967280 at byte 12 exceeds the 3 bytes left");
    // The two elements before the refusal: 24 bytes each in memory, 4 each on the wire.
    EXPECT_EQ(nestedAttempt.largestAllocation, 2 * sizeof(qorMsgs::Any));
    EXPECT_LE(nestedAttempt.largestAllocation,
              nested.size() * cdr::heapBytesPerWireByte<qorMsgs::AnySequence>);
}

TEST(CdrMalformed, BoolOtherThanZeroOrOneIsRefused) {
    EXPECT_EQ(describeDecode<stdMsgs::Bool>({0x00, 0x01, 0x00, 0x00, 0x07}),
              "data: bool at byte 4 is 7, not 0 or 1");

    sensorMsgs::PointCloud2 cloud{};
    cloud.is_dense = true;
    Bytes payload = qorTest::encodeToVector(cloud);
    ASSERT_EQ(payload.back(), 1);
    payload.back() = 0x80;
    EXPECT_EQ(
        describeDecode<sensorMsgs::PointCloud2>(payload),
        "is_dense: bool at byte " + std::to_string(payload.size() - 1) + " is 128, not 0 or 1");
}

TEST(CdrMalformed, StringWithoutNulIsRefused) {
    EXPECT_EQ(describeDecode<stdMsgs::String>(
                  {0x00, 0x01, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 'a', 'b', 'c'}),
              "data: string of length 3 at byte 4 ends in 0x63, not NUL");
}

TEST(CdrMalformed, StringLengthZeroIsRefused) {
    EXPECT_EQ(describeDecode<stdMsgs::String>({0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}),
              "data: string length 0 at byte 4 leaves no room for the terminating NUL");

    Bytes joints = knownJointStatePayload();
    putUInt32(joints, 12, 0);
    EXPECT_EQ(describeDecode<sensorMsgs::JointState>(joints),
              "header.frame_id: string length 0 at byte 12 leaves no room for the terminating "
              "NUL");
}

TEST(CdrMalformed, StringLongerThanThePayloadIsRefused) {
    const Bytes payload = {0x00, 0x01, 0x00, 0x00, 0x64, 0x00, 0x00, 0x00, 'a', 'b', 0x00};
    const Attempt attempt = decodeAlone<stdMsgs::String>(payload);
    EXPECT_EQ(attempt.result.describe(),
              "data: string length 100 at byte 4 exceeds the 3 bytes left");
    EXPECT_EQ(attempt.allocations, 0U);
}

TEST(CdrMalformed, UnknownEncapsulationIsRefused) {
    // Parameter lists, XCDR2 plain, delimited and parameter lists, each in both byte orders, and
    // identifiers no one has defined.
    const std::uint8_t identifiers[][2] = {{0x00, 0x02}, {0x00, 0x03}, {0x00, 0x06}, {0x00, 0x07},
                                           {0x00, 0x08}, {0x00, 0x09}, {0x00, 0x0a}, {0x00, 0x0b},
                                           {0x01, 0x00}, {0x01, 0x01}, {0xff, 0xff}};
    for (const auto& identifier : identifiers) {
        Bytes payload = knownJointStatePayload();
        payload[0] = identifier[0];
        payload[1] = identifier[1];
        const Attempt attempt = decodeAlone<sensorMsgs::JointState>(payload);
        EXPECT_EQ(attempt.result.error(), cdr::DecodeError::encapsulation);
        EXPECT_EQ(attempt.allocations, 0U);
    }
    Bytes xcdr2 = knownJointStatePayload();
    xcdr2[1] = 0x07;
    EXPECT_EQ(describeDecode<sensorMsgs::JointState>(xcdr2),
              "encapsulation 00 07 at byte 0 is not plain CDR (00 01 little-endian or 00 00 "
              "big-endian)");
}

// Decodes seeded garbage and seeded corruptions of valid samples as Record. Whatever happens,
// nothing may crash, a failure must say where, a success must have read no more than the payload,
// and no allocation may exceed what the payload's size justifies.
template <typename Record>
void expectGarbageHandled(std::mt19937& random) {
    SCOPED_TRACE(qorTest::peerTypeName<Record>());
    const auto check = [](const Bytes& payload) {
        Record record{};
        const Attempt attempt = decodeAlone(payload, record);
        EXPECT_LE(attempt.largestAllocation, payload.size() * cdr::heapBytesPerWireByte<Record>);
        if (attempt.result.ok()) {
            EXPECT_LE(cdr::encodedSize(record), payload.size());
        } else {
            EXPECT_FALSE(attempt.result.describe().empty());
            EXPECT_LE(attempt.result.offset(), payload.size() + 7);
        }
        return attempt.result.ok();
    };

    std::size_t decoded = 0;
    for (int round = 0; round < 1000; ++round) {
        // Small byte values reach deeper than uniform ones, which mostly make huge lengths.
        Bytes payload(random() % 200);
        for (std::uint8_t& byte : payload) {
            byte = static_cast<std::uint8_t>(random() % 2 == 0 ? random() % 4 : random());
        }
        if (payload.size() >= 2 && random() % 8 != 0) {
            payload[0] = 0x00;
            payload[1] = static_cast<std::uint8_t>(random() % 2);
        }
        decoded += check(payload) ? 1U : 0U;
    }
    for (unsigned variant = 0; variant < qorTest::kSampleVariants; ++variant) {
        const Bytes valid = qorTest::encodeToVector(qorTest::sampleRecord<Record>(variant));
        for (int round = 0; round < 200; ++round) {
            Bytes payload = valid;
            const std::size_t flips = 1 + random() % 4;
            for (std::size_t i = 0; i < flips; ++i) {
                const std::size_t at =
                    cdr::kEncapsulationSize + random() % (payload.size() - cdr::kEncapsulationSize);
                payload[at] = static_cast<std::uint8_t>(random());
            }
            if (random() % 3 == 0) {
                payload.resize(cdr::kEncapsulationSize +
                               random() % (payload.size() - cdr::kEncapsulationSize));
            }
            decoded += check(payload) ? 1U : 0U;
        }
    }
    // Some corruptions only change values; a test that never decodes anything proves little.
    EXPECT_GT(decoded, 0U);
}

TEST(CdrMalformed, SeededGarbageFailsCleanlyWithinTheAllocationBound) {
    std::mt19937 random(20240611U);
    expectGarbageHandled<sensorMsgs::JointState>(random);
    expectGarbageHandled<sensorMsgs::Image>(random);
    expectGarbageHandled<sensorMsgs::CameraInfo>(random);
    expectGarbageHandled<sensorMsgs::PointCloud2>(random);
    expectGarbageHandled<sensorMsgs::PointCloud>(random);
    expectGarbageHandled<sensorMsgs::MultiDOFJointState>(random);
    expectGarbageHandled<sensorMsgs::BatteryState>(random);
    expectGarbageHandled<stdMsgs::Float64MultiArray>(random);
    expectGarbageHandled<qorMsgs::AnySequence>(random);
    expectGarbageHandled<stdMsgs::String>(random);
}

TEST(CdrMalformed, RecordsOfPrimitiveSequencesNeverAllocateMoreThanTheirPayload) {
    EXPECT_EQ(cdr::heapBytesPerWireByte<sensorMsgs::Image>, 1U);
    EXPECT_EQ(cdr::heapBytesPerWireByte<sensorMsgs::CompressedImage>, 1U);
    EXPECT_EQ(cdr::heapBytesPerWireByte<sensorMsgs::LaserScan>, 1U);
    EXPECT_EQ(cdr::heapBytesPerWireByte<qorMsgs::Any>, 1U);
    // So the garbage test above holds Image to its payload size exactly; and a real image too.
    sensorMsgs::Image image{};
    image.encoding = "a string long enough to need the heap";
    image.data.assign(640 * 480 * 3, 0x7f);
    const Attempt attempt = decodeAlone<sensorMsgs::Image>(qorTest::encodeToVector(image));
    ASSERT_TRUE(attempt.result.ok());
    EXPECT_EQ(attempt.largestAllocation, image.data.size());
}

}  // namespace
