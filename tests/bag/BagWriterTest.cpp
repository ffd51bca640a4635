// A bag written by BagWriter: its files read back by @mcap/core (tests/peers/mcap-check.js) and
// its metadata.yaml by BagMetadata, split by size and by duration, a queue that overflows, a disk
// that fills up and a writer killed in the middle.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "McapTesting.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagMetadata.h"
#include "qorROS2/bag/BagWriter.h"

namespace {

using namespace qorROS2::bag;
using qorTest::Bytes;
using qorTest::peerRead;

constexpr std::int64_t kStart = 1'700'000'000'000'000'000;

using qorTest::ScratchBag;

OfferedQosProfile bestEffortOffer() {
    OfferedQosProfile offer;
    offer.history = POLICY_UNKNOWN;
    offer.depth = 0;
    offer.reliability = qorROS2::QOS::BEST_EFFORT;
    offer.deadline = kInfiniteQosDuration;
    offer.lifespan = kInfiniteQosDuration;
    offer.liveliness = LIVELINESS_AUTOMATIC;
    offer.livelinessLeaseDuration = kInfiniteQosDuration;
    return offer;
}

BagTopic jointStates() {
    return {"/joint_states",
            "sensor_msgs/msg/JointState",
            "cdr",
            {bestEffortOffer()},
            "",
            "string[] name\nfloat64[] position\n"};
}

BagTopic unknownType() {
    return {"/mystery", "mystery_msgs/msg/Unknown", "cdr", {}, "", ""};
}

Bytes payload(std::size_t size, std::size_t seed) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<std::uint8_t>(seed * 31 + i);
    }
    return bytes;
}

/// Chunks small enough that a few thousand messages make many of them.
BagWriterOptions smallChunks() {
    BagWriterOptions options;
    options.chunkSize = 8 * 1024;
    return options;
}

/// Writes `count` messages of 100 bytes on /joint_states, each told apart by its bytes.
void writeNumbered(BagWriter& writer, std::size_t count) {
    writer.addTopic(jointStates());
    for (std::size_t i = 0; i < count; ++i) {
        const Bytes bytes = payload(100, i);
        const auto time = kStart + static_cast<std::int64_t>(i);
        writer.write("/joint_states", bytes.data(), bytes.size(), time, time);
    }
}

