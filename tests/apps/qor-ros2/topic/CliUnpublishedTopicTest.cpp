// A topic that nobody publishes yet, as ros2 treats it: `topic bw`, `delay` and `hz` warn and
// wait for it, echo with a type waits, echo without one warns and fails; and whatever a message
// suggests to run is a command the tool takes.

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "CliRuns.h"
#include "RepeatingPublisher.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"

namespace {

// Each test uses topics of its own; the tests of a binary run one after the other.
constexpr int kUnpublishedDomain = 127;

std::string notPublishedYet(const std::string& topic) {
    return "WARNING: topic [" + topic + "] does not appear to be published yet\n";
}

// Reads `child` until `text` holds `wanted`; false, with the evidence, after the deadline.
::testing::AssertionResult printsWithin(qorTest::ChildProcess& child, const std::string& wanted) {
    if (child.readUntil(
            [&](const std::string& text) { return text.find(wanted) != std::string::npos; },
            qorTest::kDeliveryDeadline)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "never printed '" << wanted << "':\n" << child.output();
}

// A joint state stamped now, for `topic delay`.
qorROS2::sensorMsgs::JointState stampedNow() {
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                 .count();
    qorROS2::sensorMsgs::JointState state{};
    state.header.stamp.sec = static_cast<std::int32_t>(nanoseconds / 1000000000);
    state.header.stamp.nanosec = static_cast<std::uint32_t>(nanoseconds % 1000000000);
    return state;
}

TEST(CliUnpublishedTopic, EchoWithoutTypeWarnsOnStdoutThenFailsOnStderrWithOne) {
    const auto split = qorCliTest::runCliSplit("topic echo /cli/unpublished", kUnpublishedDomain);
    EXPECT_EQ(split.exitCode, 1);
    EXPECT_EQ(split.output, notPublishedYet("/cli/unpublished"));
    EXPECT_EQ(split.errors, "Could not determine the type for the passed topic\n");
    // The warning comes first, as ros2 prints it before it raises.
    const auto joined = qorCliTest::runCli("topic echo /cli/unpublished", kUnpublishedDomain, true);
    EXPECT_EQ(joined.output, notPublishedYet("/cli/unpublished") +
                                 "Could not determine the type for the passed topic\n");
}

TEST(CliUnpublishedTopic, BwDelayAndHzWarnThenMeasureTheTopicOncePublished) {
    const std::string topic = "/cli/published_later";
    struct Measuring {
        std::string verb;
        std::string firstLines;   // what it prints before its first measurement
        std::string marker;       // a piece of its measurement
        std::string measurement;  // the pattern of its first measurement line
    };
    const std::vector<Measuring> verbs = {
        {"hz", notPublishedYet(topic), "average rate: ", "average rate: [0-9]+\\.[0-9]{3}\n"},
        {"bw", notPublishedYet(topic) + "Subscribed to [" + topic + "]\n", "/s from ",
         "[0-9.]+ (B|KB|MB)/s from [0-9]+ messages\n"},
        {"delay", notPublishedYet(topic), "average delay: ", "average delay: [0-9]+\\.[0-9]{3}\n"},
    };
    std::vector<std::unique_ptr<qorTest::ChildProcess>> children;
    for (const Measuring& measuring : verbs) {
        children.push_back(
            qorCliTest::startCli("topic " + measuring.verb + " " + topic, kUnpublishedDomain));
    }
    for (std::size_t index = 0; index < verbs.size(); ++index) {
        EXPECT_TRUE(printsWithin(*children[index], notPublishedYet(topic))) << verbs[index].verb;
    }
    const qorCliTest::RepeatingPublisher<qorROS2::sensorMsgs::JointState> publisher(
        topic, kUnpublishedDomain, stampedNow);
    for (std::size_t index = 0; index < verbs.size(); ++index) {
        const Measuring& measuring = verbs[index];
        qorTest::ChildProcess& child = *children[index];
        ASSERT_TRUE(printsWithin(child, measuring.marker)) << measuring.verb;
        const std::string& text = child.output();
        ASSERT_EQ(text.rfind(measuring.firstLines, 0), 0U) << measuring.verb << ":\n" << text;
        EXPECT_TRUE(std::regex_search(text.begin() + static_cast<long>(measuring.firstLines.size()),
                                      text.end(), std::regex(measuring.measurement),
                                      std::regex_constants::match_continuous))
            << measuring.verb << ":\n"
            << text;
    }
}

TEST(CliUnpublishedTopic, EchoWithATypeWaitsSilentlyForTheTopic) {
    const std::string topic = "/cli/echoed_later";
    const auto child = qorCliTest::startCli("topic echo " + topic + " std_msgs/msg/String --once",
                                            kUnpublishedDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return child->catchesSignal(SIGINT); }));
    const qorCliTest::RepeatingPublisher<qorROS2::stdMsgs::String> publisher(
        topic, kUnpublishedDomain, [] {
            qorROS2::stdMsgs::String message;
            message.data = "later";
            return message;
        });
    EXPECT_EQ(child->waitForExit(qorTest::kDeliveryDeadline), 0) << child->output();
    EXPECT_EQ(child->output(), "data: later\n---\n");
}

// Every command that `output` suggests in quotes or backquotes, "qor-ros2 ..." up to the quote.
std::set<std::string> suggestedCommands(const std::string& output) {
    std::set<std::string> commands;
    const std::regex quoted("['`](qor-ros2 [^'`]*)['`]");
    for (std::sregex_iterator match(output.begin(), output.end(), quoted), end; match != end;
         ++match) {
        commands.insert((*match)[1].str());
    }
    return commands;
}

TEST(CliUnpublishedTopic, WhatAMessageSuggestsIsACommandTheToolTakes) {
    std::string outputs;
    // Those that wait for their topic print what they have to say and are stopped.
    std::vector<std::unique_ptr<qorTest::ChildProcess>> waiting;
    for (const std::string verb : {"bw", "delay", "hz"}) {
        waiting.push_back(
            qorCliTest::startCli("topic " + verb + " /cli/suggest", kUnpublishedDomain));
    }
    for (const auto& child : waiting) {
        child->readUntil([](const std::string& text) { return text.find("WARNING") == 0; },
                         qorTest::kDeliveryDeadline);
        child->stop(SIGINT, qorTest::kDeliveryDeadline);
        // ros2's warning, and no advice.
        EXPECT_EQ(child->output(), notPublishedYet("/cli/suggest"));
        outputs += child->output();
    }
    for (const std::string failing :
         {"topic echo /cli/suggest", "topic echo /cli/suggest std_msgs/msg/Strin",
          "topic pub /cli/suggest std_msgs/msg/Strin", "interface show std_msgs/msg/Strin",
          "topic bogus"}) {
        outputs += qorCliTest::runCli(failing, kUnpublishedDomain, true).output;
    }
    const std::set<std::string> suggested = suggestedCommands(outputs);
    EXPECT_FALSE(suggested.empty()) << outputs;
    for (std::string command : suggested) {
        // argparse's "`qor-ros2 topic <command> -h`" stands for each verb; one will do.
        const std::size_t placeholder = command.find("<command>");
        if (placeholder != std::string::npos) {
            command.replace(placeholder, 9, "echo");
        }
        const auto result = qorCliTest::runCli(command.substr(9), kUnpublishedDomain, true);
        EXPECT_NE(result.exitCode, 2) << command << " was refused:\n" << result.output;
        EXPECT_EQ(result.output.find("error:"), std::string::npos) << command << " was refused:\n"
                                                                   << result.output;
    }
}

}  // namespace
