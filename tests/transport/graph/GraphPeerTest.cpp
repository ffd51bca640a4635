// The graph topic's samples against an independent implementation: @foxglove/rosmsg2-serialization
// with the rmw_dds_common definitions written out in tests/peers/graph-peer.js reads our bytes in
// both gid layouts, and writes, from the same values, exactly the bytes we write and read.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "GraphSamples.h"
#include "Hex.h"
#include "graph/GidLayout.h"

namespace {

using namespace qorROS2::transport::graph;
using Bytes = std::vector<std::uint8_t>;

struct PeerCase {
    ParticipantEntities entities;
    GidLayout layout;
    Bytes ours;
};

// One run of the peer for every sample in both layouts; one answer line per case.
std::vector<std::string> askPeer(const std::vector<PeerCase>& cases) {
    const std::string batch =
        ::testing::TempDir() + "graph-peer-" + std::to_string(::getpid()) + ".txt";
    {
        std::ofstream out(batch);
        for (const PeerCase& c : cases) {
            out << static_cast<int>(c.layout) << '\t' << qorTest::toHex(c.ours) << '\t'
                << qorTest::participantJson(c.entities, c.layout) << '\n';
        }
    }
    const std::string output =
        qorTest::commandOutput(std::string("NODE_NO_WARNINGS=1 '") + QOR_NODE_EXECUTABLE +
                               "' '" QOR_TEST_PEERS_DIR "/graph-peer.js' < '" + batch + "'");
    std::remove(batch.c_str());
    std::vector<std::string> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<PeerCase> allCases() {
    std::vector<PeerCase> cases;
    for (unsigned variant = 0; variant < qorTest::kSampleParticipants; ++variant) {
        for (GidLayout layout : {GidLayout::humble, GidLayout::iron}) {
            const ParticipantEntities entities = qorTest::sampleParticipant(variant);
            cases.push_back({entities, layout, encodeParticipantEntities(entities, layout)});
        }
    }
    return cases;
}

TEST(GraphPeer, ReadsOurSamplesAndWritesTheSameBytesWhichWeRead) {
    const std::vector<PeerCase> cases = allCases();
    const std::vector<std::string> answers = askPeer(cases);
    ASSERT_EQ(answers.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto tab = answers[i].find('\t');
        ASSERT_NE(tab, std::string::npos) << answers[i];
        const std::string layout = std::to_string(static_cast<int>(cases[i].layout));
        EXPECT_EQ(answers[i].substr(0, tab), "ok") << "case " << i << ", gid " << layout;
        const Bytes peerBytes = qorTest::fromHex(answers[i].substr(tab + 1)).value_or(Bytes{});
        EXPECT_EQ(qorTest::toHex(peerBytes), qorTest::toHex(cases[i].ours))
            << "case " << i << ", gid " << layout;
        ParticipantEntities decoded;
        EXPECT_EQ(decodeParticipantEntities(peerBytes.data(), peerBytes.size(), decoded), "")
            << "case " << i;
        EXPECT_EQ(decoded, cases[i].entities) << "case " << i << ", gid " << layout;
    }
}

}  // namespace
