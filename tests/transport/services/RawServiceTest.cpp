// Raw service servers and clients in one process: requests answered once each, in order per
// client, replies nobody waits for ignored, malformed requests dropped while serving goes on,
// and the service in the graph under the names ROS 2 gives it.

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "ServiceBytes.h"
#include "WaitFor.h"
#include "endpoints/RawPayloadWriter.h"
#include "qor/Notify.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawServiceServer.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using qorTest::Bytes;
using namespace std::chrono_literals;

constexpr std::int8_t kDomain = 27;
constexpr const char* kSetBool = "std_srvs/srv/SetBool";

// A service name no other process uses.
std::string uniqueService(const std::string& name) {
    return "/qor_test/p" + std::to_string(::getpid()) + "/" + name;
}

// Answers every request on a thread of its own with `answer`, until destroyed.
class ServingThread {
  public:
    ServingThread(RawServiceServer& server, RawServiceServer::Handler answer)
        : m_thread([this, &server, answer] {
              while (!m_stop) {
                  if (server.waitForRequest(20ms)) {
                      server.handleRequests(answer);
                  }
              }
          }) {}
    ~ServingThread() {
        m_stop = true;
        m_thread.join();
    }

  private:
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

RawServiceServer::Handler setBoolAnswer() {
    return [](const RawServiceRequest& request) -> std::optional<Bytes> {
        const bool data = request.bytes.size() > 4 && request.bytes[4] != 0;
        return qorTest::setBoolResponse(data, data ? "on" : "off");
    };
}

TEST(RawService, CallIsAnsweredWithTheServersReply) {
    const std::string service = uniqueService("set_flag");
    RawServiceServer server(service, kSetBool, kDomain);
    RawServiceClient client(service, kSetBool, kDomain);
    ServingThread serving(server, setBoolAnswer());
    ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline));

    const std::optional<Bytes> on = client.call(qorTest::setBoolRequest(true), 10s);
    ASSERT_TRUE(on.has_value()) << "no reply within 10 s";
    EXPECT_EQ(*on, qorTest::setBoolResponse(true, "on")) << qorTest::hex(*on);
    const std::optional<Bytes> off = client.call(qorTest::setBoolRequest(false), 10s);
    ASSERT_TRUE(off.has_value()) << "no reply within 10 s";
    EXPECT_EQ(*off, qorTest::setBoolResponse(false, "off")) << qorTest::hex(*off);
    EXPECT_EQ(client.waitingRequests(), 0U);
}

TEST(RawService, RequestsAreNumberedFromOneAndAnsweredLater) {
    const std::string service = uniqueService("later");
    RawServiceServer server(service, kSetBool, kDomain);
    RawServiceClient client(service, kSetBool, kDomain);
    ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline));

    EXPECT_EQ(client.sendRequest(qorTest::setBoolRequest(true)), 1);
    EXPECT_EQ(client.sendRequest(qorTest::setBoolRequest(false)), 2);
    // Taken in one step, answered in the next, newest first.
    std::vector<RawServiceRequest> taken;
    ASSERT_TRUE(qorTest::waitFor([&] {
        RawServiceRequest request;
        while (server.takeRequest(request)) {
            taken.push_back(request);
        }
        return taken.size() == 2;
    })) << "requests taken: "
        << taken.size();
    EXPECT_EQ(taken[0].id.sequenceNumber, 1);
    EXPECT_EQ(taken[1].id.sequenceNumber, 2);
    EXPECT_EQ(server.sendReply(taken[1].id, qorTest::setBoolResponse(false, "second")),
              ReplyOutcome::sent);
    EXPECT_EQ(server.sendReply(taken[0].id, qorTest::setBoolResponse(true, "first")),
              ReplyOutcome::sent);
    // A request is answered once.
    EXPECT_EQ(server.sendReply(taken[0].id, qorTest::setBoolResponse(true, "again")),
              ReplyOutcome::unknownRequest);

    Bytes reply;
    ASSERT_TRUE(client.waitForReply(1, reply, 10s));
    EXPECT_EQ(reply, qorTest::setBoolResponse(true, "first")) << qorTest::hex(reply);
    ASSERT_TRUE(client.waitForReply(2, reply, 10s));
    EXPECT_EQ(reply, qorTest::setBoolResponse(false, "second")) << qorTest::hex(reply);
}

