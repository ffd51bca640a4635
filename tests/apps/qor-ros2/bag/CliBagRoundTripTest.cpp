// A bag recorded by `qor-ros2 bag record`, played by `qor-ros2 bag play` while a second recorder
// records it: the second bag holds the first's messages byte for byte, per topic and in order,
// each of them decoded by @mcap/core's side with the schema the bag stores.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "McapTesting.h"
#include "WaitFor.h"
#include "qorROS2/MessageCodec.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/bag/BagMetadata.h"

namespace {

using namespace qorROS2::bag;
using qorROS2::QOS;
using qorTest::Bytes;
using qorTest::ScratchBag;

constexpr std::int8_t kDomain = 34;
const std::vector<std::string> kTopics = {"/round_trip/latched", "/round_trip/joints",
                                          "/round_trip/image"};
constexpr std::uint32_t kDepth = 100;  // more than any topic sends

qorTest::ChildProcess::Options merged() {
    qorTest::ChildProcess::Options options;
    options.output = qorTest::ChildProcess::MERGED;
    options.environment = {"ROS_DOMAIN_ID=" + std::to_string(kDomain)};
    return options;
}

bool printed(qorTest::ChildProcess& child, const std::string& text) {
    return child.readUntil(
        [&text](const std::string& out) { return out.find(text) != std::string::npos; },
        qorTest::kDeliveryDeadline);
}

std::unique_ptr<qorTest::ChildProcess> startRecord(const ScratchBag& bag,
                                                   const std::vector<std::string>& extra) {
    std::vector<std::string> argv = {QOR_ROS2_CLI, "bag", "record"};
    argv.insert(argv.end(), kTopics.begin(), kTopics.end());
    argv.insert(argv.end(), {"-o", bag.path(), "-p", "50"});
    argv.insert(argv.end(), extra.begin(), extra.end());
    return std::make_unique<qorTest::ChildProcess>(argv, merged());
}

bool subscribedToAll(qorTest::ChildProcess& recorder) {
    for (const auto& topic : kTopics) {
        if (!printed(recorder, "Subscribed to topic '" + topic + "'")) {
            return false;
        }
    }
    return true;
}

/// The terminal a player reads its keys from: a pseudo-terminal whose other side the test types
/// on, so that a player started paused resumes when the test says so.
class KeyboardTerminal {
  public:
    KeyboardTerminal() : m_master(::posix_openpt(O_RDWR | O_NOCTTY)) {
        if (m_master >= 0 && ::grantpt(m_master) == 0 && ::unlockpt(m_master) == 0) {
            const char* name = ::ptsname(m_master);
            m_path = name != nullptr ? name : "";
        }
    }
    ~KeyboardTerminal() {
        if (m_master >= 0) {
            ::close(m_master);
        }
    }
    KeyboardTerminal(const KeyboardTerminal&) = delete;
    KeyboardTerminal& operator=(const KeyboardTerminal&) = delete;

    /// The terminal's device, "" when none could be made.
    const std::string& path() const { return m_path; }
    bool type(char key) const { return ::write(m_master, &key, 1) == 1; }

