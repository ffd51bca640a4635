#include "qorROS2/FreeContainerMemory.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "MessageTypeTesting.h"
#include "RecordWalk.h"

namespace {

using namespace qorROS2;
using qorTest::allocationCounts;
using qorTest::AllocationCounts;

const std::vector<std::string> kDefault{};

// What one call of freeContainerMemory did to the heap.
struct Release {
    std::uint64_t allocations;
    std::uint64_t deallocations;
    std::int64_t liveBytesAfter;
};

template <typename Record>
Release releaseCounted(Record& record) {
    const AllocationCounts before = allocationCounts();
    freeContainerMemory(record);
    const AllocationCounts after = allocationCounts();
    return Release{after.allocations - before.allocations,
                   after.deallocations - before.deallocations, after.liveBytes};
}

template <typename Record>
class FreeContainerMemory : public ::testing::Test {
  protected:
    // Fills a record the given way, releases it, and checks that every byte it took from the heap
    // went back, that the release itself allocated nothing, and that the record is a default one.
    void expectFullRelease(const qorTest::FillOptions& options) {
        const std::int64_t liveBefore = allocationCounts().liveBytes;
        Record record{};
        qorTest::fillRecord(record, options);
        const bool heldStorage = allocationCounts().liveBytes != liveBefore;

        const Release release = releaseCounted(record);

        EXPECT_EQ(release.allocations, 0U);
        EXPECT_EQ(release.liveBytesAfter, liveBefore) << "heap storage stayed with the record";
        EXPECT_EQ(release.deallocations > 0, heldStorage);
        EXPECT_EQ(qorTest::nonDefaultMembers(record), kDefault);
    }
};

TYPED_TEST_SUITE(FreeContainerMemory, qorTest::AllMessageRecords, qorTest::RecordTestName);

TYPED_TEST(FreeContainerMemory, FilledRecordBecomesDefaultAndReturnsEveryBuffer) {
    this->expectFullRelease(qorTest::FillOptions{});
}

TYPED_TEST(FreeContainerMemory, ShortStringsAreEmptiedToo) {
    qorTest::FillOptions options;
    options.longStrings = false;
    this->expectFullRelease(options);
}

TYPED_TEST(FreeContainerMemory, ReservedButEmptyContainersGiveBackTheirCapacity) {
    qorTest::FillOptions options;
    options.reserveOnly = true;
    this->expectFullRelease(options);
}

TYPED_TEST(FreeContainerMemory, BuffersInsideSequenceElementsAreReleased) {
    qorTest::FillOptions options;
    options.sequenceLength = 17;
    this->expectFullRelease(options);
}

TYPED_TEST(FreeContainerMemory, DefaultRecordStaysDefaultWithoutTouchingTheHeap) {
    TypeParam record{};
    const Release release = releaseCounted(record);
    EXPECT_EQ(release.allocations, 0U);
    EXPECT_EQ(release.deallocations, 0U);
    EXPECT_EQ(qorTest::nonDefaultMembers(record), kDefault);
}

TYPED_TEST(FreeContainerMemory, SecondCallInARowIsHarmless) {
    TypeParam record{};
    qorTest::fillRecord(record);
    freeContainerMemory(record);
    const Release second = releaseCounted(record);
    EXPECT_EQ(second.allocations, 0U);
    EXPECT_EQ(second.deallocations, 0U);
    EXPECT_EQ(qorTest::nonDefaultMembers(record), kDefault);
}

TYPED_TEST(FreeContainerMemory, ReleasedRecordCanBeFilledAgain) {
    TypeParam record{};
    qorTest::fillRecord(record);
    freeContainerMemory(record);
    qorTest::fillRecord(record);
    TypeParam expected{};
    qorTest::fillRecord(expected);
    EXPECT_TRUE(qorTest::sameContents(record, expected));
}

TEST(FreeContainerMemoryOf, JointStateWithAThousandJointsLeavesNoStorage) {
    sensorMsgs::JointState state{};
    state.header.frame_id = "a frame name long enough to need the heap";
    state.header.stamp = {12, 345};
    for (int i = 0; i < 1000; ++i) {
        state.name.push_back("joint_number_" + std::to_string(i) + "_with_a_long_name");
        state.position.push_back(i);
    }
    freeContainerMemory(state);
    EXPECT_EQ(state.name.size(), 0U);
    EXPECT_EQ(state.name.capacity(), 0U);
    EXPECT_EQ(state.position.capacity(), 0U);
    EXPECT_EQ(state.velocity.capacity(), 0U);
    EXPECT_EQ(state.effort.capacity(), 0U);
    EXPECT_TRUE(state.header.frame_id.empty());
    EXPECT_EQ(state.header.stamp.sec, 0);
    EXPECT_EQ(state.header.stamp.nanosec, 0U);
}

TEST(FreeContainerMemoryOf, SixMegabyteImageLeavesNoStorage) {
    sensorMsgs::Image image{};
    image.height = 1080;
    image.width = 1920;
    image.step = 1920 * 3;
    image.encoding = "rgb8";
    image.is_bigendian = 1;
    image.data.resize(std::size_t{1920} * 1080 * 3, 7);
    const std::int64_t liveBefore = allocationCounts().liveBytes;
    freeContainerMemory(image);
    EXPECT_LE(allocationCounts().liveBytes, liveBefore - 1920 * 1080 * 3);
    EXPECT_EQ(image.data.capacity(), 0U);
    EXPECT_TRUE(image.encoding.empty());
    EXPECT_EQ(image.height, 0U);
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.step, 0U);
    EXPECT_EQ(image.is_bigendian, 0);
}

