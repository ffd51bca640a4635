#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "CliRuns.h"

namespace {

using qorCliTest::linesOf;

constexpr int kDomain = 121;

TEST(CliInterface, ShowPrintsCameraInfoWithNestedTypesIndented) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show sensor_msgs/msg/CameraInfo", kDomain, false), 0,
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
        "RegionOfInterest roi\n"
        "\tuint32 x_offset\n"
        "\tuint32 y_offset\n"
        "\tuint32 height\n"
        "\tuint32 width\n"
        "\tbool do_rectify\n"));
}

TEST(CliInterface, ShowAcceptsTheNameWithoutMsg) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show std_msgs/String", kDomain, false), 0, "string data\n"));
}

// Constants come where the definition declares them, as ROS 2 writes them, spacing included;
// those of a nested type below its field.
TEST(CliInterface, ShowPrintsConstantsInDefinitionOrder) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show sensor_msgs/NavSatFix", kDomain, false), 0,
        "std_msgs/Header header\n"
        "\tbuiltin_interfaces/Time stamp\n"
        "\t\tint32 sec\n"
        "\t\tuint32 nanosec\n"
        "\tstring frame_id\n"
        "NavSatStatus status\n"
        "\tint8 STATUS_NO_FIX =  -1\n"
        "\tint8 STATUS_FIX =      0\n"
        "\tint8 STATUS_SBAS_FIX = 1\n"
        "\tint8 STATUS_GBAS_FIX = 2\n"
        "\tint8 status\n"
        "\tuint16 SERVICE_GPS =     1\n"
        "\tuint16 SERVICE_GLONASS = 2\n"
        "\tuint16 SERVICE_COMPASS = 4\n"
        "\tuint16 SERVICE_GALILEO = 8\n"
        "\tuint16 service\n"
        "float64 latitude\n"
        "float64 longitude\n"
        "float64 altitude\n"
        "float64[9] position_covariance\n"
        "uint8 COVARIANCE_TYPE_UNKNOWN = 0\n"
        "uint8 COVARIANCE_TYPE_APPROXIMATED = 1\n"
        "uint8 COVARIANCE_TYPE_DIAGONAL_KNOWN = 2\n"
        "uint8 COVARIANCE_TYPE_KNOWN = 3\n"
        "uint8 position_covariance_type\n"));
}

TEST(CliInterface, ShowOfEmptyPrintsNoField) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show std_msgs/msg/Empty", kDomain, false), 0, ""));
}

// The design's 89 message types and 35 further ones, then 32 services, then the action.
TEST(CliInterface, ListNamesEveryMessageTypeThenEveryServiceTypeThenEveryAction) {
    const auto result = qorCliTest::runCli("interface list", kDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    const std::vector<std::string> lines = linesOf(result.output);
    ASSERT_EQ(lines.size(), 160U) << result.output;
    EXPECT_EQ(lines[0], "Messages:");
    EXPECT_EQ(lines[1], "    action_msgs/msg/GoalInfo");
    EXPECT_EQ(lines[124], "    unique_identifier_msgs/msg/UUID");
    EXPECT_EQ(lines[125], "Services:");
    EXPECT_EQ(lines[126], "    action_msgs/srv/CancelGoal");
    EXPECT_EQ(lines[157], "    std_srvs/srv/Trigger");
    EXPECT_EQ(lines[158], "Actions:");
    EXPECT_EQ(lines[159], "    simulation_interfaces/action/SimulateSteps");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "    sensor_msgs/msg/JointState"), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "    tf2_msgs/msg/TFMessage"), 1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "    simulation_interfaces/msg/EntityState"),
              1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "    std_srvs/srv/SetBool"), 1);
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(), "    simulation_interfaces/srv/StepSimulation"), 1);
    EXPECT_TRUE(std::is_sorted(lines.begin() + 1, lines.begin() + 125));
    EXPECT_TRUE(std::is_sorted(lines.begin() + 126, lines.begin() + 158));
}

