// Which endpoints keep their history in shared memory for the readers of this host, and the
// policies each kind of endpoint gets.

#include <gtest/gtest.h>

#include <fastdds/dds/publisher/qos/DataWriterQos.hpp>
#include <fastdds/dds/subscriber/qos/DataReaderQos.hpp>

#include "common/QosPolicies.h"
#include "common/SampleSharing.h"
#include "qorROS2/QOS.h"

namespace {

using qorROS2::QOS;
using qorROS2::transport::common::carriesLargeSamples;
using qorROS2::transport::common::kDeepestSharedHistory;
using qorROS2::transport::common::readerQos;
using qorROS2::transport::common::SampleMemory;
using qorROS2::transport::common::sampleMemoryFor;
using qorROS2::transport::common::writerQos;
namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

QOS keepLast(std::uint32_t depth) {
    return QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, depth};
}

TEST(SampleSharing, ImagesAndCloudsCarryLargeSamples) {
    EXPECT_TRUE(carriesLargeSamples("sensor_msgs::msg::dds_::Image_"));
    EXPECT_TRUE(carriesLargeSamples("sensor_msgs::msg::dds_::CompressedImage_"));
    EXPECT_TRUE(carriesLargeSamples("sensor_msgs::msg::dds_::PointCloud2_"));
}

TEST(SampleSharing, OtherTypesCarrySmallSamples) {
    EXPECT_FALSE(carriesLargeSamples("sensor_msgs::msg::dds_::JointState_"));
    EXPECT_FALSE(carriesLargeSamples("sensor_msgs::msg::dds_::CameraInfo_"));
    EXPECT_FALSE(carriesLargeSamples("rosgraph_msgs::msg::dds_::Clock_"));
    EXPECT_FALSE(carriesLargeSamples("sensor_msgs/msg/Image"));
    EXPECT_FALSE(carriesLargeSamples(""));
}

TEST(SampleSharing, KeepLastHistoriesOfLargeSamplesAreShared) {
    EXPECT_EQ(sampleMemoryFor(true, keepLast(1), false), SampleMemory::sharedHistory);
    EXPECT_EQ(sampleMemoryFor(true, keepLast(5), false), SampleMemory::sharedHistory);
    EXPECT_EQ(sampleMemoryFor(true, keepLast(kDeepestSharedHistory), false),
              SampleMemory::sharedHistory);
    EXPECT_EQ(sampleMemoryFor(true, qorROS2::createSensorDataQOS(), false),
              SampleMemory::sharedHistory);
}

TEST(SampleSharing, DeeperAndKeepAllHistoriesOfLargeSamplesSizePayloadsPerSample) {
    EXPECT_EQ(sampleMemoryFor(true, keepLast(kDeepestSharedHistory + 1), false),
              SampleMemory::sizedPerSample);
    EXPECT_EQ(sampleMemoryFor(true, QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_ALL, 5}, false),
              SampleMemory::sizedPerSample);
}

TEST(SampleSharing, TransientLocalHistoriesOfLargeSamplesSizePayloadsPerSample) {
    // A late reader gets a latched image through the transports.
    EXPECT_EQ(
        sampleMemoryFor(true, QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, false),
        SampleMemory::sizedPerSample);
}

TEST(SampleSharing, SecuredParticipantsShareNoHistory) {
    EXPECT_EQ(sampleMemoryFor(true, keepLast(5), true), SampleMemory::sizedPerSample);
}

TEST(SampleSharing, SmallSamplesGrowInPlaceWhateverTheHistory) {
    EXPECT_EQ(sampleMemoryFor(false, keepLast(5), false), SampleMemory::grownInPlace);
    EXPECT_EQ(sampleMemoryFor(false, keepLast(1000), true), SampleMemory::grownInPlace);
}

TEST(SampleSharing, SharedWriterHistoryIsPreallocatedForDataSharing) {
    const dds::DataWriterQos qos = writerQos(keepLast(5), SampleMemory::sharedHistory);
    EXPECT_EQ(qos.data_sharing().kind(), dds::AUTO);
    // Fast DDS shares only a preallocated history.
    EXPECT_EQ(qos.endpoint().history_memory_policy, rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE);
    EXPECT_EQ(qos.history().depth, 5);
    // As many spare slots as the depth, for a reader that falls behind.
    EXPECT_EQ(qos.resource_limits().extra_samples, 5);
}

TEST(SampleSharing, SharedReaderSizesItsOwnPayloadsPerSample) {
    const dds::DataReaderQos qos = readerQos(keepLast(5), SampleMemory::sharedHistory);
    EXPECT_EQ(qos.data_sharing().kind(), dds::AUTO);
    EXPECT_EQ(qos.endpoint().history_memory_policy, rtps::DYNAMIC_REUSABLE_MEMORY_MODE);
}

TEST(SampleSharing, UnsharedLargeSampleEndpointsSizePayloadsPerSample) {
    const dds::DataWriterQos writer = writerQos(keepLast(5), SampleMemory::sizedPerSample);
    EXPECT_EQ(writer.data_sharing().kind(), dds::OFF);
    EXPECT_EQ(writer.endpoint().history_memory_policy, rtps::DYNAMIC_REUSABLE_MEMORY_MODE);
    const dds::DataReaderQos reader = readerQos(keepLast(5), SampleMemory::sizedPerSample);
    EXPECT_EQ(reader.data_sharing().kind(), dds::OFF);
    EXPECT_EQ(reader.endpoint().history_memory_policy, rtps::DYNAMIC_REUSABLE_MEMORY_MODE);
}

TEST(SampleSharing, SmallSampleEndpointsShareNothingAndGrowPayloadsInPlace) {
    const dds::DataWriterQos writer = writerQos(keepLast(5));
    EXPECT_EQ(writer.data_sharing().kind(), dds::OFF);
    EXPECT_EQ(writer.endpoint().history_memory_policy, rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE);
    const dds::DataReaderQos reader = readerQos(keepLast(5));
    EXPECT_EQ(reader.data_sharing().kind(), dds::OFF);
    EXPECT_EQ(reader.endpoint().history_memory_policy, rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE);
}

}  // namespace
