// Samples taken as bytes that do not decode: dropped, and warned about on stderr in the words of
// the transport's typed subscriptions, whose report the command shares (its pace is pinned by
// the transport's own tests).

#include "cli/DroppedSamples.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/stdMsgs.h"

namespace {

const std::string kPrefix = "Warning: Subscriber on topic \"/scan\" dropped ";

TEST(DroppedSamples, WarnsOfTheFirstAtOnceWithTheDecodersReasonAlone) {
    qorROS2::MalformedSampleReport dropped("/scan");
    const auto& type = qorROS2::typesupport::getTypeSupport("std_msgs/msg/String");
    const std::vector<std::uint8_t> runsPastItsEnd = {0x00, 0x01, 0x00, 0x00,
                                                      0xFF, 0xFF, 0xFF, 0x7F};
    // The reason as the type support's decoder gives it to the typed subscriptions.
    std::string what;
    try {
        type.decode(runsPastItsEnd);
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        what = error.what();
    }
    const std::string typePrefix = "malformed std_msgs/msg/String payload: ";
    ASSERT_EQ(what.rfind(typePrefix, 0), 0U) << what;

    testing::internal::CaptureStderr();
    const bool decoded = qorCli::decodeOrDrop(type, runsPastItsEnd, dropped).has_value();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              kPrefix + "a malformed sample (1 so far): " + what.substr(typePrefix.size()) + "\n");
    EXPECT_FALSE(decoded);
    EXPECT_EQ(dropped.count(), 1U);
}

TEST(DroppedSamples, AWellFormedSampleIsDecodedAndNotCounted) {
    qorROS2::MalformedSampleReport dropped("/scan");
    const auto& type = qorROS2::typesupport::getTypeSupport("std_msgs/msg/String");
    const std::vector<std::uint8_t> empty = {0x00, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00};
    testing::internal::CaptureStderr();
    const auto sample = qorCli::decodeOrDrop(type, empty, dropped);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_TRUE(sample.has_value());
    EXPECT_EQ(sample->as<qorROS2::stdMsgs::String>().data, "");
    EXPECT_EQ(dropped.count(), 0U);
}

TEST(DroppedSamples, KeepsAReasonWithoutTheDecodersPrefixWhole) {
    EXPECT_EQ(qorCli::dropReason(qorROS2::typesupport::TypeSupportError("no sample at all")),
              "no sample at all");
    EXPECT_EQ(qorCli::dropReason(qorROS2::typesupport::TypeSupportError(
                  "malformed sensor_msgs/msg/LaserScan payload: bad bool")),
              "bad bool");
}

}  // namespace
