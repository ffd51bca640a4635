#pragma once

// The batch that goes through the independent CDR implementation: every sample of every standard
// record, our payload and its values, in one file for one run of the peer script; and the peer's
// answers, keyed by sample.

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "CodecTesting.h"
#include "Hex.h"
#include "RecordJson.h"
#include "SampleRecords.h"
#include "cdr/CdrCodec.h"

namespace qorTest {

/// "sensor_msgs/JointState#2": the sample `variant` of Record.
template <typename Record>
std::string sampleKey(unsigned variant) {
    return peerTypeName<Record>() + "#" + std::to_string(variant);
}

/// One line of the batch: key, type, our payload, the values.
struct PeerSample {
    std::string key;
    std::string payloadHex;
    std::string line;
};

template <typename Record>
void appendSamples(std::vector<PeerSample>& samples) {
    for (unsigned variant = 0; variant < kSampleVariants; ++variant) {
        const Record record = sampleRecord<Record>(variant);
        const std::string key = sampleKey<Record>(variant);
        const std::string payloadHex = toHex(encodeToVector(record));
        samples.push_back(
            {key, payloadHex,
             key + "\t" + peerTypeName<Record>() + "\t" + payloadHex + "\t" + toJson(record)});
    }
}

template <typename... Records>
std::vector<PeerSample> samplesOf(qorROS2::TypeList<Records...>) {
    std::vector<PeerSample> samples;
    (appendSamples<Records>(samples), ...);
    return samples;
}

/// Every sample of every standard record.
inline std::vector<PeerSample> allPeerSamples() {
    return samplesOf(StandardRecords{});
}

/// What the peer said about one sample.
struct PeerAnswer {
    std::string ourHex;   ///< the payload it was given
    std::string verdict;  ///< "ok", or how its reading of our payload differed from the values
    std::string peerHex;  ///< its own payload for the same values
};

using PeerAnswers = std::map<std::string, PeerAnswer>;

inline PeerAnswers parsePeerAnswers(const std::string& text) {
    PeerAnswers answers;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::vector<std::string> columns;
        std::istringstream fields(line);
        std::string column;
        while (std::getline(fields, column, '\t')) {
            columns.push_back(column);
        }
        if (columns.size() == 4) {
            answers[columns[0]] = PeerAnswer{columns[1], columns[2], columns[3]};
        }
    }
    return answers;
}

/// Writes the samples to `batchPath`, runs the peer on them once and returns what it printed.
inline std::string runPeer(const std::vector<PeerSample>& samples, const std::string& batchPath) {
    {
        std::ofstream batch(batchPath, std::ios::trunc);
        for (const PeerSample& sample : samples) {
            batch << sample.line << '\n';
        }
    }
    return commandOutput(std::string("\"") + QOR_NODE_EXECUTABLE + "\" \"" + QOR_TEST_PEERS_DIR +
                         "/cdr-peer.js\" \"" + batchPath + "\"");
}

/// True when `answers` hold an answer for every sample, each about the payload we make now.
inline bool answersEverySample(const PeerAnswers& answers, const std::vector<PeerSample>& samples) {
    for (const PeerSample& sample : samples) {
        const auto found = answers.find(sample.key);
        if (found == answers.end() || found->second.ourHex != sample.payloadHex) {
            return false;
        }
    }
    return true;
}

inline std::string readFile(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace qorTest