/// Waits until `writer` has written `count` messages; false if it has not after 30 s.
bool writtenReaches(const BagWriter& writer, std::uint64_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (writer.written() < count) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::size_t fileMessageCount(const nlohmann::json& read) {
    return read["messages"].size();
}

TEST(BagWriter, WritesOneFileAndMetadataYamlWithWhatWasRecorded) {
    ScratchBag bag("writer_plain");
    std::vector<std::pair<std::string, Bytes>> sent;
    {
        BagWriter writer(bag.path());
        writer.addTopic(jointStates());
        writer.addTopic(unknownType());
        for (std::size_t i = 0; i < 8; ++i) {
            const std::string topic = i < 5 ? "/joint_states" : "/mystery";
            sent.emplace_back(topic, payload(20 + i, i));
            const auto time = kStart + static_cast<std::int64_t>(i) * 1'000'000;
            ASSERT_TRUE(writer.write(topic, sent.back().second.data(), sent.back().second.size(),
                                     time, time - 500));
        }
        writer.close();
        EXPECT_EQ(writer.written(), 8u);
        EXPECT_TRUE(writer.dropped().empty());
    }
    const std::string name = bag.name();
    const BagMetadata metadata = readBagMetadata(bag.path());
    EXPECT_EQ(metadata.version, kHumbleMetadataVersion);
    EXPECT_EQ(metadata.storageIdentifier, "mcap");
    EXPECT_EQ(metadata.messageCount, 8u);
    EXPECT_EQ(metadata.startingTimeNanoseconds, kStart);
    EXPECT_EQ(metadata.durationNanoseconds, 7'000'000);
    ASSERT_EQ(metadata.relativeFilePaths, std::vector<std::string>{name + "_0.mcap"});
    ASSERT_EQ(metadata.files.size(), 1u);
    EXPECT_EQ(metadata.files[0].messageCount, 8u);
    ASSERT_EQ(metadata.topicsWithMessageCount.size(), 2u);
    EXPECT_EQ(metadata.topicsWithMessageCount[0].topicMetadata.name, "/joint_states");
    EXPECT_EQ(metadata.topicsWithMessageCount[0].messageCount, 5u);
    EXPECT_EQ(metadata.topicsWithMessageCount[0].topicMetadata.offeredQosProfiles,
              std::vector<OfferedQosProfile>{bestEffortOffer()});
    EXPECT_EQ(metadata.topicsWithMessageCount[1].messageCount, 3u);

    const nlohmann::json read = peerRead(bag.file(name + "_0.mcap"));
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_EQ(read["profile"], "ros2");
    ASSERT_EQ(fileMessageCount(read), 8u) << read.dump();
    for (std::size_t i = 0; i < 8; ++i) {
        const auto& message = read["messages"][i];
        EXPECT_EQ(qorTest::bytesOfHex(message["data"].get<std::string>()), sent[i].second);
        const auto time = kStart + static_cast<std::int64_t>(i) * 1'000'000;
        EXPECT_EQ(message["logTime"], std::to_string(time));
        EXPECT_EQ(message["publishTime"], std::to_string(time - 500));
    }
    ASSERT_EQ(read["schemas"].size(), 2u) << read.dump();
    EXPECT_EQ(read["schemas"][0]["encoding"], "ros2msg");
    EXPECT_EQ(read["schemas"][0]["data"], jointStates().schemaText);
    // The MCAP storage of rosbag2 writes a schema without encoding or data for an unknown type.
    EXPECT_EQ(read["schemas"][1]["name"], "mystery_msgs/msg/Unknown");
    EXPECT_EQ(read["schemas"][1]["encoding"], "");
    EXPECT_EQ(read["schemas"][1]["data"], "");
    ASSERT_EQ(read["channels"].size(), 2u);
    EXPECT_EQ(read["channels"][0]["encoding"], "cdr");
    EXPECT_EQ(read["channels"][0]["metadata"]["offered_qos_profiles"],
              offeredQosToYamlString({bestEffortOffer()}));
    ASSERT_EQ(read["metadata"].size(), 1u);
    EXPECT_EQ(read["metadata"][0]["name"], "rosbag2");
    EXPECT_TRUE(read["metadata"][0]["entries"].contains("ROS_DISTRO")) << read.dump();
}

// A recorder adds topics as they appear while the writing thread registers the earlier ones:
// every topic reaches the file under its own name, whatever the two threads interleave.
TEST(BagWriter, TopicsAddedWhileItWritesKeepTheirNames) {
    ScratchBag bag("writer_growing");
    constexpr std::size_t kTopics = 300;
    {
        BagWriter writer(bag.path());
        for (std::size_t i = 0; i < kTopics; ++i) {
            // Names too long for the short-string buffer, so that a stale one reads freed memory.
            const std::string topic = "/a_topic_added_while_writing_" + std::to_string(i);
            writer.addTopic({topic, "mystery_msgs/msg/Unknown", "cdr", {}, "", ""});
            const Bytes bytes = payload(8, i);
            const auto time = kStart + static_cast<std::int64_t>(i);
            ASSERT_TRUE(writer.write(topic, bytes.data(), bytes.size(), time, time));
        }
        writer.close();
        EXPECT_EQ(writer.written(), kTopics);
    }
    const BagMetadata metadata = readBagMetadata(bag.path());
    ASSERT_EQ(metadata.topicsWithMessageCount.size(), kTopics);
    for (std::size_t i = 0; i < kTopics; ++i) {
        EXPECT_EQ(metadata.topicsWithMessageCount[i].topicMetadata.name,
                  "/a_topic_added_while_writing_" + std::to_string(i));
    }
    const nlohmann::json read = qorTest::peerRead(bag.firstFile());
    ASSERT_FALSE(read.contains("error")) << read.dump();
    std::set<std::string> topics;
    for (const auto& channel : read["channels"]) {
        topics.insert(channel["topic"].get<std::string>());
    }
    EXPECT_EQ(topics.size(), kTopics);
}

TEST(BagWriter, WritesTheJazzyLayoutForVersionNine) {
    ScratchBag bag("writer_jazzy");
    BagTopic topic = jointStates();
    topic.typeHash = "RIHS01_" + std::string(64, 'a');
    {
        BagWriterOptions options;
        options.metadataVersion = kJazzyMetadataVersion;
        options.rosDistro = "jazzy";
        BagWriter writer(bag.path(), options);
        writer.addTopic(topic);
        const Bytes bytes = payload(12, 1);
        ASSERT_TRUE(writer.write(topic.name, bytes.data(), bytes.size(), kStart, kStart));
        writer.close();
    }
    const BagMetadata metadata = readBagMetadata(bag.path());
    EXPECT_EQ(metadata.version, kJazzyMetadataVersion);
    EXPECT_EQ(metadata.rosDistro, "jazzy");
    ASSERT_EQ(metadata.topicsWithMessageCount.size(), 1u);
    EXPECT_EQ(metadata.topicsWithMessageCount[0].topicMetadata.typeDescriptionHash, topic.typeHash);
    const std::string name = bag.name();
    const nlohmann::json read = peerRead(bag.file(name + "_0.mcap"));
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_EQ(read["channels"][0]["metadata"]["topic_type_hash"], topic.typeHash);
    EXPECT_EQ(read["channels"][0]["metadata"]["offered_qos_profiles"],
              offeredQosToYamlList({bestEffortOffer()}));
    ASSERT_EQ(read["metadata"].size(), 1u);
    const std::string serialized =
        read["metadata"][0]["entries"]["serialized_metadata"].get<std::string>();
    EXPECT_NE(serialized.find("message_count: 1"), std::string::npos) << serialized;
    EXPECT_EQ(serialized.find("rosbag2_bagfile_information"), std::string::npos) << serialized;
}

TEST(BagWriter, RefusesADirectoryThatExistsAndASplitSizeBelowTheMinimum) {
    ScratchBag bag("writer_exists");
    std::filesystem::create_directories(bag.path());
    try {
        BagWriter writer(bag.path());
        FAIL() << "an existing directory was accepted";
    } catch (const BagError& error) {
        EXPECT_EQ(std::string(error.what()), "Database directory already exists (" + bag.path() +
                                                 "), can't overwrite existing database");
    }
    ScratchBag small("writer_small_split");
    BagWriterOptions options;
    options.maxBagSize = 1000;
    try {
        BagWriter writer(small.path(), options);
        FAIL() << "a split size of 1000 was accepted";
    } catch (const BagError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Invalid bag splitting size given. Please provide a value greater than 1024. "
                  "Specified value of 1000");
    }
    EXPECT_FALSE(std::filesystem::exists(small.path()));
}

