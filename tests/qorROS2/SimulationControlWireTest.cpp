// The simulator-control services on the wire, for a client written straight on Fast DDS as
// rmw_fastrtps writes one (the requests and the answers as CDR bytes written out here, not by our
// codec), and for a Cyclone DDS client in a process of its own, written as rmw_cyclonedds writes
// one.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "RmwFastRtpsService.h"
#include "ServicePeers.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2SimulationControlServer.h"
#include "qorSDK/Simulation.h"

namespace {

using namespace std::chrono_literals;
using Server = qorROS2::ROS2SimulationControlServer;

constexpr std::int8_t kDomain = 69;

std::string hex(const std::vector<std::uint8_t>& bytes) {
    std::ostringstream text;
    text << std::hex;
    for (std::uint8_t byte : bytes) {
        text << (byte < 16 ? "0" : "") << static_cast<int>(byte) << " ";
    }
    return text.str();
}

// Sends `request` and runs the application's loop around `server` until the reply comes.
std::vector<std::uint8_t> callRaw(qorTest::RmwFastRtpsService& client,
                                  qorSDK::Simulation& simulation, Server& server,
                                  const std::vector<std::uint8_t>& request) {
    const std::int64_t sent = client.sendRequest(request);
    EXPECT_GT(sent, 0);
    std::vector<std::uint8_t> reply;
    std::int64_t sequence = 0;
    const bool answered = qorTest::waitFor([&] {
        server.handleRequests();
        if (server.shouldStep()) {
            simulation.stepForward();
        }
        return client.takeReply(reply, sequence, 1ms);
    });
    EXPECT_TRUE(answered) << "no reply";
    EXPECT_EQ(sequence, sent);
    return reply;
}

TEST(SimulationControlWire, ARawFastDdsClientGetsTheStateAndSteps) {
    const std::string prefix = "wire_" + std::to_string(::getpid());
    const qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(
        "<mujoco model='empty'><option timestep='0.002'/><worldbody/></mujoco>");
    const qor::ref_ptr<Server> server = new Server(kDomain, "/" + prefix, Server::PAUSED);
    simulation->add(server.get());
    qorTest::RmwFastRtpsService getState(qorTest::RmwFastRtpsService::Role::client, kDomain,
                                         prefix + "/get_simulation_state",
                                         "simulation_interfaces::srv::dds_::GetSimulationState");
    qorTest::RmwFastRtpsService step(qorTest::RmwFastRtpsService::Role::client, kDomain,
                                     prefix + "/step_simulation",
                                     "simulation_interfaces::srv::dds_::StepSimulation");
    ASSERT_TRUE(qorTest::waitFor([&] { return getState.matched() && step.matched(); }));

    // The placeholder byte of an empty request.
    const std::vector<std::uint8_t> state =
        callRaw(getState, *simulation, *server, {0x00, 0x01, 0x00, 0x00, 0x00});
    // SimulationState{PAUSED 2}, Result{RESULT_OK 1, ""}: the string's length at offset 4.
    EXPECT_EQ(state, (std::vector<std::uint8_t>{0x00, 0x01, 0x00, 0x00, 2, 1, 0, 0, 1, 0, 0, 0, 0}))
        << hex(state);

    // uint64 steps = 3.
    const std::vector<std::uint8_t> stepped =
        callRaw(step, *simulation, *server, {0x00, 0x01, 0x00, 0x00, 3, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(stepped,
              (std::vector<std::uint8_t>{0x00, 0x01, 0x00, 0x00, 1, 0, 0, 0, 1, 0, 0, 0, 0}))
        << hex(stepped);
    EXPECT_DOUBLE_EQ(simulation->getTime(), 3 * 0.002);
}

TEST(SimulationControlWire, ACycloneClientGetsTheState) {
    const std::string service = qorTest::peerServiceName("get_simulation_state");
    // The prefix of the peer's service name, whose last part is the service's own.
    const std::string prefix = "/" + service.substr(0, service.rfind('/'));
    const qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(
        "<mujoco model='empty'><option timestep='0.002'/><worldbody/></mujoco>");
    const qor::ref_ptr<Server> server = new Server(kDomain, prefix, Server::STOPPED);
    simulation->add(server.get());
    qorTest::ServicePeer peer(QOR_CYCLONE_SIMULATION_STATE_PEER, "client", kDomain, service, 2);

    std::optional<int> code;
    const qorTest::Deadline deadline(qorTest::kPeerDeadline);
    while (!code && !deadline.passed()) {
        server->waitForRequest(10ms);
        server->handleRequests();
        code = peer.waitForExit(qorTest::Deadline(1ms));
    }

    ASSERT_TRUE(code) << peer.transcript();
    EXPECT_EQ(*code, 0) << peer.transcript();
    EXPECT_EQ(
        qorTest::linesStartingWith(peer, "reply"),
        (std::vector<std::string>{"reply 1 state 0 result 1 ''", "reply 2 state 0 result 1 ''"}))
        << peer.transcript();
}

}  // namespace
