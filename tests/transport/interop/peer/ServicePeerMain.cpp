// qor_cyclone_service_peer: a std_srvs/srv/SetBool client or server on Eclipse Cyclone DDS,
// written as rmw_cyclonedds writes them, in a process of its own.
//
//   qor_cyclone_service_peer client <domain> <service> <count> <timeout ms>
//       sends <count> requests (data true, false, true, ...) on rq/<service>Request, each with
//       the request header {its writer's instance handle, 1, 2, ...}; its writer and reader
//       announce "clientid=<id>;". Prints "reply <sequence number> <success> <message>" for each
//       reply that names it, in the order they come, and exits 0 once all came; exits 2 when
//       time runs out first.
//   qor_cyclone_service_peer server <domain> <service> <count> <timeout ms>
//       answers <count> requests on rq/<service>Request with success = data and the message
//       "cyclone <data>", the request header copied into the reply; its reader and writer
//       announce "serviceid=<id>;". Prints "request <sequence number> <data>" for each, and
//       exits 0 after the last reply; exits 2 when time runs out first.
// Both print "ready" once their endpoints exist; <service> is written without its leading '/'.
// Arguments not as above: the reason and the usage on stderr, exit 64.

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
#include "ServiceTypes.h"

namespace {

using namespace qorPeer;
using Request = std_srvs_srv_dds__SetBool_Request_;
using Response = std_srvs_srv_dds__SetBool_Response_;

int runSetBoolClient(dds_entity_t participant, const std::string& service, int count,
                     Clock::time_point deadline) {
    return runClient<Request, Response>(
        participant, &std_srvs_srv_dds__SetBool_Request__desc,
        &std_srvs_srv_dds__SetBool_Response__desc, service, count, deadline,
        [](Request& request, int i) { request.data = i % 2 == 0; },
        [](const Response& response) {
            std::printf("reply %" PRId64 " %d %s\n",
                        static_cast<std::int64_t>(response.sequence_number),
                        response.success ? 1 : 0, response.message);
        });
}

int runServer(dds_entity_t participant, const std::string& service, int count,
              Clock::time_point deadline) {
    dds_guid_t guid;
    dds_get_guid(participant, &guid);
    const Endpoints endpoints =
        create(participant, &std_srvs_srv_dds__SetBool_Response__desc, "rr/" + service + "Reply",
               &std_srvs_srv_dds__SetBool_Request__desc, "rq/" + service + "Request",
               "serviceid=" + idText(guid, 1) + ";");
    std::puts("ready");
    std::fflush(stdout);
    const bool all =
        takeUntilCounted<Request>(endpoints.reader, count, deadline, [&](const Request& request) {
            std::printf("request %" PRId64 " %d\n",
                        static_cast<std::int64_t>(request.sequence_number), request.data ? 1 : 0);
            std::fflush(stdout);
            // rmw_cyclonedds waits for the client's reader before it answers.
            while (!matched(endpoints.writer, endpoints.reader) && Clock::now() < deadline) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            std::string message = request.data ? "cyclone 1" : "cyclone 0";
            Response response{};
            response.client_id = request.client_id;
            response.sequence_number = request.sequence_number;
            response.success = request.data;
            response.message = message.data();
            checked(dds_write(endpoints.writer, &response), "send a reply");
            return true;
        });
    if (!all) {
        return 2;
    }
    // Stays until the last reply was acknowledged, or a second at most.
    dds_wait_for_acks(endpoints.writer, DDS_SECS(1));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::optional<qorTest::ServicePeerArguments> arguments =
        qorTest::parseServicePeerArguments(argc, argv);
    if (!arguments) {
        return qorTest::kServicePeerUsageExit;
    }
    try {
        const auto deadline = Clock::now() + arguments->timeout;
        const dds_entity_t participant = createPeerParticipant(arguments->domain);
        const int result =
            arguments->client
                ? runSetBoolClient(participant, arguments->service, arguments->count, deadline)
                : runServer(participant, arguments->service, arguments->count, deadline);
        dds_delete(participant);
        return result;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
