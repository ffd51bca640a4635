// Service calls through the web server, with a plain WebSocket client: what it advertises, a call
// answered later from another thread to its caller only, each way a call fails
// (serviceCallFailure) and the frames that are no call at all (a status error).

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "WebTestClient.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

using nlohmann::json;
using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;
using qorROS2::web::Service;
using qorROS2::web::ServiceCall;
using qorROS2::web::ServiceReply;
using qorWebTest::Frame;
using qorWebTest::nextOp;
using qorWebTest::RawWebSocket;

const Service kStep{"/step_simulation",
                    "simulation_interfaces/srv/StepSimulation",
                    "simulation_interfaces/srv/StepSimulation_Request",
                    "uint64 steps",
                    "simulation_interfaces/srv/StepSimulation_Response",
                    "simulation_interfaces/Result result\n"};

// The calls the server hands over, kept for the test to answer.
using CallBox = qorWebTest::HandedOver<std::pair<ServiceCall, ServiceReply>>;

ServerOptions serviceServer(CallBox& box) {
    ServerOptions options;
    options.port = 0;
    options.log = [](const std::string&) {};
    options.onServiceCall = [&box](const ServiceCall& call, ServiceReply reply) {
        box.add({call, std::move(reply)});
    };
    return options;
}

std::vector<std::uint8_t> callFrame(std::uint32_t serviceId, std::uint32_t callId,
                                    const std::string& encoding,
                                    const std::vector<std::uint8_t>& payload) {
    std::vector<std::uint8_t> frame{0x02};
    for (const std::uint32_t value :
         {serviceId, callId, static_cast<std::uint32_t>(encoding.size())}) {
        for (int i = 0; i < 4; ++i) {
            frame.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }
    frame.insert(frame.end(), encoding.begin(), encoding.end());
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

// The next binary message, skipping text; empty when the connection ended first.
std::string nextBinary(RawWebSocket& socket) {
    for (;;) {
        const Frame frame = socket.read();
        if (frame.closed) {
            return {};
        }
        if (!frame.text) {
            return frame.data;
        }
    }
}

std::uint32_t u32At(const std::string& frame, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(frame.at(at + i))) << (8 * i);
    }
    return value;
}

TEST(FoxgloveServerServices, TheCapabilityAndEachServiceWithItsSchemasAreAdvertised) {
    CallBox box;
    FoxgloveServer server(serviceServer(box));
    const auto id = server.addService(kStep);
    RawWebSocket client(server.port());
    const json info = nextOp(client, "serverInfo");
    ASSERT_FALSE(info.is_null());
    const auto capabilities = info.at("capabilities");
    EXPECT_NE(std::find(capabilities.begin(), capabilities.end(), "services"), capabilities.end())
        << info;
    EXPECT_EQ(info.at("supportedEncodings"), json::array({"cdr"})) << info;

    const json advertised = nextOp(client, "advertiseServices");
    ASSERT_FALSE(advertised.is_null());
    ASSERT_EQ(advertised.at("services").size(), 1u) << advertised;
    const json& service = advertised.at("services")[0];
    EXPECT_EQ(service.at("id"), id);
    EXPECT_EQ(service.at("name"), "/step_simulation");
    EXPECT_EQ(service.at("type"), "simulation_interfaces/srv/StepSimulation");
    EXPECT_EQ(service.at("request"), (json{{"encoding", "cdr"},
                                           {"schemaName", kStep.requestSchemaName},
                                           {"schemaEncoding", "ros2msg"},
                                           {"schema", "uint64 steps"}}));
    EXPECT_EQ(service.at("response").at("schemaName"), kStep.responseSchemaName);
    EXPECT_EQ(service.at("response").at("schema"), kStep.responseSchema);
    // The older fields, for clients that know no others.
    EXPECT_EQ(service.at("requestSchema"), "uint64 steps");
    EXPECT_EQ(service.at("responseSchema"), kStep.responseSchema);

    // A service added or withdrawn later reaches the clients already there.
    Service reset = kStep;
    reset.name = "/reset_simulation";
    const auto resetId = server.addService(reset);
    const json added = nextOp(client, "advertiseServices");
    ASSERT_FALSE(added.is_null());
    EXPECT_EQ(added.at("services")[0].at("name"), "/reset_simulation");
    server.removeService(resetId);
    const json removed = nextOp(client, "unadvertiseServices");
    ASSERT_FALSE(removed.is_null());
    EXPECT_EQ(removed.at("serviceIds"), json::array({resetId}));
}

