// `qor-ros2 bag info` and `qor-ros2 bag play` on bags as rosbag2 leaves them (files written by
// @mcap/core's writer, metadata.yaml as ROS 2 Humble and Jazzy write it), checked by raw
// subscribers of the test: every message byte for byte, in order, at the recorded QoS. All run in
// ROS domain 87, which the tests of this file hold one at a time.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "CliRuns.h"
#include "RosbagSamples.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/bag/BagInfoText.h"
#include "qorROS2/bag/BagMetadata.h"

namespace {

using namespace qorTest;
using qorCliTest::runCliSplit;
using qorCliTest::shellQuoted;
using qorROS2::QOS;
using qorROS2::RawSample;
using qorROS2::RawSubscriber;

constexpr int kDomain = 87;

// The bytes one topic received, taken as they come.
class Listener {
  public:
    Listener(const std::string& topic, const std::string& type, QOS qos)
        : m_subscriber(topic, type, qos, static_cast<std::int8_t>(kDomain)) {}
    // Takes what waits, for up to `quiet` after the last sample.
    const std::vector<Bytes>& received(
        std::chrono::milliseconds quiet = std::chrono::milliseconds(500)) {
        RawSample sample;
        while (m_subscriber.waitForSample(quiet)) {
            while (m_subscriber.takeSample(sample)) {
                m_bytes.push_back(sample.bytes);
            }
        }
        return m_bytes;
    }
    const RawSubscriber& subscriber() const { return m_subscriber; }

  private:
    RawSubscriber m_subscriber;
    std::vector<Bytes> m_bytes;
};

QOS deepQos(bool reliable, bool transientLocal) {
    return QOS{transientLocal ? QOS::TRANSIENT_LOCAL : QOS::VOLATILE,
               reliable ? QOS::RELIABLE : QOS::BEST_EFFORT, QOS::KEEP_LAST, 100};
}

std::vector<Bytes> bytesOn(const Sample& sample, std::size_t channel, std::uint64_t from = 0) {
    std::vector<Bytes> bytes;
    for (const auto& message : sample.messages) {
        if (message.channel == channel && message.logTime >= from) {
            bytes.push_back(message.data);
        }
    }
    return bytes;
}

std::string describe(const RunResult& run) {
    return "exit code " + std::to_string(run.exitCode) + "\n--- stdout:\n" + run.output +
           "--- stderr:\n" + run.errors;
}

std::string topicLine(const BagTopic& topic, std::uint64_t count) {
    return "Topic: " + topic.name + " | Type: " + topic.type +
           " | Count: " + std::to_string(count) + " | Serialization Format: cdr";
}

// --- bag info ---------------------------------------------------------------------------------

TEST(CliBagInfo, PrintsTheInfoTextOfHumbleAndJazzyBagsWithTheCountsWritten) {
    const Sample sample = sampleBagContent(10);
    for (const BagWriting& writing :
         {BagWriting{5, "zstd", true}, BagWriting{9, "lz4", true}, BagWriting{9, "", false}}) {
        ScratchBag bag("info_v" + std::to_string(writing.metadataVersion), ScratchBag::CREATED);
        writeRosbag(bag, splitInto(sample, 6, "run"), writing);
        const RunResult run = runCliSplit("bag info " + shellQuoted(bag.path()), kDomain);
        EXPECT_EQ(run.exitCode, 0) << describe(run);
        EXPECT_EQ(run.output,
                  qorROS2::bag::bagInfoText(qorROS2::bag::readBagMetadata(bag.path()),
                                            qorROS2::bag::bagDirectorySize(bag.path())));
        EXPECT_NE(run.output.find("Messages:          10\n"), std::string::npos) << run.output;
        const auto counts = countsByChannel(sample);
        for (std::size_t t = 0; t < 3; ++t) {
            EXPECT_NE(run.output.find(topicLine(sampleTopics()[t], counts[t])), std::string::npos)
                << run.output;
        }
        // Only files without a summary are worth a warning.
        EXPECT_EQ(run.errors.empty(), writing.summary) << run.errors;
        EXPECT_EQ(run.errors.find("[rosbag2_storage]: " + bag.file("run_1.mcap") +
                                  ": the file has no usable summary") == std::string::npos,
                  writing.summary)
            << run.errors;
    }
}

TEST(CliBagInfo, DescribesABagWithoutMetadataFromItsFilesAndWarnsThatItDid) {
    const Sample sample = sampleBagContent(7);
    ScratchBag bag("info_killed", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 4, "killed"), {0, "zstd", false});
    const RunResult run = runCliSplit("bag info " + shellQuoted(bag.path()), kDomain);
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_NE(run.output.find("Files:             killed_0.mcap\n"
                              "                   killed_1.mcap\n"),
              std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("Messages:          7\n"), std::string::npos) << run.output;
    const auto counts = countsByChannel(sample);
    EXPECT_NE(run.output.find(topicLine(sampleTopics()[1], counts[1])), std::string::npos)
        << run.output;
    EXPECT_NE(run.errors.find("] [rosbag2_storage]: " + bag.path() +
                              ": the bag has no metadata.yaml (its recording did not finish)"),
              std::string::npos)
        << run.errors;
    EXPECT_EQ(run.errors.rfind("[WARN] [", 0), 0u) << run.errors;
}

