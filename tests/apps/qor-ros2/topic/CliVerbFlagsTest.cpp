// The flags ros2's verbs take beyond the basic ones, which scripts pass: how echo chooses its QoS
// when a profile is given, echo's --raw, --filter, --timeout and lost-message flags, hz's
// --filter, pub's -n and --max-wait-time-secs, and the node flags every verb accepts.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "CliRuns.h"
#include "RepeatingPublisher.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

// The tests' topics differ, so they share one domain.
constexpr int kDomain = 62;

using qorROS2::QOS;
using String = qorROS2::stdMsgs::String;

String text(const std::string& data) {
    String message;
    message.data = data;
    return message;
}

TEST(CliVerbFlags, EchoWithAQosProfileAloneSubscribesWithThatProfileNotThePublishers) {
    // Latched, as a robot description is.
    qorROS2::Publisher<String> latched(
        "/cli/latched", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kDomain);
    ASSERT_TRUE(latched.sendMessage(text("urdf")));
    // Without a QoS flag, echo adapts to the publisher and gets the latched message. The spin
    // time, no QoS flag, gives a busy machine's discovery time to find the publisher.
    const auto adapted = qorCliTest::runCli(
        "topic echo --once --spin-time 5 /cli/latched std_msgs/msg/String", kDomain, true);
    EXPECT_EQ(adapted.exitCode, 0);
    EXPECT_EQ(adapted.output, "data: urdf\n---\n");
    // With a profile alone, Humble's echo takes the profile as given: sensor_data is volatile,
    // so the first message it prints is one sent after it subscribed.
    for (const std::string profile : {"sensor_data", "services_default"}) {
        // The echo before has gone.
        ASSERT_TRUE(qorTest::waitFor([&] { return latched.matchedSubscriptions() == 0; }));
        auto profiled = std::async(std::launch::async, [&] {
            return qorCliTest::runCli(
                "topic echo --once --qos-profile " + profile + " /cli/latched std_msgs/msg/String",
                kDomain, true);
        });
        ASSERT_TRUE(qorTest::waitFor([&] { return latched.matchedSubscriptions() > 0; }))
            << profile;
        while (profiled.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
            latched.sendMessage(text("live"));
        }
        const auto result = profiled.get();
        EXPECT_EQ(result.exitCode, 0) << profile;
        EXPECT_EQ(result.output, "data: live\n---\n") << profile;
        ASSERT_TRUE(latched.sendMessage(text("urdf")));
    }
}

TEST(CliVerbFlags, EchoRawPrintsTheBytesThatCameOverTheWire) {
    const qorCliTest::RepeatingPublisher<String> publisher("/cli/raw", kDomain,
                                                           [] { return text("hello"); });
    const auto raw =
        qorCliTest::runCli("topic echo --raw --once /cli/raw std_msgs/msg/String", kDomain, true);
    EXPECT_EQ(raw.exitCode, 0);
    // Encapsulation (CDR, little endian), the length 6, "hello" and its NUL, the padding to 16.
    EXPECT_EQ(raw.output, "b'\\x00\\x01\\x00\\x00\\x06\\x00\\x00\\x00hello\\x00\\x00\\x00'\n---\n");
    const auto csv = qorCliTest::runCli("topic echo --raw --csv --once /cli/raw", kDomain, true);
    EXPECT_EQ(csv.output, "b'\\x00\\x01\\x00\\x00\\x06\\x00\\x00\\x00hello\\x00\\x00\\x00'\n");
    // Bytes have no fields.
    const auto field =
        qorCliTest::runCli("topic echo --raw --field data --once /cli/raw", kDomain, true);
    EXPECT_EQ(field.exitCode, 1);
    EXPECT_EQ(field.output, "Invalid field 'data': 'bytes' object has no attribute 'data'\n");
}

