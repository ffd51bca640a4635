#include "common/SampleSharing.h"

#include <array>

namespace qorROS2::transport::common {

bool carriesLargeSamples(const std::string& ddsTypeName) {
    // A camera's or a lidar's samples: megabytes each, many times a second.
    static const std::array<const char*, 3> kLargeSampleTypes{
        "sensor_msgs::msg::dds_::Image_",
        "sensor_msgs::msg::dds_::CompressedImage_",
        "sensor_msgs::msg::dds_::PointCloud2_",
    };
    for (const char* name : kLargeSampleTypes) {
        if (ddsTypeName == name) {
            return true;
        }
    }
    return false;
}

SampleMemory sampleMemoryFor(bool largeSamples, const QOS& qos, bool secured) {
    if (!largeSamples) {
        return SampleMemory::grownInPlace;
    }
    // A late reader of a transient-local writer gets its history through the transports: Fast
    // DDS 2.9 does not hand a shared history's older samples to a reader that matched after
    // they were written (a `topic pub --once` image never reached its latched subscriber).
    const bool sharable = qos.history == QOS::KEEP_LAST && qos.depth <= kDeepestSharedHistory &&
                          qos.durability == QOS::VOLATILE;
    return sharable && !secured ? SampleMemory::sharedHistory : SampleMemory::sizedPerSample;
}

}  // namespace qorROS2::transport::common