TEST(FoxgloveServerServices, AServerWithoutACallHandlerOffersNoServices) {
    ServerOptions options;
    options.port = 0;
    FoxgloveServer server(options);
    EXPECT_THROW(server.addService(kStep), std::logic_error);
    RawWebSocket client(server.port());
    const json info = nextOp(client, "serverInfo");
    const auto capabilities = info.at("capabilities");
    EXPECT_EQ(std::find(capabilities.begin(), capabilities.end(), "services"), capabilities.end());
    client.sendBinary(callFrame(1, 1, "cdr", {}));
    const json status = nextOp(client, "status");
    ASSERT_FALSE(status.is_null());
    EXPECT_EQ(status.at("message"), "service call request: this server offers no services");
}

TEST(FoxgloveServerServices, ACallAnsweredLaterFromAnotherThreadReachesItsCallerOnly) {
    CallBox box;
    FoxgloveServer server(serviceServer(box));
    const auto id = server.addService(kStep);
    RawWebSocket caller(server.port());
    RawWebSocket other(server.port());
    const std::vector<std::uint8_t> request{0, 1, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
    caller.sendBinary(callFrame(id, 77, "cdr", request));
    const auto call = box.wait(0);
    ASSERT_TRUE(call);
    EXPECT_EQ(call->first.serviceId, id);
    EXPECT_EQ(call->first.callId, 77u);
    EXPECT_EQ(call->first.name, "/step_simulation");
    EXPECT_EQ(call->first.type, kStep.type);
    EXPECT_EQ(call->first.request, request);

    const std::vector<std::uint8_t> response{0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    std::atomic<bool> sent{false};
    std::atomic<bool> sentAgain{true};
    std::thread answering([&] {
        sent = call->second.respond(response);
        sentAgain = call->second.fail("too late");
    });
    answering.join();
    EXPECT_TRUE(sent);
    EXPECT_FALSE(sentAgain) << "a call is answered once";

    const std::string frame = nextBinary(caller);
    ASSERT_GE(frame.size(), 16u);
    EXPECT_EQ(frame[0], '\x03');
    EXPECT_EQ(u32At(frame, 1), id);
    EXPECT_EQ(u32At(frame, 5), 77u);
    EXPECT_EQ(u32At(frame, 9), 3u);
    EXPECT_EQ(frame.substr(13, 3), "cdr");
    EXPECT_EQ(std::vector<std::uint8_t>(frame.begin() + 16, frame.end()), response);

    // The other client's first binary frame is the answer to its own call.
    other.sendBinary(callFrame(id, 77, "cdr", request));
    const auto second = box.wait(1);
    ASSERT_TRUE(second);
    EXPECT_NE(second->first.clientId, call->first.clientId);
    ASSERT_TRUE(second->second.respond({9}));
    const std::string otherFrame = nextBinary(other);
    ASSERT_EQ(otherFrame.size(), 17u);
    EXPECT_EQ(otherFrame.back(), '\x09');
}

TEST(FoxgloveServerServices, EachFailedCallGetsAServiceCallFailureAndTheClientStays) {
    CallBox box;
    ServerOptions options = serviceServer(box);
    options.serviceCallTimeout = std::chrono::milliseconds(200);
    options.maxPendingServiceCalls = 2;
    FoxgloveServer server(options);
    const auto id = server.addService(kStep);
    RawWebSocket client(server.port());

    const auto failure = [&](std::uint32_t serviceId, std::uint32_t callId,
                             const std::string& encoding) {
        client.sendBinary(callFrame(serviceId, callId, encoding, {0, 1, 0, 0}));
        const json message = nextOp(client, "serviceCallFailure");
        if (message.is_null()) {
            return std::string("no serviceCallFailure");
        }
        EXPECT_EQ(message.at("serviceId"), serviceId) << message;
        EXPECT_EQ(message.at("callId"), callId) << message;
        return message.at("message").get<std::string>();
    };
    EXPECT_EQ(failure(99, 1, "cdr"), "there is no service 99");
    EXPECT_EQ(failure(id, 2, "json"), "/step_simulation takes the encoding cdr, not \"json\"");
    EXPECT_EQ(box.size(), 0u) << "the handler saw a call that failed";

    // Unanswered: the client hears of it after the timeout, and a late answer goes nowhere.
    EXPECT_EQ(failure(id, 3, "cdr"), "no answer within 200 ms");
    const auto late = box.wait(0);
    ASSERT_TRUE(late);
    EXPECT_FALSE(late->second.respond({1}));

    // A call id still waiting, and more calls waiting than allowed.
    client.sendBinary(callFrame(id, 4, "cdr", {}));
    const auto fourth = box.wait(1);
    ASSERT_TRUE(fourth);
    EXPECT_EQ(failure(id, 4, "cdr"), "call 4 still waits for its answer");
    client.sendBinary(callFrame(id, 5, "cdr", {}));
    const auto fifth = box.wait(2);
    ASSERT_TRUE(fifth);
    EXPECT_EQ(failure(id, 6, "cdr"), "2 calls of this client already wait for their answers");
    fourth->second.fail("given up");
    const json given = nextOp(client, "serviceCallFailure");
    ASSERT_FALSE(given.is_null());
    EXPECT_EQ(given.at("callId"), 4);
    EXPECT_EQ(given.at("message"), "given up");
    ASSERT_TRUE(fifth->second.respond({}));
    EXPECT_EQ(nextBinary(client).size(), 16u);
}

TEST(FoxgloveServerServices, AHandlerThatThrowsFailsTheCallWithItsMessage) {
    ServerOptions options;
    options.port = 0;
    options.onServiceCall = [](const ServiceCall& call, const ServiceReply&) {
        throw std::runtime_error("cannot read the request of " + call.name);
    };
    FoxgloveServer server(options);
    const auto id = server.addService(kStep);
    RawWebSocket client(server.port());
    client.sendBinary(callFrame(id, 8, "cdr", {1, 2, 3}));
    const json message = nextOp(client, "serviceCallFailure");
    ASSERT_FALSE(message.is_null());
    EXPECT_EQ(message.at("callId"), 8);
    EXPECT_EQ(message.at("message"), "cannot read the request of /step_simulation");
}

TEST(FoxgloveServerServices, AHandlerMayAnswerAtOnceOnTheServersThread) {
    ServerOptions options;
    options.port = 0;
    options.onServiceCall = [](const ServiceCall& call, const ServiceReply& reply) {
        // The request's bytes back, reversed.
        reply.respond(std::vector<std::uint8_t>(call.request.rbegin(), call.request.rend()));
    };
    FoxgloveServer server(options);
    const auto id = server.addService(kStep);
    RawWebSocket client(server.port());
    client.sendBinary(callFrame(id, 5, "cdr", {1, 2, 3}));
    const std::string frame = nextBinary(client);
    ASSERT_EQ(frame.size(), 19u);
    EXPECT_EQ(u32At(frame, 5), 5u);
    EXPECT_EQ(frame.substr(16), std::string("\x03\x02\x01", 3));
    EXPECT_FALSE(ServiceReply().respond({})) << "a reply of no call answered";
}

TEST(FoxgloveServerServices, AFrameThatIsNoCallGetsAnErrorStatus) {
    CallBox box;
    FoxgloveServer server(serviceServer(box));
    const auto id = server.addService(kStep);
    RawWebSocket client(server.port());
    struct Bad {
        std::vector<std::uint8_t> frame;
        const char* status;
    };
    std::vector<std::uint8_t> longEncoding = callFrame(id, 1, "cdr", {});
    longEncoding[9] = 200;
    const std::vector<Bad> bad = {
        {{0x02, 1, 0, 0, 0}, "service call request of 5 bytes, shorter than its header of 13"},
        {longEncoding, "service call request with an encoding of 200 bytes in 3"},
    };
    for (const Bad& frame : bad) {
        client.sendBinary(frame.frame);
        const json status = nextOp(client, "status");
        ASSERT_FALSE(status.is_null());
        EXPECT_EQ(status.at("level"), 2);
        EXPECT_EQ(status.at("message"), frame.status);
    }
    // And the client may still call.
    client.sendBinary(callFrame(id, 2, "cdr", {}));
    const auto call = box.wait(0);
    ASSERT_TRUE(call);
    EXPECT_EQ(call->first.callId, 2u);
}

}  // namespace
