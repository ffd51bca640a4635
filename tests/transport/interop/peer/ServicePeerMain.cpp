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
#include "ServicePeerArguments.h"
#include "ServiceTypes.h"

namespace {

using Clock = std::chrono::steady_clock;
using Request = std_srvs_srv_dds__SetBool_Request_;
using Response = std_srvs_srv_dds__SetBool_Response_;

dds_entity_t checked(dds_entity_t result, const std::string& what) {
    if (result < 0) {
        throw std::runtime_error("cannot " + what + ": " + dds_strretcode(result));
    }
    return result;
}

// Services' QoS in ROS 2: reliable, volatile, keep last 10; the USER_DATA pairs the reader and
// the writer of one client or service.
dds_qos_t* serviceQos(const std::string& userData) {
    dds_qos_t* qos = dds_create_qos();
    dds_qset_reliability(qos, DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos, DDS_DURABILITY_VOLATILE);
    dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, 10);
    dds_qset_userdata(qos, userData.data(), userData.size());
    return qos;
}

struct Endpoints {
    dds_entity_t writer;
    dds_entity_t reader;
};

// A writer of `writerTopic` and a reader of `readerTopic`, both announcing `userData`.
Endpoints create(dds_entity_t participant, const dds_topic_descriptor_t* writerType,
                 const std::string& writerTopic, const dds_topic_descriptor_t* readerType,
                 const std::string& readerTopic, const std::string& userData) {
    dds_qos_t* qos = serviceQos(userData);
    const dds_entity_t out =
        checked(dds_create_topic(participant, writerType, writerTopic.c_str(), nullptr, nullptr),
                "create " + writerTopic);
    const dds_entity_t in =
        checked(dds_create_topic(participant, readerType, readerTopic.c_str(), nullptr, nullptr),
                "create " + readerTopic);
    Endpoints endpoints{checked(dds_create_writer(participant, out, qos, nullptr), "write"),
                        checked(dds_create_reader(participant, in, qos, nullptr), "read")};
    dds_delete_qos(qos);
    return endpoints;
}

// A client or service id as rmw_cyclonedds writes one.
std::string idText(const dds_guid_t& guid, unsigned count) {
    char text[80];
    std::snprintf(text, sizeof text, "%2x", guid.v[0]);
    std::string id = text;
    for (int i = 1; i < 12; ++i) {
        std::snprintf(text, sizeof text, ".%x", guid.v[i]);
        id += text;
    }
    for (int shift = 24; shift >= 0; shift -= 8) {
        std::snprintf(text, sizeof text, ".%x", (count >> shift) & 0xffU);
        id += text;
    }
    return id;
}

bool matched(dds_entity_t writer, dds_entity_t reader) {
    dds_publication_matched_status_t published;
    dds_subscription_matched_status_t subscribed;
    return dds_get_publication_matched_status(writer, &published) == 0 &&
           dds_get_subscription_matched_status(reader, &subscribed) == 0 &&
           published.current_count > 0 && subscribed.current_count > 0;
}

// Takes the samples of `reader` as they come and hands each valid one to `use`, until `use` has
// returned true for `count` of them (true) or `deadline` passes (false).
template <typename Sample, typename Use>
bool takeUntilCounted(dds_entity_t reader, int count, Clock::time_point deadline, Use use) {
    int counted = 0;
    while (counted < count) {
        if (Clock::now() > deadline) {
            return false;
        }
        void* samples[1] = {nullptr};
        dds_sample_info_t info;
        if (dds_take(reader, samples, &info, 1, 1) <= 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            continue;
        }
        if (info.valid_data && use(*static_cast<const Sample*>(samples[0]))) {
            ++counted;
        }
        dds_return_loan(reader, samples, 1);
    }
    return true;
}

int runClient(dds_entity_t participant, const std::string& service, int count,
              Clock::time_point deadline) {
    dds_guid_t guid;
    dds_get_guid(participant, &guid);
    const Endpoints endpoints =
        create(participant, &std_srvs_srv_dds__SetBool_Request__desc, "rq/" + service + "Request",
               &std_srvs_srv_dds__SetBool_Response__desc, "rr/" + service + "Reply",
               "clientid=" + idText(guid, 1) + ";");
    std::puts("ready");
    std::fflush(stdout);
    while (!matched(endpoints.writer, endpoints.reader)) {
        if (Clock::now() > deadline) {
            return 2;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    dds_instance_handle_t handle = 0;
    dds_get_instance_handle(endpoints.writer, &handle);
    for (int i = 0; i < count; ++i) {
        Request request{};
        request.client_id = handle;
        request.sequence_number = i + 1;
        request.data = i % 2 == 0;
        checked(dds_write(endpoints.writer, &request), "send a request");
    }
    const bool all = takeUntilCounted<Response>(
        endpoints.reader, count, deadline, [handle](const Response& response) {
            if (response.client_id != handle) {
                return false;
            }
            std::printf("reply %" PRId64 " %d %s\n",
                        static_cast<std::int64_t>(response.sequence_number),
                        response.success ? 1 : 0, response.message);
            std::fflush(stdout);
            return true;
        });
    return all ? 0 : 2;
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
                ? runClient(participant, arguments->service, arguments->count, deadline)
                : runServer(participant, arguments->service, arguments->count, deadline);
        dds_delete(participant);
        return result;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
