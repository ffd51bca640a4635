#include "Channel.h"

#include <array>
#include <stdexcept>
#include <string>
#include <utility>

namespace qorROS2::bench {
namespace {

constexpr std::array<std::pair<Stack, const char*>, 4> kStacks{{
    {Stack::Ours, "ours"},
    {Stack::RawFastDds, "fastdds"},
    {Stack::RawFastDdsRosSettings, "fastdds_ros"},
    {Stack::Cyclone, "cyclone"},
}};

constexpr std::array<std::pair<Shape, const char*>, 10> kShapes{{
    {Shape::Clock, "clock"},
    {Shape::JointState1, "joint_state_1"},
    {Shape::JointState6, "joint_state_6"},
    {Shape::JointState10, "joint_state_10"},
    {Shape::JointState100, "joint_state_100"},
    {Shape::JointCommand1, "joint_command_1"},
    {Shape::JointCommand10, "joint_command_10"},
    {Shape::JointCommand100, "joint_command_100"},
    {Shape::Image1080p, "image_1080p"},
    {Shape::PointCloud100k, "point_cloud_100k"},
}};

// The joints of each JointState shape, and whether it is a command.
struct JointShape {
    Shape shape;
    std::size_t joints;
    bool command;
};
constexpr std::array<JointShape, 7> kJointShapes{{
    {Shape::JointState1, 1, false},
    {Shape::JointState6, 6, false},
    {Shape::JointState10, 10, false},
    {Shape::JointState100, 100, false},
    {Shape::JointCommand1, 1, true},
    {Shape::JointCommand10, 10, true},
    {Shape::JointCommand100, 100, true},
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
    for (const JointShape& joints : kJointShapes) {
        if (joints.shape == shape) {
            return joints.joints;
        }
    }
    return 0;
}

bool isJointCommand(Shape shape) {
    for (const JointShape& joints : kJointShapes) {
        if (joints.shape == shape) {
            return joints.command;
        }
    }
    return false;
}

Shape jointShape(std::size_t count, bool command) {
    for (const JointShape& joints : kJointShapes) {
        if (joints.joints == count && joints.command == command) {
            return joints.shape;
        }
    }
    throw std::invalid_argument("no JointState shape of " + std::to_string(count) + " joints" +
                                (command ? " for commands" : ""));
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
