// The demo's command line: every flag read into its option, and every mistake named.

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "DemoOptions.h"

namespace {

using qorDemo::parseDemoOptions;

const qorROS2::RosEnvironment kNoVariables;

// The ROS environment of a process whose only variable is ROS_DOMAIN_ID=`value`.
qorROS2::RosEnvironment withDomain(const char* value) {
    return qorROS2::readRosEnvironment([value](const char* name) -> const char* {
        return std::string(name) == "ROS_DOMAIN_ID" ? value : nullptr;
    });
}

TEST(DemoOptions, FlagsAreReadIntoTheirOptionsAndTheLastValueWins) {
    const std::string snapshot = ::testing::TempDir() + "demo-options-out.png";
    // The domain comes from the process's ROS environment.
    const qorROS2::RosEnvironment domainSeven = withDomain("7");
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
                                           "2.5",
                                           "--lidar-rate",
                                           "5",
                                           "--sensor-qos",
                                           "best_effort",
                                           "--snapshot",
                                           snapshot,
                                           "--design-conventions"},
                                          domainSeven);
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
    EXPECT_EQ(options.cameraRate, 2.5);
    EXPECT_EQ(options.lidarRate, 5.0);
    EXPECT_EQ(options.sensorQos, qorDemo::SensorReliability::BEST_EFFORT);
    EXPECT_EQ(options.snapshotPath, snapshot);
    EXPECT_TRUE(options.designConventions);
    EXPECT_EQ(options.domainId, 7);
    EXPECT_FALSE(options.help);
    EXPECT_FALSE(options.robotDescriptionPath.empty());
}

TEST(DemoOptions, AnUnusableDomainIsNamedAsRos2Programs) {
    const qorROS2::RosEnvironment badDomain = withDomain("abc");
    try {
        parseDemoOptions({}, badDomain);
        ADD_FAILURE() << "no error";
    } catch (const qorDemo::UsageError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "ROS_DOMAIN_ID must be a whole number from 0 to 127, got 'abc'");
    }
}

TEST(DemoOptions, RosConventionsByDefault) {
    EXPECT_FALSE(parseDemoOptions({}, kNoVariables).designConventions);
}

TEST(DemoOptions, PlayingUnlessPausedAndTheFlagIsInTheUsage) {
    EXPECT_FALSE(parseDemoOptions({}, kNoVariables).startPaused);
    EXPECT_TRUE(parseDemoOptions({"--paused"}, kNoVariables).startPaused);
    EXPECT_NE(
        qorDemo::demoUsage().find("  --paused              start paused: only /step_simulation "
                                  "steps, until\n"),
        std::string::npos)
        << qorDemo::demoUsage();
}

TEST(DemoOptions, TheArmsFramesArePublishedUnlessNoTfOrAnotherScene) {
    EXPECT_TRUE(parseDemoOptions({}, kNoVariables).publishTf);
    EXPECT_FALSE(parseDemoOptions({"--no-tf"}, kNoVariables).publishTf);
    EXPECT_FALSE(parseDemoOptions({"--scene", QOR_DEMO_DEFAULT_SCENE}, kNoVariables).publishTf);
}

TEST(DemoOptions, ARecordingTakesItsDirectoryAndTheBagsLayoutAndIsInTheUsage) {
    const auto none = parseDemoOptions({}, kNoVariables);
    EXPECT_EQ(none.recordDirectory, "");
    EXPECT_EQ(none.recordCompression, "");
    EXPECT_EQ(none.recordVersion, 5);
    EXPECT_FALSE(none.sensorsUnsubscribed);
    EXPECT_FALSE(none.recordSimulatedTime);
    const auto humble = parseDemoOptions({"--record", "run1"}, kNoVariables);
    EXPECT_EQ(humble.recordDirectory, "run1");
    EXPECT_EQ(humble.recordCompression, "");
    EXPECT_EQ(humble.recordVersion, 5);
    // The recording reads the sensors, which otherwise wait for a subscriber.
    EXPECT_TRUE(humble.sensorsUnsubscribed);
    const auto jazzy = parseDemoOptions({"--record", "run2", "--compression-format", "lz4",
                                         "--rosbag2-version", "9", "--use-sim-time"},
                                        kNoVariables);
    EXPECT_EQ(jazzy.recordDirectory, "run2");
    EXPECT_EQ(jazzy.recordCompression, "lz4");
    EXPECT_EQ(jazzy.recordVersion, 9);
    EXPECT_TRUE(jazzy.recordSimulatedTime);
    EXPECT_NE(qorDemo::demoUsage().find("  --record DIR          record every topic the demo "
                                        "publishes into the bag DIR\n"),
              std::string::npos)
        << qorDemo::demoUsage();
}

