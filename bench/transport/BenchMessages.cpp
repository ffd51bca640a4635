#include "BenchMessages.h"

#include <random>
#include <string>

namespace qorROS2::bench {
namespace {

stdMsgs::Header makeHeader(const char* frame) {
    stdMsgs::Header header{};
    header.stamp.sec = 1712;
    header.stamp.nanosec = 345678901;
    header.frame_id = frame;
    return header;
}

std_msgs::msg::Header toGenerated(const stdMsgs::Header& header) {
    std_msgs::msg::Header generated;
    generated.stamp().sec(header.stamp.sec);
    generated.stamp().nanosec(header.stamp.nanosec);
    generated.frame_id(header.frame_id);
    return generated;
}

}  // namespace

sensorMsgs::JointState makeJointState() {
    sensorMsgs::JointState message{};
    message.header = makeHeader("");
    for (std::size_t i = 0; i < kJointCount; ++i) {
        const double x = static_cast<double>(i);
        message.name.push_back("joint_" + std::to_string(i));
        message.position.push_back(0.01 * x - 0.5);
        message.velocity.push_back(0.1 * x);
        message.effort.push_back(-2.5 * x);
    }
    return message;
}

sensorMsgs::Image makeImage() {
    sensorMsgs::Image message{};
    message.header = makeHeader("camera");
    message.height = kImageHeight;
    message.width = kImageWidth;
    message.encoding = "rgb8";
    message.is_bigendian = 0;
    message.step = kImageStep;
    message.data.resize(std::size_t{kImageStep} * kImageHeight);
    // Random pixels keep the bytes from being anything a copy routine could take a short cut on.
    std::mt19937 generator(20240417);
    for (std::uint8_t& byte : message.data) {
        byte = static_cast<std::uint8_t>(generator());
    }
    return message;
}

sensor_msgs::msg::JointState toGenerated(const sensorMsgs::JointState& message) {
    sensor_msgs::msg::JointState generated;
    generated.header(toGenerated(message.header));
    generated.name(message.name);
    generated.position(message.position);
    generated.velocity(message.velocity);
    generated.effort(message.effort);
    return generated;
}

sensor_msgs::msg::Image toGenerated(const sensorMsgs::Image& message) {
    sensor_msgs::msg::Image generated;
    generated.header(toGenerated(message.header));
    generated.height(message.height);
    generated.width(message.width);
    generated.encoding(message.encoding);
    generated.is_bigendian(message.is_bigendian);
    generated.step(message.step);
    generated.data(message.data);
    return generated;
}

const Samples& samples() {
    static const Samples kSamples;
    return kSamples;
}

}  // namespace qorROS2::bench
