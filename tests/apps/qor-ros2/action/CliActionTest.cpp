// `action list`, `info` and `send_goal`, and the action sections of `node info`, against live
// action servers of the test, with ros2's texts and exit codes.

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <regex>
#include <string>

#include "CliRuns.h"
#include "SteppingActionServer.h"
#include "WaitFor.h"
#include "qorROS2/NodeIdentity.h"

namespace {

constexpr int kListDomain = 38;
constexpr int kGoalDomain = 78;

using namespace std::chrono_literals;
using qorTest::SteppingActionServer;
const std::string kType = "simulation_interfaces/action/SimulateSteps";

std::string actionOf(const std::string& name) {
    return "/cli_action/p" + std::to_string(::getpid()) + "/" + name;
}

// The goal's ID that send_goal printed: 32 hex digits.
qorROS2::GoalId printedGoalId(const std::string& output) {
    std::smatch match;
    qorROS2::GoalId id{};
    if (std::regex_search(output, match, std::regex("Goal accepted with ID: ([0-9a-f]{32})\n"))) {
        for (std::size_t i = 0; i < id.size(); ++i) {
            id[i] =
                static_cast<std::uint8_t>(std::stoi(match[1].str().substr(2 * i, 2), nullptr, 16));
        }
    }
    return id;
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(CliAction, ListShowsEveryActionServedWithItsTypeOrItsCount) {
    const std::string first = actionOf("list_first");
    const std::string second = actionOf("list_second");
    const SteppingActionServer a(first, kListDomain);
    const SteppingActionServer b(second, kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(qorCliTest::runCliSplit("action list", kListDomain), 0,
                                           first + "\n" + second + "\n"));
    EXPECT_TRUE(
        qorCliTest::exitedPrinting(qorCliTest::runCliSplit("action list -t", kListDomain), 0,
                                   first + " [" + kType + "]\n" + second + " [" + kType + "]\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCliSplit("action list --count-actions", kListDomain), 0, "2\n"));
}

TEST(CliAction, InfoAndNodeInfoNameTheServingNode) {
    const std::string node = "cli_action_node_p" + std::to_string(::getpid());
    qorROS2::setNodeIdentity(node, "/");
    const std::string action = actionOf("info");
    const SteppingActionServer server(action, kGoalDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCliSplit("action info -t " + action, kGoalDomain), 0,
        "Action: " + action + "\nAction clients: 0\nAction servers: 1\n    /" + node + " [" +
            kType + "]\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCliSplit("action info -c " + action, kGoalDomain), 0,
        "Action: " + action + "\nAction clients: 0\nAction servers: 1\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCliSplit("node info /" + node, kGoalDomain), 0,
        "/" + node +
            "\n  Subscribers:\n\n  Publishers:\n\n  Service Servers:\n\n  Service Clients:\n\n"
            "  Action Servers:\n    " +
            action + ": " + kType + "\n  Action Clients:\n\n"));
}

TEST(CliAction, SendGoalPrintsFeedbackAndTheResultAsRos2Does) {
    const std::string action = actionOf("send_goal");
    SteppingActionServer server(action, kGoalDomain);
    const auto child = qorCliTest::startCli(
        "action send_goal -f " + action + " " + kType + " {\"steps\":2}", kGoalDomain);
    ASSERT_TRUE(child->readUntil(
        [](const std::string& out) { return holds(out, "Goal accepted with ID: "); }, 20s))
        << child->output();
    // One turn at a time, so that each feedback is printed before the next thing happens.
    for (const char* printed : {"completed_steps: 1", "completed_steps: 2", "Goal finished"}) {
        server.allowTurns(1);
        ASSERT_TRUE(child->readUntil(
            [printed](const std::string& out) { return holds(out, printed); }, 20s))
            << child->output();
    }
    ASSERT_EQ(child->waitForExit(10s), 0) << child->output();
    const qorROS2::GoalId id = printedGoalId(child->output());
    EXPECT_EQ(child->output(),
              "Waiting for an action server to become available...\n"
              "Sending goal:\n     steps: 2\n\n"
              "Goal accepted with ID: " +
                  qorROS2::goalIdText(id) +
                  "\n\n"
                  "Feedback:\n    completed_steps: 1\nremaining_steps: 1\n\n"
                  "Feedback:\n    completed_steps: 2\nremaining_steps: 0\n\n"
                  "Result:\n    result:\n  result: 0\n  error_message: stepped 2\n\n"
                  "Goal finished with status: SUCCEEDED\n");
    EXPECT_EQ(server.with([&](SteppingActionServer::Server& s) { return s.status(id); }),
              qorROS2::goalStatus::succeeded)
        << "the printed ID is not the goal's";
}

TEST(CliAction, SendGoalOfARefusedGoalSaysItWasRejected) {
    const std::string action = actionOf("rejected");
    const SteppingActionServer server(action, kGoalDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCliSplit("action send_goal " + action + " " + kType + " '{steps: 0}'",
                                kGoalDomain),
        0,
        "Waiting for an action server to become available...\nSending goal:\n     steps: 0\n\n"
        "Goal was rejected.\n"));
}

TEST(CliAction, SendGoalRefusesAnUnknownTypeAndValuesThatDoNotFit) {
    const auto unknown =
        qorCliTest::runCliSplit("action send_goal /x pkg/action/Nothing '{}'", kGoalDomain);
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errors, "The passed action type is invalid\n");
    EXPECT_EQ(unknown.output, "");
    const auto values =
        qorCliTest::runCliSplit("action send_goal /x " + kType + " '{nonsense: 1}'", kGoalDomain);
    EXPECT_EQ(values.exitCode, 1);
    EXPECT_EQ(values.errors.rfind("Failed to populate message fields: ", 0), 0U) << values.errors;
    EXPECT_EQ(values.output, "");
}

TEST(CliAction, CtrlCDuringSendGoalCancelsTheGoal) {
    const std::string action = actionOf("interrupted");
    SteppingActionServer server(action, kGoalDomain);
    const auto child = qorCliTest::startCli(
        "action send_goal --feedback " + action + " " + kType + " {\"steps\":50}", kGoalDomain);
    ASSERT_TRUE(child->readUntil(
        [](const std::string& out) { return holds(out, "Goal accepted with ID: "); }, 20s))
        << child->output();
    server.allowTurns(1);
    // Feedback shows the goal executing; the status that says so came before it.
    ASSERT_TRUE(child->readUntil(
        [](const std::string& out) { return holds(out, "completed_steps: 1"); }, 20s))
        << child->output();
    ASSERT_TRUE(child->signal(SIGINT));
    EXPECT_EQ(child->waitForExit(20s), 2) << child->output();
    const std::string output = child->output();
    EXPECT_TRUE(holds(output, "\nCanceling goal...\nGoal canceled.\n")) << output;
    const qorROS2::GoalId id = printedGoalId(output);
    EXPECT_TRUE(qorTest::waitFor([&] {
        return server.with([&](SteppingActionServer::Server& s) { return s.status(id); }) ==
               qorROS2::goalStatus::canceled;
    }));
}

}  // namespace
