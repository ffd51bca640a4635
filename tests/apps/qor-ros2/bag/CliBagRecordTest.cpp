// `qor-ros2 bag record` run as a child process against publishers of the test: the bag it leaves
// once stopped read back by BagMetadata and by @mcap/core (tests/peers/mcap-check.js); its
// filters, its splits, a recorder killed outright and a disk that fills up.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "McapTesting.h"
#include "WaitFor.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/bag/BagMetadata.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace {

using namespace qorROS2::bag;
using qorROS2::QOS;
using qorTest::Bytes;

constexpr std::int8_t kDomain = 80;

using qorTest::ScratchBag;

qorTest::ChildProcess::Options merged() {
    qorTest::ChildProcess::Options options;
    options.output = qorTest::ChildProcess::MERGED;
    options.environment = {"ROS_DOMAIN_ID=" + std::to_string(kDomain)};
    return options;
}

std::unique_ptr<qorTest::ChildProcess> startRecord(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv = {QOR_ROS2_CLI, "bag", "record"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return std::make_unique<qorTest::ChildProcess>(argv, merged());
}

bool printed(qorTest::ChildProcess& child, const std::string& text) {
    return child.readUntil(
        [&text](const std::string& out) { return out.find(text) != std::string::npos; },
        qorTest::kDeliveryDeadline);
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/// A std_msgs/msg/String as CDR, 12 bytes of text and its NUL: a size the wire keeps as it is.
Bytes stringMessage(const std::string& prefix, unsigned number) {
    std::string text = prefix + std::to_string(100000 + number);
    text.resize(11, '_');
    // CDR little endian, then the length with the NUL, the text and the NUL.
    const std::string raw = std::string("\x00\x01\x00\x00\x0c\x00\x00\x00", 8) + text + '\0';
    return Bytes(raw.begin(), raw.end());
}

/// A blob of `size` bytes (a multiple of 4) after the CDR header, told apart by `number`.
Bytes blobMessage(std::size_t size, unsigned number) {
    Bytes bytes = {0x00, 0x01, 0x00, 0x00};
    for (std::size_t i = 0; i < size; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(number * 7 + i));
    }
    return bytes;
}

QOS reliableQos(std::uint32_t durability = QOS::VOLATILE, std::uint32_t depth = 100) {
    return QOS{durability, QOS::RELIABLE, QOS::KEEP_LAST, depth};
}

bool matched(const qorROS2::RawPublisher& publisher) {
    return qorTest::waitFor([&publisher] { return publisher.matchedSubscriptions() > 0; });
}

/// The messages @mcap/core reads from every file of the bag, per topic, after checking that each
/// file reads whole, holds as many messages as metadata.yaml says, and that every message of a
/// type with a schema decodes with it (how many did, added to `decoded`).
std::map<std::string, std::vector<Bytes>> checkedMessages(const ScratchBag& bag,
                                                          const BagMetadata& metadata,
                                                          std::size_t* decoded = nullptr) {
    std::map<std::string, std::vector<Bytes>> messages;
    std::map<std::string, std::uint64_t> perTopic;
    for (const auto& file : metadata.files) {
        const nlohmann::json read = qorTest::peerRead(bag.file(file.path));
        EXPECT_FALSE(read.contains("error")) << file.path << ": " << read.dump();
        if (read.contains("error")) {
            continue;
        }
        EXPECT_EQ(read["profile"], "ros2");
        EXPECT_EQ(read["messages"].size(), file.messageCount) << file.path;
        const std::size_t fileDecoded = qorTest::expectAllDecoded(read);
        if (decoded != nullptr) {
            *decoded += fileDecoded;
        }
        std::map<int, std::string> topics;
        for (const auto& channel : read["channels"]) {
            topics[channel["id"].get<int>()] = channel["topic"].get<std::string>();
            const auto recorded = std::find_if(
                metadata.topicsWithMessageCount.begin(), metadata.topicsWithMessageCount.end(),
                [&channel](const TopicInformation& t) {
                    return t.topicMetadata.name == channel["topic"].get<std::string>();
                });
            EXPECT_NE(recorded, metadata.topicsWithMessageCount.end());
            if (recorded != metadata.topicsWithMessageCount.end()) {
                EXPECT_EQ(channel["metadata"]["offered_qos_profiles"],
                          offeredQosToYamlString(recorded->topicMetadata.offeredQosProfiles));
            }
        }
        for (const auto& message : read["messages"]) {
            const std::string& topic = topics[message["channel"].get<int>()];
            messages[topic].push_back(qorTest::bytesOfHex(message["data"].get<std::string>()));
            ++perTopic[topic];
        }
    }
    for (const auto& topic : metadata.topicsWithMessageCount) {
        EXPECT_EQ(perTopic[topic.topicMetadata.name], topic.messageCount)
            << topic.topicMetadata.name;
    }
    return messages;
}

const TopicInformation* topicIn(const BagMetadata& metadata, const std::string& name) {
    for (const auto& topic : metadata.topicsWithMessageCount) {
        if (topic.topicMetadata.name == name) {
            return &topic;
        }
    }
    return nullptr;
}

TEST(CliBagRecord, RefusesWhatRos2BagRecordRefusesInItsWords) {
    ScratchBag existing("existing");
    std::filesystem::create_directories(existing.path());
    const std::vector<std::pair<std::vector<std::string>, std::string>> refused = {
        {{}, "[ERROR] [ros2bag]: Invalid choice: Must specify topic(s), --regex or --all"},
        {{"-a", "/x"},
         "[ERROR] [ros2bag]: Specify either --all or topics, but not both simultaneously."},
        {{"-x", "y", "/x"},
         "[ERROR] [ros2bag]: --exclude argument cannot be used when specifying a list of topics "
         "explicitly"},
        {{"-a", "-o", existing.path()},
         "[ERROR] [ros2bag]: Output folder '" + existing.path() + "' already exists."},
        {{"-a", "-b", "1000", "-o", existing.path() + "_small"},
         "Invalid bag splitting size given. Please provide a value greater than 1024. Specified "
         "value of 1000"},
    };
    for (const auto& [arguments, message] : refused) {
        const auto child = startRecord(arguments);
        const auto code = child->waitForExit(std::chrono::seconds(30));
        EXPECT_EQ(code, 1) << child->output();
        EXPECT_EQ(child->output(), message + "\n");
    }
    EXPECT_FALSE(std::filesystem::exists(existing.path() + "_small"));
    const auto storage = startRecord({"-a", "-s", "sqlite3"});
    EXPECT_EQ(storage->waitForExit(std::chrono::seconds(30)), 2);
    EXPECT_NE(storage->output().find("argument -s/--storage: invalid choice: 'sqlite3' (choose "
                                     "from 'mcap')"),
              std::string::npos)
        << storage->output();
}

// Three publishers: one transient local whose messages were sent before the recorder started, one
// reliable, and one best effort of a type this library does not know that appears later.
TEST(CliBagRecord, RecordsEveryPublisherUntilCtrlCAndLeavesACompleteBag) {
    ScratchBag bag("all");
    qorROS2::RawPublisher latched("/bag_rec/latched", "std_msgs/msg/String",
                                  reliableQos(QOS::TRANSIENT_LOCAL), kDomain);
    std::vector<Bytes> latchedSent;
    for (unsigned i = 0; i < 3; ++i) {
        latchedSent.push_back(stringMessage("latched", i));
        latched.publish(latchedSent.back());
    }
    qorROS2::RawPublisher reliable("/bag_rec/reliable", "std_msgs/msg/String", reliableQos(),
                                   kDomain);
    const auto recorder = startRecord({"-a", "-o", bag.path(), "-p", "50"});
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_rec/reliable'"))
        << recorder->output();
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_rec/latched'")) << recorder->output();
    ASSERT_TRUE(printed(*recorder, "Recording...")) << recorder->output();
    qorROS2::RawPublisher late("/bag_rec/late", "qor_test_msgs/msg/Blob",
                               QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 100}, kDomain);
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_rec/late'")) << recorder->output();
    ASSERT_TRUE(matched(reliable));
    ASSERT_TRUE(matched(late));

    std::vector<Bytes> reliableSent;
    std::set<Bytes> lateSent;
    for (unsigned i = 0; i < 40; ++i) {
        reliableSent.push_back(stringMessage("reliable", i));
        reliable.publish(reliableSent.back());
        lateSent.insert(blobMessage(64, i));
        late.publish(blobMessage(64, i));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // What the test's own discovery sees the publishers offer is what the bag must hold.
    qorROS2::TopicDiscovery discovery(kDomain);
    std::map<std::string, std::vector<OfferedQosProfile>> offered;
    ASSERT_TRUE(qorTest::waitFor([&] {
        offered.clear();
        for (const auto& endpoint : discovery.endpoints()) {
            if (endpoint.publisher && endpoint.topic.rfind("/bag_rec/", 0) == 0) {
                offered[endpoint.topic].push_back(offeredQosFromDiscovered(endpoint.qos));
            }
        }
        return offered.size() == 3;
    }));
    // Nothing outside the recorder tells when it has received the last message: a second is
    // far more than delivery on loopback takes.
    std::this_thread::sleep_for(std::chrono::seconds(1));

    EXPECT_EQ(recorder->stop(SIGINT, std::chrono::seconds(30)), 0) << recorder->output();
    const std::string output = recorder->output();
    EXPECT_NE(output.find("[rosbag2_recorder]: Recording stopped"), std::string::npos) << output;
    EXPECT_EQ(occurrences(output, "Subscribed to topic '/bag_rec/reliable'"), 1u) << output;

    const BagMetadata metadata = readBagMetadata(bag.path());
    EXPECT_EQ(metadata.version, kHumbleMetadataVersion);
    std::size_t decoded = 0;
    const auto messages = checkedMessages(bag, metadata, &decoded);
    // The Strings decode with the schema the recorder stored; the Blob's type has none.
    EXPECT_EQ(decoded, latchedSent.size() + reliableSent.size());
    EXPECT_EQ(messages.at("/bag_rec/latched"), latchedSent);
    EXPECT_EQ(messages.at("/bag_rec/reliable"), reliableSent);
    ASSERT_GE(messages.at("/bag_rec/late").size(), 1u);
    for (const auto& message : messages.at("/bag_rec/late")) {
        EXPECT_EQ(lateSent.count(message), 1u);
    }
    for (const auto& [topic, profiles] : offered) {
        const TopicInformation* recorded = topicIn(metadata, topic);
        ASSERT_NE(recorded, nullptr) << topic;
        EXPECT_EQ(recorded->topicMetadata.offeredQosProfiles, profiles) << topic;
    }
    EXPECT_EQ(topicIn(metadata, "/bag_rec/late")->topicMetadata.type, "qor_test_msgs/msg/Blob");
    std::uint64_t total = 0;
    for (const auto& topic : metadata.topicsWithMessageCount) {
        total += topic.messageCount;
    }
    EXPECT_EQ(metadata.messageCount, total);
}

TEST(CliBagRecord, RecordsOnlyTheTopicsTheRegexTakesAndTheExcludeLeaves) {
    ScratchBag bag("filtered");
    qorROS2::RawPublisher kept("/bag_flt/keep", "std_msgs/msg/String", reliableQos(), kDomain);
    qorROS2::RawPublisher excluded("/bag_flt/keep_not", "std_msgs/msg/String", reliableQos(),
                                   kDomain);
    qorROS2::RawPublisher other("/bag_other", "std_msgs/msg/String", reliableQos(), kDomain);
    qorROS2::TopicDiscovery discovery(kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        std::size_t seen = 0;
        for (const auto& topic : discovery.topics()) {
            seen += topic.name.rfind("/bag_flt/", 0) == 0 || topic.name == "/bag_other";
        }
        return seen == 3;
    }));
    const auto recorder =
        startRecord({"-e", "^/bag_flt/", "-x", "_not$", "-o", bag.path(), "-p", "50"});
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_flt/keep'")) << recorder->output();
    ASSERT_TRUE(matched(kept));
    for (unsigned i = 0; i < 5; ++i) {
        kept.publish(stringMessage("keep", i));
        excluded.publish(stringMessage("excluded", i));
        other.publish(stringMessage("other", i));
    }
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(recorder->stop(SIGINT, std::chrono::seconds(30)), 0) << recorder->output();
    const BagMetadata metadata = readBagMetadata(bag.path());
    ASSERT_EQ(metadata.topicsWithMessageCount.size(), 1u) << recorder->output();
    EXPECT_EQ(metadata.topicsWithMessageCount[0].topicMetadata.name, "/bag_flt/keep");
    EXPECT_EQ(metadata.topicsWithMessageCount[0].messageCount, 5u);
    EXPECT_EQ(recorder->output().find("'/bag_other'"), std::string::npos) << recorder->output();
}

