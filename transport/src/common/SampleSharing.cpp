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
    const bool sharable = qos.history == QOS::KEEP_LAST && qos.depth <= kDeepestSharedHistory;
    return sharable && !secured ? SampleMemory::sharedHistory : SampleMemory::sizedPerSample;
}

}  // namespace qorROS2::transport::common
