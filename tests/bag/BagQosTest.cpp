// The QoS a recorder asks for and a player offers, chosen as ROS 2 Humble's rosbag2 chooses them,
// with its log lines, and the QoS override files as ros2 bag reads them, with its errors.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "BagErrorText.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagQos.h"

namespace {

using qorROS2::QOS;
using qorROS2::bag::BagError;
using qorROS2::bag::BagQosLog;
using qorROS2::bag::OfferedQosProfile;
using qorROS2::bag::QosDuration;

OfferedQosProfile offer(std::uint32_t reliability, std::uint32_t durability) {
    OfferedQosProfile profile;
    profile.history = qorROS2::bag::POLICY_UNKNOWN;
    profile.depth = 0;
    profile.reliability = reliability;
    profile.durability = durability;
    profile.deadline = qorROS2::bag::kInfiniteQosDuration;
    return profile;
}

const OfferedQosProfile kReliableLatched = offer(QOS::RELIABLE, QOS::TRANSIENT_LOCAL);
const OfferedQosProfile kReliableVolatile = offer(QOS::RELIABLE, QOS::VOLATILE);
const OfferedQosProfile kBestEffortLatched = offer(QOS::BEST_EFFORT, QOS::TRANSIENT_LOCAL);
const OfferedQosProfile kBestEffortVolatile = offer(QOS::BEST_EFFORT, QOS::VOLATILE);

const std::string kMixedReliability =
    "Some, but not all, publishers on topic \"/scan\" are offering "
    "RMW_QOS_POLICY_RELIABILITY_RELIABLE. Falling back to RMW_QOS_POLICY_RELIABILITY_BEST_EFFORT "
    "as it will connect to all publishers. Some messages from Reliable publishers could be "
    "dropped.";
const std::string kMixedDurability =
    "Some, but not all, publishers on topic \"/scan\" are offering "
    "RMW_QOS_POLICY_DURABILITY_TRANSIENT_LOCAL. Falling back to "
    "RMW_QOS_POLICY_DURABILITY_VOLATILE as it will connect to all publishers. "
    "Previously-published latched messages will not be retrieved.";

std::vector<std::string> texts(const std::vector<BagQosLog>& log, BagQosLog::Level level) {
    std::vector<std::string> lines;
    for (const BagQosLog& line : log) {
        if (line.level == level) {
            lines.push_back(line.text);
        }
    }
    return lines;
}

std::string overrideError(const std::string& yaml) {
    return qorTest::bagErrorOf([&] { qorROS2::bag::qosOverridesFromYaml(yaml, "overrides.yaml"); });
}

}  // namespace

TEST(RecordingQos, AsksForWhatEveryPublisherOffersAndFallsBackOnAMixedOffer) {
    struct Row {
        std::vector<OfferedQosProfile> offers;
        std::uint32_t reliability;
        std::uint32_t durability;
        std::vector<std::string> warnings;
    };
    const std::vector<Row> table = {
        {{}, QOS::RELIABLE, QOS::VOLATILE, {}},
        {{kReliableLatched}, QOS::RELIABLE, QOS::TRANSIENT_LOCAL, {}},
        {{kReliableVolatile, kReliableVolatile}, QOS::RELIABLE, QOS::VOLATILE, {}},
        {{kBestEffortVolatile}, QOS::BEST_EFFORT, QOS::VOLATILE, {}},
        {{kBestEffortLatched, kReliableLatched},
         QOS::BEST_EFFORT,
         QOS::TRANSIENT_LOCAL,
         {kMixedReliability}},
        {{kReliableLatched, kReliableVolatile}, QOS::RELIABLE, QOS::VOLATILE, {kMixedDurability}},
        {{kReliableLatched, kBestEffortVolatile},
         QOS::BEST_EFFORT,
         QOS::VOLATILE,
         {kMixedReliability, kMixedDurability}},
    };
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto chosen = qorROS2::bag::recordingQos("/scan", table[i].offers);
        EXPECT_EQ(table[i].reliability, chosen.qos.reliability) << "row " << i;
        EXPECT_EQ(table[i].durability, chosen.qos.durability) << "row " << i;
        EXPECT_EQ(QOS::KEEP_LAST, chosen.qos.history) << "row " << i;
        EXPECT_EQ(10U, chosen.qos.depth) << "row " << i;
        EXPECT_EQ(table[i].warnings, texts(chosen.log, BagQosLog::WARN)) << "row " << i;
        // Deadline and liveliness stay unspecified, so that every publisher matches.
        EXPECT_TRUE(chosen.profile.deadline == (QosDuration{0, 0})) << "row " << i;
        EXPECT_EQ(qorROS2::bag::POLICY_SYSTEM_DEFAULT, chosen.profile.liveliness) << "row " << i;
    }
}

