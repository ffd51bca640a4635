// qor_fastrtps_service_peer: a std_srvs/srv/SetBool client or server written on Fast DDS as
// rmw_fastrtps writes them, in a process of its own.
//
//   qor_fastrtps_service_peer client <domain> <service> <count> <timeout ms>
//       sends <count> requests (data true, false, true, ...) once matched, and prints
//       "reply <sequence number> <payload in hex>" for each reply to them, in the order they
//       come; exits 0 once all came, 2 when time runs out first.
//   qor_fastrtps_service_peer server <domain> <service> <count> <timeout ms>
//       answers <count> requests with success = data and the message "fastrtps <data>", and
//       prints "request <sequence number> <payload in hex>" for each; exits 0 after the last
//       reply was acknowledged, 2 when time runs out first.
// <service> is written without its leading '/'. Both print "ready" once their endpoints exist.
// Arguments not as above: the reason and the usage on stderr, exit 64.

#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "RmwFastRtpsService.h"
#include "ServiceBytes.h"
#include "ServicePeerArguments.h"

namespace {

using Clock = std::chrono::steady_clock;
using qorTest::RmwFastRtpsService;

std::chrono::nanoseconds left(Clock::time_point deadline) {
    return std::max(std::chrono::nanoseconds::zero(), deadline - Clock::now());
}

int runClient(RmwFastRtpsService& client, int count, Clock::time_point deadline) {
    while (!client.matched()) {
        if (Clock::now() > deadline) {
            return 2;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    for (int i = 0; i < count; ++i) {
        if (client.sendRequest(qorTest::setBoolRequest(i % 2 == 0)) < 0) {
            std::fprintf(stderr, "request %d was refused\n", i + 1);
            return 1;
        }
    }
    for (int i = 0; i < count; ++i) {
        std::vector<std::uint8_t> reply;
        std::int64_t sequence = 0;
        if (!client.takeReply(reply, sequence, left(deadline))) {
            return 2;
        }
        std::printf("reply %lld %s\n", static_cast<long long>(sequence),
                    qorTest::hex(reply).c_str());
        std::fflush(stdout);
    }
    return 0;
}

int runServer(RmwFastRtpsService& server, int count, Clock::time_point deadline) {
    for (int i = 0; i < count; ++i) {
        std::vector<std::uint8_t> request;
        eprosima::fastrtps::rtps::SampleIdentity id;
        if (!server.takeRequest(request, id, left(deadline))) {
            return 2;
        }
        const long long sequence =
            (static_cast<long long>(id.sequence_number().high) << 32) | id.sequence_number().low;
        std::printf("request %lld %s\n", sequence, qorTest::hex(request).c_str());
        std::fflush(stdout);
        const bool data = request.size() > 4 && request[4] != 0;
        if (!server.sendReply(qorTest::setBoolResponse(data, data ? "fastrtps 1" : "fastrtps 0"),
                              id)) {
            std::fprintf(stderr, "the reply to request %lld was refused\n", sequence);
            return 1;
        }
    }
    // Stays until the last reply was acknowledged, or a second at most.
    server.waitForAcknowledgments();
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
        RmwFastRtpsService endpoints(
            arguments->client ? RmwFastRtpsService::Role::client : RmwFastRtpsService::Role::server,
            arguments->domain, arguments->service, "std_srvs::srv::dds_::SetBool");
        std::puts("ready");
        std::fflush(stdout);
        return arguments->client ? runClient(endpoints, arguments->count, deadline)
                                 : runServer(endpoints, arguments->count, deadline);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