TEST(DemoOptions, TheWebViewIsOffUnlessAskedForAndTakesItsPortWhenOneFollows) {
    const auto none = parseDemoOptions({}, kNoVariables);
    EXPECT_FALSE(none.web);

    const auto bare = parseDemoOptions({"--web", "--fast"}, kNoVariables);
    EXPECT_TRUE(bare.web);
    EXPECT_TRUE(bare.asFastAsPossible);
    EXPECT_EQ(bare.webPort, 8765);
    EXPECT_EQ(bare.webAddress, "127.0.0.1");
    EXPECT_EQ(bare.webToken, "");

    const auto last = parseDemoOptions({"--web"}, kNoVariables);
    EXPECT_TRUE(last.web);
    EXPECT_EQ(last.webPort, 8765);

    const auto chosen = parseDemoOptions(
        {"--web", "9000", "--web-address", "::1", "--web-token", "secret"}, kNoVariables);
    EXPECT_TRUE(chosen.web);
    EXPECT_EQ(chosen.webPort, 9000);
    EXPECT_EQ(chosen.webAddress, "::1");
    EXPECT_EQ(chosen.webToken, "secret");
    EXPECT_EQ(parseDemoOptions({"--web", "0"}, kNoVariables).webPort, 0);

    EXPECT_NE(qorDemo::demoUsage().find("  --web [PORT]          serve every topic live"),
              std::string::npos)
        << qorDemo::demoUsage();
}

TEST(DemoOptions, HelpNeedsNoSceneFile) {
    EXPECT_TRUE(parseDemoOptions({"--scene", "/nonexistent.xml", "-h"}, kNoVariables).help);
    EXPECT_TRUE(parseDemoOptions({"--help"}, kNoVariables).help);
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
        {{"--snapshot", "/nonexistent/x.png"},
         "--snapshot cannot write '/nonexistent/x.png': No such file or directory"},
        {{"--snapshot", "shot.jpg"}, "--snapshot writes PNG only: 'shot.jpg' does not end in .png"},
        {{"--snapshot", "png"}, "--snapshot writes PNG only: 'png' does not end in .png"},
        {{"--snapshot", ""}, "--snapshot needs a file name"},
        {{"--snapshot", ::testing::TempDir()},
         "--snapshot writes PNG only: '" + ::testing::TempDir() + "' does not end in .png"},
        {{"--snapshot", "shot.png", "--camera-rate", "0"},
         "--snapshot needs the camera, which --camera-rate 0 turns off"},
        {{"--record"}, "--record needs a value"},
        {{"--record", ""}, "--record needs a directory name"},
        {{"--record", ::testing::TempDir()},
         "--record: the directory '" + ::testing::TempDir() + "' already exists"},
        {{"--record", "bag", "--compression-format", "gzip"},
         "--compression-format expects zstd or lz4, got 'gzip'"},
        {{"--record", "bag", "--rosbag2-version", "8"},
         "--rosbag2-version expects 5 or 9, got '8'"},
        {{"--compression-format", "zstd"},
         "--compression-format applies to the bag of --record, which is not given"},
        {{"--rosbag2-version", "9"},
         "--rosbag2-version applies to the bag of --record, which is not given"},
        {{"--use-sim-time"}, "--use-sim-time applies to the bag of --record, which is not given"},
        {{"--web", "65536"}, "--web expects a port from 0 to 65535, got '65536'"},
        {{"--web", "-1"}, "--web expects a port from 0 to 65535, got '-1'"},
        {{"--web", "80.5"}, "--web expects a port from 0 to 65535, got '80.5'"},
        {{"--web", "http"}, "--web expects a number, got 'http'"},
        {{"--web-address", "0.0.0.0"}, "--web-address needs --web"},
        {{"--web-token", "secret"}, "--web-token needs --web"},
        {{"--web", "--web-address"}, "--web-address needs a value"},
    };
    for (const Mistake& mistake : mistakes) {
        try {
            parseDemoOptions(mistake.arguments, kNoVariables);
            ADD_FAILURE() << mistake.message;
        } catch (const qorDemo::UsageError& error) {
            EXPECT_EQ(std::string(error.what()), mistake.message);
        }
    }
}

// A scratch folder of the test's own, removed at the end.
struct ScratchFolder {
    ScratchFolder() : path(::testing::TempDir() + "demo-options-" + std::to_string(::getpid())) {
        std::filesystem::create_directories(path);
    }
    ~ScratchFolder() { std::filesystem::remove_all(path); }
    std::filesystem::path path;
};

TEST(DemoOptions, ASnapshotIsTriedAndNothingIsLeftBehind) {
    const ScratchFolder folder;
    for (const char* name : {"shot.png", "SHOT.PNG", "shot.Png"}) {
        const std::filesystem::path snapshot = folder.path / name;
        EXPECT_EQ(parseDemoOptions({"--snapshot", snapshot.string()}, kNoVariables).snapshotPath,
                  snapshot.string());
        EXPECT_FALSE(std::filesystem::exists(snapshot)) << snapshot;
    }
}

TEST(DemoOptions, AnExistingSnapshotIsKeptUntilItIsReplaced) {
    const ScratchFolder folder;
    const std::filesystem::path snapshot = folder.path / "old.png";
    std::ofstream(snapshot) << "an older picture";
    parseDemoOptions({"--snapshot", snapshot.string()}, kNoVariables);
    std::ifstream kept(snapshot);
    std::string text;
    std::getline(kept, text);
    EXPECT_EQ(text, "an older picture");
}

TEST(DemoOptions, ASnapshotThatIsAFolderCannotBeWritten) {
    const ScratchFolder folder;
    const std::filesystem::path snapshot = folder.path / "folder.png";
    std::filesystem::create_directories(snapshot);
    try {
        parseDemoOptions({"--snapshot", snapshot.string()}, kNoVariables);
        ADD_FAILURE() << "a folder was taken for a snapshot";
    } catch (const qorDemo::UsageError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "--snapshot cannot write '" + snapshot.string() + "': Is a directory");
    }
}

}  // namespace
