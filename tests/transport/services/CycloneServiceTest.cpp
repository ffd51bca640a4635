// Services with Eclipse Cyclone DDS on the other side, written as rmw_cyclonedds writes them: our
// server answers a Cyclone client in its own wire (the 16-byte request header taken off and put
// back), and our client in Cyclone's wire calls a Cyclone server.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "PeerProcess.h"
#include "ServiceBytes.h"
#include "ServicePeers.h"
#include "WaitFor.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawServiceServer.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/ServiceServer.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;
using qorTest::Bytes;
using namespace std::chrono_literals;

constexpr std::int8_t kDomain = 29;
using qorTest::kPeerDeadline;
using qorTest::kSetBoolType;
using qorTest::linesStartingWith;
using qorTest::peerServiceName;

TEST(CycloneService, OurServerAnswersACycloneClientInItsWire) {
    const std::string service = peerServiceName("cyclone_client");
    RawServiceServer server("/" + service, kSetBoolType, kDomain);
    qorTest::ServicePeer peer(QOR_CYCLONE_SERVICE_PEER, "client", kDomain, service, 3);
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
    EXPECT_EQ(peer.finish(), 0) << peer.transcript();
    EXPECT_EQ(
        linesStartingWith(peer, "reply "),
        (std::vector<std::string>{"reply 1 1 fast 1", "reply 2 0 fast 0", "reply 3 1 fast 1"}))
        << peer.transcript();
    EXPECT_EQ(server.droppedRequests(), 0U);
}

TEST(CycloneService, OurClientCallsACycloneServerInItsWire) {
    const std::string service = peerServiceName("cyclone_server");
    qorTest::ServicePeer peer(QOR_CYCLONE_SERVICE_PEER, "server", kDomain, service, 3);
    RawServiceClient client("/" + service, kSetBoolType, kDomain, presetQos("services_default"),
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
    EXPECT_EQ(peer.finish(), 0) << peer.transcript();
    EXPECT_EQ(linesStartingWith(peer, "request "), expectedRequests) << peer.transcript();
}

// Cyclone sees what rmw announces for a service: the request's hash on the request endpoints, and
// the server's id beside it, so that Cyclone-side tools pair its reader and writer.
TEST(CycloneService, RequestEndpointsAnnounceTheRequestHashAndTheServiceId) {
    const std::string service = peerServiceName("announced");
    ServiceServer<stdSrvs::SetBool> server("/" + service, kDomain);
    ServiceClient<stdSrvs::SetBool> client("/" + service, kDomain);
    const std::string hash = knownServiceTypeHashes(kSetBoolType).request;
    ASSERT_EQ(hash.rfind("RIHS01_", 0), 0U) << hash;
    PeerProcess peer({QOR_CYCLONE_GRAPH_PEER, "userdata", std::to_string(kDomain),
                      "rq/" + service + "Request", std::to_string(kPeerDeadline.count())});
    ASSERT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline + kPeerDeadline)), 0)
        << peer.transcript();
    const std::vector<std::string> publication = linesStartingWith(peer, "publication ");
    const std::vector<std::string> subscription = linesStartingWith(peer, "subscription ");
    ASSERT_EQ(publication.size(), 1U) << peer.transcript();
    ASSERT_EQ(subscription.size(), 1U) << peer.transcript();
    EXPECT_EQ(publication[0], "publication typehash=" + hash + ";");
    const std::string announced = "subscription typehash=" + hash + ";serviceid=";
    EXPECT_EQ(subscription[0].rfind(announced, 0), 0U) << subscription[0];
    EXPECT_EQ(subscription[0].back(), ';') << subscription[0];
}

// The node's announcement lists a server's request reader and reply writer and a client's request
// writer and reply reader, as rmw lists them for `ros2 node info`; Cyclone finds each of them
// among the endpoints it discovered, on the service's topics.
TEST(CycloneService, NodeAnnouncesTheServersAndClientsEndpoints) {
    const std::string node = "service_node_p" + std::to_string(::getpid());
    setNodeIdentity(node, "/qor_test");
    const std::string service = peerServiceName("node_info");
    RawServiceServer server("/" + service, kSetBoolType, kDomain);
    RawServiceClient client("/" + service, kSetBoolType, kDomain);
    PeerProcess peer({QOR_CYCLONE_GRAPH_PEER, "read", std::to_string(kDomain), "/qor_test", node,
                      std::to_string(kPeerDeadline.count())});
    ASSERT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline + kPeerDeadline)), 0)
        << peer.transcript();
    // "writer <gid> <DDS topic>": the topics, in a fixed order.
    const auto topicsOf = [&](const std::string& kind) {
        std::vector<std::string> topics;
        for (const std::string& line : linesStartingWith(peer, kind + " ")) {
            topics.push_back(line.substr(line.rfind(' ') + 1));
        }
        std::sort(topics.begin(), topics.end());
        return topics;
    };
    const std::vector<std::string> both = {"rq/" + service + "Request", "rr/" + service + "Reply"};
    EXPECT_EQ(topicsOf("writer"), both) << peer.transcript();
    EXPECT_EQ(topicsOf("reader"), both) << peer.transcript();
}

}  // namespace
