// Our action server called by a client written straight on Fast DDS as rmw_fastrtps writes one:
// the DDS topic and type names of the action's services and the bytes of their requests and
// replies are spelled out here, not taken from our code.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "RmwFastRtpsService.h"
#include "ServiceBytes.h"
#include "SteppingActionServer.h"
#include "WaitFor.h"
#include "qorROS2/RawSubscriber.h"

namespace {

using namespace std::chrono_literals;
using qorTest::Bytes;
using qorTest::RmwFastRtpsService;

constexpr std::uint32_t kDomain = 77;

// Sends `request` and waits for its reply, which must name it.
::testing::AssertionResult exchange(RmwFastRtpsService& client, const Bytes& request,
                                    Bytes& reply) {
    if (!qorTest::waitFor([&] { return client.matched(); })) {
        return ::testing::AssertionFailure() << "the client never matched the server";
    }
    const std::int64_t sent = client.sendRequest(request);
    std::int64_t answered = -1;
    if (sent < 0 || !client.takeReply(reply, answered, 10s)) {
        return ::testing::AssertionFailure() << "no reply to request " << sent;
    }
    if (answered != sent) {
        return ::testing::AssertionFailure() << "the reply names request " << answered;
    }
    return ::testing::AssertionSuccess();
}

TEST(RmwFastRtpsAction, ClientOfTheRmwWireSendsAGoalAndGetsItsResult) {
    const std::string action = "qor_test/p" + std::to_string(::getpid()) + "/rmw_action";
    qorROS2::ActionServerOptions options;
    options.clock = [] { return std::int64_t{7000000005}; };
    qorTest::SteppingActionServer server("/" + action, static_cast<std::int8_t>(kDomain), options);
    // The server steps only for a listener of its feedback.
    const qorROS2::RawSubscriber feedback(
        "/" + action + "/_action/feedback",
        "simulation_interfaces/action/SimulateSteps_FeedbackMessage",
        qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE, qorROS2::QOS::KEEP_LAST, 10},
        static_cast<std::int8_t>(kDomain));
    RmwFastRtpsService sendGoal(RmwFastRtpsService::Role::client, kDomain,
                                action + "/_action/send_goal",
                                "simulation_interfaces::action::dds_::SimulateSteps_SendGoal");
    RmwFastRtpsService getResult(RmwFastRtpsService::Role::client, kDomain,
                                 action + "/_action/get_result",
                                 "simulation_interfaces::action::dds_::SimulateSteps_GetResult");

    // goal_id (16 bytes), then steps, a uint64 at offset 16.
    const Bytes uuid = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                        0x18, 0x19, 0x1a, 0x1b, 0x1c, 0x1d, 0x1e, 0x1f};
    Bytes goal = {0x00, 0x01, 0x00, 0x00};
    goal.insert(goal.end(), uuid.begin(), uuid.end());
    goal.insert(goal.end(), {0x01, 0, 0, 0, 0, 0, 0, 0});
    Bytes reply;
    ASSERT_TRUE(exchange(sendGoal, goal, reply));
    // accepted, padding to 4, then the stamp: sec 7, nanosec 5.
    EXPECT_EQ(qorTest::hex(reply),
              qorTest::hex({0x00, 0x01, 0x00, 0x00, 0x01, 0, 0, 0, 0x07, 0, 0, 0, 0x05, 0, 0, 0}));

    server.allowTurns(2);
    Bytes resultRequest = {0x00, 0x01, 0x00, 0x00};
    resultRequest.insert(resultRequest.end(), uuid.begin(), uuid.end());
    ASSERT_TRUE(exchange(getResult, resultRequest, reply));
    // status SUCCEEDED (4), result 0, padding, then error_message "stepped 1" with its length
    // (10, the null included) and its null; from another process DDS pads the payload to a
    // multiple of 4, within one it may not.
    Bytes result = {0x00, 0x01, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 10, 0, 0, 0};
    const std::string message = "stepped 1";
    result.insert(result.end(), message.begin(), message.end());
    result.push_back(0);
    if (reply.size() > result.size()) {
        EXPECT_EQ(qorTest::hex(reply), qorTest::hex(qorTest::padded(result)));
    } else {
        EXPECT_EQ(qorTest::hex(reply), qorTest::hex(result));
    }
    EXPECT_TRUE(server.failures().empty());
}

}  // namespace