TEST(RawService, ASecondReplyToOneRequestIsIgnored) {
    const std::string service = uniqueService("twice");
    // Two servers of one service both answer every request: the client keeps the first reply.
    RawServiceServer first(service, kSetBool, kDomain);
    RawServiceServer second(service, kSetBool, kDomain);
    RawServiceClient client(service, kSetBool, kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return first.matchedClients() == 1 && second.matchedClients() == 1 &&
               client.serviceIsReady();
    }));
    std::atomic<int> replies{0};
    ASSERT_EQ(client.sendRequest(qorTest::setBoolRequest(true), [&](Bytes&&) { ++replies; }), 1);
    for (RawServiceServer* server : {&first, &second}) {
        RawServiceRequest request;
        ASSERT_TRUE(qorTest::waitFor([&] { return server->takeRequest(request); }));
        EXPECT_EQ(server->sendReply(request.id, qorTest::setBoolResponse(true, "")),
                  ReplyOutcome::sent);
    }
    EXPECT_TRUE(qorTest::waitFor([&] { return client.ignoredReplies() == 1; }))
        << "ignored replies: " << client.ignoredReplies();
    EXPECT_EQ(replies.load(), 1);
    EXPECT_EQ(client.waitingRequests(), 0U);
}

TEST(RawService, MalformedRequestIsDroppedWithOneWarningAndServingGoesOn) {
    qor::NotifyLineCollector collector;
    const std::string service = uniqueService("malformed");
    RawServiceServer server(service, kSetBool, kDomain);
    RawServiceClient client(service, kSetBool, kDomain);
    const QOS qos = presetQos("services_default");
    transport::endpoints::RawPayloadWriter hostile("rq" + service + "Request",
                                                   "std_srvs::srv::dds_::SetBool_Request_", qos,
                                                   static_cast<std::uint32_t>(kDomain));
    ServingThread serving(server, setBoolAnswer());
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return hostile.matchedSubscriptions() == 1 && client.serviceIsReady(); }));

    ASSERT_TRUE(hostile.write({0x07, 0x01, 0x00}));
    ASSERT_TRUE(qorTest::waitFor([&] { return server.droppedRequests() == 1; }))
        << "dropped: " << server.droppedRequests();
    const std::optional<Bytes> reply = client.call(qorTest::setBoolRequest(true), 10s);
    ASSERT_TRUE(reply.has_value()) << "the server stopped serving after a malformed request";
    EXPECT_EQ(*reply, qorTest::setBoolResponse(true, "on"));
    ASSERT_EQ(collector.lines().size(), 1U);
    EXPECT_EQ(collector.lines()[0],
              "Warning: Service \"" + service +
                  "\" dropped a malformed request (1 so far): it is shorter than a CDR "
                  "encapsulation header");
}

