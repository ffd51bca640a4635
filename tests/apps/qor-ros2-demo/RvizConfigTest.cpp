// The shipped rviz2 set-up, read as YAML (as rviz2 reads it): the fixed frame `world` and the
// four displays on the demo's topics, each reading with QoS that the demo's writers meet.

#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include <map>
#include <string>

namespace {

YAML::Node displays() {
    const YAML::Node config = YAML::LoadFile(QOR_DEMO_RVIZ);
    return config["Visualization Manager"]["Displays"];
}

// The display of class `className`, or an undefined node.
YAML::Node display(const std::string& className) {
    for (const YAML::Node& candidate : displays()) {
        if (candidate["Class"].as<std::string>() == className) {
            return candidate;
        }
    }
    return YAML::Node(YAML::NodeType::Undefined);
}

TEST(RvizConfig, FixedFrameIsWorld) {
    const YAML::Node config = YAML::LoadFile(QOR_DEMO_RVIZ);
    EXPECT_EQ(config["Visualization Manager"]["Global Options"]["Fixed Frame"].as<std::string>(),
              "world");
}

TEST(RvizConfig, ShowsTheRobotItsFramesTheImageAndTheCloud) {
    const std::map<std::string, std::string> topics{
        {"rviz_default_plugins/Image", "/camera/image_raw"},
        {"rviz_default_plugins/PointCloud2", "/lidar/points"}};
    for (const auto& [className, topic] : topics) {
        SCOPED_TRACE(className);
        const YAML::Node shown = display(className);
        ASSERT_TRUE(shown.IsDefined());
        EXPECT_TRUE(shown["Enabled"].as<bool>());
        EXPECT_EQ(shown["Topic"]["Value"].as<std::string>(), topic);
        EXPECT_EQ(shown["Topic"]["Reliability Policy"].as<std::string>(), "Reliable");
        EXPECT_EQ(shown["Topic"]["Durability Policy"].as<std::string>(), "Volatile");
    }
    const YAML::Node robot = display("rviz_default_plugins/RobotModel");
    ASSERT_TRUE(robot.IsDefined());
    EXPECT_EQ(robot["Description Source"].as<std::string>(), "Topic");
    EXPECT_EQ(robot["Description Topic"]["Value"].as<std::string>(), "/robot_description");
    // Transient local, or a description published before rviz2 started would never arrive.
    EXPECT_EQ(robot["Description Topic"]["Durability Policy"].as<std::string>(), "Transient Local");
    const YAML::Node frames = display("rviz_default_plugins/TF");
    ASSERT_TRUE(frames.IsDefined());
    EXPECT_TRUE(frames["Enabled"].as<bool>());
}

}  // namespace
