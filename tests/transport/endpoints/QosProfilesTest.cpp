// ROS 2's preset QoS profiles with the values rmw gives them, "system default" resolved for each
// end of a topic, the QoS a subscription picks to meet the publishers it finds, and ros2's names
// of QoS values.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "QosTesting.h"
#include "qorROS2/QosProfiles.h"

namespace {

using qorROS2::DiscoveredQos;
using qorROS2::QOS;
using qorROS2::QosRole;

using qorTest::expectQos;

struct PresetCase {
    std::string name;
    QOS preset;
};

TEST(QosProfiles, PresetsHoldRmwsValuesInRclpysOrder) {
    // rmw/include/rmw/qos_profiles.h (ros2/rmw, Humble): rmw_qos_profile_system_default,
    // _sensor_data, _services_default, _parameters and _parameter_events; rcl_action's
    // rcl_action_qos_profile_status_default (rcl_action/include/rcl_action/default_qos.h). The
    // order is that of rclpy's QoSPresetProfiles (rclpy/rclpy/qos.py). "best_available" came
    // with Iron, after the Humble baseline.
    const std::vector<PresetCase> cases = {
        {"system_default",
         {QOS::SYSTEM_DEFAULT, QOS::SYSTEM_DEFAULT, QOS::SYSTEM_DEFAULT, QOS::SYSTEM_DEFAULT}},
        {"sensor_data", {QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5}},
        {"services_default", {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}},
        {"parameters", {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
        {"parameter_events", {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
        {"action_status_default", {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}},
    };
    ASSERT_EQ(std::size(qorROS2::kQosPresets), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(qorROS2::kQosPresets[i].name, cases[i].name);
        expectQos(qorROS2::kQosPresets[i].qos, cases[i].preset, cases[i].name);
        expectQos(qorROS2::presetQos(cases[i].name.c_str()), cases[i].preset, cases[i].name);
    }
    EXPECT_EQ(QOS::SYSTEM_DEFAULT, 0U);  // rmw's *_SYSTEM_DEFAULT and RMW_QOS_POLICY_DEPTH_...
}

TEST(QosProfiles, AnUnknownPresetNameIsRefused) {
    try {
        qorROS2::presetQos("default");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "unknown QoS profile 'default'");
    }
    EXPECT_THROW(qorROS2::presetQos("sensor_dat"), std::invalid_argument);
    EXPECT_THROW(qorROS2::presetQos("sensor_data_"), std::invalid_argument);
}

TEST(QosProfiles, LibraryProfilesComeFromThePresets) {
    expectQos(qorROS2::createSensorDataQOS(), qorROS2::presetQos("sensor_data"), "sensor data");
    // The clock is the sensor-data preset, reliable and keeping the newest time only.
    expectQos(qorROS2::createClockQOS(), {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1},
              "clock");
    static_assert(qorROS2::createSensorDataQOS().depth == 5, "evaluated at compile time");
}

TEST(QosProfiles, SystemDefaultIsTheMiddlewaresForEachEnd) {
    const QOS systemDefault = qorROS2::presetQos("system_default");
    // Our middleware's writers are reliable and transient local, its readers best effort and
    // volatile; both keep last 1.
    expectQos(qorROS2::qosForRole(systemDefault, QosRole::PUBLISHER),
              {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, "publisher");
    expectQos(qorROS2::qosForRole(systemDefault, QosRole::SUBSCRIPTION),
              {QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 1}, "subscription");
    for (const qorROS2::QosPreset& preset : qorROS2::kQosPresets) {
        if (std::string(preset.name) != "system_default") {
            expectQos(qorROS2::qosForRole(preset.qos, QosRole::PUBLISHER), preset.qos,
                      std::string(preset.name) + " unchanged");
        }
    }
    const QOS partly{QOS::SYSTEM_DEFAULT, QOS::BEST_EFFORT, QOS::KEEP_ALL, 7};
    expectQos(qorROS2::qosForRole(partly, QosRole::PUBLISHER),
              {QOS::TRANSIENT_LOCAL, QOS::BEST_EFFORT, QOS::KEEP_ALL, 7}, "partly");
}

qorROS2::DiscoveredEndpoint publisher(std::uint32_t reliability, std::uint32_t durability) {
    qorROS2::DiscoveredEndpoint endpoint;
    endpoint.topic = "/t";
    endpoint.publisher = true;
    endpoint.qos.reliability = reliability;
    endpoint.qos.durability = durability;
    return endpoint;
}

const QOS kSensorData{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5};

TEST(QosProfiles, SubscriptionIsReliableOrTransientLocalOnlyWhenEveryPublisherIs) {
    const auto both =
        qorROS2::adaptToPublishers(kSensorData, {publisher(QOS::RELIABLE, QOS::TRANSIENT_LOCAL),
                                                 publisher(QOS::RELIABLE, QOS::TRANSIENT_LOCAL)});
    expectQos(both.qos, {QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 5}, "all agree");
    EXPECT_TRUE(both.notices.empty());

    const auto bestEffort =
        qorROS2::adaptToPublishers(kSensorData, {publisher(QOS::BEST_EFFORT, QOS::VOLATILE)});
    expectQos(bestEffort.qos, kSensorData, "best effort");
    EXPECT_TRUE(bestEffort.notices.empty());

    const QOS reliableProfile{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 10};
    const auto none = qorROS2::adaptToPublishers(reliableProfile, {});
    expectQos(none.qos, reliableProfile, "no publisher");

    // A plain DDS writer that keeps samples beyond its life is not TRANSIENT_LOCAL to ros2.
    const auto transient = qorROS2::adaptToPublishers(
        kSensorData, {publisher(QOS::RELIABLE, DiscoveredQos::TRANSIENT)});
    expectQos(transient.qos, {QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 5}, "transient");
}

TEST(QosProfiles, PublishersThatDisagreeGetRos2sNotices) {
    const auto mixed =
        qorROS2::adaptToPublishers(kSensorData, {publisher(QOS::RELIABLE, QOS::TRANSIENT_LOCAL),
                                                 publisher(QOS::BEST_EFFORT, QOS::VOLATILE)});
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

TEST(QosProfiles, ValuesHaveTheNamesRos2Prints) {
    EXPECT_EQ(qorROS2::reliabilityName(QOS::RELIABLE), "RELIABLE");
    EXPECT_EQ(qorROS2::reliabilityName(QOS::BEST_EFFORT), "BEST_EFFORT");
    EXPECT_EQ(qorROS2::reliabilityName(QOS::SYSTEM_DEFAULT), "SYSTEM_DEFAULT");
    EXPECT_EQ(qorROS2::reliabilityName(9), "UNKNOWN");
    EXPECT_EQ(qorROS2::durabilityName(QOS::TRANSIENT_LOCAL), "TRANSIENT_LOCAL");
    EXPECT_EQ(qorROS2::durabilityName(QOS::VOLATILE), "VOLATILE");
    EXPECT_EQ(qorROS2::durabilityName(DiscoveredQos::TRANSIENT), "TRANSIENT");
    EXPECT_EQ(qorROS2::durabilityName(DiscoveredQos::PERSISTENT), "PERSISTENT");
    EXPECT_EQ(qorROS2::durabilityName(3), "UNKNOWN");
    EXPECT_EQ(qorROS2::historyName(QOS::KEEP_LAST), "KEEP_LAST");
    EXPECT_EQ(qorROS2::historyName(QOS::KEEP_ALL), "KEEP_ALL");
    EXPECT_EQ(qorROS2::historyName(DiscoveredQos::HISTORY_UNKNOWN), "UNKNOWN");
    EXPECT_EQ(qorROS2::livelinessName(DiscoveredQos::AUTOMATIC), "AUTOMATIC");
    EXPECT_EQ(qorROS2::livelinessName(DiscoveredQos::MANUAL_BY_TOPIC), "MANUAL_BY_TOPIC");
    EXPECT_EQ(qorROS2::livelinessName(7), "UNKNOWN");
    // What discovery reports before anything is known of an endpoint.
    const DiscoveredQos unknown;
    EXPECT_EQ(qorROS2::historyName(unknown.history), "UNKNOWN");
    EXPECT_EQ(unknown.depth, 0U);
}

}  // namespace
