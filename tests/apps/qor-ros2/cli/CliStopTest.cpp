// Ctrl-C and SIGTERM end every verb of qor-ros2 at once, whatever it is waiting for, with the exit
// code ros2 returns: the signal's number.

#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CliRuns.h"
#include "WaitFor.h"

namespace {

constexpr int kStopDomain = 127;

// How long a stopped verb may take to exit: what our code waits for after the signal is nothing,
// so this only leaves room for a busy machine to tear the participant down.
constexpr std::chrono::milliseconds kPromptExit{2000};

struct Waiting {
    std::string arguments;
    std::string shown;  // printed once the verb waits; empty when it waits before printing
};

// Waits until `child`, started with `waiting.arguments`, handles SIGINT and waits as `waiting`
// says.
void awaitWaiting(qorTest::ChildProcess& child, const Waiting& waiting) {
    EXPECT_TRUE(qorTest::waitFor([&] { return child.catchesSignal(SIGINT); }))
        << waiting.arguments << " never handled SIGINT";
    if (!waiting.shown.empty()) {
        EXPECT_TRUE(child.readUntil(
            [&](const std::string& text) { return text.find(waiting.shown) != std::string::npos; },
            qorTest::kDeliveryDeadline))
            << waiting.arguments << " never printed '" << waiting.shown << "':\n"
            << child.output();
    }
}

// Sends `signal` to `child` and expects it to exit within kPromptExit with `code`.
void expectPromptExit(qorTest::ChildProcess& child, const std::string& arguments, int signal,
                      int code) {
    const auto sent = std::chrono::steady_clock::now();
    const std::optional<int> exitCode = child.stop(signal, std::chrono::seconds(30));
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - sent);
    const std::string evidence = arguments + ": exit code " +
                                 (exitCode ? std::to_string(*exitCode) : "none (still running)") +
                                 " after " + std::to_string(took.count()) + " ms; it printed:\n" +
                                 child.output();
    EXPECT_EQ(exitCode, code) << evidence;
    EXPECT_LT(took, kPromptExit) << evidence;
}

TEST(CliStop, CtrlCEndsAVerbStillLookingAtTheGraphWithTwoAndPrintsNothing) {
    // Each is stopped as soon as it can take the signal: while discovery has not settled.
    const std::vector<std::string> verbs = {"topic echo /cli/stop_untyped",
                                            "topic hz /cli/stop_untyped_hz",
                                            "node list",
                                            "topic list",
                                            "topic type /cli/stop_untyped",
                                            "action list"};
    for (const std::string& arguments : verbs) {
        const auto child = qorCliTest::startCli(arguments, kStopDomain);
        awaitWaiting(*child, {arguments, ""});
        expectPromptExit(*child, arguments, SIGINT, 2);
        EXPECT_EQ(child->output(), "") << arguments;
    }
}

TEST(CliStop, CtrlCEndsEveryWaitingVerbAtOnceWithTwo) {
    const std::string unpublished = " does not appear to be published yet\n";
    const std::vector<Waiting> waiting = {
        {"topic hz /cli/stop_hz", "WARNING: topic [/cli/stop_hz]" + unpublished},
        {"topic bw /cli/stop_bw", "WARNING: topic [/cli/stop_bw]" + unpublished},
        {"topic delay /cli/stop_delay", "WARNING: topic [/cli/stop_delay]" + unpublished},
        {"topic pub /cli/stop_pub std_msgs/msg/String --once",
         "Waiting for at least 1 matching subscription(s)...\n"},
        {"topic pub /cli/stop_rate std_msgs/msg/String --rate 0.1", "publishing #1: "},
        {"topic echo /cli/stop_typed std_msgs/msg/String", ""},
        {"action send_goal /cli/stop_action simulation_interfaces/action/SimulateSteps {}",
         "Waiting for an action server to become available...\n"},
    };
    // All wait together, so that the slowest discovery is waited for once.
    std::vector<std::unique_ptr<qorTest::ChildProcess>> children;
    for (const Waiting& verb : waiting) {
        children.push_back(qorCliTest::startCli(verb.arguments, kStopDomain));
    }
    for (std::size_t index = 0; index < waiting.size(); ++index) {
        awaitWaiting(*children[index], waiting[index]);
        expectPromptExit(*children[index], waiting[index].arguments, SIGINT, 2);
    }
}

TEST(CliStop, SigtermEndsAWaitingVerbWithFifteen) {
    const Waiting hz{"topic hz /cli/stop_term", "WARNING: topic [/cli/stop_term]"};
    const auto child = qorCliTest::startCli(hz.arguments, kStopDomain);
    awaitWaiting(*child, hz);
    expectPromptExit(*child, hz.arguments, SIGTERM, 15);
}

}  // namespace