TEST(RecordingQos, TakesTheOverrideOfItsTopicAsIs) {
    OfferedQosProfile keepAll;
    keepAll.history = QOS::KEEP_ALL;
    keepAll.reliability = QOS::BEST_EFFORT;
    const auto chosen =
        qorROS2::bag::recordingQos("/scan", {kReliableLatched}, {{"/scan", keepAll}});
    EXPECT_EQ(QOS::KEEP_ALL, chosen.qos.history);
    EXPECT_EQ(QOS::BEST_EFFORT, chosen.qos.reliability);
    EXPECT_EQ(QOS::VOLATILE, chosen.qos.durability);
    EXPECT_EQ(std::vector<std::string>{"Overriding subscription profile for /scan"},
              texts(chosen.log, BagQosLog::INFO));
    EXPECT_TRUE(
        texts(qorROS2::bag::recordingQos("/odom", {}, {{"/scan", keepAll}}).log, BagQosLog::INFO)
            .empty());
}

TEST(RecordingQos, WarnsOfLatePublishersItCannotHear) {
    const QOS reliableLatched{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 10};
    EXPECT_EQ(
        (std::vector<std::string>{
            "A new publisher for subscribed topic /scan was found offering "
            "RMW_QOS_POLICY_RELIABILITY_BEST_EFFORT, but rosbag already subscribed requesting "
            "RMW_QOS_POLICY_RELIABILITY_RELIABLE. Messages from this new publisher will not be "
            "recorded.",
            "A new publisher for subscribed topic /scan was found offering "
            "RMW_QOS_POLICY_DURABILITY_VOLATILE, but rosbag2 already subscribed requesting "
            "RMW_QOS_POLICY_DURABILITY_TRANSIENT_LOCAL. Messages from this new publisher will not "
            "be recorded."}),
        qorROS2::bag::lateOfferWarnings(
            "/scan", reliableLatched, {kBestEffortVolatile, kReliableLatched, kReliableVolatile}));
    const QOS bestEffortVolatile{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 10};
    EXPECT_TRUE(qorROS2::bag::lateOfferWarnings("/scan", bestEffortVolatile,
                                                {kBestEffortVolatile, kReliableLatched})
                    .empty());
}

TEST(PlaybackQos, OffersTheRecordedProfileWhenAllPublishersAgreed) {
    OfferedQosProfile latchedKeep3 = kReliableLatched;
    latchedKeep3.history = QOS::KEEP_LAST;
    latchedKeep3.depth = 3;
    // History and lifespan do not decide matching, so they may differ.
    OfferedQosProfile latchedWithLifespan = kReliableLatched;
    latchedWithLifespan.lifespan = QosDuration{4, 0};
    const auto chosen =
        qorROS2::bag::playbackQos("/map", {latchedKeep3, kReliableLatched, latchedWithLifespan});
    EXPECT_EQ(QOS::TRANSIENT_LOCAL, chosen.qos.durability);
    EXPECT_EQ(QOS::RELIABLE, chosen.qos.reliability);
    EXPECT_EQ(QOS::KEEP_LAST, chosen.qos.history);
    EXPECT_EQ(10U, chosen.qos.depth);
    EXPECT_TRUE(chosen.profile.deadline == qorROS2::bag::kInfiniteQosDuration);
    EXPECT_TRUE(chosen.log.empty());
}

TEST(PlaybackQos, FallsBackToTheDefaultOnAMixedRecordingOrNone) {
    const auto mixed = qorROS2::bag::playbackQos("/map", {kReliableLatched, kBestEffortLatched});
    EXPECT_EQ(QOS::VOLATILE, mixed.qos.durability);
    EXPECT_EQ(QOS::RELIABLE, mixed.qos.reliability);
    EXPECT_EQ(10U, mixed.qos.depth);
    EXPECT_EQ(std::vector<std::string>{"Not all original publishers on topic /map offered the "
                                       "same QoS profiles. Rosbag2 cannot yet choose an adapted "
                                       "profile to offer for this mixed case. Falling back to "
                                       "the rosbag2_transport default publisher offer."},
              texts(mixed.log, BagQosLog::WARN));
    const auto none = qorROS2::bag::playbackQos("/map", {});
    EXPECT_EQ(QOS::VOLATILE, none.qos.durability);
    EXPECT_EQ(QOS::RELIABLE, none.qos.reliability);
    EXPECT_TRUE(none.log.empty());
}

TEST(PlaybackQos, TakesTheOverrideOfItsTopic) {
    const auto overrides = qorROS2::bag::qosOverridesFromYaml(
        "/map: {history: keep_all, durability: TRANSIENT_LOCAL}", "o.yaml");
    const auto chosen = qorROS2::bag::playbackQos("/map", {kBestEffortVolatile}, overrides);
    EXPECT_EQ(QOS::KEEP_ALL, chosen.qos.history);
    EXPECT_EQ(QOS::TRANSIENT_LOCAL, chosen.qos.durability);
    EXPECT_EQ(QOS::RELIABLE, chosen.qos.reliability);
    EXPECT_EQ(std::vector<std::string>{"Overriding QoS profile for topic /map"},
              texts(chosen.log, BagQosLog::INFO));
}

