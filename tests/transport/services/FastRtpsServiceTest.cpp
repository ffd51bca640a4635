// Services with a client and a server written straight on Fast DDS as rmw_fastrtps writes them,
// in a process of their own: the request names the client's reply reader, the reply names the
// request, and each side keeps only what names it.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "PeerProcess.h"
#include "ServiceBytes.h"
#include "ServicePeers.h"
#include "WaitFor.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawServiceServer.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;
using qorTest::Bytes;
using namespace std::chrono_literals;

constexpr std::int8_t kDomain = 37;
using qorTest::kPeerDeadline;
using qorTest::kSetBoolType;
using qorTest::linesStartingWith;
using qorTest::peerServiceName;

TEST(FastRtpsService, OurServerAnswersAnRmwFastRtpsClient) {
    const std::string service = peerServiceName("fastrtps_client");
    RawServiceServer server("/" + service, kSetBoolType, kDomain);
    PeerProcess peer({QOR_FASTRTPS_SERVICE_PEER, "client", std::to_string(kDomain), service, "3",
                      std::to_string(kPeerDeadline.count())});
    std::vector<std::int64_t> sequences;
    const qorTest::Deadline deadline(kPeerDeadline);
    while (!deadline.passed() && sequences.size() < 3) {
        if (server.waitForRequest(50ms)) {
            server.handleRequests([&](const RawServiceRequest& request) -> std::optional<Bytes> {
                sequences.push_back(request.id.sequenceNumber);
                const bool data = request.bytes.size() > 4 && request.bytes[4] != 0;
                return qorTest::setBoolResponse(data, data ? "ours 1" : "ours 0");
            });
        }
    }
    EXPECT_EQ(sequences, (std::vector<std::int64_t>{1, 2, 3})) << peer.transcript();
    EXPECT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline)), 0) << peer.transcript();
    EXPECT_EQ(
        linesStartingWith(peer, "reply "),
        (std::vector<std::string>{
            "reply 1 " + qorTest::hex(qorTest::padded(qorTest::setBoolResponse(true, "ours 1"))),
            "reply 2 " + qorTest::hex(qorTest::padded(qorTest::setBoolResponse(false, "ours 0"))),
            "reply 3 " + qorTest::hex(qorTest::padded(qorTest::setBoolResponse(true, "ours 1")))}))
        << peer.transcript();
}

TEST(FastRtpsService, OurClientCallsAnRmwFastRtpsServer) {
    const std::string service = peerServiceName("fastrtps_server");
    PeerProcess peer({QOR_FASTRTPS_SERVICE_PEER, "server", std::to_string(kDomain), service, "3",
                      std::to_string(kPeerDeadline.count())});
    RawServiceClient client("/" + service, kSetBoolType, kDomain);
    ASSERT_TRUE(client.waitForService(kPeerDeadline)) << peer.transcript();
    std::vector<Bytes> replies;
    for (const bool data : {true, false, true}) {
        const std::optional<Bytes> reply = client.call(qorTest::setBoolRequest(data), 10s);
        ASSERT_TRUE(reply.has_value()) << "no reply within 10 s\n" << peer.transcript();
        replies.push_back(*reply);
    }
    EXPECT_EQ(replies,
              (std::vector<Bytes>{qorTest::padded(qorTest::setBoolResponse(true, "fastrtps 1")),
                                  qorTest::padded(qorTest::setBoolResponse(false, "fastrtps 0")),
                                  qorTest::padded(qorTest::setBoolResponse(true, "fastrtps 1"))}));
    EXPECT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline)), 0) << peer.transcript();
    EXPECT_EQ(linesStartingWith(peer, "request "),
              (std::vector<std::string>{
                  "request 1 " + qorTest::hex(qorTest::padded(qorTest::setBoolRequest(true))),
                  "request 2 " + qorTest::hex(qorTest::padded(qorTest::setBoolRequest(false))),
                  "request 3 " + qorTest::hex(qorTest::padded(qorTest::setBoolRequest(true)))}))
        << peer.transcript();
    EXPECT_EQ(client.ignoredReplies(), 0U);
}

}  // namespace