TEST(CliVerbFlags, EchoFilterPrintsOnlyTheMessagesItMatches) {
    std::atomic<int> count{0};
    const qorCliTest::RepeatingPublisher<String> publisher("/cli/filtered", kDomain, [&] {
        const int n = count++;
        return text((n % 3 == 2 ? "keep " : "drop ") + std::to_string(n));
    });
    const auto kept = qorCliTest::runCli(
        "topic echo --once --filter \"m.data.startswith('keep')\" /cli/filtered", kDomain, true);
    EXPECT_EQ(kept.exitCode, 0);
    EXPECT_EQ(kept.output.rfind("data: keep ", 0), 0U) << kept.output;
    // The filter sees the field --field selects.
    const auto field = qorCliTest::runCli(
        "topic echo --once --field data --filter \"'keep' in m\" /cli/filtered", kDomain, true);
    EXPECT_EQ(field.output.rfind("keep ", 0), 0U) << field.output;
    // A raw message is its bytes.
    const auto raw = qorCliTest::runCli(
        "topic echo --once --raw --filter \"b'keep' in m\" /cli/filtered", kDomain, true);
    EXPECT_NE(raw.output.find("keep "), std::string::npos) << raw.output;
    EXPECT_EQ(raw.output.find("drop "), std::string::npos) << raw.output;
    // Refused before anything is subscribed.
    const auto refused = qorCliTest::runCli(
        "topic echo --filter \"m.dta == 'x'\" /cli/filtered std_msgs/msg/String", kDomain, true);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.output,
              "qor-ros2: argument --filter: cannot evaluate 'm.dta == 'x'': AttributeError: "
              "'String' object has no attribute 'dta'\n");
}

TEST(CliVerbFlags, EchoTimeoutEndsTheWaitAndTheLostMessageFlagsAreAccepted) {
    const auto start = std::chrono::steady_clock::now();
    const auto quiet = qorCliTest::runCli(
        "topic echo --timeout 1 --spin-time 0.2 /cli/nobody std_msgs/msg/String", kDomain, true);
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.output, "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    const qorCliTest::RepeatingPublisher<String> publisher("/cli/lossless", kDomain,
                                                           [] { return text("x"); });
    const auto flags = qorCliTest::runCliSplit(
        "topic echo --once --no-lost-messages --lost-messages --no-daemon -s --timeout 20 "
        "/cli/lossless",
        kDomain);
    EXPECT_EQ(flags.exitCode, 0);
    EXPECT_EQ(flags.output, "data: x\n---\n");
    EXPECT_EQ(flags.errors,
              "WARNING: '--lost-messages' is deprecated; lost messages are reported by default\n");
    const auto zero = qorCliTest::runCliSplit("topic echo --timeout 0 /cli/lossless", kDomain);
    EXPECT_EQ(zero.exitCode, 2);
    EXPECT_NE(zero.errors.find("error: argument --timeout: invalid positive_float value: '0'\n"),
              std::string::npos)
        << zero.errors;
}

