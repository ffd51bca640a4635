// `service list`, `type`, `find` and `call` against live servers of the test, with ros2's texts
// and exit codes.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "CliRuns.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/ServiceServer.h"
#include "service/ServiceCallOutput.h"

namespace {

constexpr int kListDomain = 23;
constexpr int kCallDomain = 24;
constexpr int kNodeInfoDomain = 25;

using namespace std::chrono_literals;
using SetBool = qorROS2::stdSrvs::SetBool;
using Trigger = qorROS2::stdSrvs::Trigger;

std::string serviceOf(const std::string& name) {
    return "/cli_service/p" + std::to_string(::getpid()) + "/" + name;
}

// A SetBool server that answers every request with success = data and "got <data>" on a thread
// of its own, for as long as it lives.
class SetBoolServer {
  public:
    SetBoolServer(const std::string& service, int domain)
        : m_server(service, static_cast<std::int8_t>(domain)), m_thread([this] { serve(); }) {}
    ~SetBoolServer() {
        m_stop = true;
        m_thread.join();
    }
    SetBoolServer(const SetBoolServer&) = delete;
    SetBoolServer& operator=(const SetBoolServer&) = delete;

    int answered() const { return m_answered; }

  private:
    void serve() {
        while (!m_stop) {
            if (m_server.waitForRequest(20ms)) {
                m_server.handleRequests(
                    [this](const SetBool::Request& request, const qorROS2::ServiceRequestId&) {
                        ++m_answered;
                        return std::optional<SetBool::Response>(
                            SetBool::Response{request.data, request.data ? "got 1" : "got 0"});
                    });
            }
        }
    }

    qorROS2::ServiceServer<SetBool> m_server;
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_answered{0};
    std::thread m_thread;
};

const std::string kWaiting = "waiting for service to become available...\n";

TEST(CliService, ListTypeAndFindShowLiveServicesAndLeaveHiddenOnesOut) {
    const std::string enable = serviceOf("enable");
    const std::string reset = serviceOf("reset");
    const std::string hidden = "/_cli_hidden_service/p" + std::to_string(::getpid());
    const qorROS2::ServiceServer<SetBool> enableServer(enable, kListDomain);
    const qorROS2::ServiceServer<Trigger> resetServer(reset, kListDomain);
    const qorROS2::ServiceServer<Trigger> hiddenServer(hidden, kListDomain);

    const auto list = qorCliTest::runCliSplit("service list", kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(list, 0, enable + "\n" + reset + "\n"));
    const auto typed =
        qorCliTest::runCliSplit("service list -t --include-hidden-services", kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(typed, 0,
                                           hidden + " [std_srvs/srv/Trigger]\n" + enable +
                                               " [std_srvs/srv/SetBool]\n" + reset +
                                               " [std_srvs/srv/Trigger]\n"));
    const auto counted =
        qorCliTest::runCliSplit("service --include-hidden-services list -c", kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(counted, 0, "3\n"));

    const auto type = qorCliTest::runCliSplit("service type " + reset, kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(type, 0, "std_srvs/srv/Trigger\n"));
    const auto hiddenType = qorCliTest::runCliSplit("service type " + hidden, kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(hiddenType, 1, ""));
    const auto shownType =
        qorCliTest::runCliSplit("service --include-hidden-services type " + hidden, kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(shownType, 0, "std_srvs/srv/Trigger\n"));

    const auto found = qorCliTest::runCliSplit("service find std_srvs/srv/Trigger", kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(found, 0, reset + "\n"));
    const auto foundCount = qorCliTest::runCliSplit(
        "service find -c --include-hidden-services std_srvs/srv/Trigger", kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(foundCount, 0, "2\n"));
    // The whole type name must match.
    const auto partial = qorCliTest::runCliSplit("service find std_srvs/srv/Trig", kListDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(partial, 0, ""));
}

TEST(CliService, CallPrintsTheRequestAndTheResponseAsPythonReprs) {
    const std::string service = serviceOf("call");
    const SetBoolServer server(service, kCallDomain);
    const auto call = qorCliTest::runCliSplit(
        "service call " + service + " std_srvs/srv/SetBool '{data: true}'", kCallDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::withoutWaitingLine(call), 0,
        "requester: making request: std_srvs.srv.SetBool_Request(data=True)\n\n"
        "response:\nstd_srvs.srv.SetBool_Response(success=True, message='got 1')\n\n"));
    EXPECT_EQ(call.errors, "");
    // Without values the request keeps its defaults.
    const auto defaults =
        qorCliTest::runCliSplit("service call " + service + " std_srvs/SetBool", kCallDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::withoutWaitingLine(defaults), 0,
        "requester: making request: std_srvs.srv.SetBool_Request(data=False)\n\n"
        "response:\nstd_srvs.srv.SetBool_Response(success=False, message='got 0')\n\n"));
}