TEST(CliInterface, ListPrintsOnlyTheSectionsAskedForInTheirOrder) {
    const auto messages = qorCliTest::runCli("interface list --only-msgs", kDomain, false);
    EXPECT_EQ(messages.exitCode, 0);
    const std::vector<std::string> lines = linesOf(messages.output);
    ASSERT_EQ(lines.size(), 125U);
    EXPECT_EQ(lines[0], "Messages:");
    EXPECT_EQ(lines[124], "    unique_identifier_msgs/msg/UUID");
    const auto services = qorCliTest::runCli("interface list -a -s", kDomain, false);
    EXPECT_EQ(services.exitCode, 0);
    const std::vector<std::string> serviceLines = linesOf(services.output);
    ASSERT_EQ(serviceLines.size(), 35U) << services.output;
    EXPECT_EQ(serviceLines.front(), "Services:");
    EXPECT_EQ(serviceLines[30], "    std_srvs/srv/Empty");
    EXPECT_EQ(serviceLines[33], "Actions:");
    EXPECT_EQ(serviceLines.back(), "    simulation_interfaces/action/SimulateSteps");
    const auto both = qorCliTest::runCli("interface list --only-actions -m", kDomain, false);
    ASSERT_EQ(linesOf(both.output).size(), 127U) << both.output;
    EXPECT_EQ(linesOf(both.output)[125], "Actions:");
}

TEST(CliInterface, PackagesAreSortedAndOnlyTheFirstKindAskedForCounts) {
    const std::string messages =
        "action_msgs\nbuiltin_interfaces\ngeometry_msgs\nnav_msgs\nqor_msgs\nrcl_interfaces\n"
        "rosgraph_msgs\nsensor_msgs\nservice_msgs\nsimulation_interfaces\nstd_msgs\ntf2_msgs\n"
        "trajectory_msgs\nunique_identifier_msgs\n";
    const std::string all =
        "action_msgs\nbuiltin_interfaces\ngeometry_msgs\nnav_msgs\nqor_msgs\nrcl_interfaces\n"
        "rosgraph_msgs\nsensor_msgs\nservice_msgs\nsimulation_interfaces\nstd_msgs\nstd_srvs\n"
        "tf2_msgs\ntrajectory_msgs\nunique_identifier_msgs\n";
    const auto packages = qorCliTest::runCli("interface packages", kDomain, false);
    EXPECT_EQ(packages.exitCode, 0);
    EXPECT_EQ(packages.output, all);
    EXPECT_EQ(qorCliTest::runCli("interface packages -m", kDomain, false).output, messages);
    EXPECT_EQ(qorCliTest::runCli("interface packages -m -s", kDomain, false).output, messages);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface packages --only-srvs", kDomain, false), 0,
        "action_msgs\nrcl_interfaces\nsimulation_interfaces\nstd_srvs\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface packages -a", kDomain, false), 0, "simulation_interfaces\n"));
}

TEST(CliInterface, PackageListsItsMessageTypesSorted) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package rosgraph_msgs", kDomain, true), 0,
        "rosgraph_msgs/msg/Clock\n"));
    const auto builtin =
        qorCliTest::runCli("interface package builtin_interfaces -m", kDomain, true);
    EXPECT_EQ(builtin.output, "builtin_interfaces/msg/Duration\nbuiltin_interfaces/msg/Time\n");
    const std::vector<std::string> sensor =
        linesOf(qorCliTest::runCli("interface package sensor_msgs", kDomain, true).output);
    EXPECT_TRUE(std::is_sorted(sensor.begin(), sensor.end()));
    EXPECT_EQ(std::count(sensor.begin(), sensor.end(), "sensor_msgs/msg/PointCloud2"), 1);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package std_msgs -s", kDomain, true), 0, ""));
}

TEST(CliInterface, PackageListsItsServiceTypesAfterItsMessageTypes) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package std_srvs", kDomain, true), 0,
        "std_srvs/srv/Empty\nstd_srvs/srv/SetBool\nstd_srvs/srv/Trigger\n"));
    const std::vector<std::string> rcl =
        linesOf(qorCliTest::runCli("interface package rcl_interfaces", kDomain, true).output);
    ASSERT_EQ(rcl.size(), 11U + 6U);
    EXPECT_EQ(rcl.front(), "rcl_interfaces/msg/FloatingPointRange");
    EXPECT_EQ(rcl[11], "rcl_interfaces/srv/DescribeParameters");
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package rcl_interfaces --only-srvs", kDomain, true), 0,
        "rcl_interfaces/srv/DescribeParameters\nrcl_interfaces/srv/GetParameterTypes\n"
        "rcl_interfaces/srv/GetParameters\nrcl_interfaces/srv/ListParameters\n"
        "rcl_interfaces/srv/SetParameters\nrcl_interfaces/srv/SetParametersAtomically\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package std_srvs -m", kDomain, true), 0, ""));
}

