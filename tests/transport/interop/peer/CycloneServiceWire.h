#pragma once

// The service wire of rmw_cyclonedds, for the Cyclone DDS peers: services' QoS with the USER_DATA
// that pairs a client's or a service's reader and writer, their ids, matching, and taking
// samples as they come.

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>

#include <dds/dds.h>

namespace qorPeer {

using Clock = std::chrono::steady_clock;

inline dds_entity_t checked(dds_entity_t result, const std::string& what) {
    if (result < 0) {
        throw std::runtime_error("cannot " + what + ": " + dds_strretcode(result));
    }
    return result;
}

// Services' QoS in ROS 2: reliable, volatile, keep last 10; the USER_DATA pairs the reader and
// the writer of one client or service.
inline dds_qos_t* serviceQos(const std::string& userData) {
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
inline Endpoints create(dds_entity_t participant, const dds_topic_descriptor_t* writerType,
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
inline std::string idText(const dds_guid_t& guid, unsigned count) {
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

inline bool matched(dds_entity_t writer, dds_entity_t reader) {
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

// Runs a client of `service` as rmw_cyclonedds runs one: says "ready" once its endpoints exist,
// sends `count` requests once matched, each made by `fill(request, i)` and carrying the request
// header {its writer's instance handle, i + 1}, then hands each reply that names it to `print`.
// Returns 0 once all came, 2 when `deadline` passes first.
template <typename Request, typename Response, typename Fill, typename Print>
int runClient(dds_entity_t participant, const dds_topic_descriptor_t* requestType,
              const dds_topic_descriptor_t* responseType, const std::string& service, int count,
              Clock::time_point deadline, Fill fill, Print print) {
    dds_guid_t guid;
    dds_get_guid(participant, &guid);
    const Endpoints endpoints =
        create(participant, requestType, "rq/" + service + "Request", responseType,
               "rr/" + service + "Reply", "clientid=" + idText(guid, 1) + ";");
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
        fill(request, i);
        checked(dds_write(endpoints.writer, &request), "send a request");
    }
    const bool all = takeUntilCounted<Response>(endpoints.reader, count, deadline,
                                                [handle, &print](const Response& response) {
                                                    if (response.client_id != handle) {
                                                        return false;
                                                    }
                                                    print(response);
                                                    std::fflush(stdout);
                                                    return true;
                                                });
    return all ? 0 : 2;
}

}  // namespace qorPeer
