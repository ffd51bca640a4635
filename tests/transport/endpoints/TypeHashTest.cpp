// The type hash every endpoint announces in its USER_DATA, as this process's own graph reads it
// back: the type support's for typed endpoints, the given one for raw endpoints, none otherwise.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "TestTopics.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using qorTest::uniqueTopic;

constexpr std::int8_t kDomain = 48;
const std::string kClockHash =
    "RIHS01_692f7a66e93a3c83e71765d033b60349ba68023a8c689a79e48078bcb5c58564";
const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

// The hashes of the publisher and the subscription on `topic` ("pub <hash>", "sub <hash>",
// sorted) once both are discovered; the evidence on failure.
std::vector<std::string> announcedHashes(const TopicDiscovery& discovery,
                                         const std::string& topic) {
    std::vector<std::string> hashes;
    qorTest::waitFor([&] {
        hashes.clear();
        for (const DiscoveredEndpoint& endpoint : discovery.endpoints()) {
            if (endpoint.topic == topic) {
                hashes.push_back((endpoint.publisher ? "pub " : "sub ") + endpoint.typeHash);
            }
        }
        return hashes.size() == 2;
    });
    std::sort(hashes.begin(), hashes.end());
    return hashes;
}

TEST(TypeHashes, TypedEndpointsAnnounceTheirTypesHash) {
    const TopicDiscovery discovery(kDomain);
    const std::string topic = uniqueTopic("typehash/typed");
    const Publisher<rosgraphMsgs::Clock> publisher(topic, kReliable, kDomain);
    const Subscriber<rosgraphMsgs::Clock> subscriber(topic, kReliable, kDomain);
    EXPECT_EQ(announcedHashes(discovery, topic),
              (std::vector<std::string>{"pub " + kClockHash, "sub " + kClockHash}));
}

TEST(TypeHashes, RawEndpointsAnnounceTheHashTheyWereGiven) {
    const TopicDiscovery discovery(kDomain);
    const std::string topic = uniqueTopic("typehash/raw");
    const RawPublisher publisher(topic, "rosgraph_msgs/msg/Clock", kReliable, kDomain, kClockHash);
    const RawSubscriber subscriber(topic, "rosgraph_msgs/msg/Clock", kReliable, kDomain,
                                   kClockHash);
    EXPECT_EQ(announcedHashes(discovery, topic),
              (std::vector<std::string>{"pub " + kClockHash, "sub " + kClockHash}));
}

TEST(TypeHashes, RawEndpointsGivenNoHashAnnounceNone) {
    const TopicDiscovery discovery(kDomain);
    const std::string topic = uniqueTopic("typehash/none");
    const RawPublisher publisher(topic, "example_pkg/msg/Custom", kReliable, kDomain);
    const RawSubscriber subscriber(topic, "example_pkg/msg/Custom", kReliable, kDomain);
    EXPECT_EQ(announcedHashes(discovery, topic),
              (std::vector<std::string>{"pub INVALID", "sub INVALID"}));
}

}  // namespace
