// The demo's first lines, pinned by their exact text: topics with types and QoS as ROS 2's tools
// word them, and the commands for a ROS 2 machine.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StartupText.h"
#include "qorROS2/NodeIdentity.h"

namespace {

using qorROS2::QOS;

TEST(StartupText, DescribesQosAsRosToolsDo) {
    EXPECT_EQ(qorDemo::describeQos(qorROS2::createSensorDataQOS()),
              "best effort, volatile, keep last 5");
    EXPECT_EQ(qorDemo::describeQos(QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}),
              "reliable, transient local, keep last 1");
    EXPECT_EQ(qorDemo::describeQos(QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_ALL, 1}),
              "reliable, volatile, keep all");
}

TEST(StartupText, ListsTopicsAndTheCommandsForARos2Machine) {
    const std::vector<qorDemo::DemoTopic> topics{
        {"/clock", "rosgraph_msgs/msg/Clock", qorROS2::createClockQOS(), true},
        {"/joint_commands", "sensor_msgs/msg/JointState", QOS{}, false},
        {"/robot_description", "std_msgs/msg/String",
         QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, true}};
    EXPECT_EQ(qorDemo::startupText(7, {"rail (effort)", "elbow (position)"}, topics, QOR_DEMO_URDF),
              "qor-ros2-demo: domain 7, joints: rail (effort) elbow (position)\n"
              "  publishes  /clock              rosgraph_msgs/msg/Clock     "
              "reliable, volatile, keep last 1\n"
              "  subscribes /joint_commands     sensor_msgs/msg/JointState  "
              "reliable, volatile, keep last 1\n"
              "  publishes  /robot_description  std_msgs/msg/String         "
              "reliable, transient local, keep last 1\n"
              "On a ROS 2 machine with ROS_DOMAIN_ID=7:\n"
              "  ros2 run robot_state_publisher robot_state_publisher --ros-args "
              "-p use_sim_time:=true -p robot_description:=\"$(cat " QOR_DEMO_URDF
              ")\"\n"
              "  rviz2 -d " QOR_DEMO_RVIZ
              " --ros-args -p use_sim_time:=true\n"
              "  ros2 topic echo /joint_states\n");
}

TEST(StartupText, LeavesOutRobotStatePublisherWhenTheDemoPublishesTheFrames) {
    const std::vector<qorDemo::DemoTopic> topics{
        {"/tf", "tf2_msgs/msg/TFMessage", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 100},
         true}};
    EXPECT_EQ(qorDemo::startupText(0, {}, topics, QOR_DEMO_URDF),
              "qor-ros2-demo: domain 0, joints:\n"
              "  publishes  /tf  tf2_msgs/msg/TFMessage  reliable, volatile, keep last 100\n"
              "On a ROS 2 machine with ROS_DOMAIN_ID=0:\n"
              "  rviz2 -d " QOR_DEMO_RVIZ
              " --ros-args -p use_sim_time:=true\n"
              "  ros2 topic echo /joint_states\n");
}

TEST(StartupText, LeavesOutTheRobotCommandsWithoutADescription) {
    const std::vector<qorDemo::DemoTopic> topics{
        {"/clock", "rosgraph_msgs/msg/Clock", qorROS2::createClockQOS(), true}};
    EXPECT_EQ(qorDemo::startupText(0, {}, topics, ""),
              "qor-ros2-demo: domain 0, joints:\n"
              "  publishes  /clock  rosgraph_msgs/msg/Clock  reliable, volatile, keep last 1\n"
              "On a ROS 2 machine with ROS_DOMAIN_ID=0:\n"
              "  ros2 topic echo /joint_states\n");
}

TEST(StartupText, PointsAtTheJointStatesInTheNodesNamespace) {
    qorROS2::setNodeIdentity("qor_ros2_demo", "/robot1");
    const std::string text = qorDemo::startupText(0, {}, {}, "");
    qorROS2::setNodeIdentity("qorDemoStartupTextTests", "/");
    EXPECT_EQ(text,
              "qor-ros2-demo: domain 0, joints:\n"
              "On a ROS 2 machine with ROS_DOMAIN_ID=0:\n"
              "  ros2 topic echo /robot1/joint_states\n");
}

}  // namespace