TEST(CliBagInfo, DescribesASingleMcapFile) {
    const Sample sample = sampleBagContent(5);
    ScratchBag bag("info_single", ScratchBag::CREATED);
    peerWrite(bag.file("one.mcap"), sample, true, "zstd", true);
    const RunResult run = runCliSplit("bag info " + shellQuoted(bag.file("one.mcap")), kDomain);
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_EQ(run.output.rfind("\nFiles:             " + bag.file("one.mcap") + "\n", 0), 0u)
        << run.output;
    EXPECT_NE(run.output.find("Messages:          5\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("Duration:          0.400000000s\n"), std::string::npos)
        << run.output;
}

TEST(CliBagInfo, WarnsAboutADamagedFileAndStillDescribesTheBag) {
    const Sample sample = sampleBagContent(6);
    ScratchBag bag("info_damaged", ScratchBag::CREATED);
    writeRosbag(bag, {{"run_0.mcap", sample}}, {5, "", true});
    ASSERT_FALSE(flipByteInChunk(bag.file("run_0.mcap"), 0).empty());
    const RunResult run = runCliSplit("bag info " + shellQuoted(bag.path()), kDomain);
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_NE(run.output.find("Messages:          6\n"), std::string::npos) << run.output;
    EXPECT_NE(
        run.errors.find("[rosbag2_storage]: " + bag.file("run_0.mcap") + ": the data section"),
        std::string::npos)
        << run.errors;
}

TEST(CliBagInfo, RefusesAPathThatDoesNotExistAsRos2BagDoes) {
    const RunResult run = runCliSplit("bag info /nonexistent/bag", kDomain);
    EXPECT_EQ(run.exitCode, 2) << describe(run);
    EXPECT_NE(
        run.errors.find("qor-ros2 bag info: error: argument bag_path: Bag path '/nonexistent/bag' "
                        "does not exist!\n"),
        std::string::npos)
        << run.errors;
}

// --- bag play ---------------------------------------------------------------------------------

// Plays `arguments` to the end, with two seconds' delay so that the test's subscribers match
// the player's publishers before the first message.
RunResult play(const std::string& arguments) {
    return runCliSplit("bag play -d 2 --disable-keyboard-controls " + arguments, kDomain);
}

TEST(CliBagPlay, PublishesEveryMessageByteForByteInOrderAtTheRecordedQos) {
    const Sample sample = sampleBagContent(12, 50'000'000);
    ScratchBag bag("play_all", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 5, "run"), {5, "zstd", true});
    Listener chatter("/chatter", "std_msgs/msg/String", deepQos(true, true));
    Listener blob("/blob", "acme_msgs/msg/Blob", deepQos(false, false));
    Listener status("/status", "std_msgs/msg/String", deepQos(true, false));
    const RunResult run = play(shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    // A transient local subscription matches only a transient local publisher: /chatter is
    // offered as it was recorded.
    EXPECT_EQ(chatter.received(), bytesOn(sample, 0)) << describe(run);
    EXPECT_EQ(blob.received(), bytesOn(sample, 1)) << describe(run);
    EXPECT_EQ(status.received(), bytesOn(sample, 2)) << describe(run);
    EXPECT_NE(run.errors.find("] [rosbag2_player]: Set rate to 1\n"), std::string::npos)
        << run.errors;
}

TEST(CliBagPlay, ALateSubscriberOfATransientLocalTopicGetsWhatWasAlreadyPlayed) {
    const Sample sample = sampleBagContent(30, 200'000'000);
    ScratchBag bag("play_late", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 30, "run"), {9, "lz4", true});
    Listener status("/status", "std_msgs/msg/String", deepQos(true, false));
    auto player =
        qorCliTest::startCli("bag play --disable-keyboard-controls -d 2 " + bag.path(), kDomain);
    // /status's first message comes after /chatter's first: once it has arrived, /chatter's was
    // published before the late subscriber below existed.
    RawSample first;
    bool heard = false;
    for (int i = 0; i < 200 && !heard; ++i) {
        heard = status.subscriber().waitForSample(std::chrono::milliseconds(100));
    }
    ASSERT_TRUE(heard) << player->output();
    Listener late("/chatter", "std_msgs/msg/String", deepQos(true, true));
    std::vector<Bytes> lateBytes = late.received(std::chrono::milliseconds(1500));
    ASSERT_FALSE(lateBytes.empty()) << player->output();
    EXPECT_EQ(lateBytes.front(), bytesOn(sample, 0).front());
    player->stop(SIGINT, std::chrono::seconds(10));
}

TEST(CliBagPlay, PlaysOnlyTheTopicsAskedForUnderTheirRemappedNames) {
    const Sample sample = sampleBagContent(9, 50'000'000);
    ScratchBag bag("play_topics", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 9, "run"), {9, "", true});
    Listener chatter("/chatter", "std_msgs/msg/String", deepQos(true, true));
    Listener renamed("/renamed", "std_msgs/msg/String", deepQos(true, false));
    Listener status("/status", "std_msgs/msg/String", deepQos(true, false));
    const RunResult run =
        play("--topics /status /blob --remap status:=/renamed -- " + shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_EQ(renamed.received(), bytesOn(sample, 2)) << describe(run);
    EXPECT_TRUE(chatter.received(std::chrono::milliseconds(100)).empty());
    EXPECT_TRUE(status.received(std::chrono::milliseconds(100)).empty());
}

TEST(CliBagPlay, StartsAtTheStartOffset) {
    const Sample sample = sampleBagContent(12, 100'000'000);
    ScratchBag bag("play_offset", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 12, "run"), {5, "zstd", true});
    Listener chatter("/chatter", "std_msgs/msg/String", deepQos(true, true));
    const RunResult run = play("--start-offset 0.55 " + shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_EQ(chatter.received(), bytesOn(sample, 0, kBagStart + 550'000'000)) << describe(run);
}

TEST(CliBagPlay, AnOverrideFileReplacesTheRecordedQosOfItsTopicAndTheRateIsSet) {
    const Sample sample = sampleBagContent(9, 50'000'000);
    ScratchBag bag("play_override", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 9, "run"), {9, "zstd", true});
    std::ofstream(bag.file("overrides.yaml")) << "/blob:\n  reliability: reliable\n"
                                                 "  history: keep_last\n  depth: 20\n";
    // A reliable subscription matches only a reliable publisher: /blob was recorded best effort.
    Listener blob("/blob", "acme_msgs/msg/Blob", deepQos(true, false));
    const RunResult run =
        play("-r 2 --qos-profile-overrides-path " + shellQuoted(bag.file("overrides.yaml")) + " " +
             shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_EQ(blob.received(), bytesOn(sample, 1)) << describe(run);
    EXPECT_NE(run.errors.find("[rosbag2_player]: Overriding QoS profile for topic /blob\n"),
              std::string::npos)
        << run.errors;
    EXPECT_NE(run.errors.find("[rosbag2_player]: Set rate to 2\n"), std::string::npos)
        << run.errors;
}

TEST(CliBagPlay, StartsPausedWhenAskedAndCtrlCEndsItPromptly) {
    const Sample sample = sampleBagContent(6, 10'000'000);
    ScratchBag bag("play_paused", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 6, "run"), {5, "", true});
    Listener status("/status", "std_msgs/msg/String", deepQos(true, false));
    auto player =
        qorCliTest::startCli("bag play -p --disable-keyboard-controls " + bag.path(), kDomain);
    // Matched, so that a message sent would have arrived: none is while paused.
    for (int i = 0; i < 100 && status.subscriber().matchedPublications() == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ASSERT_EQ(status.subscriber().matchedPublications(), 1u) << player->output();
    EXPECT_TRUE(status.received(std::chrono::milliseconds(1000)).empty()) << player->output();
    // A paused player waits in slices of 100 ms: Ctrl-C ends it well within a second.
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(player->stop(SIGINT, std::chrono::seconds(10)), 2) << player->output();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(3))
        << player->output();
}

