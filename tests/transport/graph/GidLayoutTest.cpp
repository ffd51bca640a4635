// The graph topic's two gid layouts: which one a ROS 2 release uses, the bytes of each, and that a
// sample of either is read back.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "GraphSamples.h"
#include "graph/GidLayout.h"

namespace {

using namespace qorROS2::transport::graph;
using Bytes = std::vector<std::uint8_t>;

TEST(GidLayout, HumbleAndEarlierAndUnsetUseTwentyFourBytes) {
    EXPECT_EQ(gidLayoutForDistro(nullptr), GidLayout::humble);
    EXPECT_EQ(gidLayoutForDistro("humble"), GidLayout::humble);
    EXPECT_EQ(gidLayoutForDistro("galactic"), GidLayout::humble);
    EXPECT_EQ(gidLayoutForDistro("foxy"), GidLayout::humble);
    EXPECT_EQ(gidLayoutForDistro(""), GidLayout::humble);
    EXPECT_EQ(gidLayoutForDistro("Jazzy"), GidLayout::humble);
}

TEST(GidLayout, IronAndLaterUseSixteenBytes) {
    for (const char* distro : {"iron", "jazzy", "kilted", "rolling"}) {
        EXPECT_EQ(gidLayoutForDistro(distro), GidLayout::iron) << distro;
    }
}

TEST(GidLayout, HumbleBytesOfAParticipantWithoutNodes) {
    ParticipantEntities entities;
    entities.participant = qorTest::guidFrom(1);
    Bytes expected = {0x00, 0x01, 0x00, 0x00};
    for (std::uint8_t i = 1; i <= 16; ++i) {
        expected.push_back(i);
    }
    expected.insert(expected.end(), 8, 0x00);                   // zero padding to 24 bytes
    expected.insert(expected.end(), {0x00, 0x00, 0x00, 0x00});  // no nodes
    EXPECT_EQ(encodeParticipantEntities(entities, GidLayout::humble), expected);
}

TEST(GidLayout, IronBytesOfANodeWithOneWriter) {
    ParticipantEntities entities;
    entities.participant = qorTest::guidFrom(1);
    entities.nodes.push_back(NodeEntities{"/", "n", {}, {qorTest::guidFrom(0x20)}});
    Bytes expected = {0x00, 0x01, 0x00, 0x00};
    for (std::uint8_t i = 1; i <= 16; ++i) {
        expected.push_back(i);
    }
    expected.insert(expected.end(), {1, 0, 0, 0});          // one node
    expected.insert(expected.end(), {2, 0, 0, 0, '/', 0});  // namespace "/"
    expected.insert(expected.end(), {0, 0});                // alignment
    expected.insert(expected.end(), {2, 0, 0, 0, 'n', 0});  // name "n"
    expected.insert(expected.end(), {0, 0});                // alignment
    expected.insert(expected.end(), {0, 0, 0, 0});          // no readers
    expected.insert(expected.end(), {1, 0, 0, 0});          // one writer
    for (std::uint8_t i = 0x20; i < 0x30; ++i) {
        expected.push_back(i);
    }
    EXPECT_EQ(encodeParticipantEntities(entities, GidLayout::iron), expected);
}

TEST(GidLayout, EitherLayoutIsReadBack) {
    for (unsigned variant = 0; variant < qorTest::kSampleParticipants; ++variant) {
        const ParticipantEntities entities = qorTest::sampleParticipant(variant);
        for (GidLayout layout : {GidLayout::humble, GidLayout::iron}) {
            const Bytes payload = encodeParticipantEntities(entities, layout);
            ParticipantEntities decoded;
            EXPECT_EQ(decodeParticipantEntities(payload.data(), payload.size(), decoded), "")
                << variant;
            EXPECT_EQ(decoded, entities) << variant;
        }
    }
}

TEST(GidLayout, UpToThreeBytesOfFinalPaddingAreAccepted) {
    const ParticipantEntities entities = qorTest::sampleParticipant(2);
    Bytes payload = encodeParticipantEntities(entities, GidLayout::humble);
    payload.insert(payload.end(), 3, 0x00);
    ParticipantEntities decoded;
    EXPECT_EQ(decodeParticipantEntities(payload.data(), payload.size(), decoded), "");
    EXPECT_EQ(decoded, entities);
    payload.push_back(0x00);
    EXPECT_EQ(decodeParticipantEntities(payload.data(), payload.size(), decoded),
              "4 bytes left over after the sample");
}

TEST(GidLayout, BytesLeftOverAreRefusedAndLeaveTheResultAlone) {
    Bytes payload = encodeParticipantEntities(qorTest::sampleParticipant(2), GidLayout::humble);
    payload.insert(payload.end(), 8, 0xee);
    ParticipantEntities decoded = qorTest::sampleParticipant(0);
    EXPECT_EQ(decodeParticipantEntities(payload.data(), payload.size(), decoded),
              "8 bytes left over after the sample");
    EXPECT_EQ(decoded, qorTest::sampleParticipant(0));
}

TEST(GidLayout, TruncatedSampleIsRefusedWithTheCodecsReason) {
    Bytes payload = encodeParticipantEntities(qorTest::sampleParticipant(2), GidLayout::humble);
    payload.resize(30);
    ParticipantEntities decoded;
    const std::string reason = decodeParticipantEntities(payload.data(), payload.size(), decoded);
    EXPECT_NE(reason.find("node_entities_info_seq"), std::string::npos) << reason;
}

}  // namespace
