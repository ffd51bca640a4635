// Bags read as rosbag2 reads them: directories with metadata.yaml of ROS 2 Humble and Jazzy,
// split files merged by log time, single MCAP files, bags a killed recorder left behind, and
// damaged chunks skipped with their damage named.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "RosbagSamples.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagReader.h"

namespace {

using namespace qorTest;
using qorROS2::bag::BagError;
using qorROS2::bag::BagMessage;
using qorROS2::bag::BagReader;
using qorROS2::bag::BagReaderOptions;

// The messages as the reader gives them, numbered by the sample's channel of their topic.
std::vector<SampleMessage> readAll(BagReader& reader) {
    std::vector<SampleMessage> read;
    const auto topics = sampleTopics();
    BagMessage message;
    while (reader.next(message)) {
        const std::string& name =
            reader.metadata().topicsWithMessageCount.at(message.topic).topicMetadata.name;
        std::size_t channel = 0;
        while (channel < topics.size() && topics[channel].name != name) {
            ++channel;
        }
        read.push_back({channel, 0, message.logTime, message.publishTime, message.data});
    }
    return read;
}

// The sample's messages without their sequence numbers, which a bag does not give back.
std::vector<SampleMessage> expectedOf(std::vector<SampleMessage> messages) {
    for (auto& message : messages) {
        message.sequence = 0;
    }
    return messages;
}

std::string joinedProblems(const BagReader& reader) {
    std::string text;
    for (const std::string& problem : reader.problems()) {
        text += problem + "\n";
    }
    return text;
}

struct Layout {
    int version;
    std::string compression;
    bool summary;
};

class BagReaderLayouts : public ::testing::TestWithParam<Layout> {};

TEST_P(BagReaderLayouts, ReadsEveryMessageOfASplitBagInLogTimeOrderWithItsMetadata) {
    const Sample sample = sampleBagContent(10);
    ScratchBag bag("reader_layout", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 4, "run"),
                {GetParam().version, GetParam().compression, GetParam().summary});

    BagReader reader(bag.path());
    EXPECT_FALSE(reader.metadataRebuilt());
    EXPECT_EQ(reader.metadata().version, GetParam().version);
    EXPECT_EQ(reader.filePaths(),
              (std::vector<std::string>{bag.file("run_0.mcap"), bag.file("run_1.mcap"),
                                        bag.file("run_2.mcap")}));
    ASSERT_EQ(reader.metadata().topicsWithMessageCount.size(), 3u);
    const auto& chatter = reader.metadata().topicsWithMessageCount[0].topicMetadata;
    ASSERT_EQ(chatter.offeredQosProfiles.size(), 1u);
    EXPECT_EQ(chatter.offeredQosProfiles[0].durability, qorROS2::QOS::TRANSIENT_LOCAL);
    EXPECT_TRUE(readAll(reader) == expectedOf(sample.messages)) << joinedProblems(reader);
    // Unfinished files are named; whole ones give nothing to report.
    EXPECT_EQ(reader.problems().empty(), GetParam().summary) << joinedProblems(reader);
}

INSTANTIATE_TEST_SUITE_P(BagReader, BagReaderLayouts,
                         ::testing::Values(Layout{5, "zstd", true}, Layout{5, "lz4", false},
                                           Layout{9, "lz4", true}, Layout{9, "", true},
                                           Layout{9, "zstd", false}),
                         [](const auto& layout) {
                             return "v" + std::to_string(layout.param.version) + "_" +
                                    (layout.param.compression.empty() ? std::string("none")
                                                                      : layout.param.compression) +
                                    (layout.param.summary ? "_summary" : "_nosummary");
                         });

TEST(BagReader, MergesFilesWhoseTimesOverlapByLogTime) {
    const Sample sample = sampleBagContent(9);
    // Every other message in each file: the two files interleave in time.
    BagFilePart even{"run_0.mcap", sample};
    BagFilePart odd{"run_1.mcap", sample};
    even.content.messages.clear();
    odd.content.messages.clear();
    for (std::size_t i = 0; i < sample.messages.size(); ++i) {
        (i % 2 == 0 ? even : odd).content.messages.push_back(sample.messages[i]);
    }
    ScratchBag bag("reader_overlap", ScratchBag::CREATED);
    writeRosbag(bag, {even, odd}, {9, "zstd", true});
    BagReader reader(bag.path(), BagReaderOptions{1, {}});
    EXPECT_TRUE(readAll(reader) == expectedOf(sample.messages));
}

