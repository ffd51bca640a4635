// ROS 2's preset QoS profiles, the QoS flags laid over them, and the QoS a subscription picks
// to meet the publishers it finds.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/QosProfiles.h"

namespace {

using qorCli::QosFlags;
using qorCli::QosRole;
using qorROS2::QOS;

void expectQos(const QOS& actual, const QOS& expected, const std::string& what) {
    EXPECT_EQ(actual.durability, expected.durability) << what;
    EXPECT_EQ(actual.reliability, expected.reliability) << what;
    EXPECT_EQ(actual.history, expected.history) << what;
    EXPECT_EQ(actual.depth, expected.depth) << what;
}

struct ProfileCase {
    std::string name;
    QOS publisher;
    QOS subscription;
};

TEST(QosProfiles, PresetProfilesHaveRos2sValuesForEachEnd) {
    const std::vector<ProfileCase> cases = {
        // The middleware's defaults: Fast DDS writers are reliable and transient local, its
        // readers best effort and volatile, both keep last 1.
        {"system_default",
         {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1},
         {QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 1}},
        {"sensor_data",
         {QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5},
         {QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5}},
        {"services_default",
         {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10},
         {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}},
        {"parameters",
         {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000},
         {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
        {"parameter_events",
         {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000},
         {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
        {"action_status_default",
         {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1},
         {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}},
    };
    std::vector<std::string> names;
    for (const ProfileCase& profile : cases) {
        names.push_back(profile.name);
        expectQos(qorCli::qosFromFlags(profile.name, {}, QosRole::PUBLISHER), profile.publisher,
                  profile.name + " publisher");
        expectQos(qorCli::qosFromFlags(profile.name, {}, QosRole::SUBSCRIPTION),
                  profile.subscription, profile.name + " subscription");
    }
    EXPECT_EQ(qorCli::qosProfileNames(), names);
    EXPECT_THROW(qorCli::qosFromFlags("default", {}, QosRole::PUBLISHER), std::invalid_argument);
}

TEST(QosProfiles, AGivenFlagReplacesTheProfilesValue) {
    QosFlags flags;
    flags.reliability = "reliable";
    flags.durability = "transient_local";
    flags.history = "keep_all";
    flags.depth = 42;
    expectQos(qorCli::qosFromFlags("sensor_data", flags, QosRole::SUBSCRIPTION),
              {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_ALL, 42}, "all flags");
    QosFlags reliability;
    reliability.reliability = "best_effort";
    expectQos(qorCli::qosFromFlags("parameters", reliability, QosRole::PUBLISHER),
              {QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 1000}, "reliability only");
    QosFlags systemDefault;
    systemDefault.reliability = "system_default";
    systemDefault.durability = "system_default";
    expectQos(qorCli::qosFromFlags("services_default", systemDefault, QosRole::PUBLISHER),
              {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 10}, "system default");
    QosFlags unknown;
    unknown.history = "keep_some";
    EXPECT_THROW(qorCli::qosFromFlags("sensor_data", unknown, QosRole::PUBLISHER),
                 std::invalid_argument);
}

TEST(QosProfiles, DepthCountsOnlyAboveZero) {
    for (const std::int64_t ignored : {0, -3}) {
        QosFlags flags;
        flags.depth = ignored;
        EXPECT_EQ(qorCli::qosFromFlags("sensor_data", flags, QosRole::SUBSCRIPTION).depth, 5U)
            << ignored;
    }
    QosFlags transientLocal;
    transientLocal.durability = "transient_local";
    EXPECT_EQ(qorCli::qosFromFlags("system_default", transientLocal, QosRole::SUBSCRIPTION).depth,
              1U);
}

TEST(QosProfiles, AnyPolicyGivenIgnoresTheProfile) {
    QosFlags flags;
    flags.profile = "sensor_data";
    EXPECT_FALSE(flags.anyPolicyGiven());
    flags.depth = 3;
    EXPECT_TRUE(flags.anyPolicyGiven());
}

qorROS2::DiscoveredEndpoint publisher(const std::string& reliability,
                                      const std::string& durability) {
    qorROS2::DiscoveredEndpoint endpoint;
    endpoint.topic = "/t";
    endpoint.publisher = true;
    endpoint.qos.reliability = reliability;
    endpoint.qos.durability = durability;
    return endpoint;
}

const QOS kSensorData{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5};

TEST(QosProfiles, SubscriptionIsReliableOrTransientLocalOnlyWhenEveryPublisherIs) {
    const auto both = qorCli::adaptToPublishers(
        kSensorData,
        {publisher("RELIABLE", "TRANSIENT_LOCAL"), publisher("RELIABLE", "TRANSIENT_LOCAL")});
    expectQos(both.qos, {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 5}, "all agree");
    EXPECT_TRUE(both.notices.empty());

    const auto bestEffort =
        qorCli::adaptToPublishers(kSensorData, {publisher("BEST_EFFORT", "VOLATILE")});
    expectQos(bestEffort.qos, kSensorData, "best effort");
    EXPECT_TRUE(bestEffort.notices.empty());

    const QOS reliableProfile{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 10};
    const auto none = qorCli::adaptToPublishers(reliableProfile, {});
    expectQos(none.qos, reliableProfile, "no publisher");
}

TEST(QosProfiles, PublishersThatDisagreeGetRos2sNotices) {
    const auto mixed = qorCli::adaptToPublishers(
        kSensorData,
        {publisher("RELIABLE", "TRANSIENT_LOCAL"), publisher("BEST_EFFORT", "VOLATILE")});
    expectQos(mixed.qos, kSensorData, "mixed");
    EXPECT_EQ(mixed.notices,
              (std::vector<std::string>{
                  "Some, but not all, publishers are offering QoSReliabilityPolicy.RELIABLE. "
                  "Falling back to QoSReliabilityPolicy.BEST_EFFORT as it will connect to all "
                  "publishers",
                  "Some, but not all, publishers are offering "
                  "QoSDurabilityPolicy.TRANSIENT_LOCAL. Falling back to "
                  "QoSDurabilityPolicy.VOLATILE as it will connect to all publishers"}));
}

}  // namespace
