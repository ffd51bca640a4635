// The demo's frames: on by default, with the parents and children of the URDF it publishes on
// /robot_description and the props below the world, and none at all with --no-tf.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ArmFrames.h"
#include "ArmScene.h"
#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoEntities.h"
#include "WaitFor.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/stdMsgs.h"
#include "qorROS2/tf2Msgs.h"

namespace {

using qorROS2::QOS;
using qorROS2::tf2Msgs::TFMessage;
using Pairs = std::set<std::pair<std::string, std::string>>;

// Shared with the arm's tests that never step: only the bridge here publishes transforms.
constexpr std::int8_t kDemoDomain = 90;

qorDemo::DemoOptions withoutSensors() {
    qorDemo::DemoOptions options = qorDemoTest::smallDemo(kDemoDomain, 64, 48);
    options.cameraRate = 0.0;
    options.lidarRate = 0.0;
    return options;
}

std::string describe(const Pairs& pairs) {
    std::ostringstream text;
    for (const auto& [parent, child] : pairs) {
        text << "  " << parent << " -> " << child << "\n";
    }
    return text.str();
}

bool lists(const qorDemo::DemoBridge& bridge, const std::string& topic) {
    return std::any_of(bridge.topics().begin(), bridge.topics().end(), [&](const auto& listed) {
        return listed.name == topic && listed.type == "tf2_msgs/msg/TFMessage" && listed.published;
    });
}

TEST(DemoTransforms, OnByDefaultWithTheParentsAndChildrenOfTheUrdfAndTheProps) {
    const urdf::ModelInterfaceSharedPtr description = qorDemoTest::loadDescription();
    ASSERT_TRUE(description);
    Pairs expected;
    for (const auto& [name, joint] : description->joints_) {
        expected.emplace(joint->parent_link_name, joint->child_link_name);
    }
    // The props are no part of the robot: each moves below the world on its own.
    for (const char* prop : qorDemo::kProps) {
        expected.emplace("world", prop);
    }
    qorDemo::DemoBridge bridge(withoutSensors());
    EXPECT_TRUE(lists(bridge, "/tf"));
    EXPECT_TRUE(lists(bridge, "/tf_static"));
    const qorROS2::Subscriber<TFMessage> moving(
        "/tf", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 100}, kDemoDomain);
    const qorROS2::Subscriber<TFMessage> fixed(
        "/tf_static", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kDemoDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return moving.matchedPublications() > 0 && fixed.matchedPublications() > 0;
    })) << "the demo's transform publishers did not match";
    Pairs published;
    TFMessage message{};
    const bool both = qorTest::waitFor([&] {
        bridge.step();
        for (const qorROS2::Subscriber<TFMessage>* reader : {&moving, &fixed}) {
            while (reader->receiveMessage(message)) {
                for (const auto& each : message.transforms) {
                    published.emplace(each.header.frame_id, each.child_frame_id);
                }
            }
        }
        return published.size() >= expected.size();
    });
    EXPECT_TRUE(both) << "received only:\n" << describe(published);
    EXPECT_EQ(published, expected) << "received:\n"
                                   << describe(published) << "the URDF's joints:\n"
                                   << describe(expected);
    // Images and clouds are stamped in frames of the tree.
    const auto isChild = [&](const std::string& frame) {
        return std::any_of(published.begin(), published.end(),
                           [&](const auto& pair) { return pair.second == frame; });
    };
    EXPECT_TRUE(isChild(qorDemo::kCameraOpticalFrame));
    EXPECT_TRUE(isChild(qorDemo::kLidarFrame));
}

TEST(DemoTransforms, NoTfLeavesTheTransformsToRobotStatePublisher) {
    qorDemo::DemoOptions options = withoutSensors();
    options.publishTf = false;
    const qorROS2::TopicDiscovery discovery(kDemoDomain);
    // Endpoints of this process share one participant: a probe names its GUID prefix, so that
    // endpoints of tests running beside this one are told apart.
    const qorROS2::Publisher<qorROS2::stdMsgs::String> probe("/demo_transforms_no_tf_probe", QOS{},
                                                             kDemoDomain);
    qorDemo::DemoBridge bridge(options);
    EXPECT_FALSE(lists(bridge, "/tf"));
    EXPECT_FALSE(lists(bridge, "/tf_static"));
    std::vector<qorROS2::DiscoveredEndpoint> endpoints;
    const auto ours = [&](const std::string& topic) {
        const auto mine = std::find_if(endpoints.begin(), endpoints.end(), [](const auto& each) {
            return each.topic == "/demo_transforms_no_tf_probe";
        });
        return mine != endpoints.end() &&
               std::any_of(endpoints.begin(), endpoints.end(), [&](const auto& each) {
                   return each.topic == topic && each.publisher &&
                          std::equal(each.guid.begin(), each.guid.begin() + 12, mine->guid.begin());
               });
    };
    ASSERT_TRUE(qorTest::waitFor([&] {
        endpoints = discovery.endpoints();
        return ours("/joint_states");
    })) << "the demo's /joint_states publisher was not seen";
    bridge.step();
    endpoints = discovery.endpoints();
    EXPECT_FALSE(ours("/tf")) << "a /tf publisher with --no-tf";
    EXPECT_FALSE(ours("/tf_static")) << "a /tf_static publisher with --no-tf";
}

}  // namespace
