// Our reader on files @mcap/core wrote (tests/peers/mcap-write.js) in every layout MCAP allows,
// and on its own files: everything read back, in log-time order.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "McapTesting.h"

namespace {

using namespace qorTest;
using qorROS2::bag::McapCompression;
using qorROS2::bag::McapReader;

struct Layout {
    const char* name;
    bool chunked;
    const char* compression;
    bool summary;
};

class McapReaderOfPeerFiles : public ::testing::TestWithParam<Layout> {};

TEST_P(McapReaderOfPeerFiles, ReadsEverythingThePeerWrote) {
    const Layout layout = GetParam();
    const Sample sample = richSample(12, 300);
    ScratchPath file(std::string("peer_") + layout.name + ".mcap");
    peerWrite(file.path(), sample, layout.chunked, layout.compression, layout.summary);

    McapReader reader(file.path());
    EXPECT_EQ(reader.profile(), "ros2");
    EXPECT_EQ(reader.library(), "mcap-write.js");
    EXPECT_EQ(reader.indexed(), layout.chunked && layout.summary);
    ASSERT_EQ(reader.schemas().size(), sample.schemas.size());
    for (std::size_t i = 0; i < sample.schemas.size(); ++i) {
        EXPECT_EQ(reader.schemas()[i].name, sample.schemas[i].name);
        EXPECT_EQ(reader.schemas()[i].encoding, sample.schemas[i].encoding);
        EXPECT_EQ(reader.schemas()[i].data, sample.schemas[i].data);
    }
    ASSERT_EQ(reader.channels().size(), sample.channels.size());
    for (std::size_t i = 0; i < sample.channels.size(); ++i) {
        const auto& channel = reader.channels()[i];
        EXPECT_EQ(channel.topic, sample.channels[i].topic);
        EXPECT_EQ(channel.messageEncoding, sample.channels[i].encoding);
        EXPECT_EQ(channel.metadata, sample.channels[i].metadata);
        const std::size_t schema = sample.channels[i].schema;
        EXPECT_EQ(
            channel.schemaId == 0 ? std::string() : reader.schemas()[channel.schemaId - 1u].name,
            schema == 0 ? std::string() : sample.schemas[schema - 1].name);
    }
    ASSERT_EQ(reader.metadata().size(), sample.metadata.size());
    for (std::size_t i = 0; i < sample.metadata.size(); ++i) {
        EXPECT_EQ(reader.metadata()[i].name, sample.metadata[i].name);
        EXPECT_EQ(reader.metadata()[i].entries, sample.metadata[i].entries);
    }
    EXPECT_EQ(reader.statistics().messageCount, sample.messages.size());
    EXPECT_EQ(reader.statistics().messageStartTime, sample.messages.front().logTime);
    EXPECT_EQ(reader.statistics().messageEndTime, sample.messages.back().logTime);
    EXPECT_TRUE(reader.problems().empty()) << reader.problems().front();

    const OurRead read = readOurs(file.path(), sample);
    EXPECT_TRUE(read.messages == sample.messages) << read.messages.size() << " messages read";
}

INSTANTIATE_TEST_SUITE_P(McapReader, McapReaderOfPeerFiles,
                         ::testing::Values(Layout{"ChunkedZstd", true, "zstd", true},
                                           Layout{"ChunkedLz4", true, "lz4", true},
                                           Layout{"ChunkedUncompressed", true, "", true},
                                           Layout{"ChunkedWithoutSummary", true, "zstd", false},
                                           Layout{"Unchunked", false, "", true},
                                           Layout{"UnchunkedWithoutSummary", false, "", false}),
                         [](const auto& param) { return std::string(param.param.name); });

// Messages recorded out of order (as several publishers' receive times interleave) come back in
// log-time order across chunks whose time spans overlap, equal times in the order written.
TEST(McapReader, GivesMessagesInLogTimeOrderAcrossOverlappingChunks) {
    Sample sample;
    sample.channels = {{"/a", 0, "cdr", {}}, {"/b", 0, "cdr", {}}};
    std::mt19937 random(11);
    for (std::uint32_t i = 0; i < 500; ++i) {
        const std::uint64_t time = 1000 + i * 10 + random() % 400;  // spans overlap chunk to chunk
        sample.messages.push_back({i % 2, i, time - time % 50, time, Bytes(1 + i % 40, 3)});
    }
    for (McapCompression compression : {McapCompression::none, McapCompression::lz4}) {
        ScratchPath file("reader_order.mcap");
        writeOurs(file.path(), sample, {1024, compression});
        std::vector<SampleMessage> expected = sample.messages;
        std::stable_sort(expected.begin(), expected.end(),
                         [](const auto& a, const auto& b) { return a.logTime < b.logTime; });
        ASSERT_FALSE(expected == sample.messages);  // the sample is out of order
        const OurRead read = readOurs(file.path(), sample);
        EXPECT_TRUE(read.indexed);
        EXPECT_TRUE(read.messages == expected);

        // The same without a summary: the records are scanned.
        Bytes bytes = fileBytes(file.path());
        const auto records = topRecords(bytes);
        const auto dataEnd = std::find_if(records.begin(), records.end(),
                                          [](const TopRecord& r) { return r.opcode == 0x0F; });
        ASSERT_NE(dataEnd, records.end());
        ScratchPath cut("reader_order_cut.mcap");
        writeBytes(cut.path(), bytes, dataEnd->offset);
        const OurRead scanned = readOurs(cut.path(), sample);
        EXPECT_FALSE(scanned.indexed);
        EXPECT_TRUE(scanned.messages == expected);
    }
}

TEST(McapReader, CountsTheStatisticsOfAnIndexedFileThatHasNone) {
    const Sample sample = richSample(5, 120);
    ScratchPath file("reader_no_statistics.mcap");
    peerWrite(file.path(), sample, true, "zstd", true, false);
    McapReader reader(file.path());
    EXPECT_TRUE(reader.indexed());
    EXPECT_TRUE(reader.problems().empty()) << reader.problems().front();
    const auto& statistics = reader.statistics();
    EXPECT_EQ(statistics.messageCount, sample.messages.size());
    EXPECT_EQ(statistics.schemaCount, sample.schemas.size());
    EXPECT_EQ(statistics.channelCount, sample.channels.size());
    EXPECT_EQ(statistics.metadataCount, sample.metadata.size());
    EXPECT_GT(statistics.chunkCount, 5u);
    EXPECT_EQ(statistics.messageStartTime, sample.messages.front().logTime);
    EXPECT_EQ(statistics.messageEndTime, sample.messages.back().logTime);
    std::map<std::string, std::uint64_t> expected;
    for (const SampleMessage& message : sample.messages) {
        ++expected[sample.channels[message.channel].topic];
    }
    std::map<std::string, std::uint64_t> counted;
    for (const auto& [id, count] : statistics.channelMessageCounts) {
        const auto channel = std::find_if(reader.channels().begin(), reader.channels().end(),
                                          [&, id = id](const auto& c) { return c.id == id; });
        ASSERT_NE(channel, reader.channels().end());
        counted[channel->topic] = count;
    }
    EXPECT_EQ(counted, expected);
}

// A summary that fails its CRC is not trusted: the records are scanned instead, and say so.
TEST(McapReader, ScansTheRecordsWhenTheSummaryFailsItsCheck) {
    const Sample sample = richSample(4, 60);
    ScratchPath file("reader_bad_summary.mcap");
    writeOurs(file.path(), sample, {2048, McapCompression::lz4});
    Bytes bytes = fileBytes(file.path());
    const auto records = topRecords(bytes);
    const auto summaryChannel = std::find_if(records.rbegin(), records.rend(),
                                             [](const TopRecord& r) { return r.opcode == 0x04; });
    bytes[summaryChannel->offset + summaryChannel->length - 1] ^= 1;
    writeBytes(file.path(), bytes, bytes.size());
    McapReader reader(file.path());
    EXPECT_FALSE(reader.indexed());
    ASSERT_EQ(reader.problems().size(), 1u);
    const auto dataEnd = std::find_if(records.begin(), records.end(),
                                      [](const TopRecord& r) { return r.opcode == 0x0F; });
    EXPECT_EQ(reader.problems()[0].rfind("the summary at offset " +
                                             std::to_string(dataEnd->offset + dataEnd->length) +
                                             " fails its CRC (stored 0x",
                                         0),
              0u)
        << reader.problems()[0];
    EXPECT_NE(reader.problems()[0].find("): its records were scanned instead"), std::string::npos);
    EXPECT_TRUE(readOurs(file.path(), sample).messages == sample.messages);
}

// A file written without a summary is scanned; a damaged data section is named once.
TEST(McapReader, NamesADamagedDataSectionOnceWhenScanning) {
    const Sample sample = richSample(3, 40);
    ScratchPath file("reader_scan_crc.mcap");
    peerWrite(file.path(), sample, false, "", false);
    Bytes bytes = fileBytes(file.path());
    const auto records = topRecords(bytes);
    const auto message = std::find_if(records.begin(), records.end(), [](const TopRecord& r) {
        return r.opcode == 0x05 && r.length > 9 + 22;
    });
    ASSERT_NE(message, records.end());
    bytes[message->offset + message->length - 1] ^= 1;
    writeBytes(file.path(), bytes, bytes.size());
    const auto dataEnd = std::find_if(records.begin(), records.end(),
                                      [](const TopRecord& r) { return r.opcode == 0x0F; });
    ASSERT_NE(dataEnd, records.end());
    McapReader reader(file.path());
    EXPECT_FALSE(reader.indexed());
    ASSERT_EQ(reader.problems().size(), 1u) << ::testing::PrintToString(reader.problems());
    EXPECT_EQ(reader.problems()[0].rfind("the data section (offsets 0 to " +
                                             std::to_string(dataEnd->offset) +
                                             ") fails its CRC (stored 0x",
                                         0),
              0u)
        << reader.problems()[0];
    EXPECT_EQ(reader.statistics().messageCount, sample.messages.size());
}

TEST(McapReader, StopsWhenTheCallbackSaysSo) {
    const Sample sample = richSample(3, 50);
    ScratchPath file("reader_stop.mcap");
    writeOurs(file.path(), sample, {});
    McapReader reader(file.path());
    int calls = 0;
    reader.readMessages([&](const qorROS2::bag::McapMessage&) { return ++calls < 5; });
    EXPECT_EQ(calls, 5);
}

}  // namespace
