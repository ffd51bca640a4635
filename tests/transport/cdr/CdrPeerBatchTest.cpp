// Runs every sample of every standard record through the independent CDR implementation in one
// go, and leaves the answers where the per-record tests (CdrPeerTest.cpp) read them: starting the
// peer once for all records rather than once per record keeps the suite fast.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "PeerBatch.h"

namespace {

TEST(CdrPeerBatch, PeerAnswersForEverySample) {
    const std::vector<qorTest::PeerSample> samples = qorTest::allPeerSamples();
    const std::string output = qorTest::runPeer(samples, std::string(QOR_CDR_PEER_BATCH) + ".in");
    const qorTest::PeerAnswers answers = qorTest::parsePeerAnswers(output);
    EXPECT_EQ(answers.size(), samples.size()) << "the peer printed:\n" << output;

    // Written aside and renamed, so that a reader never sees half a file.
    const std::string answersPath = std::string(QOR_CDR_PEER_BATCH) + ".out";
    {
        std::ofstream file(answersPath + ".new", std::ios::trunc);
        file << output;
        ASSERT_TRUE(file.good()) << "cannot write " << answersPath << ".new";
    }
    ASSERT_EQ(std::rename((answersPath + ".new").c_str(), answersPath.c_str()), 0);
}

}  // namespace
