#pragma once

// The contents every stack puts in its samples, so that the same bytes cross the wire whichever
// stack sends them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace qorROS2::bench {

constexpr const char* kFrameId = "base_link";

constexpr std::uint32_t kImageWidth = 1920;
constexpr std::uint32_t kImageHeight = 1080;
constexpr std::uint32_t kImageStep = 3 * kImageWidth;
constexpr const char* kImageEncoding = "rgb8";

constexpr std::uint32_t kCloudPoints = 100000;
constexpr std::uint32_t kPointStep = 16;
constexpr std::uint8_t kFloat32 = 7;  // sensor_msgs/PointField FLOAT32

/// One field of a cloud point.
struct CloudField {
    const char* name;
    std::uint32_t offset;
};
constexpr std::array<CloudField, 4> kCloudFields{{{"x", 0}, {"y", 4}, {"z", 8}, {"intensity", 12}}};

/// "joint_0", "joint_1", ...: short enough for the short-string buffer.
inline std::string jointName(std::size_t index) {
    return "joint_" + std::to_string(index);
}

}  // namespace qorROS2::bench