TEST(CliService, CallAtARateRepeatsUntilCtrlC) {
    const std::string service = serviceOf("rate");
    const SetBoolServer server(service, kCallDomain);
    const auto run = qorCliTest::runCliUntilPrinted(
        "service call -r 20 " + service + " std_srvs/srv/SetBool '{data: true}'",
        "[ $(grep -c '^response:' \"$out\") -ge 3 ]", kCallDomain);
    EXPECT_EQ(run.exitCode, 2) << run.output;
    const std::vector<std::string> lines = qorCliTest::linesOf(run.output);
    int responses = 0;
    for (const std::string& line : lines) {
        responses += line == "std_srvs.srv.SetBool_Response(success=True, message='got 1')";
    }
    EXPECT_GE(responses, 3) << run.output;
    EXPECT_GE(server.answered(), 3);
}

TEST(CliService, CallWaitsForTheServiceUntilCtrlC) {
    const auto run = qorCliTest::runCliUntilPrinted(
        "service call " + serviceOf("absent") + " std_srvs/srv/Trigger",
        "grep -q 'waiting for service' \"$out\"", kCallDomain);
    EXPECT_EQ(run.exitCode, 2) << run.output;
    EXPECT_EQ(run.output, kWaiting);
}

TEST(CliService, CallRefusesBadInputInRos2sWords) {
    const std::string service = serviceOf("never");
    const auto message =
        qorCliTest::runCliSplit("service call " + service + " std_msgs/msg/String", kCallDomain);
    EXPECT_EQ(message.exitCode, 1);
    EXPECT_EQ(message.errors, "The passed type is not a service\n");
    const auto unknown =
        qorCliTest::runCliSplit("service call " + service + " nowhere/srv/Nothing", kCallDomain);
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errors, "The passed service type is invalid\n");
    const auto field = qorCliTest::runCliSplit(
        "service call " + service + " std_srvs/srv/SetBool '{nope: 1}'", kCallDomain);
    EXPECT_EQ(field.exitCode, 1);
    EXPECT_EQ(field.errors,
              "Failed to populate field: 'SetBool_Request' object has no attribute 'nope'\n");
    const auto rate = qorCliTest::runCliSplit(
        "service call -r 0 " + service + " std_srvs/srv/SetBool", kCallDomain);
    EXPECT_EQ(rate.exitCode, 1);
    EXPECT_EQ(rate.errors, "rate must be greater than zero\n");
    const auto nan = qorCliTest::runCliSplit(
        "service call -r nan " + service + " std_srvs/srv/SetBool", kCallDomain);
    EXPECT_EQ(nan.exitCode, 1);
    EXPECT_EQ(nan.errors, "rate must be greater than zero\n");
    const auto missing = qorCliTest::runCliSplit("service call " + service, kCallDomain);
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_NE(missing.errors.find("error: the following arguments are required: service_type"),
              std::string::npos)
        << missing.errors;
    for (const auto* run : {&message, &unknown, &field, &rate, &nan}) {
        EXPECT_EQ(run->output, "");
    }
}

TEST(CliService, NodeInfoListsTheNodesServersAndClients) {
    const std::string node = "cli_service_node_p" + std::to_string(::getpid());
    qorROS2::setNodeIdentity(node, "/");
    const std::string enable = serviceOf("node_enable");
    const std::string trigger = serviceOf("node_trigger");
    const qorROS2::ServiceServer<SetBool> server(enable, kNodeInfoDomain);
    const qorROS2::ServiceClient<Trigger> client(trigger, kNodeInfoDomain);
    const auto info = qorCliTest::runCliSplit("node info /" + node, kNodeInfoDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        info, 0,
        "/" + node + "\n  Subscribers:\n\n  Publishers:\n\n  Service Servers:\n    " + enable +
            ": std_srvs/srv/SetBool\n  Service Clients:\n    " + trigger +
            ": std_srvs/srv/Trigger\n  Action Servers:\n\n  Action Clients:\n\n"));
}

}  // namespace