TEST(CliBagRecord, SplitsBySizeIntoFilesThatAreEachComplete) {
    ScratchBag bag("split");
    qorROS2::RawPublisher publisher("/bag_split/blob", "qor_test_msgs/msg/Blob", reliableQos(),
                                    kDomain);
    const auto recorder = startRecord({"/bag_split/blob", "-o", bag.path(), "-b", "20000"});
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_split/blob'")) << recorder->output();
    ASSERT_TRUE(matched(publisher));
    std::vector<Bytes> sent;
    for (unsigned i = 0; i < 60; ++i) {
        sent.push_back(blobMessage(1000, i));
        publisher.publish(sent.back());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const std::string name = bag.name();
    EXPECT_TRUE(
        qorTest::waitFor([&] { return std::filesystem::exists(bag.file(name + "_2.mcap")); }));
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(recorder->stop(SIGINT, std::chrono::seconds(30)), 0) << recorder->output();
    const BagMetadata metadata = readBagMetadata(bag.path());
    ASSERT_GE(metadata.files.size(), 3u);
    EXPECT_EQ(checkedMessages(bag, metadata).at("/bag_split/blob"), sent);
}

// Killed outright, the recorder leaves every chunk it wrote readable by a streaming reader.
TEST(CliBagRecord, AKilledRecorderLeavesTheChunksItWroteReadable) {
    ScratchBag bag("killed");
    qorROS2::RawPublisher publisher("/bag_kill/blob", "qor_test_msgs/msg/Blob", reliableQos(),
                                    kDomain);
    const auto recorder = startRecord({"/bag_kill/blob", "-o", bag.path()});
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_kill/blob'")) << recorder->output();
    ASSERT_TRUE(matched(publisher));
    std::set<Bytes> sent;
    unsigned number = 0;
    // Chunks of 768 KiB: enough 64 KiB messages for two of them at least.
    EXPECT_TRUE(qorTest::repeatUntil(
        [&] {
            sent.insert(blobMessage(64 * 1024, number));
            publisher.publish(blobMessage(64 * 1024, number));
            ++number;
        },
        [&] {
            std::error_code error;
            return std::filesystem::file_size(bag.firstFile(), error) > 2 * 768 * 1024 && !error;
        },
        std::chrono::milliseconds(10), std::chrono::seconds(60)));
    recorder->stop(SIGKILL, std::chrono::seconds(30));
    EXPECT_FALSE(std::filesystem::exists(bag.file("metadata.yaml")));
    const nlohmann::json read = qorTest::peerRead(bag.firstFile(), true);
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_FALSE(read["complete"].get<bool>());
    ASSERT_GE(read["messages"].size(), 20u);
    for (const auto& message : read["messages"]) {
        EXPECT_EQ(sent.count(qorTest::bytesOfHex(message["data"].get<std::string>())), 1u);
    }
}

// The file size limit stands in for a full disk: the shell ignores SIGXFSZ for the recorder, so
// that its write fails with EFBIG instead of killing it.
TEST(CliBagRecord, AFullDiskEndsTheRecordingWithOneErrorAndAReadableBag) {
    ScratchBag bag("full");
    qorROS2::RawPublisher publisher("/bag_full/blob", "qor_test_msgs/msg/Blob", reliableQos(),
                                    kDomain);
    const std::vector<std::string> argv = {
        "/bin/sh", "-c",
        "trap '' XFSZ; ulimit -f 4000; exec \"$0\" bag record /bag_full/blob -o \"$1\"",
        QOR_ROS2_CLI, bag.path()};
    qorTest::ChildProcess recorder(argv, merged());
    ASSERT_TRUE(printed(recorder, "Subscribed to topic '/bag_full/blob'")) << recorder.output();
    ASSERT_TRUE(matched(publisher));
    unsigned number = 0;
    std::optional<int> code;
    // 4000 blocks of 512 bytes hold about 2 MB: the recorder stops on its own once they are full.
    EXPECT_TRUE(qorTest::repeatUntil([&] { publisher.publish(blobMessage(64 * 1024, number++)); },
                                     [&] {
                                         code = recorder.waitForExit(std::chrono::milliseconds(0));
                                         return code.has_value();
                                     },
                                     std::chrono::milliseconds(10), std::chrono::seconds(60)));
    if (!code) {
        code = recorder.stop(SIGKILL, std::chrono::seconds(30));
    }
    const std::string output = recorder.output();
    EXPECT_EQ(code, 1) << output;
    // Counted by our own words: the middleware may also say "File too large" at start, when
    // the limit is below its shared-memory segment and it falls back to UDP.
    EXPECT_EQ(occurrences(output, "cannot write MCAP file"), 1u) << output;
    EXPECT_NE(output.find("[ERROR] "), std::string::npos) << output;
    EXPECT_NE(output.find("cannot write MCAP file '" + bag.firstFile() + "': File too large"),
              std::string::npos)
        << output;
    const BagMetadata metadata = readBagMetadata(bag.path());
    EXPECT_EQ(metadata.files.size(), 1u);
    const nlohmann::json read = qorTest::peerRead(bag.firstFile(), true);
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_GE(read["messages"].size(), 10u);
}

// With --use-sim-time the log times are the simulation's, from /clock; the recorder waits for it.
TEST(CliBagRecord, StampsMessagesWithTheSimulationClock) {
    ScratchBag bag("sim_time");
    qorROS2::RawPublisher clock("/clock", "rosgraph_msgs/msg/Clock", reliableQos(), kDomain);
    qorROS2::RawPublisher data("/bag_sim/data", "std_msgs/msg/String", reliableQos(), kDomain);
    // rosgraph_msgs/msg/Clock: the CDR header, then seconds and nanoseconds.
    const auto clockAt = [](std::uint8_t seconds) {
        return Bytes{0x00, 0x01, 0x00, 0x00, seconds, 0, 0, 0, 0, 0, 0, 0};
    };
    const auto recorder = startRecord({"/bag_sim/data", "--use-sim-time", "-o", bag.path()});
    ASSERT_TRUE(
        printed(*recorder, "use_sim_time set, waiting for /clock before starting recording"))
        << recorder->output();
    ASSERT_TRUE(qorTest::repeatUntil([&] { clock.publish(clockAt(100)); },
                                     [&] {
                                         return recorder->output().find(
                                                    "Sim time /clock found, starting recording.") !=
                                                std::string::npos;
                                     },
                                     std::chrono::milliseconds(50), std::chrono::seconds(30)))
        << recorder->output();
    ASSERT_TRUE(printed(*recorder, "Subscribed to topic '/bag_sim/data'")) << recorder->output();
    ASSERT_TRUE(matched(data));
    for (unsigned i = 0; i < 10; ++i) {
        clock.publish(clockAt(200));
        data.publish(stringMessage("sim", i));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(recorder->stop(SIGINT, std::chrono::seconds(30)), 0) << recorder->output();
    const BagMetadata metadata = readBagMetadata(bag.path());
    ASSERT_EQ(metadata.messageCount, 10u) << recorder->output();
    const nlohmann::json read = qorTest::peerRead(bag.firstFile());
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_EQ(qorTest::expectAllDecoded(read), 10u);
    for (const auto& message : read["messages"]) {
        const auto logTime = std::stoull(message["logTime"].get<std::string>());
        EXPECT_TRUE(logTime == 100'000'000'000ULL || logTime == 200'000'000'000ULL) << logTime;
        // The publish time stays the sender's clock: the system's.
        EXPECT_GT(std::stoull(message["publishTime"].get<std::string>()),
                  1'000'000'000'000'000'000ULL);
    }
    EXPECT_EQ(metadata.startingTimeNanoseconds >= 100'000'000'000 &&
                  metadata.startingTimeNanoseconds <= 200'000'000'000,
              true)
        << metadata.startingTimeNanoseconds;
}

}  // namespace
