#include "Channel.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace qorROS2::bench {
namespace {

constexpr std::array<std::pair<Stack, const char*>, 4> kStacks{{
    {Stack::Ours, "ours"},
    {Stack::RawFastDds, "fastdds"},
    {Stack::RawFastDdsRosSettings, "fastdds_ros"},
    {Stack::Cyclone, "cyclone"},
}};

constexpr std::array<std::pair<Shape, const char*>, 5> kShapes{{
    {Shape::Clock, "clock"},
    {Shape::JointState6, "joint_state_6"},
    {Shape::JointState100, "joint_state_100"},
    {Shape::Image1080p, "image_1080p"},
    {Shape::PointCloud100k, "point_cloud_100k"},
}};

template <typename Value, std::size_t N>
const char* nameIn(const std::array<std::pair<Value, const char*>, N>& table, Value value) {
    for (const auto& [candidate, name] : table) {
        if (candidate == value) {
            return name;
        }
    }
    return "?";
}

template <typename Value, std::size_t N>
Value valueIn(const std::array<std::pair<Value, const char*>, N>& table, const std::string& name,
              const char* what) {
    for (const auto& [value, candidate] : table) {
        if (name == candidate) {
            return value;
        }
    }
    throw std::invalid_argument(std::string("unknown ") + what + " \"" + name + "\"");
}

}  // namespace

std::unique_ptr<Channel> makeChannel(const ChannelSettings& settings) {
    switch (settings.stack) {
        case Stack::Ours:
            return makeOurChannel(settings);
        case Stack::RawFastDds:
        case Stack::RawFastDdsRosSettings:
            return makeRawFastDdsChannel(settings);
        case Stack::Cyclone:
            return makeCycloneChannel(settings);
    }
    throw std::invalid_argument("unknown stack");
}

std::size_t jointCount(Shape shape) {
    return shape == Shape::JointState6 ? 6 : shape == Shape::JointState100 ? 100 : 0;
}

const char* stackName(Stack stack) {
    return nameIn(kStacks, stack);
}
const char* shapeName(Shape shape) {
    return nameIn(kShapes, shape);
}
Stack stackNamed(const std::string& name) {
    return valueIn(kStacks, name, "stack");
}
Shape shapeNamed(const std::string& name) {
    return valueIn(kShapes, name, "message shape");
}

}  // namespace qorROS2::bench
