// Files our writer makes, read by @mcap/core (tests/peers/mcap-check.js): every schema, channel,
// metadata record and message as written, CRCs checked, with each compression.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "AllocationCounter.h"
#include "McapTesting.h"
#include "qorROS2/bag/BagError.h"

namespace {

using namespace qorTest;
using qorROS2::bag::BagError;
using qorROS2::bag::McapCompression;
using qorROS2::bag::McapWriter;

const char* name(McapCompression compression) {
    return compression == McapCompression::zstd  ? "zstd"
           : compression == McapCompression::lz4 ? "lz4"
                                                 : "none";
}

class McapWriterCompression : public ::testing::TestWithParam<McapCompression> {};

TEST_P(McapWriterCompression, PeerReadsEverythingAsWritten) {
    const Sample sample = richSample();
    ScratchPath file(std::string("writer_") + name(GetParam()) + ".mcap");
    writeOurs(file.path(), sample, {16 * 1024, GetParam()});

    for (bool stream : {false, true}) {
        SCOPED_TRACE(stream ? "stream reader" : "indexed reader");
        const nlohmann::json read = peerRead(file.path(), stream);
        ASSERT_FALSE(read.is_discarded());
        ASSERT_FALSE(read.contains("error")) << read.dump();
        EXPECT_EQ(read["profile"], "ros2");
        EXPECT_EQ(read["library"], "libqorROS2 " QOR_PROJECT_VERSION);
        ASSERT_EQ(read["schemas"].size(), sample.schemas.size());
        for (std::size_t i = 0; i < sample.schemas.size(); ++i) {
            EXPECT_EQ(read["schemas"][i]["id"], i + 1);
            EXPECT_EQ(read["schemas"][i]["name"], sample.schemas[i].name);
            EXPECT_EQ(read["schemas"][i]["encoding"], sample.schemas[i].encoding);
            EXPECT_EQ(read["schemas"][i]["data"], sample.schemas[i].data);
        }
        if (!stream) {  // a stream reader knows only the channels that carry messages
            ASSERT_EQ(read["channels"].size(), sample.channels.size());
            EXPECT_TRUE(read["dataSectionCrcChecked"].get<bool>());
            EXPECT_GT(read["chunkCount"].get<int>(), 5);
            EXPECT_EQ(read["statistics"]["messageCount"], std::to_string(sample.messages.size()));
        } else {
            EXPECT_TRUE(read["complete"].get<bool>());
        }
        for (const auto& channel : read["channels"]) {
            const SampleChannel& expected = sample.channels[channel["id"].get<std::size_t>() - 1];
            EXPECT_EQ(channel["topic"], expected.topic);
            EXPECT_EQ(channel["schema"], expected.schema);
            EXPECT_EQ(channel["encoding"], expected.encoding);
            EXPECT_EQ(channel["metadata"], nlohmann::json(expected.metadata));
        }
        ASSERT_EQ(read["metadata"].size(), sample.metadata.size());
        for (std::size_t i = 0; i < sample.metadata.size(); ++i) {
            EXPECT_EQ(read["metadata"][i]["name"], sample.metadata[i].name);
            EXPECT_EQ(read["metadata"][i]["entries"], nlohmann::json(sample.metadata[i].entries));
        }
        // Log times never decrease in the sample, and both readers keep file order for equal
        // times, so the messages come back in the order written.
        EXPECT_TRUE(peerMessages(read, sample) == sample.messages);
    }
}

INSTANTIATE_TEST_SUITE_P(McapWriter, McapWriterCompression,
                         ::testing::Values(McapCompression::none, McapCompression::zstd,
                                           McapCompression::lz4),
                         [](const auto& param) { return std::string(name(param.param)); });

/// Messages that are what their schemas say, on a String channel, a channel of a type with an
/// array and a text after it, and a channel without a schema; `bytes` of one String message
/// replaced when given.
Sample decodableSample() {
    Sample sample;
    sample.schemas.push_back({1, "std_msgs/msg/String", "ros2msg", "string data\n"});
    sample.schemas.push_back(
        {2, "qor_test_msgs/msg/Reading", "ros2msg", "int32 id\nfloat64[] values\nstring label\n"});
    sample.channels.push_back({"/text", 1, "cdr", {}});
    sample.channels.push_back({"/reading", 2, "cdr", {}});
    sample.channels.push_back({"/raw", 0, "cdr", {}});
    for (std::uint32_t i = 0; i < 30; ++i) {
        CdrBytes cdr;
        if (i % 3 == 0) {
            cdr.text("text " + std::string(i, 'x'));
        } else if (i % 3 == 1) {
            cdr.i32(static_cast<std::int32_t>(i)).u32(i % 4);
            for (std::uint32_t v = 0; v < i % 4; ++v) {
                cdr.f64(v * 0.5);
            }
            cdr.text("reading");
        } else {
            cdr.u32(0xdeadbeef);
        }
        sample.messages.push_back({i % 3, i, 1000u + i, 1000u + i, cdr.bytes()});
    }
    return sample;
}

TEST(McapWriter, PeerDecodesEveryMessageWithTheSchemaStoredInTheFile) {
    const Sample sample = decodableSample();
    ScratchPath file("writer_decodable.mcap");
    writeOurs(file.path(), sample, {4 * 1024, McapCompression::zstd});
    for (bool stream : {false, true}) {
        SCOPED_TRACE(stream ? "stream reader" : "indexed reader");
        const nlohmann::json read = peerRead(file.path(), stream);
        ASSERT_FALSE(read.contains("error")) << read.dump();
        EXPECT_EQ(expectAllDecoded(read), 20u) << read["decoded"].dump();
        EXPECT_EQ(read["decoded"]["3"]["skipped"], "no schema") << read["decoded"].dump();
        EXPECT_EQ(read["decoded"]["3"]["messages"], 10) << read["decoded"].dump();
    }
}

// The decoder is the check the bag tests lean on: a message cut short, or one with more bytes
// than its schema takes, is a failure named by its channel and sequence.
TEST(McapWriter, PeerReportsMessagesWhoseBytesDoNotFitTheirSchema) {
    Sample sample = decodableSample();
    sample.messages[3].data.resize(sample.messages[3].data.size() - 5);  // a String cut short
    sample.messages[4].data.resize(sample.messages[4].data.size() + 8);  // a Reading, 8 too many
    ScratchPath file("writer_undecodable.mcap");
    peerWrite(file.path(), sample, true, "", true);
    const nlohmann::json read = peerRead(file.path());
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_EQ(read["decodeFailureCount"], 2) << read.dump();
    ASSERT_EQ(read["decodeFailures"].size(), 2u) << read.dump();
    EXPECT_EQ(read["decodeFailures"][0]["topic"], "/text");
    EXPECT_EQ(read["decodeFailures"][0]["sequence"], 3);
    EXPECT_EQ(read["decodeFailures"][1]["topic"], "/reading");
    EXPECT_EQ(read["decodeFailures"][1]["sequence"], 4);
    EXPECT_EQ(read["decodeFailures"][1]["error"], "8 bytes left after the message");
    std::map<std::string, int> decoded;
    for (const auto& [id, channel] : read["decoded"].items()) {
        decoded[channel["topic"].get<std::string>()] = channel["decoded"].get<int>();
    }
    EXPECT_EQ(decoded, (std::map<std::string, int>{{"/text", 9}, {"/reading", 9}, {"/raw", 0}}));
}

TEST(McapWriter, StatisticsCountEveryChannelIncludingSilentOnes) {
    Sample sample = richSample(4, 30);
    sample.channels.push_back({"/silent", 0, "cdr", {}});
    ScratchPath file("writer_statistics.mcap");
    writeOurs(file.path(), sample, {});
    const nlohmann::json read = peerRead(file.path());
    ASSERT_FALSE(read.contains("error")) << read.dump();
    std::map<std::string, std::string> expected;
    for (std::size_t c = 0; c < sample.channels.size(); ++c) {
        expected[std::to_string(c + 1)] = "0";
    }
    for (const SampleMessage& message : sample.messages) {
        auto& count = expected[std::to_string(message.channel + 1)];
        count = std::to_string(std::stoull(count) + 1);
    }
    EXPECT_EQ(read["statistics"]["channelMessageCounts"], nlohmann::json(expected)) << read.dump();
}

// rosbag2's MCAP storage: chunks of 768 KiB, zstd-compressed.
TEST(McapWriter, DefaultsToTheChunksRosbag2Writes) {
    const qorROS2::bag::McapWriterOptions options;
    EXPECT_EQ(options.chunkSize, 786'432u);
    EXPECT_EQ(options.compression, McapCompression::zstd);
    Sample sample = richSample(2, 0);
    for (std::uint32_t i = 0; i < 20; ++i) {  // 20 x 50 KB: two chunks, the first just full
        sample.messages.push_back({i % 2, i, 1000u + i, 1000u + i, Bytes(50'000, 1)});
    }
    ScratchPath file("writer_defaults.mcap");
    writeOurs(file.path(), sample, options);
    const nlohmann::json read = peerRead(file.path());
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_EQ(read["chunkCount"], 2);
    EXPECT_LT(fileBytes(file.path()).size(), 100'000u);  // compressed
}

TEST(McapWriter, CountsBytesAndTheTimeSpanAsMessagesArrive) {
    ScratchPath file("writer_counts.mcap");
    McapWriter writer(file.path(), "ros2", {1024, McapCompression::none});
    EXPECT_EQ(writer.messageCount(), 0u);
    EXPECT_EQ(writer.messageStartTime(), 0u);
    const std::uint64_t start = writer.bytesWritten();
    EXPECT_EQ(start, fileBytes(file.path()).size());  // magic and header, already in the file
    const std::uint16_t channel = writer.addChannel("/a", 0, "cdr");
    const Bytes data(100, 7);
    writer.addMessage(channel, 0, 500, 400, data.data(), data.size());
    writer.addMessage(channel, 1, 300, 300, data.data(), data.size());
    writer.addMessage(channel, 2, 900, 900, data.data(), data.size());
    EXPECT_EQ(writer.messageCount(), 3u);
    EXPECT_EQ(writer.messageStartTime(), 300u);
    EXPECT_EQ(writer.messageEndTime(), 900u);
    EXPECT_GE(writer.bytesWritten(), start + 3 * (9 + 22 + data.size()));
    writer.close();
    EXPECT_EQ(writer.bytesWritten(), fileBytes(file.path()).size());
}

TEST(McapWriter, RefusesUnknownChannelsAndSchemasByName) {
    ScratchPath file("writer_unknown.mcap");
    McapWriter writer(file.path(), "ros2");
    const Bytes data(4, 1);
    try {
        writer.addMessage(3, 0, 1, 1, data.data(), data.size());
        FAIL() << "a message on an unknown channel was taken";
    } catch (const BagError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "MCAP file '" + file.path() + "': a message on channel 3, which was never added");
    }
    try {
        writer.addChannel("/a", 2, "cdr");
        FAIL() << "a channel on an unknown schema was taken";
    } catch (const BagError& error) {
        EXPECT_EQ(
            std::string(error.what()),
            "MCAP file '" + file.path() + "': channel /a names schema 2, which was never added");
    }
}

TEST(McapWriter, RefusesAFileThatCannotBeCreated) {
    try {
        McapWriter writer("/nonexistent-folder/x.mcap", "ros2");
        FAIL() << "a writer was made in a folder that does not exist";
    } catch (const BagError& error) {
        EXPECT_EQ(
            std::string(error.what()),
            "cannot create MCAP file '/nonexistent-folder/x.mcap': No such file or directory");
    }
}

TEST(McapWriter, ClosesOnceWhetherClosedTwiceOrDestroyed) {
    ScratchPath file("writer_close.mcap");
    {
        McapWriter writer(file.path(), "ros2");
        writer.addChannel("/a", 0, "cdr");
        writer.close();
        const Bytes closed = fileBytes(file.path());
        writer.close();
        EXPECT_EQ(fileBytes(file.path()), closed);
        EXPECT_THROW(writer.addChannel("/b", 0, "cdr"), BagError);
    }
    ScratchPath destroyed("writer_destroyed.mcap");
    {
        McapWriter writer(destroyed.path(), "ros2");
        const std::uint16_t channel = writer.addChannel("/a", 0, "cdr");
        const Bytes data(10, 2);
        writer.addMessage(channel, 0, 1, 1, data.data(), data.size());
    }
    const nlohmann::json read = peerRead(destroyed.path());
    ASSERT_FALSE(read.contains("error")) << read.dump();
    EXPECT_EQ(read["messages"].size(), 1u);
}

// A reader that starts at any chunk (the rest of the file lost) still knows what its messages
// are: the chunk holds the schema and channel records they use.
TEST(McapWriter, EveryChunkNamesTheSchemasAndChannelsOfItsMessages) {
    const Sample sample = richSample(6, 100);
    ScratchPath file("writer_chunks.mcap");
    writeOurs(file.path(), sample, {4096, McapCompression::zstd});
    const Bytes bytes = fileBytes(file.path());
    const auto records = topRecords(bytes);
    std::size_t chunks = 0;
    for (const TopRecord& chunk : records) {
        if (chunk.opcode != 0x06) {
            continue;
        }
        SCOPED_TRACE("chunk at " + std::to_string(chunk.offset));
        ++chunks;
        // The magic and the header, then this chunk alone.
        Bytes alone(bytes.begin(),
                    bytes.begin() + static_cast<long>(records[0].offset + records[0].length));
        alone.insert(alone.end(), bytes.begin() + static_cast<long>(chunk.offset),
                     bytes.begin() + static_cast<long>(chunk.offset + chunk.length));
        ScratchPath part("writer_chunk_alone.mcap");
        writeBytes(part.path(), alone, alone.size());
        const nlohmann::json read = peerRead(part.path(), true);
        ASSERT_FALSE(read.contains("error")) << read.dump();
        ASSERT_FALSE(read["messages"].empty());
        for (const auto& message : read["messages"]) {
            const std::size_t index = message["channel"].get<std::size_t>() - 1;
            const auto channel = std::find_if(read["channels"].begin(), read["channels"].end(),
                                              [&](const auto& c) { return c["id"] == index + 1; });
            ASSERT_NE(channel, read["channels"].end()) << message.dump();
            EXPECT_EQ((*channel)["topic"], sample.channels[index].topic);
            const std::size_t schema = sample.channels[index].schema;
            if (schema != 0) {
                const auto known = std::find_if(read["schemas"].begin(), read["schemas"].end(),
                                                [&](const auto& s) { return s["id"] == schema; });
                ASSERT_NE(known, read["schemas"].end()) << message.dump();
                EXPECT_EQ((*known)["name"], sample.schemas[schema - 1].name);
            }
        }
        qorROS2::bag::McapReader ours(part.path());
        EXPECT_EQ(ours.statistics().messageCount, read["messages"].size());
        EXPECT_EQ(ours.channels().size(), read["channels"].size());
    }
    EXPECT_GE(chunks, 4u);
}

TEST(McapWriter, AddsMessagesWithoutAllocatingOnceItsBuffersHaveGrown) {
    for (McapCompression compression :
         {McapCompression::none, McapCompression::zstd, McapCompression::lz4}) {
        SCOPED_TRACE(name(compression));
        ScratchPath file("writer_allocations.mcap");
        McapWriter writer(file.path(), "ros2", {8 * 1024, compression});
        std::vector<std::uint16_t> channels;
        for (int c = 0; c < 5; ++c) {
            channels.push_back(writer.addChannel("/c" + std::to_string(c), 0, "cdr"));
        }
        const Bytes data(300, 9);
        auto add = [&](std::uint32_t count, std::uint32_t first) {
            for (std::uint32_t i = first; i < first + count; ++i) {
                writer.addMessage(channels[i % channels.size()], i, i, i, data.data(), data.size());
            }
        };
        add(2000, 0);  // many chunks: every buffer at its working size
        const std::uint64_t before = threadAllocations();
        add(1000, 2000);
        // A chunk written adds its index (an entry per channel in it), never one per message.
        const std::uint64_t chunks = 1000 * (9 + 22 + data.size()) / (8 * 1024) + 1;
        EXPECT_LE(threadAllocations() - before, (channels.size() + 2) * chunks);
    }
}

}  // namespace