TEST(PlaybackQos, RefusesARecordedValueNoEndpointTakes) {
    EXPECT_EQ("QoS for topic /map: reliability 3 (unknown) cannot be offered or requested",
              qorTest::bagErrorOf([&] {
                  qorROS2::bag::playbackQos("/map",
                                            {offer(qorROS2::bag::POLICY_UNKNOWN, QOS::VOLATILE)});
              }));
}

TEST(QosOverrides, ReadsEveryPolicyAndLeavesTheRestAtRmwDefaults) {
    const auto overrides = qorROS2::bag::qosOverridesFromYaml(
        "/scan:\n"
        "  history: keep_last\n"
        "  depth: 3\n"
        "  reliability: best_effort\n"
        "  deadline:\n"
        "    sec: 1\n"
        "    nsec: 2500000000\n"
        "  liveliness: Manual_By_Topic\n"
        "  liveliness_lease_duration: {}\n"
        "  avoid_ros_namespace_conventions: true\n"
        "/odom:\n"
        "  depth: 1\n",
        "o.yaml");
    ASSERT_EQ(2U, overrides.size());
    const OfferedQosProfile& scan = overrides.at("/scan");
    EXPECT_EQ(QOS::KEEP_LAST, scan.history);
    EXPECT_EQ(3U, scan.depth);
    EXPECT_EQ(QOS::BEST_EFFORT, scan.reliability);
    EXPECT_EQ(QOS::VOLATILE, scan.durability);
    EXPECT_TRUE(scan.deadline == (QosDuration{3, 500000000}));
    EXPECT_TRUE(scan.lifespan == (QosDuration{0, 0}));
    EXPECT_EQ(qorROS2::bag::LIVELINESS_MANUAL_BY_TOPIC, scan.liveliness);
    EXPECT_TRUE(scan.avoidRosNamespaceConventions);
    const OfferedQosProfile& odom = overrides.at("/odom");
    EXPECT_EQ(QOS::KEEP_LAST, odom.history);
    EXPECT_EQ(1U, odom.depth);
    EXPECT_EQ(QOS::RELIABLE, odom.reliability);
}

TEST(QosOverrides, RefusesWhatRos2BagRefusesInItsWords) {
    EXPECT_EQ("Unexpected key `latency` for QoS profile.",
              overrideError("/scan: {depth: 1, latency: 3}"));
    EXPECT_EQ("`depth` may not be a negative value.", overrideError("/scan: {depth: -1}"));
    EXPECT_EQ("Time overrides must include both seconds (sec) and nanoseconds (nsec).",
              overrideError("/scan: {depth: 1, deadline: {sec: 1}}"));
    EXPECT_EQ("Time duration may not be a negative value.",
              overrideError("/scan: {depth: 1, lifespan: {sec: -2, nsec: 5}}"));
    EXPECT_EQ("('Invalid QoSProfile', 'History and/or depth settings are required.')",
              overrideError("/scan: {reliability: reliable}"));
    EXPECT_EQ("('Invalid QoSProfile', 'History set to KEEP_LAST without a depth setting.')",
              overrideError("/scan: {history: keep_last}"));
    EXPECT_EQ("Total nanoseconds value is too large to store in C duration.",
              overrideError("/scan: {depth: 1, deadline: {sec: 9300000000, nsec: 0}}"));
}

TEST(QosOverrides, NamesTheFileForWhatIsNotAProfile) {
    EXPECT_EQ("overrides.yaml: the document: expected a map from topic names to QoS profiles",
              overrideError(""));
    EXPECT_EQ("overrides.yaml: /scan: expected a QoS profile (a map of policies)",
              overrideError("/scan: reliable"));
    EXPECT_EQ(
        "overrides.yaml: /scan.durability: expected one of system_default, "
        "transient_local, volatile, unknown, best_available (in any case), got 'latched'",
        overrideError("/scan: {depth: 1, durability: latched}"));
    EXPECT_EQ("overrides.yaml: /scan.depth: expected an integer from 0 to 2147483647, got 'many'",
              overrideError("/scan: {depth: many}"));
    EXPECT_EQ("overrides.yaml: not YAML (line 1, column 1: end of map flow not found)",
              overrideError("/scan: {depth: 1"));
}

TEST(QosOverrides, SaysWhenTheFileCannotBeOpened) {
    const std::string path = "/nonexistent_qor_dir/overrides.yaml";
    EXPECT_EQ("can't open '" + path + "': [Errno 2] No such file or directory: '" + path + "'",
              qorTest::bagErrorOf([&] { qorROS2::bag::readQosOverrides(path); }));
}
