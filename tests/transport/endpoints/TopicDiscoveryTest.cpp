// The topics of a domain, as the publishers and subscribers of this and other participants
// announce them.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "TestTopics.h"
#include "WaitFor.h"
#include "endpoints/RawPayloadWriter.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using qorTest::kSharedTestDomain;
using qorTest::uniqueTopic;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

// The types `discovery` lists for `topic`, or nothing when it does not list the topic.
std::optional<std::vector<std::string>> typesOf(const TopicDiscovery& discovery,
                                                const std::string& topic) {
    for (const DiscoveredTopic& found : discovery.topics()) {
        if (found.name == topic) {
            return found.types;
        }
    }
    return std::nullopt;
}

bool listsWithTypes(const TopicDiscovery& discovery, const std::string& topic,
                    const std::vector<std::string>& types) {
    return qorTest::waitFor([&] { return typesOf(discovery, topic) == types; });
}

TEST(TopicDiscovery, PublisherShowsUpWithItsType) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string topic = uniqueTopic("discovered_clock");
    const Publisher<rosgraphMsgs::Clock> publisher(topic, kReliable, kSharedTestDomain);
    EXPECT_TRUE(discovery.waitForTopic(topic, qorTest::kDeliveryDeadline));
    EXPECT_TRUE(listsWithTypes(discovery, topic, {"rosgraph_msgs/msg/Clock"}));
}

TEST(TopicDiscovery, SubscriberAloneShowsUp) {
    const std::string topic = uniqueTopic("discovered_joint_states");
    // Endpoints made before the discovery are listed as well.
    const Subscriber<sensorMsgs::JointState> subscriber(topic, kReliable, kSharedTestDomain);
    const TopicDiscovery discovery(kSharedTestDomain);
    EXPECT_TRUE(listsWithTypes(discovery, topic, {"sensor_msgs/msg/JointState"}));
}

TEST(TopicDiscovery, RelativeNamesAreWaitedForAsAbsoluteOnes) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string topic = uniqueTopic("relative");
    const Publisher<stdMsgs::String> publisher(topic, kReliable, kSharedTestDomain);
    EXPECT_TRUE(discovery.waitForTopic(topic.substr(1), qorTest::kDeliveryDeadline));
}

TEST(TopicDiscovery, SeveralTypesOnOneTopicAreAllListed) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string topic = uniqueTopic("two_types");
    const Publisher<stdMsgs::String> publisher(topic, kReliable, kSharedTestDomain);
    // This process refuses a second type on a topic; a participant of its own may use one.
    transport::endpoints::RawPayloadWriter other("rt" + topic, "std_msgs::msg::dds_::Int32_",
                                                 kReliable,
                                                 static_cast<std::uint32_t>(kSharedTestDomain));
    EXPECT_TRUE(listsWithTypes(discovery, topic, {"std_msgs/msg/Int32", "std_msgs/msg/String"}));
}

TEST(TopicDiscovery, DdsTopicsThatAreNotRosTopicsAreLeftOut) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string base = uniqueTopic("not_ros");
    const auto domain = static_cast<std::uint32_t>(kSharedTestDomain);
    const transport::endpoints::RawPayloadWriter request(
        "rq" + base + "Request", "example::srv::dds_::Add_Request_", kReliable, domain);
    const transport::endpoints::RawPayloadWriter reply(
        "rr" + base + "Reply", "example::srv::dds_::Add_Response_", kReliable, domain);
    const transport::endpoints::RawPayloadWriter plain(base.substr(1), "PlainType", kReliable,
                                                       domain);
    // One participant announces its writers in order: once the last is seen, so were the others.
    const transport::endpoints::RawPayloadWriter last("rt" + base + "/last", "PlainType", kReliable,
                                                      domain);
    ASSERT_TRUE(listsWithTypes(discovery, base + "/last", {"PlainType"}));
    for (const DiscoveredTopic& found : discovery.topics()) {
        EXPECT_EQ(found.name.find(base + "Re"), std::string::npos) << found.name;
        EXPECT_NE(found.name, base.substr(1));
        EXPECT_NE(found.name, "/" + base.substr(1));
    }
}

TEST(TopicDiscovery, EndpointsThatGoAwayAreForgotten) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string topic = uniqueTopic("going_away");
    std::optional<Publisher<stdMsgs::String>> publisher;
    publisher.emplace(topic, kReliable, kSharedTestDomain);
    ASSERT_TRUE(discovery.waitForTopic(topic, qorTest::kDeliveryDeadline));
    publisher.reset();
    EXPECT_TRUE(qorTest::waitFor([&] { return !typesOf(discovery, topic).has_value(); }));
}

TEST(TopicDiscovery, DiscoveryMadeAfterASubscriberKnowsAtOnceWhatItsParticipantLearnt) {
    const std::string topic = uniqueTopic("learnt_before");
    const Subscriber<stdMsgs::String> subscriber(topic, kReliable, kSharedTestDomain);
    // A writer of a participant of its own, which the subscriber's participant must discover.
    const transport::endpoints::RawPayloadWriter writer(
        "rt" + topic, "std_msgs::msg::dds_::String_", kReliable,
        static_cast<std::uint32_t>(kSharedTestDomain));
    ASSERT_TRUE(qorTest::waitFor([&] { return subscriber.matchedPublications() == 1; }));

    // No waiting: the discovery shares the participant that already knows the writer.
    const TopicDiscovery discovery(kSharedTestDomain);
    std::size_t publishers = 0;
    for (const DiscoveredEndpoint& endpoint : discovery.endpoints()) {
        publishers += endpoint.topic == topic && endpoint.publisher ? 1U : 0U;
    }
    EXPECT_EQ(publishers, 1U);
    EXPECT_EQ(typesOf(discovery, topic), std::vector<std::string>{"std_msgs/msg/String"});
}

TEST(TopicDiscovery, WaitingForATopicNobodyUsesTimesOut) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(discovery.waitForTopic(uniqueTopic("nobody"), std::chrono::milliseconds(200)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

TEST(TopicDiscovery, NegativeDomainIsRefused) {
    EXPECT_THROW(TopicDiscovery(-1), std::invalid_argument);
}

}  // namespace
