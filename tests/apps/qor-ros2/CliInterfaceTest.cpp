#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "ChildProcess.h"

namespace {

constexpr int kDomain = 121;

TEST(CliInterface, ShowPrintsCameraInfoWithNestedTypesIndented) {
    const auto result =
        qorCliTest::runCli("interface show sensor_msgs/msg/CameraInfo", kDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output,
              "std_msgs/Header header\n"
              "\tbuiltin_interfaces/Time stamp\n"
              "\t\tint32 sec\n"
              "\t\tuint32 nanosec\n"
              "\tstring frame_id\n"
              "uint32 height\n"
              "uint32 width\n"
              "string distortion_model\n"
              "float64[] d\n"
              "float64[9] k\n"
              "float64[9] r\n"
              "float64[12] p\n"
              "uint32 binning_x\n"
              "uint32 binning_y\n"
              "sensor_msgs/RegionOfInterest roi\n"
              "\tuint32 x_offset\n"
              "\tuint32 y_offset\n"
              "\tuint32 height\n"
              "\tuint32 width\n"
              "\tbool do_rectify\n");
}

TEST(CliInterface, ShowAcceptsTheNameWithoutMsg) {
    const auto result = qorCliTest::runCli("interface show std_msgs/String", kDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "string data\n");
}

TEST(CliInterface, ShowOfEmptyPrintsNoField) {
    const auto result = qorCliTest::runCli("interface show std_msgs/msg/Empty", kDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "");
}

TEST(CliInterface, ListNamesEveryMessageType) {
    const auto result = qorCliTest::runCli("interface list", kDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    std::istringstream lines(result.output);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "Messages:");
    int types = 0;
    bool jointState = false;
    while (std::getline(lines, line)) {
        ++types;
        jointState = jointState || line == "    sensor_msgs/msg/JointState";
    }
    EXPECT_EQ(types, 89);
    EXPECT_TRUE(jointState);
}

TEST(CliInterface, UnknownTypeExitsWithTwoAndSaysSo) {
    const auto result = qorCliTest::runCli("interface show sensor_msgs/msg/Nope", kDomain, true);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output,
              "qor-ros2: unknown message type 'sensor_msgs/msg/Nope' (see "
              "'qor-ros2 interface list' for the known ones)\n");
}

TEST(CliInterface, UnknownCommandExitsWithTwo) {
    const auto result = qorCliTest::runCli("interface frobnicate", kDomain, true);
    EXPECT_EQ(result.exitCode, 2);
    // argparse's words for a verb that is not one of the command's.
    EXPECT_EQ(result.output,
              "usage: qor-ros2 interface [-h]\n"
              "                          Call `qor-ros2 interface <command> -h` for more\n"
              "                          detailed usage. ...\n"
              "qor-ros2 interface: error: argument Call `qor-ros2 interface <command> -h` for "
              "more detailed usage.: invalid choice: 'frobnicate' (choose from 'list', 'show')\n");
}

}  // namespace
