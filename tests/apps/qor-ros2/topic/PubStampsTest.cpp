// The stamps `topic pub` sets as it sends: a std_msgs/Header given as `auto` and a
// builtin_interfaces/Time given as `now`, as ros2's pub reads them since Humble.

#include <gtest/gtest.h>

#include <string>

#include "cli/UsageError.h"
#include "qorROS2/Messages.h"
#include "topic/TopicPub.h"

namespace {

using namespace qorROS2;
using qorCli::fillRecordFromYaml;
using qorCli::StampFields;

TEST(PubStamps, AutoHeadersAndNowTimesAreTheStampsToSet) {
    sensorMsgs::TimeReference reference{};
    StampFields stamps;
    fillRecordFromYaml("{header: auto, time_ref: now, source: gps}", reference, &stamps);
    ASSERT_EQ(stamps.size(), 2U);
    EXPECT_EQ(stamps[0], &reference.header.stamp);
    EXPECT_EQ(stamps[1], &reference.time_ref);
    EXPECT_EQ(reference.header.frame_id, "");
    EXPECT_EQ(reference.source, "gps");

    // Inside a header given field by field, and quoted as well.
    sensorMsgs::JointState state{};
    StampFields nested;
    fillRecordFromYaml("{header: {stamp: 'now', frame_id: base}, name: [a]}", state, &nested);
    ASSERT_EQ(nested.size(), 1U);
    EXPECT_EQ(nested[0], &state.header.stamp);
    EXPECT_EQ(state.header.frame_id, "base");

    rosgraphMsgs::Clock clock{};
    StampFields clockStamps;
    fillRecordFromYaml("{clock: now}", clock, &clockStamps);
    ASSERT_EQ(clockStamps.size(), 1U);
    EXPECT_EQ(clockStamps[0], &clock.clock);
}

TEST(PubStamps, OnlyAHeaderIsAutoAndOnlyATimeIsNow) {
    sensorMsgs::TimeReference reference{};
    StampFields stamps;
    const auto refused = [&](const std::string& values) {
        try {
            fillRecordFromYaml(values, reference, &stamps);
        } catch (const qorCli::UsageError& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ(refused("{header: now}"),
              "field 'header': expected a mapping of the fields of std_msgs/Header, got 'now'");
    EXPECT_EQ(refused("{time_ref: auto}"),
              "field 'time_ref': expected a mapping of the fields of builtin_interfaces/Time, got "
              "'auto'");
    EXPECT_EQ(refused("{source: now}"), "");
    EXPECT_EQ(reference.source, "now");
    // Without a place for stamps, as interface prototypes are read, they are plain values.
    EXPECT_THROW(qorCli::recordFromYaml<sensorMsgs::TimeReference>("{header: auto}"),
                 qorCli::UsageError);
}

}  // namespace
