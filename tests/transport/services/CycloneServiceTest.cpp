// Services with Eclipse Cyclone DDS on the other side, written as rmw_cyclonedds writes them: our
// server answers a Cyclone client in its own wire (the 16-byte request header taken off and put
// back), and our client in Cyclone's wire calls a Cyclone server.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PeerProcess.h"
#include "ServiceBytes.h"
#include "WaitFor.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawServiceServer.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;
using qorTest::Bytes;
using namespace std::chrono_literals;

constexpr std::int8_t kDomain = 29;
constexpr std::chrono::milliseconds kPeerDeadline{20000};
constexpr const char* kSetBool = "std_srvs/srv/SetBool";

// A service name of this process, without the leading '/', as the peer writes DDS topics.
std::string serviceName(const std::string& name) {
    return "qor_test/p" + std::to_string(::getpid()) + "/" + name;
}

TEST(CycloneService, OurServerAnswersACycloneClientInItsWire) {
    const std::string service = serviceName("cyclone_client");
    RawServiceServer server("/" + service, kSetBool, kDomain);
    PeerProcess peer({QOR_CYCLONE_SERVICE_PEER, "client", std::to_string(kDomain), service, "3",
                      std::to_string(kPeerDeadline.count())});
    std::vector<std::string> requests;
    const qorTest::Deadline deadline(kPeerDeadline);
    while (!deadline.passed() && requests.size() < 3) {
        if (!server.waitForRequest(50ms)) {
            continue;
        }
        server.handleRequests([&](const RawServiceRequest& request) -> std::optional<Bytes> {
            requests.push_back(qorTest::hex(request.bytes));
            const bool data = request.bytes.size() > 4 && request.bytes[4] != 0;
            return qorTest::setBoolResponse(data, data ? "fast 1" : "fast 0");
        });
    }
    // The header is gone: the server saw the message alone.
    EXPECT_EQ(requests, (std::vector<std::string>{
                            qorTest::hex(qorTest::padded(qorTest::setBoolRequest(true), true)),
                            qorTest::hex(qorTest::padded(qorTest::setBoolRequest(false), true)),
                            qorTest::hex(qorTest::padded(qorTest::setBoolRequest(true), true))}))
        << peer.transcript();
    EXPECT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline)), 0) << peer.transcript();
    std::vector<std::string> replies;
    for (const std::string& line : peer.lines()) {
        if (line.rfind("reply ", 0) == 0) {
            replies.push_back(line);
        }
    }
    EXPECT_EQ(replies, (std::vector<std::string>{"reply 1 1 fast 1", "reply 2 0 fast 0",
                                                 "reply 3 1 fast 1"}))
        << peer.transcript();
    EXPECT_EQ(server.droppedRequests(), 0U);
}

TEST(CycloneService, OurClientCallsACycloneServerInItsWire) {
    const std::string service = serviceName("cyclone_server");
    PeerProcess peer({QOR_CYCLONE_SERVICE_PEER, "server", std::to_string(kDomain), service, "3",
                      std::to_string(kPeerDeadline.count())});
    RawServiceClient client("/" + service, kSetBool, kDomain, presetQos("services_default"),
                            ServiceWire::cycloneDds);
    ASSERT_TRUE(client.waitForService(kPeerDeadline)) << peer.transcript();
    // A Cyclone reader takes a new writer's samples only from the first heartbeat on: a request
    // sent before that is never seen, so each call is sent again until it is answered.
    std::vector<Bytes> replies;
    std::vector<std::string> expectedRequests;
    for (const bool data : {true, false, true}) {
        Bytes reply;
        bool answered = false;
        for (int attempt = 0; attempt < 10 && !answered; ++attempt) {
            const std::int64_t sequence = client.sendRequest(qorTest::setBoolRequest(data));
            answered = client.waitForReply(sequence, reply, 1s);
            if (answered) {
                expectedRequests.push_back("request " + std::to_string(sequence) + " " +
                                           (data ? "1" : "0"));
            } else {
                client.forgetRequest(sequence);
            }
        }
        ASSERT_TRUE(answered) << "no reply to 10 requests\n" << peer.transcript();
        replies.push_back(reply);
    }
    EXPECT_EQ(replies, (std::vector<Bytes>{
                           qorTest::padded(qorTest::setBoolResponse(true, "cyclone 1"), true),
                           qorTest::padded(qorTest::setBoolResponse(false, "cyclone 0"), true),
                           qorTest::padded(qorTest::setBoolResponse(true, "cyclone 1"), true)}));
    EXPECT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline)), 0) << peer.transcript();
    std::vector<std::string> requests;
    for (const std::string& line : peer.lines()) {
        if (line.rfind("request ", 0) == 0) {
            requests.push_back(line);
        }
    }
    EXPECT_EQ(requests, expectedRequests) << peer.transcript();
}

}  // namespace
