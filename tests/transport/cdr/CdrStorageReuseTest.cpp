// A subscriber decodes every sample into the same scratch record; once that record has seen a
// sample of a given shape, decoding the next one must not touch the heap. The encoder writes into
// the caller's buffer and never allocates at all.
//
// AllocationCounter.cpp is linked into this program and counts every allocation.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "AllocationCounter.h"
#include "CodecTesting.h"
#include "MessageTypeTesting.h"
#include "RecordWalk.h"
#include "SampleRecords.h"
#include "cdr/CdrCodec.h"

namespace {

using namespace qorROS2;

// Decodes `payload` into `scratch` and returns how many allocations that took.
template <typename Record>
std::uint64_t allocationsToDecode(const std::vector<std::uint8_t>& payload, Record& scratch) {
    const std::uint64_t before = qorTest::allocationCounts().allocations;
    const cdr::DecodeResult result = cdr::decode(payload.data(), payload.size(), scratch);
    const std::uint64_t after = qorTest::allocationCounts().allocations;
    EXPECT_TRUE(result.ok()) << result.describe();
    return after - before;
}

template <typename Record>
class CdrStorageReuse : public ::testing::Test {};

TYPED_TEST_SUITE(CdrStorageReuse, qorTest::AllMessageRecords, qorTest::RecordTestName);

TYPED_TEST(CdrStorageReuse, SecondDecodeOfTheSameShapeAllocatesNothing) {
    for (unsigned variant = 0; variant < qorTest::kSampleVariants; ++variant) {
        SCOPED_TRACE(variant);
        const TypeParam sample = qorTest::sampleRecord<TypeParam>(variant);
        const std::vector<std::uint8_t> payload = qorTest::encodeToVector(sample);
        TypeParam scratch{};
        allocationsToDecode(payload, scratch);
        EXPECT_EQ(allocationsToDecode(payload, scratch), 0U);
        EXPECT_TRUE(qorTest::sameContents(scratch, sample));
    }
}

TYPED_TEST(CdrStorageReuse, LargerRecordTakesASmallerSampleWithoutAllocating) {
    // Seven elements in every sequence and 40 characters in every string: more room than the
    // three elements and at most 31 characters of sample 0.
    qorTest::FillOptions roomy;
    roomy.sequenceLength = 7;
    roomy.longStrings = true;
    TypeParam scratch{};
    qorTest::fillRecord(scratch, roomy);

    const TypeParam sample = qorTest::sampleRecord<TypeParam>(0);
    EXPECT_EQ(allocationsToDecode(qorTest::encodeToVector(sample), scratch), 0U);
    EXPECT_TRUE(qorTest::sameContents(scratch, sample));
}

TYPED_TEST(CdrStorageReuse, EncodingAllocatesNothing) {
    const TypeParam sample = qorTest::sampleRecord<TypeParam>(0);
    std::vector<std::uint8_t> buffer(cdr::encodedSize(sample));
    const std::uint64_t before = qorTest::allocationCounts().allocations;
    const std::size_t size = cdr::encodedSize(sample);
    cdr::encode(sample, buffer.data(), size);
    EXPECT_EQ(qorTest::allocationCounts().allocations - before, 0U);
}

}  // namespace
