// `service list` and `service call` against servers that nobody here wrote the middleware of: one
// on Eclipse Cyclone DDS written as rmw_cyclonedds writes it, one straight on Fast DDS written
// as rmw_fastrtps writes it, each in a process of its own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "CliRuns.h"
#include "PeerProcess.h"
#include "WaitFor.h"
#include "service/ServiceCallOutput.h"

namespace {

// Each peer has a domain of its own: ctest runs the two tests side by side, and `service list`
// prints every server of its domain.
struct PeerServer {
    const char* program;
    const char* middleware;  ///< the word the peer puts in its response's message
    int domain;
};

void callThePeersServer(const PeerServer& peerServer) {
    const std::string service =
        std::string("cli_") + peerServer.middleware + "_p" + std::to_string(::getpid());
    qorInterop::PeerProcess peer(
        {peerServer.program, "server", std::to_string(peerServer.domain), service, "1", "30000"});
    ASSERT_TRUE(peer.waitForLine("ready", qorTest::Deadline(std::chrono::seconds(20))))
        << peer.transcript();

    const auto list = qorCliTest::runCliSplit("service list -t", peerServer.domain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(list, 0, "/" + service + " [std_srvs/srv/SetBool]\n"));
    const auto call = qorCliTest::runCliSplit(
        "service call /" + service + " std_srvs/srv/SetBool '{data: true}'", peerServer.domain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::withoutWaitingLine(call), 0,
        "requester: making request: std_srvs.srv.SetBool_Request(data=True)\n\n"
        "response:\nstd_srvs.srv.SetBool_Response(success=True, message='" +
            std::string(peerServer.middleware) + " 1')\n\n"))
        << peer.transcript();
    EXPECT_EQ(peer.waitForExit(qorTest::Deadline(std::chrono::seconds(20))), 0)
        << peer.transcript();
}

TEST(CliServiceInterop, CallsACycloneDdsServerInItsOwnWire) {
    callThePeersServer({QOR_CYCLONE_SERVICE_PEER, "cyclone", 13});
}

TEST(CliServiceInterop, CallsAnRmwFastRtpsStyleServer) {
    callThePeersServer({QOR_FASTRTPS_SERVICE_PEER, "fastrtps", 34});
}

}  // namespace