TEST(CliInterface, ShowOfAServicePrintsItsRequestAndResponseApart) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show std_srvs/srv/SetBool", kDomain, true), 0,
        "bool data\n---\nbool success\nstring message\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show rcl_interfaces/srv/GetParameterTypes", kDomain, true), 0,
        "string[] names\n---\nuint8[] types\n"));
}

TEST(CliInterface, PackageListsItsMessagesThenServicesThenActions) {
    const auto result =
        qorCliTest::runCli("interface package simulation_interfaces", kDomain, true);
    EXPECT_EQ(result.exitCode, 0);
    const std::vector<std::string> lines = linesOf(result.output);
    ASSERT_EQ(lines.size(), 15U + 22U + 1U) << result.output;
    EXPECT_EQ(lines[0], "simulation_interfaces/msg/Bounds");
    EXPECT_EQ(lines[14], "simulation_interfaces/msg/WorldResource");
    EXPECT_EQ(lines[15], "simulation_interfaces/srv/DeleteEntity");
    EXPECT_EQ(lines[36], "simulation_interfaces/srv/UnloadWorld");
    EXPECT_EQ(lines[37], "simulation_interfaces/action/SimulateSteps");
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package simulation_interfaces -a", kDomain, true), 0,
        "simulation_interfaces/action/SimulateSteps\n"));
}

// simulation_interfaces/Result below a field of that type, as ros2 prints it: its constants as
// the .msg writes them, spacing included, then its fields.
const std::string kNestedResult =
    "Result result\n"
    "\tuint8 RESULT_FEATURE_UNSUPPORTED   = 0\n"
    "\tuint8 RESULT_OK                    = 1\n"
    "\tuint8 RESULT_NOT_FOUND             = 2\n"
    "\tuint8 RESULT_INCORRECT_STATE       = 3\n"
    "\tuint8 RESULT_OPERATION_FAILED      = 4\n"
    "\tuint8 result\n"
    "\tstring error_message\n";

// As ros2 prints a .action: the goal, "---", the result, "---", the feedback; a nested type's
// constants and fields below its field.
TEST(CliInterface, ShowOfAnActionPrintsItsGoalResultAndFeedbackApart) {
    const std::string expected =
        "uint64 steps\n"
        "---\n" +
        kNestedResult +
        "---\n"
        "uint64 completed_steps\n"
        "uint64 remaining_steps\n";
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show simulation_interfaces/action/SimulateSteps", kDomain,
                           true),
        0, expected));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show simulation_interfaces/SimulateSteps", kDomain, true), 0,
        expected));
}

// A default value stays on its field's line, as the .srv writes it.
TEST(CliInterface, ShowOfAServiceKeepsItsDefaultValues) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show simulation_interfaces/srv/StepSimulation", kDomain,
                           true),
        0,
        "uint64 steps 1\n"
        "---\n" +
            kNestedResult));
}

TEST(CliInterface, UnknownPackageSaysSoAsRos2DoesAndExitsWithOne) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package diagnostic_msgs", kDomain, true), 1,
        "Unknown package 'diagnostic_msgs'\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface package", kDomain, true), 2,
        "usage: qor-ros2 interface package [-h] [-m] [-s] [-a] package_name\n"
        "qor-ros2 interface package: error: the following arguments are required: "
        "package_name\n"));
}

TEST(CliInterface, UnknownTypeExitsWithOneAndSaysSo) {
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("interface show sensor_msgs/msg/Nope", kDomain, true), 1,
        "qor-ros2: unknown message type 'sensor_msgs/msg/Nope' (see "
        "'qor-ros2 interface list' for the known ones)\n"));
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
              "more detailed usage.: invalid choice: 'frobnicate' (choose from 'list', 'package', "
              "'packages', 'proto', 'show')\n");
}

}  // namespace
