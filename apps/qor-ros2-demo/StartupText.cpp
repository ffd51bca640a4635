#include "StartupText.h"

#include <algorithm>
#include <sstream>

#include "qorROS2/RosNames.h"

namespace qorDemo {

std::string describeQos(const qorROS2::QOS& qos) {
    std::ostringstream text;
    text << (qos.reliability == qorROS2::QOS::RELIABLE ? "reliable" : "best effort") << ", "
         << (qos.durability == qorROS2::QOS::TRANSIENT_LOCAL ? "transient local" : "volatile")
         << ", ";
    if (qos.history == qorROS2::QOS::KEEP_LAST) {
        text << "keep last " << qos.depth;
    } else {
        text << "keep all";
    }
    return text.str();
}

std::string startupText(std::int8_t domainId, const std::vector<std::string>& joints,
                        const std::vector<DemoTopic>& topics, const std::string& descriptionPath) {
    std::ostringstream text;
    text << "qor-ros2-demo: domain " << static_cast<int>(domainId) << ", joints:";
    for (const std::string& joint : joints) {
        text << ' ' << joint;
    }
    text << '\n';

    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    for (const DemoTopic& topic : topics) {
        nameWidth = std::max(nameWidth, topic.name.size());
        typeWidth = std::max(typeWidth, topic.type.size());
    }
    const auto padded = [](const std::string& word, std::size_t width) {
        return word + std::string(width - word.size(), ' ');
    };
    for (const DemoTopic& topic : topics) {
        text << "  " << (topic.published ? "publishes  " : "subscribes ")
             << padded(topic.name, nameWidth) << "  " << padded(topic.type, typeWidth) << "  "
             << describeQos(topic.qos) << '\n';
    }

    text << "On a ROS 2 machine with ROS_DOMAIN_ID=" << static_cast<int>(domainId) << ":\n";
    // A demo that publishes the frames itself needs no robot_state_publisher, which would
    // publish the same frames beside it.
    const bool publishesFrames =
        std::any_of(topics.begin(), topics.end(), [](const DemoTopic& topic) {
            return topic.published && topic.type == "tf2_msgs/msg/TFMessage";
        });
    if (!descriptionPath.empty()) {
        if (!publishesFrames) {
            text << "  ros2 run robot_state_publisher robot_state_publisher --ros-args "
                    "-p use_sim_time:=true -p robot_description:=\"$(cat "
                 << descriptionPath << ")\"\n";
        }
        text << "  rviz2 -d " QOR_DEMO_RVIZ_CONFIG " --ros-args -p use_sim_time:=true\n";
    }
    // Where the joint states are once the node's namespace and remap rules are applied.
    text << "  ros2 topic echo " << qorROS2::resolveTopicName("joint_states") << "\n";
    return text.str();
}

}  // namespace qorDemo
