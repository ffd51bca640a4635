// Services with a client and a server written straight on Fast DDS as rmw_fastrtps writes them,
// in a process of their own: the request names the client's reply reader, the reply names the
// request, and each side keeps only what names it.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "RmwFastRtpsService.h"
#include "ServiceBytes.h"
#include "ServicePeers.h"
#include "WaitFor.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawServiceServer.h"

namespace {

using namespace qorROS2;
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
    qorTest::ServicePeer peer(QOR_FASTRTPS_SERVICE_PEER, "client", kDomain, service, 3);
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
    EXPECT_EQ(peer.finish(), 0) << peer.transcript();
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
    qorTest::ServicePeer peer(QOR_FASTRTPS_SERVICE_PEER, "server", kDomain, service, 3);
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
    EXPECT_EQ(peer.finish(), 0) << peer.transcript();
    EXPECT_EQ(linesStartingWith(peer, "request "),
              (std::vector<std::string>{
                  "request 1 " + qorTest::hex(qorTest::padded(qorTest::setBoolRequest(true))),
                  "request 2 " + qorTest::hex(qorTest::padded(qorTest::setBoolRequest(false))),
                  "request 3 " + qorTest::hex(qorTest::padded(qorTest::setBoolRequest(true)))}))
        << peer.transcript();
    EXPECT_EQ(client.ignoredReplies(), 0U);
}

// A request that names a reply reader the server never matches is not answered into the void:
// the server waits for that reader a bounded time, then says the client was not ready.
TEST(FastRtpsService, ReplyToAReaderThatNeverMatchesIsNotSent) {
    const std::string service = peerServiceName("unmatched_reader");
    RawServiceServer server("/" + service, kSetBoolType, kDomain);
    qorTest::RmwFastRtpsService client(qorTest::RmwFastRtpsService::Role::client,
                                       static_cast<std::uint32_t>(kDomain), service,
                                       "std_srvs::srv::dds_::SetBool");
    ASSERT_TRUE(qorTest::waitFor([&] { return client.matched(); }));
    // A reader's GUID (entity kind 0x07) that no participant has.
    eprosima::fastrtps::rtps::GUID_t nowhere;
    nowhere.guidPrefix.value[0] = 0x01;
    nowhere.guidPrefix.value[11] = 0x7f;
    nowhere.entityId.value[3] = 0x07;
    ASSERT_GT(client.sendRequest(qorTest::setBoolRequest(true), nowhere), 0);
    RawServiceRequest request;
    ASSERT_TRUE(qorTest::waitFor([&] { return server.takeRequest(request); }));
    const auto start = std::chrono::steady_clock::now();
    const ReplyOutcome outcome = server.sendReply(request.id, qorTest::setBoolResponse(true, ""));
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    EXPECT_EQ(outcome, ReplyOutcome::clientNotReady) << "after " << waited.count() << " ms";
    std::vector<std::uint8_t> reply;
    std::int64_t sequence = 0;
    EXPECT_FALSE(client.takeReply(reply, sequence, 200ms)) << qorTest::hex(reply);
}

}  // namespace
