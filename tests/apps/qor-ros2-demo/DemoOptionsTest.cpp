// The demo's command line: every flag read into its option, and every mistake named.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DemoOptions.h"

namespace {

using qorDemo::parseDemoOptions;

TEST(DemoOptions, FlagsAreReadIntoTheirOptionsAndTheLastValueWins) {
    const auto options = parseDemoOptions({"--fast",
                                           "--rate",
                                           "2",
                                           "--rate",
                                           "3",
                                           "--duration",
                                           "1.5",
                                           "--joint",
                                           "elbow=velocity",
                                           "--joint",
                                           "rail=position",
                                           "--camera-size",
                                           "320x240",
                                           "--lidar-size",
                                           "8x64",
                                           "--camera-rate",
                                           "0",
                                           "--lidar-rate",
                                           "5",
                                           "--sensor-qos",
                                           "best_effort",
                                           "--snapshot",
                                           "out.png",
                                           "--design-conventions"},
                                          "7");
    EXPECT_TRUE(options.asFastAsPossible);
    EXPECT_EQ(options.rateFactor, 3.0);
    EXPECT_EQ(options.duration, 1.5);
    ASSERT_EQ(options.jointModes.size(), 2U);
    EXPECT_EQ(options.jointModes.at("elbow"), qorROS2::ROS2ControlInterface::VELOCITY);
    EXPECT_EQ(options.jointModes.at("rail"), qorROS2::ROS2ControlInterface::POSITION);
    EXPECT_EQ(options.cameraWidth, 320);
    EXPECT_EQ(options.cameraHeight, 240);
    EXPECT_EQ(options.lidarRows, 8U);
    EXPECT_EQ(options.lidarColumns, 64U);
    EXPECT_EQ(options.cameraRate, 0.0);
    EXPECT_EQ(options.lidarRate, 5.0);
    EXPECT_EQ(options.sensorQos, qorDemo::SensorReliability::BEST_EFFORT);
    EXPECT_EQ(options.snapshotPath, "out.png");
    EXPECT_TRUE(options.designConventions);
    EXPECT_EQ(options.domainId, 7);
    EXPECT_FALSE(options.help);
    EXPECT_FALSE(options.robotDescriptionPath.empty());
}

TEST(DemoOptions, RosConventionsByDefault) {
    EXPECT_FALSE(parseDemoOptions({}, nullptr).designConventions);
}

TEST(DemoOptions, HelpNeedsNoSceneFile) {
    EXPECT_TRUE(parseDemoOptions({"--scene", "/nonexistent.xml", "-h"}, nullptr).help);
    EXPECT_TRUE(parseDemoOptions({"--help"}, nullptr).help);
}

struct Mistake {
    std::vector<std::string> arguments;
    std::string message;
};

TEST(DemoOptions, MistakesAreNamed) {
    const std::vector<Mistake> mistakes = {
        {{"--bogus"}, "unknown option '--bogus' (see --help)"},
        {{"extra"}, "unknown option 'extra' (see --help)"},
        {{"--rate"}, "--rate needs a value"},
        {{"--rate", "0"}, "--rate must be positive"},
        {{"--rate", "x"}, "--rate expects a number, got 'x'"},
        {{"--duration", "-1"}, "--duration must not be negative, got '-1'"},
        {{"--joint", "elbow"}, "--joint expects NAME=position|velocity|effort, got 'elbow'"},
        {{"--joint", "elbow=fly"}, "--joint expects NAME=position|velocity|effort, got mode 'fly'"},
        {{"--camera-size", "3"}, "--camera-size expects two whole numbers like 640x480, got '3'"},
        {{"--sensor-qos", "x"}, "--sensor-qos expects reliable or best_effort, got 'x'"},
        {{"--scene", "/nonexistent.xml"}, "cannot read the scene file '/nonexistent.xml'"},
    };
    for (const Mistake& mistake : mistakes) {
        try {
            parseDemoOptions(mistake.arguments, nullptr);
            ADD_FAILURE() << mistake.message;
        } catch (const qorDemo::UsageError& error) {
            EXPECT_EQ(std::string(error.what()), mistake.message);
        }
    }
}

}  // namespace
