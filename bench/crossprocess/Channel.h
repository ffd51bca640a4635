#pragma once

// One endpoint pair of a cross-process benchmark: a writer and a reader of the same message shape,
// through one of the three stacks compared. Samples carry a sequence number in their stamp.

#include <cstdint>
#include <memory>
#include <string>

namespace qorROS2::bench {

/// The stacks compared: ours; what a Fast DDS user writes with fastddsgen's type support, with
/// Fast DDS's default QoS and again with the two settings ROS 2's own Fast DDS layer applies to
/// every endpoint (no data sharing, payloads preallocated and grown in place); and Cyclone DDS's
/// C API with idlc's types.
enum class Stack { Ours, RawFastDds, RawFastDdsRosSettings, Cyclone };

/// The messages exchanged, each always of the same size.
enum class Shape {
    Clock,            ///< rosgraph_msgs/Clock
    JointState1,      ///< sensor_msgs/JointState with 1 joint
    JointState6,      ///< sensor_msgs/JointState with 6 joints
    JointState10,     ///< sensor_msgs/JointState with 10 joints
    JointState100,    ///< sensor_msgs/JointState with 100 joints
    JointCommand1,    ///< sensor_msgs/JointState with 1 joint's position only, as a command
    JointCommand10,   ///< the same with 10 joints
    JointCommand100,  ///< the same with 100 joints
    Image1080p,       ///< sensor_msgs/Image, 1920 x 1080 rgb8 (6.2 MB)
    PointCloud100k,   ///< sensor_msgs/PointCloud2, 100 000 points of x, y, z, intensity (1.6 MB)
};

/// What a channel is made of. An empty topic means no writer (or no reader) on that side.
struct ChannelSettings {
    Stack stack = Stack::Ours;
    Shape shape = Shape::Clock;
    bool reliable = true;
    std::uint32_t depth = 10;  ///< keep-last depth of both endpoints
    std::uint32_t domain = 0;
    std::string sendTopic;     ///< a ROS 2 topic name without the leading slash
    std::string receiveTopic;  ///< likewise
};

/// A writer and a reader, both optional, of one shape through one stack.
class Channel {
  public:
    virtual ~Channel() = default;

    /// Whether the writer has a matched reader and the reader a matched writer (where they exist).
    virtual bool matched() const = 0;
    /// Sends the channel's sample stamped with `sequence`; false when the stack refused it.
    virtual bool send(std::uint32_t sequence) = 0;
    /// Takes the oldest waiting sample and gives its sequence number; false when none waits.
    virtual bool take(std::uint32_t& sequence) = 0;
};

/// Creates the endpoints; throws std::runtime_error (or the stack's own exception) on failure.
std::unique_ptr<Channel> makeChannel(const ChannelSettings& settings);

std::unique_ptr<Channel> makeOurChannel(const ChannelSettings& settings);
std::unique_ptr<Channel> makeRawFastDdsChannel(const ChannelSettings& settings);
std::unique_ptr<Channel> makeCycloneChannel(const ChannelSettings& settings);

/// The number of joints of a JointState shape, 0 for other shapes.
std::size_t jointCount(Shape shape);
/// Whether a JointState shape is a command: positions only, no velocities or efforts.
bool isJointCommand(Shape shape);
/// The JointState shape of `joints` joints (1, 6, 10 or 100), a command's when `command`; throws
/// std::invalid_argument for another count.
Shape jointShape(std::size_t joints, bool command);

/// Names as printed and as given on the command line: "ours", "fastdds", "fastdds_ros",
/// "cyclone";
/// "clock", "joint_state_6", ...
const char* stackName(Stack stack);
const char* shapeName(Shape shape);
Stack stackNamed(const std::string& name);
Shape shapeNamed(const std::string& name);

}  // namespace qorROS2::bench