TEST(CliBagPlay, LoopPlaysTheBagAgainUntilStopped) {
    const Sample sample = sampleBagContent(6, 50'000'000);
    ScratchBag bag("play_loop", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 6, "run"), {5, "lz4", true});
    Listener status("/status", "std_msgs/msg/String", deepQos(true, false));
    auto player = qorCliTest::startCli(
        "bag play --disable-keyboard-controls -d 1 --loop " + bag.path(), kDomain);
    std::vector<Bytes> got;
    RawSample sample2;
    for (int i = 0; i < 300 && got.size() < 6; ++i) {
        status.subscriber().waitForSample(std::chrono::milliseconds(100));
        while (status.subscriber().takeSample(sample2)) {
            got.push_back(sample2.bytes);
        }
    }
    EXPECT_EQ(player->stop(SIGINT, std::chrono::seconds(10)), 2) << player->output();
    const std::vector<Bytes> once = bytesOn(sample, 2);
    ASSERT_GE(got.size(), 3 * once.size()) << player->output();
    for (std::size_t i = 0; i < 3 * once.size(); ++i) {
        EXPECT_EQ(got[i], once[i % once.size()]) << "message " << i;
    }
}

TEST(CliBagPlay, ClockTicksCarryTheBagsTime) {
    const Sample sample = sampleBagContent(20, 100'000'000);
    ScratchBag bag("play_clock", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 20, "run"), {5, "", true});
    Listener clock("/clock", "rosgraph_msgs/msg/Clock",
                   QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 1000});
    const RunResult run = play("--clock 50 " + shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    const auto& ticks = clock.received();
    // 1.9 s of bag at 50 Hz. As rosbag2's, the clock runs from the bag's start while the delay
    // passes, and jumps back to the start when play begins.
    ASSERT_GE(ticks.size(), 50u) << describe(run);
    std::vector<std::uint64_t> times;
    for (const Bytes& tick : ticks) {
        ASSERT_EQ(tick.size(), 12u);
        std::uint32_t sec = 0;
        std::uint32_t nanosec = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            sec |= static_cast<std::uint32_t>(tick[4 + i]) << (8 * i);
            nanosec |= static_cast<std::uint32_t>(tick[8 + i]) << (8 * i);
        }
        times.push_back(sec * 1'000'000'000ULL + nanosec);
        EXPECT_GE(times.back(), kBagStart);
        EXPECT_LE(times.back(), kBagStart + 10'000'000'000ULL);
    }
    std::size_t playStart = 0;
    for (std::size_t i = 1; i < times.size(); ++i) {
        if (times[i] < times[i - 1]) {
            playStart = i;
        }
    }
    // From the jump on, the ticks follow the bag to the end of its 1.9 s, a tick period or so short
    // of it.
    EXPECT_LT(times[playStart], kBagStart + 500'000'000ULL);
    EXPECT_GE(times.back(), kBagStart + 1'800'000'000ULL);
    EXPECT_LE(times.back(), kBagStart + 3'000'000'000ULL);
    EXPECT_GE(times.size() - playStart, 40u);
}

TEST(CliBagPlay, SkipsADamagedChunkWithAWarningAndPlaysTheOthers) {
    Sample sample = sampleBagContent(6, 20'000'000);
    for (auto& message : sample.messages) {
        if (message.channel != 1) {
            message.data = stringMessage(std::string(2100, 'x') + std::to_string(message.sequence));
        }
    }
    ScratchBag bag("play_damaged", ScratchBag::CREATED);
    writeRosbag(bag, {{"run_0.mcap", sample}}, {5, "", true});
    const std::vector<TopRecord> chunks = flipByteInChunk(bag.file("run_0.mcap"), 1);
    ASSERT_GE(chunks.size(), 3u);
    Listener chatter("/chatter", "std_msgs/msg/String", deepQos(true, true));
    Listener status("/status", "std_msgs/msg/String", deepQos(true, false));
    const RunResult run = play(shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    const std::size_t played = chatter.received().size() + status.received().size();
    EXPECT_GE(played, 2u) << describe(run);
    EXPECT_LT(played, 4u) << describe(run);
    EXPECT_NE(run.errors.find("[WARN] "), std::string::npos);
    EXPECT_NE(run.errors.find(bag.file("run_0.mcap") + ": the chunk at offset " +
                              std::to_string(chunks[1].offset) + " cannot be read"),
              std::string::npos)
        << run.errors;
}

TEST(CliBagPlay, ReportsMessagesThatAreNotCdrOnceATopicAndPlaysTheRest) {
    Sample sample = sampleBagContent(12, 20'000'000);
    for (auto& message : sample.messages) {
        if (message.channel == 2) {
            message.data = {0xff, 0xff, 0xff, 0xff};
        }
    }
    ScratchBag bag("play_not_cdr", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 12, "run"), {5, "", true});
    Listener chatter("/chatter", "std_msgs/msg/String", deepQos(true, true));
    const RunResult run = play(shellQuoted(bag.path()));
    EXPECT_EQ(run.exitCode, 0) << describe(run);
    EXPECT_EQ(chatter.received(), bytesOn(sample, 0)) << describe(run);
    const std::string failure = "[rosbag2_player]: Failed to publish message on '/status' topic.";
    const std::size_t first = run.errors.find(failure);
    EXPECT_NE(first, std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find(failure, first + 1), std::string::npos) << run.errors;
}

// Keys typed on a terminal (script(1) gives the player one) pause, step and change the rate,
// with rosbag2's words; Ctrl-C ends the loop, and the terminal's settings are as they were.
TEST(CliBagPlay, KeysInATerminalControlPlaybackAndTheTerminalIsGivenBack) {
    const Sample sample = sampleBagContent(6, 100'000'000);
    ScratchBag bag("play_keys", ScratchBag::CREATED);
    writeRosbag(bag, splitInto(sample, 6, "run"), {5, "", true});
    const std::string inner = "trap true INT; stty -g > " + shellQuoted(bag.file("before")) + "; " +
                              QOR_ROS2_CLI + " bag play --loop " + shellQuoted(bag.path()) +
                              "; stty -g > " + shellQuoted(bag.file("after"));
    const std::string keys =
        "(sleep 2; printf ' '; sleep 0.5; printf '\\033[C'; sleep 0.5; printf '\\033[A'; "
        "sleep 0.5; printf '\\033[B'; sleep 0.3; printf '\\033[B'; sleep 0.5; printf ' '; "
        "sleep 1; printf '\\003'; sleep 2)";
    const RunResult run = qorCliTest::runShell(
        keys + " | script -qfec " + shellQuoted(inner) + " /dev/null", kDomain);
    for (const std::string line :
         {"Adding keyboard callbacks.", "Press SPACE for Pause/Resume",
          "Press CURSOR_RIGHT for Play Next Message", "Press CURSOR_UP for Increase Rate 10%",
          "Press CURSOR_DOWN for Decrease Rate 10%", "Pausing play.", "Playing next message.",
          "Set rate to 1.1", "Set rate to 1", "Set rate to 0.9", "Resuming play."}) {
        EXPECT_NE(run.output.find("[rosbag2_player]: " + line + "\r\n"), std::string::npos)
            << line << "\n"
            << run.output;
    }
    const Bytes before = fileBytes(bag.file("before"));
    EXPECT_FALSE(before.empty()) << run.output;
    EXPECT_EQ(fileBytes(bag.file("after")), before) << run.output;
    // Without a terminal, or with the keys turned off, nothing is said about keys.
    const RunResult off = play(shellQuoted(bag.path()));
    EXPECT_EQ(off.errors.find("Press "), std::string::npos) << off.errors;
}

TEST(CliBagPlay, RefusesBadValuesWithArgparsesWords) {
    ScratchBag bag("play_args", ScratchBag::CREATED);
    writeRosbag(bag, {{"run_0.mcap", sampleBagContent(2)}}, {5, "", true});
    const std::string path = shellQuoted(bag.path());
    const struct {
        std::string arguments;
        std::string error;
    } cases[] = {
        {"-r 0 " + path, "argument -r/--rate: 0 is not in the valid range (> 0.0)"},
        {"--start-offset -1 " + path, "argument --start-offset: Value -1 is less than zero."},
        {"--clock fast " + path, "argument --clock: invalid positive_float value: 'fast'"},
        {"-d -2 " + path, "argument -d/--delay: invalid positive_float value: '-2'"},
    };
    for (const auto& c : cases) {
        const RunResult run = runCliSplit("bag play " + c.arguments, kDomain);
        EXPECT_EQ(run.exitCode, 2) << c.arguments << "\n" << describe(run);
        EXPECT_NE(run.errors.find("qor-ros2 bag play: error: " + c.error + "\n"), std::string::npos)
            << describe(run);
    }
    const RunResult remap = runCliSplit("bag play --remap nothing -- " + path, kDomain);
    EXPECT_EQ(remap.exitCode, 1) << describe(remap);
    EXPECT_NE(remap.errors.find("remap rule 'nothing'"), std::string::npos) << describe(remap);
}

}  // namespace
