// The arm's transforms as a subscriber receives them from "/tf" and "/tf_static", against the
// URDF's kinematics at the joint positions of the same step, composed here independently of the
// publisher and of the physics engine.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ArmFrames.h"
#include "ArmScene.h"
#include "QosTesting.h"
#include "RigidFrame.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2TransformPublisher.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TimeConversion.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorSDK/Simulation.h"

namespace {

using qorDemoTest::RigidFrame;
using qorROS2::QOS;
using qorROS2::tf2Msgs::TFMessage;

// The late subscriber expects one static set, so no other test publishes on its domain; the
// tests on the last one make their endpoints but never step, or tell theirs apart.
enum TransformTestDomain : std::int8_t { kChainDomain = 88, kLateDomain = 89, kSharedDomain = 90 };

constexpr double kMetres = 1e-9;
constexpr double kRadians = 1e-9;
constexpr int kConfigurations = 8;

const QOS kTfQos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 100};
const QOS kTfStaticQos{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1};

// A transform as received: its parent and its pose there.
struct Received {
    std::string parent;
    RigidFrame frame;
};

void collect(const TFMessage& message, std::map<std::string, Received>& tree) {
    for (const auto& each : message.transforms) {
        const auto& t = each.transform;
        RigidFrame frame;
        frame.rotation =
            qorDemoTest::fromQuaternion(t.rotation.w, t.rotation.x, t.rotation.y, t.rotation.z);
        frame.translation = {t.translation.x, t.translation.y, t.translation.z};
        tree[each.child_frame_id] = Received{each.header.frame_id, frame};
    }
}

// `link` in `root`, composed along the received parents; false when the chain breaks.
bool chain(const std::map<std::string, Received>& tree, const std::string& root,
           const std::string& link, RigidFrame& out, std::string& path) {
    RigidFrame pose;
    std::string at = link;
    path = link;
    for (std::size_t hops = 0; at != root; ++hops) {
        const auto found = tree.find(at);
        if (found == tree.end() || hops > tree.size()) {
            return false;
        }
        pose = qorDemoTest::compose(found->second.frame, pose);
        at = found->second.parent;
        path = at + " > " + path;
    }
    out = pose;
    return true;
}

std::string describe(const TFMessage& message) {
    std::ostringstream text;
    for (const auto& each : message.transforms) {
        text << "  " << each.header.frame_id << " -> " << each.child_frame_id << " at "
             << each.header.stamp.sec << "." << each.header.stamp.nanosec << "\n";
    }
    return text.str();
}

// The arm's scene with every joint bound, and its frames published.
struct ArmOnDomain {
    explicit ArmOnDomain(std::int8_t domain)
        : simulation(qorSDK::Simulation::createFromFile(QOR_DEMO_SCENE)),
          tf(new qorROS2::ROS2TransformPublisher(*simulation, domain)) {
        qorDemo::addArmFrames(*tf);
        simulation->add(tf.get());
        for (const std::string& joint : simulation->getJointNames()) {
            joints[joint] = simulation->createConstraint(joint);
        }
    }
    ~ArmOnDomain() { simulation->remove(tf.get()); }

    qor::ref_ptr<qorSDK::Simulation> simulation;
    qor::ref_ptr<qorROS2::ROS2TransformPublisher> tf;
    std::map<std::string, qor::ref_ptr<qor::Constraint1DOF>> joints;
};

