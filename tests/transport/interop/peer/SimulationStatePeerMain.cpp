// qor_cyclone_simulation_state_peer: a simulation_interfaces/srv/GetSimulationState client on
// Eclipse Cyclone DDS, written as rmw_cyclonedds writes one, in a process of its own.
//
//   qor_cyclone_simulation_state_peer client <domain> <service> <count> <timeout ms>
//       sends <count> requests on rq/<service>Request, each with the request header {its
//       writer's instance handle, 1, 2, ...}; its writer and reader announce "clientid=<id>;".
//       Prints "reply <sequence number> state <state> result <result> '<error message>'" for
//       each reply that names it, and exits 0 once all came; exits 2 when time runs out first.
// It prints "ready" once its endpoints exist; <service> is written without its leading '/'.
// Arguments not as above (a "server" among them: there is none): the reason and the usage on
// stderr, exit 64.

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "CycloneDomain.h"
#include "CycloneServiceWire.h"
#include "ServicePeerArguments.h"
#include "SimulationStateTypes.h"

namespace {

using namespace qorPeer;
using Request = simulation_interfaces_srv_dds__GetSimulationState_Request_;
using Response = simulation_interfaces_srv_dds__GetSimulationState_Response_;

int run(dds_entity_t participant, const std::string& service, int count,
        Clock::time_point deadline) {
    return runClient<Request, Response>(
        participant, &simulation_interfaces_srv_dds__GetSimulationState_Request__desc,
        &simulation_interfaces_srv_dds__GetSimulationState_Response__desc, service, count, deadline,
        [](Request& /*request*/, int /*i*/) {},
        [](const Response& response) {
            std::printf(
                "reply %" PRId64 " state %u result %u '%s'\n",
                static_cast<std::int64_t>(response.sequence_number),
                static_cast<unsigned>(response.state.state),
                static_cast<unsigned>(response.result.result),
                response.result.error_message != nullptr ? response.result.error_message : "");
        });
}

}  // namespace

int main(int argc, char** argv) {
    const std::optional<qorTest::ServicePeerArguments> arguments =
        qorTest::parseServicePeerArguments(argc, argv);
    if (!arguments) {
        return qorTest::kServicePeerUsageExit;
    }
    if (!arguments->client) {
        std::fprintf(stderr, "qor_cyclone_simulation_state_peer: only a client is written\n");
        return qorTest::kServicePeerUsageExit;
    }
    try {
        const auto deadline = Clock::now() + arguments->timeout;
        const dds_entity_t participant = createPeerParticipant(arguments->domain);
        const int result = run(participant, arguments->service, arguments->count, deadline);
        dds_delete(participant);
        return result;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
