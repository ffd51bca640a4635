// The action server of simulation_interfaces/action/SimulateSteps as a simulation runs it (see
// SteppingActionServer.h), driven by a typed client in the same process.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "SteppingActionServer.h"
#include "WaitFor.h"
#include "endpoints/RawPayloadWriter.h"
#include "qor/Notify.h"
#include "qorROS2/ActionClient.h"
#include "qorROS2/ActionServer.h"

namespace {

using namespace qorROS2;
using namespace std::chrono_literals;
using simulationInterfaces::SimulateSteps;
using SteppingServer = qorTest::SteppingActionServer;

constexpr std::int8_t kDomain = 77;
constexpr std::int64_t kSecond = 1000000000;

std::string uniqueAction(const std::string& name) {
    return "/qor_test/p" + std::to_string(::getpid()) + "/" + name;
}

GoalId goalId(std::uint8_t first) {
    GoalId id{};
    id[0] = first;
    id[15] = 0xa5;
    return id;
}

std::string describe(const actionMsgs::GoalStatusArray& array) {
    std::ostringstream text;
    for (const actionMsgs::GoalStatus& status : array.status_list) {
        text << goalIdText(status.goal_info.goal_id.uuid) << " " << int{status.status} << " @"
             << status.goal_info.stamp.sec << "." << status.goal_info.stamp.nanosec << "\n";
    }
    return text.str();
}

// Waits for a status array that `wanted` accepts; the last one seen is kept for the failure
// message. The status topic keeps only the newest array, so earlier ones may never be seen.
bool waitForStatus(ActionClient<SimulateSteps>& client,
                   const std::function<bool(const actionMsgs::GoalStatusArray&)>& wanted,
                   actionMsgs::GoalStatusArray& last) {
    return qorTest::waitFor([&] {
        actionMsgs::GoalStatusArray array;
        while (client.takeStatus(array)) {
            last = array;
            if (wanted(last)) {
                return true;
            }
        }
        return false;
    });
}

// One action of the test: its server, stepped as SteppingActionServer steps, and a client.
struct Served {
    explicit Served(const std::string& name, ActionServerOptions options = {},
                    bool acceptCancels = true)
        : action(uniqueAction(name)),
          server(action, kDomain, std::move(options), acceptCancels),
          client(action, kDomain) {}

    ::testing::AssertionResult ready() const {
        if (client.waitForServer(qorTest::kDeliveryDeadline)) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "the client found no server of " << action;
    }

    /// Sends a goal of `count` steps under `id`, the answer into `response`.
    ::testing::AssertionResult send(const GoalId& id, std::uint64_t count,
                                    SimulateSteps::SendGoal::Response& response) {
        if (client.sendGoal(id, SimulateSteps::Goal{count}, response, 10s)) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "no answer to the goal " << goalIdText(id);
    }

    /// Sends a goal of `count` steps under `id`, which the server must accept.
    ::testing::AssertionResult accept(const GoalId& id, std::uint64_t count) {
        SimulateSteps::SendGoal::Response response{};
        ::testing::AssertionResult sent = send(id, count, response);
        if (sent && !response.accepted) {
            return ::testing::AssertionFailure() << "the goal " << goalIdText(id) << " was refused";
        }
        return sent;
    }

    /// Asks to cancel with the goal id `id` and the stamp `sec` seconds.
    ::testing::AssertionResult cancel(const GoalId& id, std::int32_t sec,
                                      actionMsgs::CancelGoal::Response& response) {
        actionMsgs::CancelGoal::Request request{};
        request.goal_info.goal_id.uuid = id;
        request.goal_info.stamp.sec = sec;
        if (client.cancelGoals(request, response, 10s)) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "no answer to the cancel request";
    }

    std::int8_t status(const GoalId& id) {
        return server.with([&](ActionServer<SimulateSteps>& s) { return s.status(id); });
    }