TEST(ArmTransforms, EveryLinkFromTfAndTfStaticIsWhereTheUrdfPutsItAtThatStep) {
    const urdf::ModelInterfaceSharedPtr description = qorDemoTest::loadDescription();
    ASSERT_TRUE(description);
    ArmOnDomain arm(kChainDomain);
    const qorROS2::Subscriber<TFMessage> tfReader("/tf", kTfQos, kChainDomain);
    const qorROS2::Subscriber<TFMessage> staticReader("/tf_static", kTfStaticQos, kChainDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return tfReader.matchedPublications() > 0 && staticReader.matchedPublications() > 0;
    })) << "the transform publishers did not match";

    std::mt19937 random(23);
    std::map<std::string, Received> tree;
    bool staticReceived = false;
    for (int configuration = 0; configuration < kConfigurations; ++configuration) {
        for (auto& [name, joint] : arm.joints) {
            std::uniform_real_distribution<double> within(name == "rail" ? -0.5 : -1.5,
                                                          name == "rail" ? 0.5 : 1.5);
            joint->setAngle(within(random));
        }
        arm.simulation->stepForward();
        std::map<std::string, double> positions;
        for (const auto& [name, joint] : arm.joints) {
            positions[name] = joint->getAngle();
        }
        const auto stamp = qorROS2::toRosTime(arm.simulation->getTime());
        TFMessage message{};
        std::string seen;
        const bool atStep = qorTest::waitFor([&] {
            while (tfReader.receiveMessage(message)) {
                seen += describe(message);
                if (!message.transforms.empty() &&
                    message.transforms[0].header.stamp.sec == stamp.sec &&
                    message.transforms[0].header.stamp.nanosec == stamp.nanosec) {
                    return true;
                }
            }
            return false;
        });
        ASSERT_TRUE(atStep) << "no /tf message stamped " << stamp.sec << "." << stamp.nanosec
                            << "; received:\n"
                            << seen;
        collect(message, tree);
        TFMessage fixed{};
        if (!staticReceived) {
            ASSERT_TRUE(qorTest::receiveWithin(staticReader, fixed)) << "no /tf_static message";
            collect(fixed, tree);
            staticReceived = true;
        }

        const std::map<std::string, RigidFrame> expected =
            qorDemoTest::linkFrames(*description, positions);
        for (const auto& [link, frame] : expected) {
            RigidFrame got;
            std::string path;
            ASSERT_TRUE(chain(tree, description->getRoot()->name, link, got, path))
                << "link '" << link << "' is not reached from the root; broken at " << path;
            EXPECT_LT(qorDemoTest::distance(got.translation, frame.translation), kMetres)
                << link << " (" << path << ") in configuration " << configuration;
            EXPECT_LT(qorDemoTest::angleBetween(got.rotation, frame.rotation), kRadians)
                << link << " (" << path << ") in configuration " << configuration;
        }
    }
}

TEST(ArmTransforms, TfStaticReachesALateSubscriberWholeOnceAndOnlyTheLastSet) {
    ArmOnDomain arm(kLateDomain);
    arm.simulation->stepForward();
    arm.simulation->stepForward();
    const qorROS2::Subscriber<TFMessage> late("/tf_static", kTfStaticQos, kLateDomain);
    TFMessage fixed{};
    ASSERT_TRUE(qorTest::receiveWithin(late, fixed)) << "a late subscriber got no /tf_static";
    std::map<std::string, std::string> parents;
    for (const auto& each : fixed.transforms) {
        parents[each.child_frame_id] = each.header.frame_id;
    }
    const std::map<std::string, std::string> expected{
        {"rail_base", "world"}, {"tool", "hand"},         {"mast", "world"},
        {"lidar_link", "mast"}, {"camera_link", "world"}, {"camera_optical_frame", "camera_link"}};
    EXPECT_EQ(parents, expected) << describe(fixed);
    EXPECT_EQ(fixed.transforms.size(), expected.size()) << describe(fixed);
    // Sent once: a later step sends no second set.
    arm.simulation->stepForward();
    EXPECT_FALSE(late.waitForSample(std::chrono::milliseconds(300)))
        << "a second /tf_static message came";

    // A fixed transform added later sends the whole set again, which alone a later subscriber
    // gets: the topic keeps the last message only.
    arm.tf->addFrame("ball", qorSDK::Simulation::FrameKind::BODY, "blue_ball");
    arm.tf->addTransform("world", "ball", qorROS2::ROS2TransformPublisher::FIXED);
    arm.simulation->stepForward();
    // It keeps more than one message itself, so that it would see every one the topic keeps.
    const qorROS2::Subscriber<TFMessage> later(
        "/tf_static", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 10}, kLateDomain);
    ASSERT_TRUE(qorTest::receiveWithin(later, fixed)) << "a later subscriber got no /tf_static";
    EXPECT_EQ(fixed.transforms.size(), expected.size() + 1) << describe(fixed);
    EXPECT_FALSE(later.waitForSample(std::chrono::milliseconds(300)))
        << "a later subscriber got more than the last /tf_static message";
}