TEST(CliVerbFlags, HzFilterTimesOnlyTheMessagesItMatches) {
    std::atomic<int> count{0};
    // Every tenth message of twenty a second: two a second pass the filter.
    const qorCliTest::RepeatingPublisher<qorROS2::stdMsgs::Int32> publisher(
        "/cli/hz_filtered", kDomain, [&] {
            qorROS2::stdMsgs::Int32 message{};
            message.data = count++;
            return message;
        });
    const auto result =
        qorCliTest::runCliUntilPrinted("topic hz --filter 'm.data % 10 == 0' /cli/hz_filtered",
                                       "grep -q 'window:' \"$out\"", kDomain);
    EXPECT_EQ(result.exitCode, 2) << result.output;
    const std::regex rate("average rate: ([0-9.]+)\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.output, match, rate)) << result.output;
    EXPECT_LT(std::atof(match[1].str().c_str()), 5.0) << result.output;
}

TEST(CliVerbFlags, PubNodeNameNamesThePublishingNode) {
    auto publishing = std::async(std::launch::async, [] {
        return qorCliTest::runCli(
            "topic pub -n cli_named_publisher -t 1 -w 0 --keep-alive 8 /cli/named "
            "std_msgs/msg/String '{data: x}'",
            kDomain, true);
    });
    const qorROS2::TopicDiscovery discovery(kDomain);
    const auto named = [&] {
        for (const qorROS2::DiscoveredEndpoint& endpoint : discovery.endpoints()) {
            if (endpoint.topic == "/cli/named" && endpoint.publisher) {
                return endpoint.nodeNamespace + "|" + endpoint.nodeName;
            }
        }
        return std::string();
    };
    EXPECT_TRUE(qorTest::waitFor([&] { return named() == "/|cli_named_publisher"; })) << named();
    EXPECT_EQ(publishing.get().exitCode, 0);
    const auto invalid = qorCliTest::runCli(
        "topic pub --node-name bad-name --once /cli/named std_msgs/msg/String", kDomain, true);
    EXPECT_EQ(invalid.exitCode, 1);
    EXPECT_EQ(invalid.output,
              "qor-ros2: invalid node name \"bad-name\": a node name holds only "
              "letters, digits and '_'\n");
}

TEST(CliVerbFlags, PubMaxWaitTimeGivesUpWaitingForSubscriptionsAsRos2Does) {
    const auto timedOut = qorCliTest::runCliSplit(
        "topic pub --once --max-wait-time-secs 0.5 /cli/unheard std_msgs/msg/String", kDomain);
    EXPECT_EQ(timedOut.exitCode, 1);
    EXPECT_EQ(timedOut.output, "Waiting for at least 1 matching subscription(s)...\n");
    EXPECT_EQ(timedOut.errors,
              "qor-ros2: Timed out waiting for subscribers: Expected 1 "
              "subcribers but only got 0 subscribers\n");
    const auto pointless = qorCliTest::runCliSplit(
        "topic pub --max-wait-time-secs 2 /cli/unheard std_msgs/msg/String", kDomain);
    EXPECT_EQ(pointless.exitCode, 1);
    EXPECT_EQ(pointless.errors,
              "qor-ros2: --max-wait-time-secs option is only effective with "
              "--wait-matching-subscriptions, --once or --times\n");
}

TEST(CliVerbFlags, ListingVerbsWaitTheSpinTimeAndTakeTheNodeFlags) {
    const qorCliTest::RepeatingPublisher<String> publisher("/cli/listed", kDomain,
                                                           [] { return text("x"); });
    const auto start = std::chrono::steady_clock::now();
    const auto list = qorCliTest::runCli("topic list --spin-time 3 --no-daemon -s", kDomain, true);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_NE(list.output.find("/cli/listed\n"), std::string::npos) << list.output;
    for (const std::string verb :
         {"topic info /cli/listed", "topic type /cli/listed", "topic find std_msgs/msg/String",
          "node list", "node info /nobody"}) {
        const auto result =
            qorCliTest::runCli(verb + " --spin-time 0.1 --no-daemon --use-sim-time", kDomain, true);
        EXPECT_NE(result.exitCode, 2) << verb << ": " << result.output;
        EXPECT_EQ(result.output.find("unrecognized"), std::string::npos) << result.output;
    }
    const auto negative = qorCliTest::runCliSplit("node list --spin-time=-1", kDomain);
    EXPECT_EQ(negative.exitCode, 2);
    EXPECT_NE(negative.errors.find("qor-ros2 node list: error: argument --spin-time: the time "
                                   "must be a finite number of seconds, 0 or more\n"),
              std::string::npos)
        << negative.errors;
    const auto word = qorCliTest::runCliSplit("node list --spin-time soon", kDomain);
    EXPECT_NE(word.errors.find("error: argument --spin-time: invalid float value: 'soon'\n"),
              std::string::npos)
        << word.errors;
}

struct HelpLines {
    std::string verb;
    std::vector<std::string> lines;  // what its help must hold
};

TEST(CliVerbFlags, HelpNamesEachFlagWithRos2sMetavarAndSaysWhatItDoesHere) {
    const std::vector<HelpLines> cases = {
        {"topic echo",
         {"--spin-time SPIN_TIME", "-s, --use-sim-time", "--no-daemon", "--lost-messages",
          "--no-lost-messages", "--raw", "--filter FILTER_EXPR", "--timeout N",
          "no effect: qor-ros2 never uses a daemon", "qor-ros2 does not report lost messages",
          "default: Automatically match existing publishers )"}},
        {"topic hz",
         {"--filter EXPR", "--wall-time", "--spin-time SPIN_TIME", "-s, --use-sim-time"}},
        {"topic bw", {"--spin-time SPIN_TIME", "-s, --use-sim-time"}},
        {"topic delay", {"--spin-time SPIN_TIME", "-s, --use-sim-time"}},
        {"topic pub",
         {"-n NODE_NAME, --node-name NODE_NAME", "--max-wait-time-secs MAX_WAIT_TIME_SECS",
          "--spin-time SPIN_TIME", "-s, --use-sim-time"}},
        {"topic list",
         {"--spin-time SPIN_TIME", "-s, --use-sim-time", "--no-daemon",
          "this verb reads no clock"}},
        {"node info", {"--spin-time SPIN_TIME", "-s, --use-sim-time", "--no-daemon"}},
    };
    for (const HelpLines& help : cases) {
        // Wide, so that no help text is wrapped inside what is looked for.
        const auto result = qorCliTest::runShell(
            "env COLUMNS=1000 " + std::string(QOR_ROS2_CLI) + " " + help.verb + " --help", kDomain);
        EXPECT_EQ(result.exitCode, 0) << help.verb;
        for (const std::string& line : help.lines) {
            EXPECT_NE(result.output.find(line), std::string::npos)
                << help.verb << " does not say " << line << ":\n"
                << result.output;
        }
    }
}

}  // namespace
