#pragma once

// The records the interop tests send. Most are filled by qorTest::fillRecord, which gives every
// value something recognisable; the sensor records the bridge publishes are built as a camera,
// a lidar or a robot would fill them, with the values that go wrong most easily: a 2 MB image,
// negative zero, NaN and infinities, empty sequences, non-ASCII text.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "RecordWalk.h"
#include "qorROS2/Messages.h"

namespace qorInterop {

inline qorROS2::stdMsgs::Header sensorHeader(const char* frame) {
    return qorROS2::stdMsgs::Header{qorROS2::builtinInterfaces::Time{1712345678, 999999999}, frame};
}

template <typename Record>
Record interopRecord() {
    Record record{};
    qorTest::fillRecord(record);
    return record;
}

// ROS 2 defines std_msgs/Empty's one byte as 0; what a ROS 2 node sends is all that must survive.
template <>
inline qorROS2::stdMsgs::Empty interopRecord<qorROS2::stdMsgs::Empty>() {
    return qorROS2::stdMsgs::Empty{};
}

template <>
inline qorROS2::rosgraphMsgs::Clock interopRecord<qorROS2::rosgraphMsgs::Clock>() {
    return qorROS2::rosgraphMsgs::Clock{qorROS2::builtinInterfaces::Time{-2, 999999999}};
}

template <>
inline qorROS2::sensorMsgs::JointState interopRecord<qorROS2::sensorMsgs::JointState>() {
    qorROS2::sensorMsgs::JointState state{};
    state.header = sensorHeader("base_link");
    state.name = {"shoulder_pan", "ellbogen_\xc3\xbc", ""};
    state.position = {2.5, -0.0, std::numeric_limits<double>::quiet_NaN()};
    // Velocity left empty, as a position-only controller sends it.
    state.effort = {std::numeric_limits<double>::infinity(),
                    -std::numeric_limits<double>::infinity(),
                    std::numeric_limits<double>::denorm_min()};
    return state;
}

/// An rgb8 image of 1024 x 720 pixels: 2.2 MB, sent in many fragments.
template <>
inline qorROS2::sensorMsgs::Image interopRecord<qorROS2::sensorMsgs::Image>() {
    qorROS2::sensorMsgs::Image image{};
    image.header = sensorHeader("camera_optical");
    image.width = 1024;
    image.height = 720;
    image.encoding = "rgb8";
    image.is_bigendian = 0;
    image.step = 3 * image.width;
    image.data.resize(std::size_t{image.step} * image.height);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<std::uint8_t>((i * 7919U) >> 3U);
    }
    return image;
}

template <>
inline qorROS2::sensorMsgs::CameraInfo interopRecord<qorROS2::sensorMsgs::CameraInfo>() {
    qorROS2::sensorMsgs::CameraInfo info{};
    info.header = sensorHeader("camera_optical");
    info.width = 1024;
    info.height = 720;
    info.distortion_model = "plumb_bob";
    info.d = {-0.28340811, 0.07395907, 0.00019359, 1.76187114e-05, 0.0};
    info.k = {512.5, 0.0, 511.5, 0.0, 512.5, 359.5, 0.0, 0.0, 1.0};
    info.r = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    info.p = {512.5, 0.0, 511.5, -35.875, 0.0, 512.5, 359.5, 0.0, 0.0, 0.0, 1.0, 0.0};
    info.binning_x = 1;
    info.binning_y = 2;
    info.roi = qorROS2::sensorMsgs::RegionOfInterest{16, 8, 704, 992, true};
    return info;
}

/// A lidar scan of 3 x 100 points with x, y, z and intensity as float32.
template <>
inline qorROS2::sensorMsgs::PointCloud2 interopRecord<qorROS2::sensorMsgs::PointCloud2>() {
    using qorROS2::sensorMsgs::PointField;
    constexpr std::uint8_t float32 = 7;
    qorROS2::sensorMsgs::PointCloud2 cloud{};
    cloud.header = sensorHeader("lidar");
    cloud.height = 3;
    cloud.width = 100;
    cloud.fields = {PointField{"x", 0, float32, 1}, PointField{"y", 4, float32, 1},
                    PointField{"z", 8, float32, 1}, PointField{"intensity", 12, float32, 1}};
    cloud.is_bigendian = false;
    cloud.point_step = 16;
    cloud.row_step = cloud.point_step * cloud.width;
    cloud.data.resize(std::size_t{cloud.row_step} * cloud.height);
    for (std::size_t point = 0; point < std::size_t{cloud.width} * cloud.height; ++point) {
        const float angle = 0.0628f * static_cast<float>(point % cloud.width);
        const float values[4] = {12.5f * std::cos(angle), 12.5f * std::sin(angle),
                                 0.25f * static_cast<float>(point / cloud.width),
                                 static_cast<float>(point % 256)};
        std::memcpy(cloud.data.data() + point * cloud.point_step, values, sizeof(values));
    }
    cloud.is_dense = true;
    return cloud;
}

}  // namespace qorInterop