TEST(ArmTransforms, TopicsOfferTf2sQos) {
    // DDS discovery announces no history: the depths are pinned on the publisher's own QOS.
    qorTest::expectQos(qorROS2::ROS2TransformPublisher::kTfQos, kTfQos, "/tf");
    qorTest::expectQos(qorROS2::ROS2TransformPublisher::kTfStaticQos, kTfStaticQos, "/tf_static");
    ArmOnDomain arm(kSharedDomain);
    const qorROS2::TopicDiscovery discovery(kSharedDomain);
    std::vector<qorROS2::DiscoveredEndpoint> endpoints;
    const auto offered = [&](const std::string& topic) -> const qorROS2::DiscoveredEndpoint* {
        for (const auto& each : endpoints) {
            if (each.topic == topic && each.publisher) {
                return &each;
            }
        }
        return nullptr;
    };
    ASSERT_TRUE(qorTest::waitFor([&] {
        endpoints = discovery.endpoints();
        return offered("/tf") != nullptr && offered("/tf_static") != nullptr;
    })) << "the publishers of /tf and /tf_static were not seen";
    for (const auto& [topic, qos] :
         {std::pair{"/tf", kTfQos}, std::pair{"/tf_static", kTfStaticQos}}) {
        const qorROS2::DiscoveredQos& seen = offered(topic)->qos;
        EXPECT_EQ(seen.reliability, qos.reliability) << topic;
        EXPECT_EQ(seen.durability, qos.durability) << topic;
        EXPECT_EQ(offered(topic)->type, "tf2_msgs/msg/TFMessage") << topic;
    }
}

TEST(ArmTransforms, UnknownFramesAndObjectsAreRefusedByName) {
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromFile(QOR_DEMO_SCENE);
    const qor::ref_ptr<qorROS2::ROS2TransformPublisher> tf =
        new qorROS2::ROS2TransformPublisher(*simulation, kSharedDomain);
    const auto refusal = [](const auto& call) {
        try {
            call();
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
        return std::string("no refusal");
    };
    using Kind = qorSDK::Simulation::FrameKind;
    EXPECT_EQ(refusal([&] { tf->addFrame("base", Kind::BODY, "no_such_body"); }),
              "Simulation::getPose: model 'arm' has no body named 'no_such_body'");
    EXPECT_EQ(refusal([&] { tf->addFrame("", Kind::BODY, "world"); }),
              "ROS2TransformPublisher::addFrame: a frame needs a name");
    qorROS2::geometryMsgs::Transform sheared = qorROS2::ROS2TransformPublisher::identity();
    sheared.rotation.w = 2.0;
    EXPECT_EQ(refusal([&] { tf->addFrame("base", Kind::BODY, "world", sheared); }),
              "ROS2TransformPublisher::addFrame: the offset of frame 'base' needs a finite "
              "translation and a unit quaternion");
    qorROS2::geometryMsgs::Transform astray = qorROS2::ROS2TransformPublisher::identity();
    astray.translation.y = std::nan("");
    EXPECT_EQ(refusal([&] { tf->addFrame("base", Kind::BODY, "world", astray); }),
              "ROS2TransformPublisher::addFrame: the offset of frame 'base' needs a finite "
              "translation and a unit quaternion");
    tf->addFrame("world", Kind::BODY, "world");
    tf->addFrame("hand", Kind::BODY, "hand");
    EXPECT_EQ(refusal([&] { tf->addFrame("hand", Kind::SITE, "tool"); }),
              "ROS2TransformPublisher::addFrame: frame 'hand' is added already");
    EXPECT_EQ(
        refusal([&] { tf->addTransform("world", "tool", qorROS2::ROS2TransformPublisher::FIXED); }),
        "ROS2TransformPublisher::addTransform: no frame 'tool' was added");
    EXPECT_EQ(
        refusal([&] { tf->addTransform("hand", "hand", qorROS2::ROS2TransformPublisher::MOVING); }),
        "ROS2TransformPublisher::addTransform: frame 'hand' cannot be its own parent");
    tf->addTransform("world", "hand", qorROS2::ROS2TransformPublisher::MOVING);
    EXPECT_EQ(
        refusal([&] { tf->addTransform("world", "hand", qorROS2::ROS2TransformPublisher::FIXED); }),
        "ROS2TransformPublisher::addTransform: frame 'hand' has the parent 'world' already");
}

}  // namespace