    std::string action;
    SteppingServer server;
    ActionClient<SimulateSteps> client;
};

TEST(ActionServer, AcceptedGoalSendsFeedbackThenItsResult) {
    Served served("simulate_steps");
    ASSERT_TRUE(served.ready());
    const GoalId id = goalId(1);

    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(served.send(id, 3, accepted));
    EXPECT_TRUE(accepted.accepted);
    EXPECT_GT(accepted.stamp.sec, 0) << "the acceptance is stamped by the system clock";

    // Asked before the goal ends, the result comes when it ends.
    std::atomic<bool> answered{false};
    SimulateSteps::GetResult::Response result{};
    const std::size_t takenBefore = served.server.taken();
    ASSERT_GE(served.client.requestResult(id,
                                          [&](SimulateSteps::GetResult::Response&& response) {
                                              result = response;
                                              answered = true;
                                          }),
              0);
    ASSERT_TRUE(qorTest::waitFor([&] { return served.server.taken() > takenBefore; }));
    EXPECT_FALSE(answered.load()) << "answered before the goal ended";

    served.server.allowTurns(4);
    std::vector<SimulateSteps::FeedbackMessage> feedback;
    ASSERT_TRUE(qorTest::waitFor([&] {
        SimulateSteps::FeedbackMessage message{};
        while (served.client.takeFeedback(message)) {
            feedback.push_back(message);
        }
        return feedback.size() >= 3 && answered.load();
    })) << feedback.size()
        << " feedback messages, answered " << answered.load();
    for (std::size_t i = 0; i < feedback.size(); ++i) {
        EXPECT_EQ(feedback[i].goal_id.uuid, id);
        EXPECT_EQ(feedback[i].feedback.completed_steps, i + 1);
        EXPECT_EQ(feedback[i].feedback.remaining_steps, 2 - i);
    }
    EXPECT_EQ(feedback.size(), 3U);
    EXPECT_EQ(result.status, goalStatus::succeeded);
    EXPECT_EQ(result.result.result.error_message, "stepped 3");

    // Asked after the end, it is answered at once.
    SimulateSteps::GetResult::Response again{};
    ASSERT_TRUE(served.client.getResult(id, again, 10s));
    EXPECT_EQ(again.status, goalStatus::succeeded);
    EXPECT_EQ(again.result.result.error_message, "stepped 3");

    actionMsgs::GoalStatusArray status;
    ASSERT_TRUE(waitForStatus(
        served.client,
        [&](const actionMsgs::GoalStatusArray& array) {
            return array.status_list.size() == 1 &&
                   array.status_list[0].status == goalStatus::succeeded;
        },
        status))
        << describe(status);
    EXPECT_EQ(status.status_list[0].goal_info.goal_id.uuid, id);
    EXPECT_EQ(status.status_list[0].goal_info.stamp.sec, accepted.stamp.sec);
    EXPECT_EQ(status.status_list[0].goal_info.stamp.nanosec, accepted.stamp.nanosec);
    EXPECT_TRUE(served.server.failures().empty()) << served.server.failures().front();
}

TEST(ActionServer, RefusedGoalIsNotAcceptedAndItsResultIsUnknown) {
    Served served("refusing");
    ASSERT_TRUE(served.ready());

    SimulateSteps::SendGoal::Response response{};
    ASSERT_TRUE(served.send(goalId(2), 0, response));
    EXPECT_FALSE(response.accepted);
    EXPECT_EQ(served.status(goalId(2)), goalStatus::unknown);

    SimulateSteps::GetResult::Response result{};
    result.status = goalStatus::succeeded;
    ASSERT_TRUE(served.client.getResult(goalId(2), result, 10s));
    EXPECT_EQ(result.status, goalStatus::unknown);
}

TEST(ActionServer, GoalUnderAKnownIdIsRefused) {
    Served served("twice");
    ASSERT_TRUE(served.ready());

    SimulateSteps::SendGoal::Response first{};
    ASSERT_TRUE(served.send(goalId(3), 5, first));
    EXPECT_TRUE(first.accepted);
    SimulateSteps::SendGoal::Response second{};
    ASSERT_TRUE(served.send(goalId(3), 7, second));
    EXPECT_FALSE(second.accepted);
    EXPECT_EQ(
        served.server.with([](ActionServer<SimulateSteps>& s) { return s.goal(goalId(3))->steps; }),
        5U);
}

TEST(ActionServer, CancelOfOneGoalLeavesTheOthersAndAnswersAsRclAction) {
    Served served("cancel_one");
    ASSERT_TRUE(served.ready());
    ASSERT_TRUE(served.accept(goalId(4), 100));
    ASSERT_TRUE(served.accept(goalId(5), 100));

    actionMsgs::CancelGoal::Response response{};
    ASSERT_TRUE(served.cancel(goalId(4), 0, response));
    EXPECT_EQ(response.return_code, cancelReturn::none);
    ASSERT_EQ(response.goals_canceling.size(), 1U);
    EXPECT_EQ(response.goals_canceling[0].goal_id.uuid, goalId(4));

    SimulateSteps::GetResult::Response result{};
    ASSERT_TRUE(served.client.getResult(goalId(4), result, 10s));
    EXPECT_EQ(result.status, goalStatus::canceled);
    EXPECT_EQ(served.status(goalId(5)), goalStatus::executing);

    // A goal that has ended cannot be cancelled; one never seen is unknown.
    ASSERT_TRUE(served.cancel(goalId(4), 0, response));
    EXPECT_EQ(response.return_code, cancelReturn::goalTerminated);
    EXPECT_TRUE(response.goals_canceling.empty());
    ASSERT_TRUE(served.cancel(goalId(99), 0, response));
    EXPECT_EQ(response.return_code, cancelReturn::unknownGoalId);
    EXPECT_TRUE(response.goals_canceling.empty());
}

TEST(ActionServer, CancelWithoutIdOrStampCancelsEveryGoal) {
    Served served("cancel_all");
    ASSERT_TRUE(served.ready());
    for (std::uint8_t goal = 10; goal < 13; ++goal) {
        ASSERT_TRUE(served.accept(goalId(goal), 100));
    }

    actionMsgs::CancelGoal::Response response{};
    ASSERT_TRUE(served.cancel(GoalId{}, 0, response));
    EXPECT_EQ(response.return_code, cancelReturn::none);
    ASSERT_EQ(response.goals_canceling.size(), 3U);
    for (std::uint8_t goal = 10; goal < 13; ++goal) {
        EXPECT_EQ(response.goals_canceling[goal - 10].goal_id.uuid, goalId(goal));
    }

    actionMsgs::GoalStatusArray status;
    EXPECT_TRUE(waitForStatus(
        served.client,
        [](const actionMsgs::GoalStatusArray& array) {
            return array.status_list.size() == 3 &&
                   std::all_of(array.status_list.begin(), array.status_list.end(),
                               [](const actionMsgs::GoalStatus& goal) {
                                   return goal.status == goalStatus::canceled;
                               });
        },
        status))
        << describe(status);
}

TEST(ActionServer, CancelWithAStampCancelsTheGoalsAcceptedUpToItAndTheNamedOne) {
    std::atomic<std::int64_t> clock{100 * kSecond};
    ActionServerOptions options;
    options.clock = [&clock] { return clock.load(); };
    Served served("cancel_before", options);
    ASSERT_TRUE(served.ready());
    for (std::uint8_t goal = 20; goal < 23; ++goal) {
        SimulateSteps::SendGoal::Response accepted{};
        ASSERT_TRUE(served.send(goalId(goal), 100, accepted));
        ASSERT_TRUE(accepted.accepted);
        EXPECT_EQ(accepted.stamp.sec, 100 + 100 * (goal - 20));
        EXPECT_EQ(accepted.stamp.nanosec, 0U);
        clock += 100 * kSecond;
    }

    // Goals stamped 100 s, 200 s and 300 s: a stamp of 200 s takes the first two; the id of
    // the third adds it.
    actionMsgs::CancelGoal::Response response{};
    ASSERT_TRUE(served.cancel(GoalId{}, 200, response));
    EXPECT_EQ(response.return_code, cancelReturn::none);
    ASSERT_EQ(response.goals_canceling.size(), 2U);
    EXPECT_EQ(response.goals_canceling[0].goal_id.uuid, goalId(20));
    EXPECT_EQ(response.goals_canceling[1].goal_id.uuid, goalId(21));
    EXPECT_EQ(response.goals_canceling[1].stamp.sec, 200);

    ASSERT_TRUE(served.cancel(goalId(22), 50, response));
    EXPECT_EQ(response.return_code, cancelReturn::none);
    ASSERT_EQ(response.goals_canceling.size(), 1U);
    EXPECT_EQ(response.goals_canceling[0].goal_id.uuid, goalId(22));

    // Nothing left to cancel: no error, and an empty list, as rcl_action answers.
    ASSERT_TRUE(served.cancel(GoalId{}, 0, response));
    EXPECT_EQ(response.return_code, cancelReturn::none);
    EXPECT_TRUE(response.goals_canceling.empty());
}

TEST(ActionServer, CancelTheApplicationRefusesIsRejected) {
    Served served("cancel_refused", ActionServerOptions{}, false);
    ASSERT_TRUE(served.ready());
    ASSERT_TRUE(served.accept(goalId(30), 100));

    actionMsgs::CancelGoal::Response response{};
    ASSERT_TRUE(served.cancel(goalId(30), 0, response));
    EXPECT_EQ(response.return_code, cancelReturn::rejected);
    EXPECT_TRUE(response.goals_canceling.empty());
    EXPECT_EQ(served.status(goalId(30)), goalStatus::executing);
}

TEST(ActionServer, StatusListsEveryGoalInTheOrderAccepted) {
    std::atomic<std::int64_t> clock{5 * kSecond + 250};
    ActionServerOptions options;
    options.clock = [&clock] { return clock.load(); };
    Served served("status", options);
    ASSERT_TRUE(served.ready());
    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(served.send(goalId(40), 1, accepted));
    clock += kSecond;
    ASSERT_TRUE(served.send(goalId(41), 100, accepted));
    served.server.allowTurns(2);

    actionMsgs::GoalStatusArray status;
    ASSERT_TRUE(waitForStatus(
        served.client,
        [](const actionMsgs::GoalStatusArray& array) {
            return array.status_list.size() == 2 &&
                   array.status_list[0].status == goalStatus::succeeded;
        },
        status))
        << describe(status);
    EXPECT_EQ(describe(status),
              goalIdText(goalId(40)) + " 4 @5.250\n" + goalIdText(goalId(41)) + " 2 @6.250\n");
}

TEST(ActionServer, ResultIsForgottenOnceItsTimeoutHasPassed) {
    std::atomic<std::int64_t> clock{1000 * kSecond};
    ActionServerOptions options;
    options.clock = [&clock] { return clock.load(); };
    options.resultTimeout = 10s;
    Served served("expiry", options);
    ASSERT_TRUE(served.ready());
    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(served.send(goalId(50), 1, accepted));
    served.server.allowTurns(2);
    SimulateSteps::GetResult::Response result{};
    ASSERT_TRUE(served.client.getResult(goalId(50), result, 10s));
    ASSERT_EQ(result.status, goalStatus::succeeded);

    // Ten seconds after acceptance it is still kept; past them, it is gone.
    clock += 10 * kSecond;
    ASSERT_TRUE(served.client.getResult(goalId(50), result, 10s));
    EXPECT_EQ(result.status, goalStatus::succeeded);
    clock += 1;
    ASSERT_TRUE(served.client.getResult(goalId(50), result, 10s));
    EXPECT_EQ(result.status, goalStatus::unknown);
}

TEST(ActionServer, GoalStatesMoveOnlyAsRclActionAllows) {
    const std::string action = uniqueAction("states");
    ActionServer<SimulateSteps> server(
        action, kDomain,
        [](const GoalId&, const SimulateSteps::Goal&) { return GoalResponse::acceptAndDefer; });
    ActionClient<SimulateSteps> client(action, kDomain);
    ASSERT_TRUE(client.waitForServer(qorTest::kDeliveryDeadline));
    std::atomic<bool> answered{false};
    SimulateSteps::SendGoal::Response accepted{};
    std::thread sending(
        [&] { answered = client.sendGoal(goalId(60), SimulateSteps::Goal{2}, accepted, 10s); });
    ASSERT_TRUE(qorTest::waitFor([&] {
        server.handleRequests();
        return server.status(goalId(60)) != goalStatus::unknown;
    }));
    sending.join();
    ASSERT_TRUE(answered.load());
    EXPECT_TRUE(accepted.accepted);
    const GoalId id = goalId(60);
    EXPECT_EQ(server.status(id), goalStatus::accepted);
    EXPECT_FALSE(server.succeed(id, SimulateSteps::Result{})) << "succeeded before executing";
    EXPECT_FALSE(server.canceled(id, SimulateSteps::Result{})) << "canceled without a request";
    EXPECT_TRUE(server.execute(id));
    EXPECT_FALSE(server.execute(id)) << "executed twice";
    EXPECT_EQ(server.status(id), goalStatus::executing);
    EXPECT_TRUE(server.abort(id, SimulateSteps::Result{}));
    EXPECT_EQ(server.status(id), goalStatus::aborted);
    EXPECT_FALSE(server.succeed(id, SimulateSteps::Result{})) << "ended twice";
    EXPECT_FALSE(server.publishFeedback(id, SimulateSteps::Feedback{})) << "feedback after the end";
    EXPECT_FALSE(server.execute(goalId(61))) << "an unknown goal executed";
    EXPECT_TRUE(server.activeGoals().empty());
}

TEST(ActionServer, MalformedGoalRequestIsDroppedWithAWarningAndServingGoesOn) {
    qor::NotifyLineCollector collector;
    Served served("malformed");
    transport::endpoints::RawPayloadWriter hostile(
        "rq" + served.action + "/_action/send_goalRequest",
        "simulation_interfaces::action::dds_::SimulateSteps_SendGoal_Request_",
        presetQos("services_default"), static_cast<std::uint32_t>(kDomain));
    ASSERT_TRUE(served.ready());
    ASSERT_TRUE(qorTest::waitFor([&] { return hostile.matchedSubscriptions() == 1; }));

    // A UUID cut off after 3 of its 16 bytes.
    const std::vector<std::uint8_t> truncated = {0x00, 0x01, 0x00, 0x00, 0x01, 0x02, 0x03};
    ASSERT_TRUE(hostile.write(truncated));
    ASSERT_TRUE(qorTest::waitFor([&] {
        return served.server.with(
                   [](ActionServer<SimulateSteps>& s) { return s.droppedRequests(); }) == 1;
    }));
    SimulateSteps::SendGoal::Request scratch{};
    const std::string reason = MessageCodec<SimulateSteps::SendGoal::Request>::decode(
        truncated.data(), truncated.size(), scratch);
    ASSERT_FALSE(reason.empty());
    ASSERT_EQ(collector.lines().size(), 1U);
    EXPECT_EQ(collector.lines()[0], "Warning: Service \"" + served.action +
                                        "/_action/send_goal\" dropped a malformed request (1 so "
                                        "far): " +
                                        reason);

    SimulateSteps::SendGoal::Response accepted{};
    ASSERT_TRUE(served.send(goalId(70), 1, accepted))
        << "the server stopped serving after a malformed request";
    EXPECT_TRUE(accepted.accepted);
}

TEST(ActionServer, EmptyGoalCallbackIsRefusedAtConstruction) {
    try {
        ActionServer<SimulateSteps> server("refused", kDomain,
                                           ActionServer<SimulateSteps>::GoalCallback());
        FAIL() << "constructed without a goal callback";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "action server \"refused\": a goal callback is needed to decide on goals");
    }
}

}  // namespace
