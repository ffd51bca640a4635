// The process's log lines on /rosout: rcl's QoS, the node's logger name, the level, the text
// without the logger's prefix, its location, and the node's time as the stamp.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "WaitFor.h"
#include "qor/Notify.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2RosoutPublisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;

constexpr std::int8_t kRosoutDomain = 60;

// What the lines handed on after /rosout were.
struct Handed {
    std::vector<int> levels;
    std::vector<std::string> lines;
};

void warnFrom(const std::string& file, int line, const std::string& function,
              const std::string& text) {
    std::ostream& out = qor::Notify::getThreadStringStream();
    out << qor::Notify::setDebugStrings(qor::WARNING, file, line, function) << text << std::endl
        << qor::Notify::end();
}

TEST(RosoutPublisher, LoggerNamesAreRcls) {
    EXPECT_EQ(ROS2RosoutPublisher::loggerName("qor_ros2_demo", "/"), "qor_ros2_demo");
    EXPECT_EQ(ROS2RosoutPublisher::loggerName("qor_ros2_demo", "/robot1"), "robot1.qor_ros2_demo");
    EXPECT_EQ(ROS2RosoutPublisher::loggerName("arm", "/site/robot1"), "site.robot1.arm");
}

TEST(RosoutPublisher, WarningsReachLateSubscribersAndTheNextSinkUnchanged) {
    setNodeIdentity("rosout_test", "/robot1");
    Handed handed;
    ROS2RosoutPublisher rosout(kRosoutDomain);
    rosout.setTime(12.25);
    {
        const qor::ScopedNotifySink sink(
            rosout.sinkAround([&handed](int level, const std::string& line) {
                handed.levels.push_back(level);
                handed.lines.push_back(line);
            }));
        warnFrom("Joints.cpp", 42, "addJoint", "joint 'elbow' is unknown: ignored");
        warnFrom("", -1, "", "no location: here");
    }
    setNodeIdentity("qorROS2RosoutTests", "/");
    EXPECT_EQ(handed.lines, (std::vector<std::string>{
                                "Warning (Joints.cpp:42 in addJoint): joint 'elbow' is unknown: "
                                "ignored",
                                "Warning: no location: here"}));
    EXPECT_EQ(handed.levels, (std::vector<int>{qor::WARNING, qor::WARNING}));

    // Made after the lines were sent: rcl's transient local history hands them over.
    const Subscriber<rclInterfaces::Log> reader(
        "/rosout", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1000}, kRosoutDomain);
    rclInterfaces::Log first;
    rclInterfaces::Log second;
    ASSERT_TRUE(qorTest::receiveWithin(reader, first));
    ASSERT_TRUE(qorTest::receiveWithin(reader, second));
    EXPECT_EQ(first.name, "robot1.rosout_test");
    EXPECT_EQ(first.level, 30U);
    EXPECT_EQ(first.msg, "joint 'elbow' is unknown: ignored");
    EXPECT_EQ(first.file, "Joints.cpp");
    EXPECT_EQ(first.function, "addJoint");
    EXPECT_EQ(first.line, 42U);
    EXPECT_EQ(first.stamp.sec, 12);
    EXPECT_EQ(first.stamp.nanosec, 250000000U);
    EXPECT_EQ(second.msg, "no location: here");
    EXPECT_EQ(second.file, "");
    EXPECT_EQ(second.function, "");
    EXPECT_EQ(second.line, 0U);
}

}  // namespace
