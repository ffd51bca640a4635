// One DDS participant per domain per process, shared by every endpoint on that domain and gone
// with the last of them.

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>

#include "TestTopics.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
namespace dds = eprosima::fastdds::dds;
using qorTest::uniqueTopic;

// Domains of their own: the participants of a domain are counted here, and no other test of
// this process may add one.
constexpr std::int8_t kCountedDomain = 81;
constexpr std::int8_t kOtherCountedDomain = 82;
constexpr std::int8_t kThreadsDomain = 83;

std::size_t participantsIn(std::int8_t domain) {
    return dds::DomainParticipantFactory::get_instance()
        ->lookup_participants(static_cast<dds::DomainId_t>(domain))
        .size();
}

TEST(SharedParticipant, EndpointsOfOneDomainShareOneParticipant) {
    ASSERT_EQ(participantsIn(kCountedDomain), 0U);
    std::optional<Publisher<rosgraphMsgs::Clock>> clock;
    clock.emplace(uniqueTopic("clock"), createClockQOS(), kCountedDomain);
    EXPECT_EQ(participantsIn(kCountedDomain), 1U);
    dds::DomainParticipant* const participant =
        dds::DomainParticipantFactory::get_instance()->lookup_participant(kCountedDomain);
    ASSERT_NE(participant, nullptr);
    EXPECT_EQ(participant->get_domain_id(), 81U);

    {
        Subscriber<sensorMsgs::JointState> commands(uniqueTopic("commands"), QOS{}, kCountedDomain);
        Publisher<sensorMsgs::JointState> states(uniqueTopic("states"), QOS{}, kCountedDomain);
        Subscriber<rosgraphMsgs::Clock> sameTopic(uniqueTopic("clock"), createClockQOS(),
                                                  kCountedDomain);
        EXPECT_EQ(participantsIn(kCountedDomain), 1U);
        EXPECT_EQ(dds::DomainParticipantFactory::get_instance()->lookup_participant(kCountedDomain),
                  participant);
    }
    // The first endpoint still holds the participant.
    EXPECT_EQ(participantsIn(kCountedDomain), 1U);
    clock.reset();
    EXPECT_EQ(participantsIn(kCountedDomain), 0U);

    // A new endpoint afterwards gets a participant again.
    Publisher<rosgraphMsgs::Clock> again(uniqueTopic("clock"), createClockQOS(), kCountedDomain);
    EXPECT_EQ(participantsIn(kCountedDomain), 1U);
}

TEST(SharedParticipant, EachDomainHasItsOwnParticipant) {
    Publisher<stdMsgs::Int32> first(uniqueTopic("value"), QOS{}, kCountedDomain);
    Publisher<stdMsgs::Int32> second(uniqueTopic("value"), QOS{}, kOtherCountedDomain);
    EXPECT_EQ(participantsIn(kCountedDomain), 1U);
    EXPECT_EQ(participantsIn(kOtherCountedDomain), 1U);
}

TEST(SharedParticipant, ParticipantTellsItsEnclaveInItsUserData) {
    Publisher<stdMsgs::Int32> publisher(uniqueTopic("value"), QOS{}, kCountedDomain);
    dds::DomainParticipant* const participant =
        dds::DomainParticipantFactory::get_instance()->lookup_participant(kCountedDomain);
    ASSERT_NE(participant, nullptr);
    const std::string expected = "enclave=/;";
    EXPECT_EQ(participant->get_qos().user_data().data_vec(),
              std::vector<std::uint8_t>(expected.begin(), expected.end()));
}

TEST(SharedParticipant, OneTopicCannotCarryTwoTypes) {
    const std::string topic = uniqueTopic("mixed");
    Publisher<stdMsgs::Int32> publisher(topic, QOS{}, kCountedDomain);
    try {
        Subscriber<stdMsgs::String> subscriber(topic, QOS{}, kCountedDomain);
        FAIL() << "a second type on one topic was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot use topic \"" + topic +
                      "\" for std_msgs/msg/String: this process already uses it for "
                      "std_msgs/msg/Int32");
    }
    // The refused endpoint gave back what it had taken; the first one is unaffected.
    EXPECT_EQ(participantsIn(kCountedDomain), 1U);
    Subscriber<stdMsgs::Int32> sameType(topic, QOS{}, kCountedDomain);
    EXPECT_EQ(participantsIn(kCountedDomain), 1U);
}

TEST(SharedParticipant, EndpointsMayComeAndGoOnManyThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int round = 0; round < 10; ++round) {
                Publisher<stdMsgs::Int32> publisher(
                    uniqueTopic("churn" + std::to_string((t + round) % 3)), QOS{}, kThreadsDomain);
                Subscriber<stdMsgs::Int32> subscriber(
                    uniqueTopic("churn" + std::to_string(round % 2)), QOS{}, kThreadsDomain);
                publisher.sendMessage(stdMsgs::Int32{round});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(participantsIn(kThreadsDomain), 0U);
}

}  // namespace