TEST(RawService, ThousandCallsFromTenClientsAreEachAnsweredOnceInOrder) {
    constexpr int kClients = 10;
    constexpr std::uint32_t kCalls = 100;
    const std::string service = uniqueService("count");
    // Deep enough that no request of ten clients sending at once is pushed out of the history.
    const QOS qos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_ALL, 1};
    RawServiceServer server(service, "example_interfaces/srv/AddTwoInts", kDomain, qos);
    ServingThread serving(server, [](const RawServiceRequest& request) -> std::optional<Bytes> {
        return qorTest::countPayload(qorTest::countOf(request.bytes) + 1000000);
    });

    std::vector<std::vector<std::uint32_t>> answers(kClients);
    std::vector<std::thread> callers;
    std::mutex answersMutex;
    for (int c = 0; c < kClients; ++c) {
        callers.emplace_back([&, c] {
            RawServiceClient client(service, "example_interfaces/srv/AddTwoInts", kDomain, qos);
            if (!client.waitForService(qorTest::kDeliveryDeadline)) {
                return;
            }
            std::atomic<std::uint32_t> received{0};
            for (std::uint32_t i = 0; i < kCalls; ++i) {
                client.sendRequest(qorTest::countPayload(i), [&, c](Bytes&& reply) {
                    std::lock_guard<std::mutex> lock(answersMutex);
                    answers[static_cast<std::size_t>(c)].push_back(qorTest::countOf(reply));
                    ++received;
                });
            }
            qorTest::waitFor([&] { return received == kCalls; });
            // Late duplicates would show here.
            std::this_thread::sleep_for(100ms);
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    for (int c = 0; c < kClients; ++c) {
        std::vector<std::uint32_t> expected;
        for (std::uint32_t i = 0; i < kCalls; ++i) {
            expected.push_back(i + 1000000);
        }
        EXPECT_EQ(answers[static_cast<std::size_t>(c)], expected) << "client " << c;
    }
}

TEST(RawService, TopicDiscoveryListsTheServiceWithItsType) {
    const std::string service = uniqueService("listed");
    TopicDiscovery discovery(kDomain);
    RawServiceServer server(service, kSetBool, kDomain);
    std::vector<DiscoveredTopic> services;
    const bool listed = qorTest::waitFor([&] {
        services = discovery.services();
        for (const DiscoveredTopic& found : services) {
            if (found.name == service) {
                return found.types == std::vector<std::string>{kSetBool};
            }
        }
        return false;
    });
    std::string seen;
    for (const DiscoveredTopic& found : services) {
        seen += found.name + " ";
    }
    EXPECT_TRUE(listed) << "services seen: " << seen;
    // Requests and replies are no topics.
    for (const DiscoveredTopic& topic : discovery.topics()) {
        EXPECT_EQ(topic.name.find(service), std::string::npos) << topic.name;
    }
}

TEST(RawService, BadArgumentsAreRefusedWithTheirReason) {
    try {
        RawServiceServer server("bad name", kSetBool, kDomain);
        FAIL() << "a service name with a space was accepted";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "invalid service name \"bad name\": topic name must not contain characters "
                     "other than alphanumerics, '_', '~', '{', or '}', at index 3");
    }
    try {
        RawServiceClient client("fine", "std_srvs/SetBool", kDomain);
        FAIL() << "a service type without its namespace was accepted";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "invalid service type \"std_srvs/SetBool\" for service \"fine\": expected "
                     "package/srv/Name, such as std_srvs/srv/SetBool");
    }
    RawServiceClient client(uniqueService("refuse"), kSetBool, kDomain);
    EXPECT_THROW(client.sendRequest({0x01}), std::invalid_argument);
}

// A server in another process that answers and exits at once: its reply lies in its shared memory
// until the client has read it, so the server's end must wait for the client, or the reply dies
// with the process. A fresh server in each round, so that each reply is the first the client
// reads from that server's memory.
TEST(RawService, AServerThatAnswersAndExitsAtOnceStillDeliversItsReply) {
    constexpr int kRounds = 5;
    for (int round = 0; round < kRounds; ++round) {
        const std::string service = uniqueService("answer_once_" + std::to_string(round));
        qorTest::ChildProcess server(
            {QOR_ENDPOINT_PEER, "answer-once", std::to_string(kDomain), service, "60"},
            {qorTest::ChildProcess::SEPARATE, {}, ""});
        ASSERT_TRUE(server.started()) << server.startError();
        RawServiceClient client(service, kSetBool, kDomain);
        ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline)) << "round " << round;

        const std::optional<Bytes> reply = client.call(qorTest::setBoolRequest(true), 10s);

        ASSERT_TRUE(reply.has_value()) << "round " << round << ": no reply within 10 s\n"
                                       << server.errors();
        EXPECT_EQ(*reply, qorTest::setBoolResponse(true, "bye")) << qorTest::hex(*reply);
        const std::optional<int> code = server.waitForExit(qorTest::Deadline(10s));
        ASSERT_TRUE(code) << "round " << round << ": the server still runs";
        EXPECT_EQ(*code, 0) << server.errors();
    }
}

}  // namespace
