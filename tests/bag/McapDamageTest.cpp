// Damaged files: cut anywhere, a flipped byte in a chunk, wrong magic, absurd lengths, a disk
// that fills up while recording. Each is read as far as it is whole, with its damage named.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "AllocationCounter.h"
#include "McapTesting.h"
#include "qorROS2/bag/BagError.h"

namespace {

using namespace qorTest;
using qorROS2::bag::BagError;
using qorROS2::bag::McapCompression;
using qorROS2::bag::McapReader;
using qorROS2::bag::McapWriter;

constexpr std::uint8_t kChunk = 0x06;

// One message a chunk: a chunk wholly in the file means its message is read.
Sample oneMessageChunks(std::size_t count) {
    Sample sample = richSample(3, count);
    for (auto& message : sample.messages) {
        message.data.resize(std::min<std::size_t>(message.data.size(), 40));
    }
    return sample;
}

std::string firstProblem(const McapReader& reader) {
    return reader.problems().empty() ? std::string("(none)") : reader.problems().front();
}

TEST(McapDamage, ReadsAFileCutAtAnyOffsetUpToItsLastWholeChunk) {
    const Sample sample = oneMessageChunks(12);
    ScratchPath whole("damage_whole.mcap");
    writeOurs(whole.path(), sample, {1, McapCompression::zstd});
    const Bytes bytes = fileBytes(whole.path());
    const auto records = topRecords(bytes);
    std::vector<std::size_t> cuts;
    for (const TopRecord& record : records) {
        cuts.push_back(record.offset);
        cuts.push_back(record.offset + 1);
        cuts.push_back(record.offset + record.length / 2);
    }
    for (std::size_t cut = 0; cut < 40; ++cut) {
        cuts.push_back(cut);
    }
    cuts.push_back(bytes.size() - 1);
    ScratchPath file("damage_cut.mcap");
    for (std::size_t cut : cuts) {
        SCOPED_TRACE("cut at " + std::to_string(cut) + " of " + std::to_string(bytes.size()));
        writeBytes(file.path(), bytes, cut);
        if (cut == 0) {
            EXPECT_THROW(McapReader reader(file.path()), BagError);
            continue;
        }
        if (cut < 8) {
            EXPECT_THROW(McapReader reader(file.path()), BagError);
            continue;
        }
        std::size_t wholeChunks = 0;
        for (const TopRecord& record : records) {
            wholeChunks += record.opcode == kChunk && record.offset + record.length <= cut;
        }
        McapReader reader(file.path());
        EXPECT_FALSE(reader.problems().empty());
        EXPECT_EQ(reader.statistics().messageCount, wholeChunks);
        std::vector<SampleMessage> expected(
            sample.messages.begin(), sample.messages.begin() + static_cast<long>(wholeChunks));
        EXPECT_TRUE(readOurs(file.path(), sample).messages == expected) << firstProblem(reader);
    }
}

TEST(McapDamage, NamesTheCutInItsProblems) {
    const Sample sample = oneMessageChunks(3);
    ScratchPath whole("damage_named_whole.mcap");
    writeOurs(whole.path(), sample, {1, McapCompression::none});
    const Bytes bytes = fileBytes(whole.path());
    const auto records = topRecords(bytes);
    const auto chunk = std::find_if(records.rbegin(), records.rend(),
                                    [](const TopRecord& r) { return r.opcode == kChunk; });
    ScratchPath file("damage_named.mcap");
    writeBytes(file.path(), bytes, chunk->offset + 20);
    McapReader reader(file.path());
    EXPECT_FALSE(reader.indexed());
    const std::vector<std::string> expected = {
        "the file has no footer (it was cut short or is still being written): its records were "
        "read up to the last whole one",
        "the file is cut at offset " + std::to_string(chunk->offset + 20) +
            ", inside a record of opcode 0x6 at offset " + std::to_string(chunk->offset) +
            " that claims " + std::to_string(chunk->length - 9) +
            " bytes: read up to the last whole record"};
    EXPECT_EQ(reader.problems(), expected);
}

class McapDamageFlip : public ::testing::TestWithParam<McapCompression> {};

TEST_P(McapDamageFlip, SkipsTheChunkThatFailsItsCheckAndReadsEveryOther) {
    const Sample sample = oneMessageChunks(8);
    ScratchPath file("damage_flip.mcap");
    writeOurs(file.path(), sample, {1, GetParam()});
    Bytes bytes = fileBytes(file.path());
    const auto records = topRecords(bytes);
    std::vector<TopRecord> chunks;
    std::copy_if(records.begin(), records.end(), std::back_inserter(chunks),
                 [](const TopRecord& r) { return r.opcode == kChunk; });
    ASSERT_EQ(chunks.size(), sample.messages.size());
    const TopRecord damaged = chunks[3];
    bytes[damaged.offset + damaged.length - 5] ^= 0x40;  // inside its records' last bytes
    writeBytes(file.path(), bytes, bytes.size());

    for (bool checkDataCrc : {true, false}) {
        McapReader reader(file.path(), {checkDataCrc});
        EXPECT_TRUE(reader.indexed());
        std::vector<std::string> expected;
        if (checkDataCrc) {
            ASSERT_FALSE(reader.problems().empty());
            EXPECT_EQ(reader.problems()[0].rfind("the data section (offsets 0 to ", 0), 0u)
                << reader.problems()[0];
        }
        std::vector<SampleMessage> read;
        reader.readMessages([&](const qorROS2::bag::McapMessage& m) {
            read.push_back({m.channelId - 1u, m.sequence, m.logTime, m.publishTime,
                            Bytes(m.data, m.data + m.size)});
            return true;
        });
        std::vector<SampleMessage> others = sample.messages;
        others.erase(others.begin() + 3);
        EXPECT_TRUE(read == others) << read.size() << " messages read";
        const std::string& chunkProblem = reader.problems().back();
        const std::string prefix =
            "the chunk at offset " + std::to_string(damaged.offset) + " cannot be read (";
        EXPECT_EQ(chunkProblem.rfind(prefix, 0), 0u) << chunkProblem;
        EXPECT_NE(chunkProblem.find("): its messages are skipped"), std::string::npos)
            << chunkProblem;
        if (GetParam() == McapCompression::none) {
            EXPECT_NE(chunkProblem.find("its CRC does not match (stored 0x"), std::string::npos)
                << chunkProblem;
        }
    }
    // The peer finds the damage too: the file is not quietly wrong.
    const nlohmann::json peer = peerRead(file.path());
    EXPECT_TRUE(peer.contains("error")) << peer.dump();
}

INSTANTIATE_TEST_SUITE_P(McapDamage, McapDamageFlip,
                         ::testing::Values(McapCompression::none, McapCompression::zstd,
                                           McapCompression::lz4),
                         [](const auto& param) {
                             return param.param == McapCompression::none   ? std::string("none")
                                    : param.param == McapCompression::zstd ? std::string("zstd")
                                                                           : std::string("lz4");
                         });

TEST(McapDamage, RefusesFilesThatAreNotMcap) {
    ScratchPath empty("damage_empty.mcap");
    writeBytes(empty.path(), {}, 0);
    ScratchPath text("damage_text.mcap");
    const std::string content = "not an MCAP file at all";
    writeBytes(text.path(), Bytes(content.begin(), content.end()), content.size());
    const std::vector<std::pair<std::string, std::string>> cases = {
        {empty.path(), "the file is empty"},
        {text.path(), "it does not start with MCAP's magic bytes (89 4D 43 41 50 30 0D 0A)"},
        {"/nonexistent.mcap", "No such file or directory"}};
    for (const auto& [path, reason] : cases) {
        try {
            McapReader reader(path);
            ADD_FAILURE() << path << " was read";
        } catch (const BagError& error) {
            EXPECT_EQ(std::string(error.what()), "cannot read MCAP file '" + path + "': " + reason);
        }
    }
}

TEST(McapDamage, ReadsAFileWithOnlyItsHeader) {
    ScratchPath whole("damage_header_whole.mcap");
    writeOurs(whole.path(), oneMessageChunks(2), {});
    const Bytes bytes = fileBytes(whole.path());
    const TopRecord header = topRecords(bytes).front();
    ScratchPath file("damage_header.mcap");
    writeBytes(file.path(), bytes, header.offset + header.length);
    McapReader reader(file.path());
    EXPECT_EQ(reader.profile(), "ros2");
    EXPECT_EQ(reader.statistics().messageCount, 0u);
    EXPECT_TRUE(reader.channels().empty());
    EXPECT_EQ(reader.problems(),
              std::vector<std::string>{"the file has no footer (it was cut short or is still being "
                                       "written): its records were read up to the last whole one"});
}

// Builds a file by hand: magic, Header, then the records given.
class Handmade {
  public:
    Handmade() {
        bytes.assign({0x89, 'M', 'C', 'A', 'P', 0x30, '\r', '\n'});
        record(0x01, [&] { string("ros2"), string("hand"); });
    }
    template <class F>
    void record(std::uint8_t opcode, F body) {
        bytes.push_back(opcode);
        const std::size_t at = bytes.size();
        u64(0);
        body();
        patch(at, bytes.size() - at - 8);
    }
    void u16(std::uint16_t v) { little(v, 2); }
    void u32(std::uint32_t v) { little(v, 4); }
    void u64(std::uint64_t v) { little(v, 8); }
    void string(const std::string& s) {
        u32(static_cast<std::uint32_t>(s.size()));
        bytes.insert(bytes.end(), s.begin(), s.end());
    }
    void patch(std::size_t at, std::uint64_t v) {
        for (std::size_t i = 0; i < 8; ++i) {
            bytes[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
        }
    }
    Bytes bytes;

  private:
    void little(std::uint64_t v, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
        }
    }
};

std::vector<std::string> problemsOf(const Handmade& file, std::uint64_t& messages) {
    ScratchPath path("damage_handmade.mcap");
    writeBytes(path.path(), file.bytes, file.bytes.size());
    McapReader reader(path.path());
    messages = 0;
    reader.readMessages([&](const qorROS2::bag::McapMessage&) { return ++messages, true; });
    return reader.problems();
}

TEST(McapDamage, RefusesAbsurdLengthsWithoutAllocatingThem) {
    const std::string noFooter =
        "the file has no footer (it was cut short or is still being written): its records were "
        "read up to the last whole one";
    resetLargestAllocation();
    {
        Handmade file;  // a record claiming 2^63 bytes
        const std::size_t at = file.bytes.size();
        file.record(0x03, [&] { file.u16(1), file.string("x"); });
        file.patch(at + 1, 1ULL << 63);
        std::uint64_t messages = 0;
        EXPECT_EQ(
            problemsOf(file, messages),
            (std::vector<std::string>{
                noFooter, "the file is cut at offset " + std::to_string(file.bytes.size()) +
                              ", inside a record of opcode 0x3 at offset " + std::to_string(at) +
                              " that claims 9223372036854775808 bytes: read up to the last "
                              "whole record"}));
    }
    {
        Handmade file;  // a schema whose name claims more bytes than its record holds
        const std::size_t at = file.bytes.size();
        file.record(0x03, [&] { file.u16(1), file.u32(0xFFFFFFF0u), file.string("x"); });
        file.record(0x04, [&] {
            file.u16(1), file.u16(0), file.string("/t"), file.string("cdr"), file.u32(0);
        });
        file.record(0x05,
                    [&] { file.u16(1), file.u32(0), file.u64(5), file.u64(5), file.u32(42); });
        std::uint64_t messages = 0;
        EXPECT_EQ(problemsOf(file, messages),
                  (std::vector<std::string>{
                      noFooter, "the record of opcode 0x3 at offset " + std::to_string(at) +
                                    " is malformed (a string of 4294967280 bytes runs past the end "
                                    "of its record (5 bytes remain)): it is skipped"}));
        EXPECT_EQ(messages, 1u);
    }
    {
        Handmade file;  // a message too short for its own fixed fields, between two whole ones
        file.record(0x04, [&] {
            file.u16(1), file.u16(0), file.string("/t"), file.string("cdr"), file.u32(0);
        });
        auto message = [&](std::uint32_t sequence) {
            file.record(0x05, [&] { file.u16(1), file.u32(sequence), file.u64(5), file.u64(5); });
        };
        message(0);
        const std::size_t at = file.bytes.size();
        file.record(0x05, [&] { file.u16(1), file.u32(1), file.u32(0); });
        message(2);
        std::uint64_t messages = 0;
        EXPECT_EQ(problemsOf(file, messages),
                  (std::vector<std::string>{
                      noFooter, "the record of opcode 0x5 at offset " + std::to_string(at) +
                                    " is malformed (an integer of 8 bytes runs past the end of its "
                                    "record (4 bytes remain)): it is skipped"}));
        EXPECT_EQ(messages, 2u);
    }
    {
        // A chunk with a malformed channel record among whole ones: that record alone is skipped.
        Handmade inner;
        const std::size_t recordsStart = inner.bytes.size();
        inner.record(0x04, [&] { inner.u16(2), inner.u16(0), inner.u32(1000); });
        inner.record(0x04, [&] {
            inner.u16(1), inner.u16(0), inner.string("/t"), inner.string("cdr"), inner.u32(0);
        });
        for (std::uint32_t sequence = 0; sequence < 2; ++sequence) {
            inner.record(0x05,
                         [&] { inner.u16(1), inner.u32(sequence), inner.u64(5), inner.u64(5); });
        }
        const Bytes records(inner.bytes.begin() + static_cast<long>(recordsStart),
                            inner.bytes.end());
        Handmade file;
        const std::size_t chunkAt = file.bytes.size();
        file.record(0x06, [&] {
            file.u64(5), file.u64(5), file.u64(records.size()), file.u32(0), file.string("");
            file.u64(records.size());
            file.bytes.insert(file.bytes.end(), records.begin(), records.end());
        });
        std::uint64_t messages = 0;
        EXPECT_EQ(
            problemsOf(file, messages),
            (std::vector<std::string>{
                noFooter, "the record of opcode 0x4 at offset 0 of the chunk at offset " +
                              std::to_string(chunkAt) +
                              " is malformed (a string of 1000 bytes runs past the end of its "
                              "record (0 bytes remain)): it is skipped"}));
        EXPECT_EQ(messages, 2u);
    }
    for (const char* compression : {"zstd", "lz4", ""}) {
        SCOPED_TRACE(compression);
        // A chunk declaring 2^60 bytes of records: decompression ends with what the data holds.
        ScratchPath ours("damage_ours.mcap");
        McapCompression kind = std::string(compression) == "zstd"  ? McapCompression::zstd
                               : std::string(compression) == "lz4" ? McapCompression::lz4
                                                                   : McapCompression::none;
        writeOurs(ours.path(), oneMessageChunks(2), {1, kind});
        Bytes bytes = fileBytes(ours.path());
        const auto records = topRecords(bytes);
        const auto chunk = std::find_if(records.begin(), records.end(),
                                        [](const TopRecord& r) { return r.opcode == kChunk; });
        Handmade patched;
        patched.bytes = bytes;
        patched.patch(chunk->offset + 9 + 16, 1ULL << 60);  // uncompressed_size
        std::uint64_t messages = 0;
        const auto problems = problemsOf(patched, messages);
        EXPECT_EQ(messages, 1u);
        const std::string expected =
            "the chunk at offset " + std::to_string(chunk->offset) + " cannot be read (";
        const auto problem = std::find_if(problems.begin(), problems.end(),
                                          [&](const auto& p) { return p.rfind(expected, 0) == 0; });
        ASSERT_NE(problem, problems.end()) << ::testing::PrintToString(problems);
        EXPECT_NE(problem->find("1152921504606846976"), std::string::npos) << *problem;
    }
    EXPECT_LT(largestAllocation(), 16u << 20);
}

// A disk that fills up: the file size limit stands in for it, in a child process that ignores
// SIGXFSZ so that the write fails with EFBIG instead of killing it.
TEST(McapDamage, ReportsAFullDiskAndKeepsTheChunksWrittenBeforeIt) {
    const Sample sample = richSample(6, 3000);
    ScratchPath file("damage_full.mcap");
    ScratchPath report("damage_full.txt");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        limitFileSize(100'000);
        std::string outcome = "no error";
        try {
            writeOurs(file.path(), sample, {8 * 1024, McapCompression::none});
        } catch (const BagError& error) {
            outcome = error.what();
        }
        std::ofstream(report.path()) << outcome;
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    const Bytes reported = fileBytes(report.path());
    const std::string outcome(reported.begin(), reported.end());
    EXPECT_EQ(outcome, "cannot write MCAP file '" + file.path() + "': File too large");
    EXPECT_EQ(fileBytes(file.path()).size(), 100'000u);

    const OurRead ours = readOurs(file.path(), sample);
    EXPECT_FALSE(ours.indexed);
    ASSERT_GT(ours.messages.size(), 100u);
    EXPECT_TRUE(std::equal(ours.messages.begin(), ours.messages.end(), sample.messages.begin()));

    const nlohmann::json peer = peerRead(file.path(), true);
    ASSERT_FALSE(peer.contains("error")) << peer.dump();
    EXPECT_FALSE(peer["complete"].get<bool>());
    EXPECT_TRUE(peerMessages(peer, sample) == ours.messages);
}

}  // namespace
