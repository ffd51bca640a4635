// The offered QoS profiles a bag records: built from what discovery reports, and written and
// read in the two forms rosbag2 uses (integers in a string up to version 8, names from 9).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BagErrorText.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace {

using qorROS2::QOS;
using qorROS2::bag::BagError;
using qorROS2::bag::kInfiniteQosDuration;
using qorROS2::bag::OfferedQosProfile;
using qorROS2::bag::QosDuration;

// A transient-local publisher keeping 5 with a 1.5 s deadline, as an rclcpp publisher offers
// it (its history known).
OfferedQosProfile latchedWithDeadline() {
    OfferedQosProfile profile;
    profile.history = QOS::KEEP_LAST;
    profile.depth = 5;
    profile.reliability = QOS::RELIABLE;
    profile.durability = QOS::TRANSIENT_LOCAL;
    profile.deadline = QosDuration{1, 500000000};
    profile.liveliness = qorROS2::bag::LIVELINESS_MANUAL_BY_TOPIC;
    profile.livelinessLeaseDuration = kInfiniteQosDuration;
    profile.avoidRosNamespaceConventions = true;
    return profile;
}

// Its durations in either form.
const std::string kLatchedDeadlineAndLifespan =
    "  deadline:\n"
    "    sec: 1\n"
    "    nsec: 500000000\n"
    "  lifespan:\n"
    "    sec: 0\n"
    "    nsec: 0\n";

std::string errorOf(const std::string& yaml) {
    return qorTest::bagErrorOf(
        [&] { qorROS2::bag::offeredQosFromYaml(yaml, "bag/metadata.yaml"); });
}

}  // namespace

TEST(QosProfileYaml, BuildsTheProfileRos2ReportsForADiscoveredPublisher) {
    qorROS2::DiscoveredQos discovered;
    discovered.reliability = QOS::BEST_EFFORT;
    discovered.durability = qorROS2::DiscoveredQos::PERSISTENT;
    discovered.deadlineNanoseconds = 2000000007;
    discovered.lifespanNanoseconds = -1;
    discovered.liveliness = qorROS2::DiscoveredQos::MANUAL_BY_TOPIC;
    discovered.livelinessLeaseNanoseconds = 0;
    const OfferedQosProfile profile = qorROS2::bag::offeredQosFromDiscovered(discovered);
    EXPECT_EQ(qorROS2::bag::POLICY_UNKNOWN, profile.history);
    EXPECT_EQ(0U, profile.depth);
    EXPECT_EQ(QOS::BEST_EFFORT, profile.reliability);
    EXPECT_EQ(qorROS2::bag::POLICY_UNKNOWN, profile.durability);
    EXPECT_TRUE(profile.deadline == (QosDuration{2, 7}));
    EXPECT_TRUE(profile.lifespan == kInfiniteQosDuration);
    EXPECT_EQ(qorROS2::bag::LIVELINESS_MANUAL_BY_TOPIC, profile.liveliness);
    EXPECT_TRUE(profile.livelinessLeaseDuration == (QosDuration{0, 0}));
    EXPECT_FALSE(profile.avoidRosNamespaceConventions);
}

TEST(QosProfileYaml, WritesIntegersAsHumbleDoes) {
    EXPECT_EQ(
        "- history: 1\n"
        "  depth: 5\n"
        "  reliability: 1\n"
        "  durability: 1\n" +
            kLatchedDeadlineAndLifespan +
            "  liveliness: 3\n"
            "  liveliness_lease_duration:\n"
            "    sec: 9223372036\n"
            "    nsec: 854775807\n"
            "  avoid_ros_namespace_conventions: true\n"
            "- history: 1\n"
            "  depth: 10\n"
            "  reliability: 1\n"
            "  durability: 2\n"
            "  deadline:\n"
            "    sec: 0\n"
            "    nsec: 0\n"
            "  lifespan:\n"
            "    sec: 0\n"
            "    nsec: 0\n"
            "  liveliness: 0\n"
            "  liveliness_lease_duration:\n"
            "    sec: 0\n"
            "    nsec: 0\n"
            "  avoid_ros_namespace_conventions: false",
        qorROS2::bag::offeredQosToYamlString({latchedWithDeadline(), OfferedQosProfile{}}));
    // Humble dumps the list it never pushed to, a null node, as nothing; its player reads an
    // empty string as "no profiles recorded".
    EXPECT_EQ("", qorROS2::bag::offeredQosToYamlString({}));
}

TEST(QosProfileYaml, WritesNamesAsJazzyDoes) {
    EXPECT_EQ(
        "- history: keep_last\n"
        "  depth: 5\n"
        "  reliability: reliable\n"
        "  durability: transient_local\n" +
            kLatchedDeadlineAndLifespan +
            "  liveliness: manual_by_topic\n"
            "  liveliness_lease_duration:\n"
            "    sec: 9223372036\n"
            "    nsec: 854775807\n"
            "  avoid_ros_namespace_conventions: true",
        qorROS2::bag::offeredQosToYamlList({latchedWithDeadline()}));
    EXPECT_EQ("[]", qorROS2::bag::offeredQosToYamlList({}));
}

