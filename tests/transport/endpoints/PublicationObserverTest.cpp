// What a PublicationObserver sees of the typed publishers of its process: each one made while it
// is installed, under its resolved name, type and QoS, and the very payload of every sample.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "RawSamples.h"
#include "TestTopics.h"
#include "qorROS2/MessageCodec.h"
#include "qorROS2/Messages.h"
#include "qorROS2/PublicationObserver.h"
#include "qorROS2/Publisher.h"

namespace {

using namespace qorROS2;
using qorTest::spacedHex;
using qorTest::uniqueTopic;

constexpr std::int8_t kDomain = 13;

struct Seen {
    std::string topic;
    std::string type;
    QOS qos;
    std::vector<std::uint8_t> payload;  // empty for an advertisement
};

class RecordingObserver final : public PublicationObserver {
  public:
    void advertised(const PublishedTopic& topic) override {
        seen.push_back({topic.name, topic.type, topic.qos, {}});
    }
    void published(const PublishedTopic& topic, const std::uint8_t* data,
                   std::size_t size) override {
        seen.push_back({topic.name, topic.type, topic.qos, {data, data + size}});
    }
    std::vector<Seen> seen;
};

// Uninstalls the observer however the test ends, so that no other test's publishers see it.
struct Installed {
    explicit Installed(std::shared_ptr<PublicationObserver> observer) {
        observePublications(std::move(observer));
    }
    ~Installed() { observePublications(nullptr); }
};

TEST(PublicationObserver, SeesThePublishersMadeWhileInstalledAndThePayloadsTheySend) {
    const auto observer = std::make_shared<RecordingObserver>();
    const std::string relative = uniqueTopic("observed/states").substr(1);
    const QOS qos{QOS::TRANSIENT_LOCAL, QOS::BEST_EFFORT, QOS::KEEP_LAST, 3};
    sensorMsgs::JointState state{};
    state.name = {"elbow", "wrist"};
    state.position = {0.25, -1.5};
    {
        const Installed installed(observer);
        EXPECT_EQ(publicationObserver(), observer);
        Publisher<sensorMsgs::JointState> publisher(relative, qos, kDomain);
        ASSERT_TRUE(publisher.sendMessage(state));
        state.position[1] = 2.0;
        ASSERT_TRUE(publisher.sendMessage(state));
    }
    EXPECT_EQ(publicationObserver(), nullptr);
    // Made after the observer was taken away: not seen.
    Publisher<sensorMsgs::JointState> unseen(relative + "_later", qos, kDomain);
    ASSERT_TRUE(unseen.sendMessage(state));

    ASSERT_EQ(observer->seen.size(), 3u);
    for (const Seen& seen : observer->seen) {
        // Resolved as the graph shows it: in the root namespace of the process's node.
        EXPECT_EQ(seen.topic, "/" + relative);
        EXPECT_EQ(seen.type, "sensor_msgs/msg/JointState");
        EXPECT_EQ(seen.qos.durability, QOS::TRANSIENT_LOCAL);
        EXPECT_EQ(seen.qos.reliability, QOS::BEST_EFFORT);
        EXPECT_EQ(seen.qos.depth, 3u);
    }
    EXPECT_TRUE(observer->seen[0].payload.empty());
    state.position[1] = -1.5;
    EXPECT_EQ(spacedHex(observer->seen[1].payload),
              spacedHex(MessageCodec<sensorMsgs::JointState>::encode(state)));
    state.position[1] = 2.0;
    EXPECT_EQ(spacedHex(observer->seen[2].payload),
              spacedHex(MessageCodec<sensorMsgs::JointState>::encode(state)));
}

}  // namespace