TEST(BagReader, RebuildsTheMetadataOfABagWithoutMetadataYamlAndSaysSo) {
    const Sample sample = sampleBagContent(11);
    ScratchBag bag("reader_killed", ScratchBag::CREATED);
    // Eleven and more files sort by their number, not as text.
    writeRosbag(bag, splitInto(sample, 1, "killed"), {0, "zstd", false});
    BagReader reader(bag.path());
    EXPECT_TRUE(reader.metadataRebuilt());
    const auto& metadata = reader.metadata();
    EXPECT_EQ(metadata.messageCount, 11u);
    EXPECT_EQ(metadata.startingTimeNanoseconds, static_cast<std::int64_t>(kBagStart));
    EXPECT_EQ(metadata.durationNanoseconds, 1'000'000'000);
    ASSERT_EQ(metadata.relativeFilePaths.size(), 11u);
    EXPECT_EQ(metadata.relativeFilePaths[10], "killed_10.mcap");
    ASSERT_EQ(metadata.files.size(), 11u);
    EXPECT_EQ(metadata.files[10].startingTimeNanoseconds,
              static_cast<std::int64_t>(kBagStart + 1'000'000'000));
    const auto counts = countsByChannel(sample);
    ASSERT_EQ(metadata.topicsWithMessageCount.size(), 3u);
    for (std::size_t t = 0; t < 3; ++t) {
        const auto& topic = metadata.topicsWithMessageCount[t];
        EXPECT_EQ(topic.topicMetadata.name, sampleTopics()[t].name);
        EXPECT_EQ(topic.topicMetadata.type, sampleTopics()[t].type);
        EXPECT_EQ(topic.topicMetadata.serializationFormat, "cdr");
        EXPECT_EQ(topic.messageCount, counts[t]);
        ASSERT_EQ(topic.topicMetadata.offeredQosProfiles.size(), 1u);
    }
    EXPECT_EQ(metadata.topicsWithMessageCount[1].topicMetadata.offeredQosProfiles[0].reliability,
              qorROS2::QOS::BEST_EFFORT);
    ASSERT_FALSE(reader.problems().empty());
    EXPECT_EQ(reader.problems()[0], bag.path() +
                                        ": the bag has no metadata.yaml (its recording did not "
                                        "finish); its metadata was rebuilt from its 11 MCAP files");
    EXPECT_TRUE(readAll(reader) == expectedOf(sample.messages));
}

TEST(BagReader, ReadsASingleMcapFileAsABag) {
    const Sample sample = sampleBagContent(6);
    ScratchBag bag("reader_single", ScratchBag::CREATED);
    peerWrite(bag.file("alone.mcap"), sample, true, "lz4", true);
    BagReader reader(bag.file("alone.mcap"));
    EXPECT_TRUE(reader.metadataRebuilt());
    EXPECT_EQ(reader.metadata().relativeFilePaths,
              std::vector<std::string>{bag.file("alone.mcap")});
    EXPECT_TRUE(reader.metadata().files.empty());
    EXPECT_EQ(reader.metadata().messageCount, 6u);
    EXPECT_EQ(reader.sizeBytes(), fileBytes(bag.file("alone.mcap")).size());
    EXPECT_TRUE(reader.problems().empty()) << joinedProblems(reader);
    EXPECT_TRUE(readAll(reader) == expectedOf(sample.messages));
}

TEST(BagReader, SkipsADamagedChunkNamingItAndReadsTheOthers) {
    Sample sample = sampleBagContent(8);
    // A chunk per message: mcap-write.js closes a chunk once it holds 2048 bytes.
    for (auto& message : sample.messages) {
        message.data.resize(2100, 0x55);
    }
    ScratchBag bag("reader_damaged", ScratchBag::CREATED);
    writeRosbag(bag, {{"run_0.mcap", sample}}, {5, "", true});
    const std::vector<TopRecord> chunks = flipByteInChunk(bag.file("run_0.mcap"), 2);
    ASSERT_EQ(chunks.size(), sample.messages.size());

    BagReader reader(bag.path());
    std::vector<SampleMessage> others = expectedOf(sample.messages);
    others.erase(others.begin() + 2);
    EXPECT_TRUE(readAll(reader) == others);
    const std::string problems = joinedProblems(reader);
    EXPECT_NE(problems.find(bag.file("run_0.mcap") + ": the chunk at offset " +
                            std::to_string(chunks[2].offset) + " cannot be read"),
              std::string::npos)
        << problems;
}

TEST(BagReader, ReadsOnlyTheTopicsAskedForFromWhereItIsSought) {
    const Sample sample = sampleBagContent(9);
    ScratchBag bag("reader_filter", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 5, "run"), {9, "zstd", true});
    BagReader reader(bag.path(), BagReaderOptions{2, {"/chatter", "/status"}});
    std::vector<SampleMessage> expected;
    for (const auto& message : expectedOf(sample.messages)) {
        if (message.channel != 1) {
            expected.push_back(message);
        }
    }
    EXPECT_TRUE(readAll(reader) == expected);
    // Again from the fourth message on, as a loop or a start offset reads it.
    reader.seek(kBagStart + 300'000'000);
    expected.erase(expected.begin(), expected.begin() + 2);
    EXPECT_TRUE(readAll(reader) == expected);
    // Leaving a reader in the middle of reading ends its read-ahead.
    reader.seek(kBagStart);
    BagMessage first;
    EXPECT_TRUE(reader.next(first));
}

TEST(BagReader, RefusesPathsThatHoldNoBagWithWordsThatSayWhy) {
    ScratchBag bag("reader_empty", ScratchBag::CREATED);
    const auto refusal = [](const std::string& path) {
        try {
            BagReader reader(path);
        } catch (const BagError& error) {
            return std::string(error.what());
        }
        return std::string("(accepted)");
    };
    EXPECT_EQ(refusal(bag.file("absent")), "Bag path " + bag.file("absent") + " does not exist.");
    EXPECT_EQ(refusal(bag.path()),
              "Could not find metadata in bag directory " + bag.path() + ", nor any .mcap file");
    std::ofstream(bag.file("metadata.yaml"))
        << rosbag2MetadataYaml(5, {{"gone_0.mcap", sampleBagContent(2)}});
    EXPECT_EQ(refusal(bag.path()),
              bag.file("gone_0.mcap") + ": the bag's file does not exist or is not a file");
    std::ofstream(bag.file("text.mcap")) << "not a bag";
    EXPECT_NE(refusal(bag.file("text.mcap")).find(bag.file("text.mcap")), std::string::npos);
}

}  // namespace