TEST(QosProfileYaml, ReadsBothFormsBack) {
    const std::vector<OfferedQosProfile> profiles = {latchedWithDeadline(), OfferedQosProfile{}};
    EXPECT_TRUE(profiles == qorROS2::bag::offeredQosFromYaml(
                                qorROS2::bag::offeredQosToYamlString(profiles), "m.yaml"));
    EXPECT_TRUE(profiles == qorROS2::bag::offeredQosFromYaml(
                                qorROS2::bag::offeredQosToYamlList(profiles), "m.yaml"));
    EXPECT_TRUE(qorROS2::bag::offeredQosFromYaml("", "m.yaml").empty());
    EXPECT_TRUE(qorROS2::bag::offeredQosFromYaml("~", "m.yaml").empty());
}

TEST(QosProfileYaml, ReadsEveryInfinityOfOldReleasesAsInfinite) {
    std::string text = qorROS2::bag::offeredQosToYamlList({OfferedQosProfile{}});
    // Fast DDS's old infinity in the deadline, Connext's in the lifespan.
    text.replace(text.find("sec: 0\n    nsec: 0"), 18, "sec: 2147483647\n    nsec: 4294967295");
    text.replace(text.find("sec: 0\n    nsec: 0"), 18, "sec: 2147483647\n    nsec: 2147483647");
    const auto profiles = qorROS2::bag::offeredQosFromYaml(text, "m.yaml");
    ASSERT_EQ(1U, profiles.size());
    EXPECT_TRUE(profiles[0].deadline == kInfiniteQosDuration);
    EXPECT_TRUE(profiles[0].lifespan == kInfiniteQosDuration);
    EXPECT_TRUE(profiles[0].livelinessLeaseDuration == (QosDuration{0, 0}));
}

TEST(QosProfileYaml, NamesTheKeyOfAValueRos2DoesNotHave) {
    std::string named = qorROS2::bag::offeredQosToYamlList({OfferedQosProfile{}});
    EXPECT_EQ(
        "bag/metadata.yaml: offered_qos_profiles[0].durability: expected one of "
        "system_default, transient_local, volatile, unknown, best_available, got 'sticky'",
        errorOf(named.replace(named.find("volatile"), 8, "sticky")));
    std::string numbered = qorROS2::bag::offeredQosToYamlString({OfferedQosProfile{}});
    EXPECT_EQ(
        "bag/metadata.yaml: offered_qos_profiles[0].liveliness: expected one of 0, 1, 3, "
        "4, 5, got '2'",
        errorOf(numbered.replace(numbered.find("liveliness: 0"), 13, "liveliness: 2")));
    EXPECT_EQ(
        "bag/metadata.yaml: offered_qos_profiles[0].depth: expected an integer from 0 to "
        "2147483647, got '-1'",
        errorOf(numbered.replace(numbered.find("depth: 10"), 9, "depth: -1")));
    EXPECT_EQ("bag/metadata.yaml: offered_qos_profiles[0].lifespan: expected a map holding 'sec'",
              errorOf("- {history: 1, depth: 1, reliability: 1, durability: 1, deadline: {sec: 0, "
                      "nsec: 0}, lifespan: 5}"));
    EXPECT_EQ("bag/metadata.yaml: offered_qos_profiles: expected a list", errorOf("history: 1"));
}

TEST(QosProfileYaml, GivesEndpointsOnlyValuesTheyTake) {
    const QOS qos = qorROS2::bag::toEndpointQos(latchedWithDeadline(), "/map");
    EXPECT_EQ(QOS::TRANSIENT_LOCAL, qos.durability);
    EXPECT_EQ(QOS::RELIABLE, qos.reliability);
    EXPECT_EQ(QOS::KEEP_LAST, qos.history);
    EXPECT_EQ(5U, qos.depth);
    OfferedQosProfile unknown;
    unknown.reliability = qorROS2::bag::POLICY_UNKNOWN;
    EXPECT_EQ("QoS for topic /map: reliability 3 (unknown) cannot be offered or requested",
              qorTest::bagErrorOf([&] { qorROS2::bag::toEndpointQos(unknown, "/map"); }));
}

TEST(QosProfileYaml, RefusesToWriteAValueRos2DoesNotHave) {
    OfferedQosProfile profile;
    profile.liveliness = 2;  // rmw's retired "manual by node", which it no longer names
    EXPECT_EQ("cannot write QoS liveliness 2: ROS 2 has no such value",
              qorTest::bagErrorOf([&] { qorROS2::bag::offeredQosToYamlList({profile}); }));
    profile.liveliness = qorROS2::bag::LIVELINESS_AUTOMATIC;
    profile.history = 7;
    EXPECT_EQ("cannot write QoS history 7: ROS 2 has no such value",
              qorTest::bagErrorOf([&] { qorROS2::bag::offeredQosToYamlString({profile}); }));
}