TEST(BagWriter, SplitsBySizeIntoFilesThatAreEachComplete) {
    ScratchBag bag("writer_split_size");
    std::vector<std::string> splits;
    BagWriterOptions options;
    options.maxBagSize = 4096;
    options.chunkSize = 1024;
    options.onSplit = [&splits](const BagSplit& split) { splits.push_back(split.openedFile); };
    constexpr std::size_t kMessages = 60;
    {
        BagWriter writer(bag.path(), options);
        writer.addTopic(jointStates());
        for (std::size_t i = 0; i < kMessages; ++i) {
            const Bytes bytes = payload(300, i);
            const auto time = kStart + static_cast<std::int64_t>(i);
            ASSERT_TRUE(writer.write("/joint_states", bytes.data(), bytes.size(), time, time));
        }
        writer.close();
    }
    const BagMetadata metadata = readBagMetadata(bag.path());
    ASSERT_GE(metadata.files.size(), 3u);
    EXPECT_EQ(splits.size(), metadata.files.size() - 1);
    EXPECT_EQ(metadata.messageCount, kMessages);
    const std::string name = bag.name();
    std::size_t next = 0;
    for (std::size_t f = 0; f < metadata.files.size(); ++f) {
        EXPECT_EQ(metadata.files[f].path, name + "_" + std::to_string(f) + ".mcap");
        EXPECT_EQ(metadata.relativeFilePaths[f], metadata.files[f].path);
        const nlohmann::json read = peerRead(bag.file(metadata.files[f].path));
        ASSERT_FALSE(read.contains("error")) << read.dump();
        ASSERT_EQ(fileMessageCount(read), metadata.files[f].messageCount) << read.dump();
        EXPECT_EQ(read["channels"].size(), 1u);
        EXPECT_EQ(read["statistics"]["messageCount"],
                  std::to_string(metadata.files[f].messageCount));
        for (const auto& message : read["messages"]) {
            EXPECT_EQ(qorTest::bytesOfHex(message["data"].get<std::string>()), payload(300, next));
            ++next;
        }
        // The split is checked before a message, so every file but the last went past the limit
        // by less than one message and one chunk's overhead.
        if (f + 1 < metadata.files.size()) {
            EXPECT_GE(std::filesystem::file_size(bag.file(metadata.files[f].path)), 4096u);
        }
    }
    EXPECT_EQ(next, kMessages);
}

