// Service round-trip latency: a client calls a server that answers at once, one call at a time,
// through our RawServiceClient and RawServiceServer, and through a client and a server written
// straight on Fast DDS as rmw_fastrtps writes them. Prints the median and the 99th percentile of
// each. Runs alone: qor_service_latency_benchmark [calls] (2000 by default).

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "CountArgument.h"
#include "RmwFastRtpsService.h"
#include "ServiceBytes.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RawServiceServer.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::int8_t kOurDomain = 38;
constexpr std::uint32_t kRawDomain = 39;
constexpr std::chrono::seconds kMatchDeadline{30};

struct Figures {
    double medianUs = 0;
    double p99Us = 0;
    std::size_t answered = 0;
};

Figures figuresOf(std::vector<double> microseconds) {
    Figures figures;
    figures.answered = microseconds.size();
    if (microseconds.empty()) {
        return figures;
    }
    std::sort(microseconds.begin(), microseconds.end());
    figures.medianUs = microseconds[microseconds.size() / 2];
    figures.p99Us = microseconds[std::min(microseconds.size() - 1, microseconds.size() * 99 / 100)];
    return figures;
}

// Times `calls` round trips of `call`, after a tenth as many to warm up.
template <typename Call>
Figures timeCalls(int calls, Call call) {
    for (int i = 0; i < calls / 10; ++i) {
        call(i);
    }
    std::vector<double> microseconds;
    microseconds.reserve(static_cast<std::size_t>(calls));
    for (int i = 0; i < calls; ++i) {
        const auto start = Clock::now();
        if (call(i)) {
            microseconds.push_back(
                std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        }
    }
    return figuresOf(std::move(microseconds));
}

Figures ours(int calls, const std::string& service) {
    qorROS2::RawServiceServer server(service, "std_srvs/srv/SetBool", kOurDomain);
    qorROS2::RawServiceClient client(service, "std_srvs/srv/SetBool", kOurDomain);
    std::atomic<bool> stop{false};
    std::thread serving([&] {
        while (!stop) {
            if (server.waitForRequest(20ms)) {
                server.handleRequests([](const qorROS2::RawServiceRequest& request)
                                          -> std::optional<std::vector<std::uint8_t>> {
                    return qorTest::setBoolResponse(request.bytes.size() > 4 && request.bytes[4],
                                                    "ok");
                });
            }
        }
    });
    Figures figures;
    if (client.waitForService(kMatchDeadline)) {
        figures = timeCalls(calls, [&](int i) {
            return client.call(qorTest::setBoolRequest(i % 2 == 0), 5s).has_value();
        });
    }
    stop = true;
    serving.join();
    return figures;
}

Figures rawFastDds(int calls, const std::string& service) {
    using qorTest::RmwFastRtpsService;
    const std::string type = "std_srvs::srv::dds_::SetBool";
    RmwFastRtpsService server(RmwFastRtpsService::Role::server, kRawDomain, service, type);
    RmwFastRtpsService client(RmwFastRtpsService::Role::client, kRawDomain, service, type);
    std::atomic<bool> stop{false};
    std::thread serving([&] {
        std::vector<std::uint8_t> request;
        eprosima::fastrtps::rtps::SampleIdentity id;
        while (!stop) {
            if (server.takeRequest(request, id, 20ms)) {
                server.sendReply(qorTest::setBoolResponse(request.size() > 4 && request[4], "ok"),
                                 id);
            }
        }
    });
    Figures figures;
    const auto deadline = Clock::now() + kMatchDeadline;
    while (!(client.matched() && server.matched()) && Clock::now() < deadline) {
        std::this_thread::sleep_for(10ms);
    }
    if (client.matched()) {
        figures = timeCalls(calls, [&](int i) {
            const std::int64_t sent = client.sendRequest(qorTest::setBoolRequest(i % 2 == 0));
            std::vector<std::uint8_t> reply;
            std::int64_t answered = -1;
            while (answered != sent) {
                if (!client.takeReply(reply, answered, 5s)) {
                    return false;
                }
            }
            return true;
        });
    }
    stop = true;
    serving.join();
    return figures;
}

void print(const char* what, const Figures& figures, int calls) {
    std::printf("%-28s median %8.1f us   p99 %8.1f us   (%zu of %d calls answered)\n", what,
                figures.medianUs, figures.p99Us, figures.answered, calls);
}

}  // namespace

int main(int argc, char** argv) {
    int calls = 2000;
    if (!qorROS2::bench::readCountArgument(argc, argv, "qor_service_latency_benchmark [calls]",
                                           calls)) {
        return 2;
    }
    const std::string service = "qor_bench/p" + std::to_string(::getpid()) + "/set_bool";
    std::printf("std_srvs/srv/SetBool round trips in one process, one call at a time\n");
    print("qorROS2 raw service", ours(calls, "/" + service), calls);
    print("Fast DDS as rmw_fastrtps", rawFastDds(calls, service), calls);
    return 0;
}
