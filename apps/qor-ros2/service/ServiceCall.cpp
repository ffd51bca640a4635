#include "service/ServiceCall.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>
#include <utility>
#include <vector>

#include "cli/CommandFailure.h"
#include "cli/StopSignal.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/RosNames.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/typesupport/RecordView.h"
#include "qorROS2/typesupport/Yaml.h"
#include "text/PythonValueText.h"

namespace qorCli {
namespace {

namespace ts = qorROS2::typesupport;
using Clock = std::chrono::steady_clock;

// How long each wait lasts before Ctrl-C is looked at again.
constexpr std::chrono::milliseconds kStopPoll{50};

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t at = text.find(separator); at != std::string::npos;
         at = text.find(separator, start)) {
        parts.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

// Waits for a server of `service` to be seen and returns whether it speaks rmw_cyclonedds's
// wire; Ctrl-C ends the wait.
bool waitForServer(const qorROS2::TopicDiscovery& discovery, const std::string& service,
                   bool& printedWaiting) {
    for (;;) {
        for (const qorROS2::DiscoveredServiceEndpoint& endpoint : discovery.serviceEndpoints()) {
            if (endpoint.service == service && endpoint.isServer()) {
                return endpoint.cycloneDds;
            }
        }
        if (!printedWaiting) {
            print("waiting for service to become available...\n");
            printedWaiting = true;
        }
        throwIfStopRequested();
        std::this_thread::sleep_for(kStopPoll);
    }
}

std::int64_t send(qorROS2::RawServiceClient& client, const std::vector<std::uint8_t>& payload,
                  const std::string& service) {
    const std::int64_t sequence = client.sendRequest(payload);
    if (sequence < 0) {
        throw CommandFailure(
            "Exception while calling service: the middleware refused the "
            "request to '" +
            service + "'");
    }
    return sequence;
}

// Sends the request and waits for its reply until Ctrl-C, as ros2 spins until the future is
// done. A Cyclone DDS reader ignores what a new writer sent before its first heartbeat came, so
// to a server on rmw_cyclonedds the request goes again after each resend period without reply.
std::vector<std::uint8_t> exchange(qorROS2::RawServiceClient& client,
                                   const std::vector<std::uint8_t>& payload,
                                   const std::string& service, bool cycloneDds) {
    constexpr std::chrono::milliseconds kCycloneResend{500};
    std::int64_t sequence = send(client, payload, service);
    Clock::time_point sent = Clock::now();
    std::vector<std::uint8_t> reply;
    while (!client.waitForReply(sequence, reply, kStopPoll)) {
        throwIfStopRequested();
        if (cycloneDds && Clock::now() - sent > kCycloneResend) {
            client.forgetRequest(sequence);
            sequence = send(client, payload, service);
            sent = Clock::now();
        }
    }
    return reply;
}

}  // namespace

const ts::ServiceTypeSupport& serviceTypeToCall(const std::string& name) {
    if (const ts::ServiceTypeSupport* type = ts::findServiceTypeSupport(name)) {
        return *type;
    }
    // ros2 imports the module the name names and then looks for the request in it: a message
    // type is found, but is no service.
    const std::vector<std::string> parts = split(name, '/');
    if (parts.size() == 3 && parts[1] == "msg" && ts::findTypeSupport(name) != nullptr) {
        throw CommandFailure("The passed type is not a service");
    }
    throw CommandFailure("The passed service type is invalid");
}

int callService(const ServiceCallRequest& request) {
    // "not (rate > 0)" refuses NaN as well, which would otherwise call without a pause.
    if (request.rate && !(*request.rate > 0.0)) {
        throw CommandFailure("rate must be greater than zero");
    }
    const ts::ServiceTypeSupport& type = serviceTypeToCall(request.type);
    ts::Sample message = type.request().createSample();
    try {
        ts::fromYaml(request.values, ts::viewOf(message));
    } catch (const ts::TypeSupportError& error) {
        throw CommandFailure(std::string("Failed to populate field: ") + error.what());
    }
    const std::string service = qorROS2::resolveServiceName(request.service);
    const std::vector<std::uint8_t> payload = type.request().encode(message);
    const std::string requestText =
        "requester: making request: " + pythonMessageRepr(ts::viewOf(std::as_const(message))) +
        "\n\n";

    const qorROS2::TopicDiscovery discovery(request.domain);
    bool printedWaiting = false;
    const bool cycloneDds = waitForServer(discovery, service, printedWaiting);
    qorROS2::RawServiceClient client(
        service, type.rosName(), request.domain, qorROS2::presetQos("services_default"),
        cycloneDds ? qorROS2::ServiceWire::cycloneDds : qorROS2::ServiceWire::fastRtps,
        type.requestTypeHash(), type.responseTypeHash());
    while (!client.waitForService(kStopPoll)) {
        if (!printedWaiting) {
            print("waiting for service to become available...\n");
            printedWaiting = true;
        }
        throwIfStopRequested();
    }

    // A rate so small that its period overflows the clock waits for Ctrl-C: a year is as good.
    const double periodSeconds = request.rate ? std::min(1.0 / *request.rate, 3.2e7) : 0.0;
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(periodSeconds));
    for (;;) {
        print(requestText);
        const Clock::time_point lastCall = Clock::now();
        const std::vector<std::uint8_t> reply = exchange(client, payload, service, cycloneDds);
        try {
            const ts::Sample response = type.response().decode(reply);
            print("response:\n" + pythonMessageRepr(ts::viewOf(response)) + "\n\n");
        } catch (const ts::TypeSupportError& error) {
            throw CommandFailure(std::string("Exception while calling service: ") + error.what());
        }
        if (!request.rate) {
            return 0;
        }
        while (Clock::now() < lastCall + period) {
            throwIfStopRequested();
            std::this_thread::sleep_for(
                std::min<Clock::duration>(kStopPoll, lastCall + period - Clock::now()));
        }
        throwIfStopRequested();
    }
}

}  // namespace qorCli