  private:
    int m_master;
    std::string m_path;
};

/// The messages of every file of the bag, per topic in file order, each file read whole and
/// every message of a known type decoded with the schema the file stores.
std::map<std::string, std::vector<Bytes>> bagMessages(const ScratchBag& bag,
                                                      const BagMetadata& metadata) {
    std::map<std::string, std::vector<Bytes>> messages;
    for (const auto& file : metadata.files) {
        const nlohmann::json read = qorTest::peerRead(bag.file(file.path));
        EXPECT_FALSE(read.contains("error")) << file.path << ": " << read.dump();
        if (read.contains("error")) {
            continue;
        }
        // Every type here is one the recorder knows: no message goes undecoded.
        EXPECT_EQ(qorTest::expectAllDecoded(read), read["messages"].size()) << read["decoded"];
        std::map<int, std::string> topics;
        for (const auto& channel : read["channels"]) {
            topics[channel["id"].get<int>()] = channel["topic"].get<std::string>();
        }
        for (const auto& message : read["messages"]) {
            messages[topics[message["channel"].get<int>()]].push_back(
                qorTest::bytesOfHex(message["data"].get<std::string>()));
        }
    }
    return messages;
}

std::map<std::string, std::string> topicTypes(const BagMetadata& metadata) {
    std::map<std::string, std::string> types;
    for (const auto& topic : metadata.topicsWithMessageCount) {
        types[topic.topicMetadata.name] = topic.topicMetadata.type;
    }
    return types;
}

/// A sample as a subscriber receives it: the middleware pads it with zeros to a multiple of 4.
Bytes asDelivered(Bytes sample) {
    sample.resize((sample.size() + 3) / 4 * 4, 0);
    return sample;
}

Bytes stringSample(unsigned number) {
    return qorROS2::MessageCodec<qorROS2::stdMsgs::String>::encode(
        {"latched sample " + std::to_string(number)});
}

Bytes jointSample(unsigned number) {
    qorROS2::sensorMsgs::JointState joints{};
    joints.header.stamp = {static_cast<std::int32_t>(100 + number), number * 1000};
    joints.header.frame_id = "base_link";
    joints.name = {"shoulder", "elbow", "wrist"};
    joints.position = {0.1 * number, -0.2 * number, 0.3};
    joints.velocity = {1.0, 2.0, 3.0 + number};
    return qorROS2::MessageCodec<qorROS2::sensorMsgs::JointState>::encode(joints);
}

Bytes imageSample(unsigned number) {
    qorROS2::sensorMsgs::Image image{};
    image.header.stamp = {static_cast<std::int32_t>(200 + number), 7};
    image.header.frame_id = "camera_optical";
    image.height = 120;
    image.width = 160;
    image.encoding = "rgb8";
    image.step = image.width * 3;
    image.data.resize(static_cast<std::size_t>(image.step) * image.height);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<std::uint8_t>(i * 13 + number * 31);
    }
    return qorROS2::MessageCodec<qorROS2::sensorMsgs::Image>::encode(image);
}

