// Every standard record against an independent CDR implementation (@foxglove/rosmsg2-serialization
// with the Humble definitions): the peer reads our payloads as exactly our values, writes the same
// bytes for those values, and we read its bytes back into the same record. Each record has several
// samples (SampleRecords.h) full of values that matter: extreme integers, NaN, infinities, odd
// string lengths that force padding, empty and non-empty sequences.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include <unistd.h>

#include "MessageTypeTesting.h"
#include "PeerBatch.h"
#include "RecordWalk.h"

namespace {

using namespace qorROS2;

// The peer's answers for the samples this program builds. They come from the batch that
// CdrPeerBatch.PeerAnswersForEverySample ran before these tests; when that file is missing or
// answers other payloads than ours (this program run by hand after a change), the peer runs here,
// once for every record.
const qorTest::PeerAnswers& peerAnswers() {
    static const qorTest::PeerAnswers answers = [] {
        const std::vector<qorTest::PeerSample> samples = qorTest::allPeerSamples();
        qorTest::PeerAnswers fromBatch =
            qorTest::parsePeerAnswers(qorTest::readFile(std::string(QOR_CDR_PEER_BATCH) + ".out"));
        if (qorTest::answersEverySample(fromBatch, samples)) {
            return fromBatch;
        }
        const std::string ownBatch =
            std::string(QOR_CDR_PEER_BATCH) + "." + std::to_string(getpid()) + ".in";
        qorTest::PeerAnswers fresh = qorTest::parsePeerAnswers(qorTest::runPeer(samples, ownBatch));
        std::remove(ownBatch.c_str());
        return fresh;
    }();
    return answers;
}

template <typename Record>
const qorTest::PeerAnswer* answerFor(unsigned variant) {
    const auto found = peerAnswers().find(qorTest::sampleKey<Record>(variant));
    return found == peerAnswers().end() ? nullptr : &found->second;
}

template <typename Record>
class CdrPeer : public ::testing::Test {};

TYPED_TEST_SUITE(CdrPeer, qorTest::GtestTypesOf<qorTest::StandardRecords>::type,
                 qorTest::RecordTestName);

TYPED_TEST(CdrPeer, PeerReadsOurPayloadAsOurValues) {
    for (unsigned variant = 0; variant < qorTest::kSampleVariants; ++variant) {
        SCOPED_TRACE(qorTest::sampleKey<TypeParam>(variant));
        const qorTest::PeerAnswer* answer = answerFor<TypeParam>(variant);
        ASSERT_NE(answer, nullptr) << "the peer gave no answer";
        EXPECT_EQ(answer->verdict, "ok");
    }
}

TYPED_TEST(CdrPeer, PeerWritesOurBytesForOurValues) {
    for (unsigned variant = 0; variant < qorTest::kSampleVariants; ++variant) {
        SCOPED_TRACE(qorTest::sampleKey<TypeParam>(variant));
        const qorTest::PeerAnswer* answer = answerFor<TypeParam>(variant);
        ASSERT_NE(answer, nullptr) << "the peer gave no answer";
        const TypeParam sample = qorTest::sampleRecord<TypeParam>(variant);
        EXPECT_EQ(answer->peerHex, qorTest::toHex(qorTest::encodeToVector(sample)));
    }
}

TYPED_TEST(CdrPeer, PeerPayloadDecodesToOurRecord) {
    for (unsigned variant = 0; variant < qorTest::kSampleVariants; ++variant) {
        SCOPED_TRACE(qorTest::sampleKey<TypeParam>(variant));
        const qorTest::PeerAnswer* answer = answerFor<TypeParam>(variant);
        ASSERT_NE(answer, nullptr) << "the peer gave no answer";
        const auto payload = qorTest::fromHex(answer->peerHex);
        ASSERT_TRUE(payload.has_value()) << "not a payload: " << answer->peerHex;
        TypeParam decoded{};
        const cdr::DecodeResult result = cdr::decode(payload->data(), payload->size(), decoded);
        ASSERT_TRUE(result.ok()) << result.describe();
        EXPECT_TRUE(qorTest::sameContents(decoded, qorTest::sampleRecord<TypeParam>(variant)));
    }
}

// ROS 2 gives std_msgs/Empty no field, and the peer's definition has none; both it and we put the
// one placeholder byte 0 on the wire.
TEST(CdrPeerEmpty, PeerWritesTheSinglePlaceholderByte) {
    const qorTest::PeerAnswer* answer = answerFor<stdMsgs::Empty>(0);
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->peerHex, "0001000000");
}

// The samples must hold the values this comparison exists for, or it proves little.
TEST(CdrPeerSamples, HoldTheValuesThatMatter) {
    std::vector<std::int64_t> int64s;
    std::vector<std::uint64_t> uint64s;
    std::vector<double> doubles;
    std::vector<std::size_t> stringLengths;
    std::vector<std::size_t> sequenceLengths;
    for (unsigned variant = 0; variant < qorTest::kSampleVariants; ++variant) {
        int64s.push_back(qorTest::sampleRecord<stdMsgs::Int64>(variant).data);
        uint64s.push_back(qorTest::sampleRecord<stdMsgs::UInt64>(variant).data);
        doubles.push_back(qorTest::sampleRecord<stdMsgs::Float64>(variant).data);
        stringLengths.push_back(qorTest::sampleRecord<stdMsgs::String>(variant).data.size());
        const auto joints = qorTest::sampleRecord<sensorMsgs::JointState>(variant);
        sequenceLengths.push_back(joints.position.size());
        for (const std::string& name : joints.name) {
            stringLengths.push_back(name.size());
        }
    }
    const auto holds = [](const auto& values, auto wanted) {
        for (const auto value : values) {
            if (value == wanted) {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(holds(int64s, std::numeric_limits<std::int64_t>::min()));
    EXPECT_TRUE(holds(int64s, std::numeric_limits<std::int64_t>::max()));
    EXPECT_TRUE(holds(uint64s, std::numeric_limits<std::uint64_t>::max()));
    EXPECT_TRUE(std::isnan(doubles[0]));
    EXPECT_TRUE(holds(doubles, std::numeric_limits<double>::infinity()));
    EXPECT_TRUE(holds(doubles, -std::numeric_limits<double>::infinity()));
    EXPECT_TRUE(std::signbit(doubles[3]) && doubles[3] == 0.0) << "negative zero";
    EXPECT_TRUE(holds(sequenceLengths, std::size_t{0}));
    EXPECT_TRUE(holds(sequenceLengths, std::size_t{3}));
    EXPECT_TRUE(holds(stringLengths, std::size_t{3}))
        << "odd lengths leave the next value unaligned";
    EXPECT_TRUE(holds(stringLengths, std::size_t{17})) << "too long for the string's own buffer";
}

}  // namespace
