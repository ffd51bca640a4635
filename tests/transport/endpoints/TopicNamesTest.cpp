// What an endpoint refuses at construction, and the exact words it uses: the topic and the
// reason, before any middleware entity exists.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "TestTopics.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorTest::kSharedTestDomain;

struct Refusal {
    std::string topic;
    std::string message;
};

// The invalid_argument message of constructing Endpoint, or "" when construction succeeds.
template <typename Endpoint>
std::string refusalOf(const std::string& topic, const QOS& qos, std::int8_t domain) {
    try {
        Endpoint endpoint(topic, qos, domain);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "";
}

template <typename Endpoint>
void expectRefusals(const std::vector<Refusal>& cases, const QOS& qos = QOS{},
                    std::int8_t domain = kSharedTestDomain) {
    for (const Refusal& refusal : cases) {
        EXPECT_EQ(refusalOf<Endpoint>(refusal.topic, qos, domain), refusal.message)
            << refusal.topic;
    }
}

// The process's node is at the root: a relative name is refused with the index of what breaks the
// rule in its resolved form.
const std::vector<Refusal> kInvalidNames{
    {"", "invalid topic name \"\": topic name must not be empty string, at index 0"},
    {"a//b",
     "invalid topic name \"a//b\": topic name must not contain repeated '/', at index 3 "
     "of \"/a//b\""},
    {"//a", "invalid topic name \"//a\": topic name must not contain repeated '/', at index 1"},
    {"/robot/",
     "invalid topic name \"/robot/\": topic name must not end with a forward slash, "
     "at index 6"},
    {"/", "invalid topic name \"/\": topic name must not end with a forward slash, at index 0"},
    {"3d_points",
     "invalid topic name \"3d_points\": topic name token must not start with a "
     "number, at index 0"},
    {"/camera/2nd/image",
     "invalid topic name \"/camera/2nd/image\": topic name token must not "
     "start with a number, at index 8"},
    {"joint-states",
     "invalid topic name \"joint-states\": topic name must not contain "
     "characters other than alphanumerics, '_', '~', '{', or '}', at index 5"},
    {"a b",
     "invalid topic name \"a b\": topic name must not contain characters other than "
     "alphanumerics, '_', '~', '{', or '}', at index 1"},
    {"/{robot}/odom", "invalid topic name \"/{robot}/odom\": unknown substitution: {robot}"},
    {std::string(247, 'a'), "invalid topic name \"" + std::string(247, 'a') +
                                "\": topic length should not exceed '255U - 8U', at index 246 "
                                "of \"/" +
                                std::string(247, 'a') + "\""},
};

TEST(TopicNames, PublisherRefusesInvalidNames) {
    expectRefusals<Publisher<rosgraphMsgs::Clock>>(kInvalidNames);
}

TEST(TopicNames, SubscriberRefusesInvalidNames) {
    expectRefusals<Subscriber<rosgraphMsgs::Clock>>(kInvalidNames);
}

TEST(TopicNames, ValidNamesAreAccepted) {
    const std::vector<std::string> topics{
        "clock",  "/clock",       "/robot_1/joint_states", "_hidden/x9",
        "~/odom", "/{node}/odom", std::string(246, 'a')};
    for (const std::string& topic : topics) {
        EXPECT_EQ(refusalOf<Publisher<rosgraphMsgs::Clock>>(topic, QOS{}, kSharedTestDomain), "")
            << topic;
        EXPECT_EQ(refusalOf<Subscriber<rosgraphMsgs::Clock>>(topic, QOS{}, kSharedTestDomain), "")
            << topic;
    }
}

TEST(DomainIds, NegativeDomainsAreRefused) {
    const std::vector<Refusal> cases{
        {"/clock", "invalid domain id -1 for topic \"/clock\": a domain id is 0 or more"}};
    expectRefusals<Publisher<rosgraphMsgs::Clock>>(cases, QOS{}, -1);
    expectRefusals<Subscriber<rosgraphMsgs::Clock>>(cases, QOS{}, -1);
    const std::vector<Refusal> lowest{
        {"clock", "invalid domain id -128 for topic \"clock\": a domain id is 0 or more"}};
    expectRefusals<Publisher<rosgraphMsgs::Clock>>(lowest, QOS{}, -128);
}

TEST(QosValidation, DefaultIsVolatileReliableKeepLastOne) {
    const QOS qos{};
    EXPECT_EQ(qos.durability, 2U);
    EXPECT_EQ(qos.reliability, 1U);
    EXPECT_EQ(qos.history, 1U);
    EXPECT_EQ(qos.depth, 1U);
}

TEST(QosValidation, FieldsAreFourWordsInROS2Order) {
    static_assert(sizeof(QOS) == 16);
    static_assert(offsetof(QOS, durability) == 0);
    static_assert(offsetof(QOS, reliability) == 4);
    static_assert(offsetof(QOS, history) == 8);
    static_assert(offsetof(QOS, depth) == 12);
    const QOS qos{1, 2, 2, 9};
    EXPECT_EQ(qos.durability, QOS::TRANSIENT_LOCAL);
    EXPECT_EQ(qos.reliability, QOS::BEST_EFFORT);
    EXPECT_EQ(qos.history, QOS::KEEP_ALL);
    EXPECT_EQ(qos.depth, 9U);
}

TEST(QosValidation, ProfilesAreROS2s) {
    const QOS clock = createClockQOS();
    EXPECT_EQ(clock.durability, QOS::VOLATILE);
    EXPECT_EQ(clock.reliability, QOS::RELIABLE);
    EXPECT_EQ(clock.history, QOS::KEEP_LAST);
    EXPECT_EQ(clock.depth, 1U);
    const QOS sensor = createSensorDataQOS();
    EXPECT_EQ(sensor.durability, QOS::VOLATILE);
    EXPECT_EQ(sensor.reliability, QOS::BEST_EFFORT);
    EXPECT_EQ(sensor.history, QOS::KEEP_LAST);
    EXPECT_EQ(sensor.depth, 5U);
}

TEST(QosValidation, ValuesOutsideROS2sNumberingAreRefused) {
    const std::string prefix = "invalid QOS for topic \"/cmd\": ";
    const std::vector<std::pair<QOS, std::string>> cases{
        {QOS{0, 1, 1, 1}, "durability 0 is neither TRANSIENT_LOCAL (1) nor VOLATILE (2)"},
        {QOS{3, 1, 1, 1}, "durability 3 is neither TRANSIENT_LOCAL (1) nor VOLATILE (2)"},
        {QOS{2, 7, 1, 1}, "reliability 7 is neither RELIABLE (1) nor BEST_EFFORT (2)"},
        {QOS{2, 1, 0, 1}, "history 0 is neither KEEP_LAST (1) nor KEEP_ALL (2)"},
        {QOS{2, 1, 1, 0}, "KEEP_LAST needs a depth of at least 1"},
        {QOS{2, 1, 1, 3000000000U}, "depth 3000000000 is more than 2147483647"},
    };
    for (const auto& [qos, reason] : cases) {
        EXPECT_EQ((refusalOf<Publisher<sensorMsgs::JointState>>("/cmd", qos, kSharedTestDomain)),
                  prefix + reason);
        EXPECT_EQ((refusalOf<Subscriber<sensorMsgs::JointState>>("/cmd", qos, kSharedTestDomain)),
                  prefix + reason);
    }
}

TEST(QosValidation, KeepAllIgnoresTheDepth) {
    const QOS keepAll{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_ALL, 0};
    const std::string topic = qorTest::uniqueTopic("keep_all");
    EXPECT_EQ(refusalOf<Publisher<stdMsgs::Int8>>(topic, keepAll, kSharedTestDomain), "");
    EXPECT_EQ(refusalOf<Subscriber<stdMsgs::Int8>>(topic, keepAll, kSharedTestDomain), "");
}

TEST(QosValidation, TheNameIsCheckedBeforeTheDomainAndTheQos) {
    EXPECT_EQ(refusalOf<Publisher<stdMsgs::Int8>>("a//b", QOS{9, 9, 9, 9}, -1),
              "invalid topic name \"a//b\": topic name must not contain repeated '/', at index 3 "
              "of \"/a//b\"");
    EXPECT_EQ(refusalOf<Publisher<stdMsgs::Int8>>("/ok", QOS{9, 9, 9, 9}, -1),
              "invalid domain id -1 for topic \"/ok\": a domain id is 0 or more");
}

}  // namespace