TEST(CliBagRoundTrip, APlayedBagRecordedAgainHoldsTheSameMessagesInTheSameOrder) {
    ScratchBag first("round_trip_first");
    ScratchBag second("round_trip_second");
    // Transient local everywhere: a reader that matches a writer after the writer matched it
    // still gets every sample, which a volatile one may miss.
    const QOS keptQos{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, kDepth};
    std::map<std::string, std::vector<Bytes>> sent;
    // The recorders and the player the same, with more samples kept than a topic sends: a
    // recorder's default depth of 10 loses samples of a burst it has not taken yet.
    ScratchBag settings("round_trip_settings", ScratchBag::CREATED);
    const std::string overrides = settings.file("overrides.yaml");
    {
        std::ofstream out(overrides);
        for (const auto& topic : kTopics) {
            out << topic << ":\n  history: keep_last\n  depth: " << kDepth
                << "\n  reliability: reliable\n  durability: transient_local\n";
        }
    }

    // The first bag: a String topic whose samples were sent before the recorder started, then a
    // JointState and an Image stream once the recorder has matched them.
    {
        qorROS2::RawPublisher latched(kTopics[0], "std_msgs/msg/String", keptQos, kDomain);
        for (unsigned i = 0; i < 3; ++i) {
            sent[kTopics[0]].push_back(stringSample(i));
            latched.publish(sent[kTopics[0]].back());
        }
        qorROS2::RawPublisher joints(kTopics[1], "sensor_msgs/msg/JointState", keptQos, kDomain);
        qorROS2::RawPublisher images(kTopics[2], "sensor_msgs/msg/Image", keptQos, kDomain);
        const auto recorder = startRecord(first, {"--qos-profile-overrides-path", overrides});
        ASSERT_TRUE(subscribedToAll(*recorder)) << recorder->output();
        for (const auto* publisher : {&latched, &joints, &images}) {
            ASSERT_TRUE(qorTest::waitFor([publisher] {
                return publisher->matchedSubscriptions() > 0;
            })) << recorder->output();
        }
        for (unsigned i = 0; i < 24; ++i) {
            sent[kTopics[1]].push_back(jointSample(i));
            joints.publish(sent[kTopics[1]].back());
            if (i % 3 == 0) {
                sent[kTopics[2]].push_back(imageSample(i));
                images.publish(sent[kTopics[2]].back());
            }
        }
        // Acknowledged means in the recorder's reader, which it drains before it stops.
        for (const auto* publisher : {&latched, &joints, &images}) {
            ASSERT_TRUE(publisher->waitForAcknowledgments(std::chrono::seconds(30)))
                << recorder->output();
        }
        ASSERT_EQ(recorder->stop(SIGINT, std::chrono::seconds(30)), 0) << recorder->output();
    }
    const BagMetadata firstMetadata = readBagMetadata(first.path());
    const auto recorded = bagMessages(first, firstMetadata);
    for (const auto& topic : kTopics) {
        ASSERT_EQ(recorded.count(topic), 1u) << topic;
        ASSERT_EQ(recorded.at(topic).size(), sent.at(topic).size()) << topic;
        for (std::size_t i = 0; i < sent.at(topic).size(); ++i) {
            const Bytes want = asDelivered(sent.at(topic)[i]);
            const Bytes& got = recorded.at(topic)[i];
            ASSERT_TRUE(got == want)
                << topic << " #" << i << ": recorded "
                << qorTest::hexOf(got.data(), std::min<std::size_t>(got.size(), 64)) << " ("
                << got.size() << " bytes), sent "
                << qorTest::hexOf(want.data(), std::min<std::size_t>(want.size(), 64)) << " ("
                << want.size() << " bytes)";
        }
    }

    // Played and recorded again: the player keeps every message for a late subscriber and
    // starts paused until the second recorder has subscribed to every topic, as the test's own
    // discovery sees it.
    const auto recorder = startRecord(second, {"--qos-profile-overrides-path", overrides});
    KeyboardTerminal terminal;
    ASSERT_FALSE(terminal.path().empty());
    qorTest::ChildProcess player({"/bin/sh", "-c",
                                  "exec \"$0\" bag play \"$1\" --start-paused "
                                  "--qos-profile-overrides-path \"$2\" < \"$3\"",
                                  QOR_ROS2_CLI, first.path(), overrides, terminal.path()},
                                 merged());
    ASSERT_TRUE(printed(player, "Press SPACE for Pause/Resume")) << player.output();
    ASSERT_TRUE(subscribedToAll(*recorder)) << recorder->output();
    qorROS2::TopicDiscovery discovery(kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        std::set<std::string> subscribed;
        for (const auto& endpoint : discovery.endpoints()) {
            if (!endpoint.publisher) {
                subscribed.insert(endpoint.topic);
            }
        }
        for (const auto& topic : kTopics) {
            if (subscribed.count(topic) == 0) {
                return false;
            }
        }
        return true;
    })) << recorder->output();
    ASSERT_TRUE(terminal.type(' '));
    ASSERT_TRUE(printed(player, "Resuming play.")) << player.output();
    // The player ends once its subscribers acknowledged the last samples (a bounded wait).
    ASSERT_EQ(player.waitForExit(std::chrono::seconds(60)), 0) << player.output();
    ASSERT_EQ(recorder->stop(SIGINT, std::chrono::seconds(30)), 0) << recorder->output();

    const BagMetadata secondMetadata = readBagMetadata(second.path());
    EXPECT_EQ(topicTypes(secondMetadata), topicTypes(firstMetadata));
    const auto replayed = bagMessages(second, secondMetadata);
    for (const auto& topic : kTopics) {
        ASSERT_EQ(replayed.count(topic), 1u) << topic << "\n" << recorder->output();
        EXPECT_EQ(replayed.at(topic).size(), recorded.at(topic).size()) << topic;
        EXPECT_TRUE(replayed.at(topic) == recorded.at(topic)) << topic;
    }
}

}  // namespace
