// The QoS flags of the topic verbs laid over ROS 2's preset QoS profiles, for each end.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QosTesting.h"
#include "cli/QosProfiles.h"

namespace {

using qorCli::QosFlags;
using qorCli::QosRole;
using qorROS2::QOS;

using qorTest::expectQos;

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

}  // namespace