TEST(BagWriter, SplitsByDurationOnceAMessageIsMoreThanTheLimitPastTheFilesFirst) {
    ScratchBag bag("writer_split_duration");
    BagWriterOptions options;
    options.maxBagDurationSeconds = 1;
    const std::vector<std::int64_t> offsetsMs = {0, 500, 1000, 1500, 2500, 2600};
    {
        BagWriter writer(bag.path(), options);
        writer.addTopic(jointStates());
        for (const auto offset : offsetsMs) {
            const Bytes bytes = payload(8, static_cast<std::size_t>(offset));
            const auto time = kStart + offset * 1'000'000;
            ASSERT_TRUE(writer.write("/joint_states", bytes.data(), bytes.size(), time, time));
        }
        writer.close();
    }
    const BagMetadata metadata = readBagMetadata(bag.path());
    ASSERT_EQ(metadata.files.size(), 3u);
    EXPECT_EQ(metadata.files[0].messageCount, 3u);
    EXPECT_EQ(metadata.files[0].durationNanoseconds, 1'000'000'000);
    EXPECT_EQ(metadata.files[1].messageCount, 2u);
    EXPECT_EQ(metadata.files[1].startingTimeNanoseconds, kStart + 1'500'000'000);
    EXPECT_EQ(metadata.files[2].messageCount, 1u);
    EXPECT_EQ(metadata.durationNanoseconds, 2'600'000'000);
}

// The writing thread is held in the split callback, so that the queue fills while the caller
// goes on: what does not fit is dropped and counted, never waited for.
TEST(BagWriter, DropsWhatDoesNotFitTheQueueAndCountsItPerTopic) {
    ScratchBag bag("writer_drops");
    std::promise<void> inSplit;
    std::future<void> splitting = inSplit.get_future();
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    // Lets the writing thread go however the test ends, so that closing never waits forever.
    struct Release {
        std::promise<void>& promise;
        bool done = false;
        void operator()() {
            if (!done) {
                done = true;
                promise.set_value();
            }
        }
        ~Release() { (*this)(); }
    } releaseWriter{release};
    BagWriterOptions options;
    options.maxBagSize = 1024;
    options.queueBytes = 450;
    bool firstSplit = true;  // the writing thread's alone
    options.onSplit = [&inSplit, &firstSplit, released](const BagSplit&) {
        if (firstSplit) {
            firstSplit = false;
            inSplit.set_value();
            released.wait();
        }
    };
    BagWriter writer(bag.path(), options);
    writer.addTopic(jointStates());
    writer.addTopic(unknownType());
    const Bytes large = payload(200, 1);
    const Bytes small = payload(100, 2);
    // One message at a time, each written before the next goes, until the file passes 1024
    // bytes and the next message makes the writer split; the queue is empty then.
    std::uint64_t before = 0;
    while (splitting.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        ASSERT_LT(before, 20u) << "the writer never split";
        const auto time = kStart + static_cast<std::int64_t>(before);
        ASSERT_TRUE(writer.write("/joint_states", large.data(), large.size(), time, time));
        ++before;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (writer.written() < before &&
               splitting.wait_for(std::chrono::milliseconds(2)) != std::future_status::ready) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << writer.written();
        }
    }
    // 4 of the small ones fit in 450 bytes, 6 do not.
    std::size_t accepted = 0;
    for (std::size_t i = 0; i < 10; ++i) {
        const std::string topic = i % 2 == 0 ? "/joint_states" : "/mystery";
        accepted += writer.write(topic, small.data(), small.size(), kStart + 100, kStart + 100);
    }
    releaseWriter();
    writer.close();
    EXPECT_EQ(accepted, 4u);
    const auto dropped = writer.dropped();
    EXPECT_EQ(dropped.at("/joint_states"), 3u);
    EXPECT_EQ(dropped.at("/mystery"), 3u);
    const BagMetadata metadata = readBagMetadata(bag.path());
    EXPECT_EQ(metadata.messageCount, before + 4);
    EXPECT_EQ(metadata.topicsWithMessageCount[0].messageCount, before + 2);
    EXPECT_EQ(metadata.topicsWithMessageCount[1].messageCount, 2u);
    EXPECT_GE(metadata.files.size(), 2u);
    EXPECT_THROW(writer.write("/nobody", small.data(), small.size(), 0, 0), BagError);
}

// The writing thread is held in the split that the second message starts (it came more than
// the duration limit after the first), so that the queue stays as full as the test makes it.
TEST(BagWriter, WriteWaitingWaitsForRoomInsteadOfDropping) {
    ScratchBag bag("writer_waits");
    std::promise<void> inSplit;
    std::future<void> splitting = inSplit.get_future();
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    BagWriterOptions options;
    options.maxBagDurationSeconds = 1;
    options.queueBytes = 250;
    options.onSplit = [&inSplit, released](const BagSplit&) {
        inSplit.set_value();
        released.wait();
    };
    BagWriter writer(bag.path(), options);
    writer.addTopic(jointStates());
    const Bytes bytes = payload(200, 3);
    ASSERT_TRUE(writer.write("/joint_states", bytes.data(), bytes.size(), kStart, kStart));
    const std::int64_t later = kStart + 2'000'000'000;
    // Two do not fit: this one waits until the writing thread has taken the first.
    ASSERT_TRUE(writer.writeWaiting("/joint_states", bytes.data(), bytes.size(), later, later));
    if (splitting.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        release.set_value();
        FAIL() << "the writer never split";
    }
    // The queue holds one message of 200 bytes now; a second does not fit in 250.
    ASSERT_TRUE(writer.write("/joint_states", bytes.data(), bytes.size(), later, later));
    auto waiting = std::async(std::launch::async, [&] {
        return writer.writeWaiting("/joint_states", bytes.data(), bytes.size(), later, later);
    });
    const bool returnedEarly =
        waiting.wait_for(std::chrono::milliseconds(200)) == std::future_status::ready;
    // One larger than the whole queue would never fit: dropped at once, not waited for.
    const Bytes huge = payload(300, 4);
    const bool hugeQueued =
        writer.writeWaiting("/joint_states", huge.data(), huge.size(), later, later);
    release.set_value();
    EXPECT_FALSE(returnedEarly) << "writeWaiting returned while the queue was full";
    EXPECT_TRUE(waiting.get());
    EXPECT_FALSE(hugeQueued);
    writer.close();
    const auto dropped = writer.dropped();
    ASSERT_EQ(dropped.size(), 1u);
    EXPECT_EQ(dropped.at("/joint_states"), 1u);
    EXPECT_EQ(readBagMetadata(bag.path()).messageCount, 4u);
}

TEST(BagWriter, LostMessagesAreToldPerTopicWithTheirTotal) {
    EXPECT_EQ(lostMessagesText({}), "");
    EXPECT_EQ(lostMessagesText({{"/camera/image_raw", 3}, {"/clock", 1}}),
              "Cache buffers lost messages per topic: \n\t/camera/image_raw: 3\n\t/clock: 1\n"
              "Total lost: 4");
}

// The file size limit stands in for a full disk, in a child that ignores SIGXFSZ so that the
// write fails with EFBIG instead of killing it.
TEST(BagWriter, AFullDiskStopsWritingWithOneErrorAndLeavesReadableFiles) {
    ScratchBag bag("writer_full");
    qorTest::ScratchPath report("writer_full.txt");
    const std::string name = bag.name();
    constexpr std::size_t kMessages = 3000;
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        qorTest::limitFileSize(100'000);
        std::string outcome = "no error";
        std::string second = "second close silent";
        try {
            BagWriter writer(bag.path(), smallChunks());
            writeNumbered(writer, kMessages);
            try {
                writer.close();
            } catch (const BagError& error) {
                outcome = error.what();
            }
            try {
                writer.close();
            } catch (const BagError& error) {
                second = error.what();
            }
        } catch (const std::exception& error) {
            outcome = std::string("unexpected: ") + error.what();
        }
        std::ofstream(report.path()) << outcome << "\n" << second;
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    const Bytes reported = qorTest::fileBytes(report.path());
    EXPECT_EQ(std::string(reported.begin(), reported.end()),
              "cannot write MCAP file '" + bag.file(name + "_0.mcap") +
                  "': File too large\nsecond close silent");
    const BagMetadata metadata = readBagMetadata(bag.path());
    EXPECT_EQ(metadata.relativeFilePaths.size(), 1u);
    const nlohmann::json read = peerRead(bag.file(name + "_0.mcap"), true);
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_FALSE(read["complete"].get<bool>());
    ASSERT_GT(fileMessageCount(read), 100u);
    ASSERT_LT(fileMessageCount(read), kMessages);
    for (std::size_t i = 0; i < fileMessageCount(read); ++i) {
        ASSERT_EQ(qorTest::bytesOfHex(read["messages"][i]["data"].get<std::string>()),
                  payload(100, i));
    }
}

// A writer killed without a chance to close leaves the chunks it wrote readable by a reader
// that streams the file.
TEST(BagWriter, AKilledWriterLeavesTheChunksItWroteReadable) {
    ScratchBag bag("writer_killed");
    const std::string name = bag.name();
    constexpr std::size_t kMessages = 2000;
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(ready[0]);
        BagWriter writer(bag.path(), smallChunks());
        writeNumbered(writer, kMessages);
        const char done = writtenReaches(writer, kMessages) ? 1 : 0;
        (void)!::write(ready[1], &done, 1);
        ::pause();
        ::_exit(0);
    }
    ::close(ready[1]);
    char done = 0;
    const auto got = ::read(ready[0], &done, 1);
    ::close(ready[0]);
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(got, 1);
    ASSERT_EQ(done, 1) << "the writer did not write all messages";
    const nlohmann::json read = peerRead(bag.file(name + "_0.mcap"), true);
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_FALSE(read["complete"].get<bool>());
    // Every chunk but the open one is in the file: 8 KiB holds at least 60 of these messages.
    ASSERT_GT(fileMessageCount(read), kMessages - 100);
    ASSERT_LT(fileMessageCount(read), kMessages);
    for (std::size_t i = 0; i < fileMessageCount(read); ++i) {
        ASSERT_EQ(qorTest::bytesOfHex(read["messages"][i]["data"].get<std::string>()),
                  payload(100, i));
    }
    EXPECT_FALSE(std::filesystem::exists(bag.file("metadata.yaml")));
}

}  // namespace