TEST(FreeContainerMemoryOf, CameraInfoKeepsFixedMatricesAtFullLengthButZero) {
    sensorMsgs::CameraInfo info{};
    info.distortion_model = "plump_bob";
    info.d = {0.1, 0.2, 0.3, 0.4, 0.5};
    info.k.fill(1.5);
    info.r.fill(2.5);
    info.p.fill(3.5);
    freeContainerMemory(info);
    EXPECT_TRUE(info.d.empty());
    EXPECT_EQ(info.d.capacity(), 0U);
    EXPECT_EQ(info.k, (std::array<double, 9>{}));
    EXPECT_EQ(info.r, (std::array<double, 9>{}));
    EXPECT_EQ(info.p, (std::array<double, 12>{}));
    EXPECT_TRUE(info.distortion_model.empty());
}

TEST(FreeContainerMemoryOf, ShortAndLongStringsEndEmptyAndTheLongBufferIsReleased) {
    stdMsgs::String shortText{};
    shortText.data = "hi";
    const Release shortRelease = releaseCounted(shortText);
    EXPECT_TRUE(shortText.data.empty());
    EXPECT_EQ(shortRelease.deallocations, 0U) << "a short text never had a heap buffer";

    stdMsgs::String longText{};
    longText.data = std::string(200, 'x');
    const Release longRelease = releaseCounted(longText);
    EXPECT_TRUE(longText.data.empty());
    EXPECT_EQ(longRelease.deallocations, 1U);
    EXPECT_EQ(longText.data.capacity(), std::string().capacity());
}

TEST(FreeContainerMemoryOf, AnySequenceReleasesAllFourBuffers) {
    qorMsgs::AnySequence sequence{};
    sequence.data = {qorMsgs::Any{{1}}, qorMsgs::Any{{2, 3}}, qorMsgs::Any{{4, 5, 6}}};
    const Release release = releaseCounted(sequence);
    EXPECT_EQ(release.deallocations, 4U);
    EXPECT_EQ(release.allocations, 0U);
    EXPECT_EQ(sequence.data.capacity(), 0U);
}

TEST(FreeContainerMemoryOf, ScalarRecordsAreResetToZero) {
    geometryMsgs::Quaternion quaternion{1.0, 2.0, 3.0, 1.0};
    freeContainerMemory(quaternion);
    EXPECT_EQ(quaternion.w, 0.0);
    EXPECT_EQ(quaternion.x, 0.0);

    builtinInterfaces::Time time{5, 6};
    freeContainerMemory(time);
    EXPECT_EQ(time.sec, 0);
    EXPECT_EQ(time.nanosec, 0U);

    geometryMsgs::PoseWithCovariance pose{};
    pose.covariance.fill(9.0);
    freeContainerMemory(pose);
    EXPECT_EQ(pose.covariance, (std::array<double, 36>{}));
}

TEST(FreeContainerMemoryOf, MultiArrayReleasesDataAndDimensionLabels) {
    stdMsgs::Float64MultiArray array{};
    array.layout.dim = {{"rows with a long label name", 2, 6}, {"columns with a long label", 3, 3}};
    array.layout.data_offset = 4;
    array.data = {1, 2, 3, 4, 5, 6};
    const Release release = releaseCounted(array);
    EXPECT_EQ(release.deallocations, 4U);  // data, dim, and the two long labels
    EXPECT_EQ(array.layout.data_offset, 0U);
    EXPECT_EQ(array.layout.dim.capacity(), 0U);
}

}  // namespace
