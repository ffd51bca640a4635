// qor_cyclone_graph_peer: the ROS 2 graph topic seen and written by Eclipse Cyclone DDS, in a
// process of its own.
//
//   qor_cyclone_graph_peer read <domain> <node namespace> <node name> <timeout ms>
//       waits for a graph sample that announces the node, and for Cyclone's own discovery of
//       every endpoint the node lists; prints what it found, one line each:
//         node <namespace> <name>
//         participant <gid in hex> <"discovered" or "unknown">
//         writer <gid in hex> <DDS topic of the publication Cyclone discovered with that GUID>
//         reader <gid in hex> <DDS topic of the subscription ...>
//       and exits 0; exits 2 when time runs out first.
//   qor_cyclone_graph_peer announce <domain> <node name> <topic> <seconds> [<user data>]
//       announces the node "/<node name>" with one std_msgs/msg/String publisher on "rt/<topic>",
//       as a ROS 2 node on Cyclone DDS would, prints "writer <gid in hex>", and lives <seconds>;
//       the publisher's USER_DATA is <user data> when given, else it has none.
//   qor_cyclone_graph_peer userdata <domain> <DDS topic> <timeout ms>
//       waits until Cyclone has discovered a publication and a subscription on <DDS topic>, and
//       prints the USER_DATA of each as text, or "none" when it has none:
//         publication <user data>
//         subscription <user data>
//       and exits 0; exits 2 when time runs out first.

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CycloneDomain.h"
#include "GraphTypes.h"
#include "RosTypes.h"

namespace {

using Clock = std::chrono::steady_clock;
using Gid = rmw_dds_common_msg_dds__Gid_;
using NodeInfo = rmw_dds_common_msg_dds__NodeEntitiesInfo_;
using ParticipantInfo = rmw_dds_common_msg_dds__ParticipantEntitiesInfo_;

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int /*signal*/) {
    stopRequested = 1;
}

dds_entity_t checked(dds_entity_t result, const std::string& what) {
    if (result < 0) {
        throw std::runtime_error("cannot " + what + ": " + dds_strretcode(result));
    }
    return result;
}

std::string hex(const unsigned char* bytes, std::size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xf];
    }
    return text;
}

// The 16 GUID bytes of a gid, as a key to compare with Cyclone's endpoint keys.
std::string guidKey(const Gid& gid) {
    return hex(gid.data, 16);
}

using QosPointer = std::unique_ptr<dds_qos_t, void (*)(dds_qos_t*)>;

// The graph topic's QoS in ROS 2: reliable, transient local, keep last 1 (the reader keeps more,
// so that the announcements of several participants wait side by side).
QosPointer graphQos(int32_t depth) {
    QosPointer qos(dds_create_qos(), &dds_delete_qos);
    dds_qset_reliability(qos.get(), DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos.get(), DDS_DURABILITY_TRANSIENT_LOCAL);
    dds_qset_history(qos.get(), DDS_HISTORY_KEEP_LAST, depth);
    const dds_data_representation_id_t plainCdr = DDS_DATA_REPRESENTATION_XCDR1;
    dds_qset_data_representation(qos.get(), 1, &plainCdr);
    return qos;
}

// A reader of one of Cyclone's builtin topics, which list what discovery found.
dds_entity_t builtinReader(dds_entity_t participant, dds_entity_t builtinTopic,
                           const std::string& what) {
    return checked(dds_create_reader(participant, builtinTopic, nullptr, nullptr), what);
}

dds_entity_t graphTopic(dds_entity_t participant) {
    return checked(
        dds_create_topic(participant, &rmw_dds_common_msg_dds__ParticipantEntitiesInfo__desc,
                         "ros_discovery_info", nullptr, nullptr),
        "create topic ros_discovery_info");
}

// Takes what one of Cyclone's builtin topics has discovered into `found`: GUID (hex) to
// `describe(sample)`.
template <typename Sample, typename Describe>
void collect(dds_entity_t reader, std::map<std::string, std::string>& found, Describe describe) {
    void* samples[16] = {};
    dds_sample_info_t infos[16];
    const dds_return_t count = dds_take(reader, samples, infos, 16, 16);
    for (dds_return_t i = 0; i < count; ++i) {
        if (infos[i].valid_data) {
            const auto* sample = static_cast<const Sample*>(samples[i]);
            found[hex(sample->key.v, 16)] = describe(*sample);
        }
    }
    if (count > 0) {
        dds_return_loan(reader, samples, count);
    }
}

std::string topicOf(const dds_builtintopic_endpoint_t& endpoint) {
    return endpoint.topic_name;
}

std::string participantOf(const dds_builtintopic_participant_t& /*participant*/) {
    return "participant";
}

// The lines that describe `node` of `info`, or nothing while some endpoint it lists is not yet
// discovered by Cyclone.
std::vector<std::string> describe(const ParticipantInfo& info, const NodeInfo& node,
                                  const std::map<std::string, std::string>& publications,
                                  const std::map<std::string, std::string>& subscriptions,
                                  const std::map<std::string, std::string>& participants) {
    std::vector<std::string> lines = {std::string("node ") + node.node_namespace + " " +
                                      node.node_name};
    lines.push_back("participant " + hex(info.gid.data, 24) + " " +
                    (participants.count(guidKey(info.gid)) != 0 ? "discovered" : "unknown"));
    for (std::uint32_t i = 0; i < node.writer_gid_seq._length; ++i) {
        const auto found = publications.find(guidKey(node.writer_gid_seq._buffer[i]));
        if (found == publications.end()) {
            return {};
        }
        lines.push_back("writer " + hex(node.writer_gid_seq._buffer[i].data, 24) + " " +
                        found->second);
    }
    for (std::uint32_t i = 0; i < node.reader_gid_seq._length; ++i) {
        const auto found = subscriptions.find(guidKey(node.reader_gid_seq._buffer[i]));
        if (found == subscriptions.end()) {
            return {};
        }
        lines.push_back("reader " + hex(node.reader_gid_seq._buffer[i].data, 24) + " " +
                        found->second);
    }
    return lines;
}

int readGraph(std::uint32_t domain, const std::string& nameSpace, const std::string& name,
              std::chrono::milliseconds timeout) {
    const dds_entity_t participant = createPeerParticipant(domain);
    const dds_entity_t reader = checked(
        dds_create_reader(participant, graphTopic(participant), graphQos(100).get(), nullptr),
        "create reader of ros_discovery_info");
    const dds_entity_t publicationReader =
        builtinReader(participant, DDS_BUILTIN_TOPIC_DCPSPUBLICATION, "read publications");
    const dds_entity_t subscriptionReader =
        builtinReader(participant, DDS_BUILTIN_TOPIC_DCPSSUBSCRIPTION, "read subscriptions");
    const dds_entity_t participantReader =
        builtinReader(participant, DDS_BUILTIN_TOPIC_DCPSPARTICIPANT, "read participants");
    std::map<std::string, std::string> publications;
    std::map<std::string, std::string> subscriptions;
    std::map<std::string, std::string> participants;
    // The newest announcement of each participant, kept as its described lines once complete.
    std::vector<ParticipantInfo*> latest;
    const auto end = Clock::now() + timeout;
    while (stopRequested == 0 && Clock::now() < end) {
        collect<dds_builtintopic_endpoint_t>(publicationReader, publications, topicOf);
        collect<dds_builtintopic_endpoint_t>(subscriptionReader, subscriptions, topicOf);
        collect<dds_builtintopic_participant_t>(participantReader, participants, participantOf);
        void* samples[16] = {};
        dds_sample_info_t infos[16];
        // Read, not take: an announcement may name endpoints that Cyclone discovers later.
        const dds_return_t count = dds_read(reader, samples, infos, 16, 16);
        for (dds_return_t i = 0; i < count; ++i) {
            if (!infos[i].valid_data) {
                continue;
            }
            const auto* info = static_cast<const ParticipantInfo*>(samples[i]);
            for (std::uint32_t n = 0; n < info->node_entities_info_seq._length; ++n) {
                const NodeInfo& node = info->node_entities_info_seq._buffer[n];
                if (nameSpace != node.node_namespace || name != node.node_name) {
                    continue;
                }
                const std::vector<std::string> lines =
                    describe(*info, node, publications, subscriptions, participants);
                if (!lines.empty() && lines[1].find(" discovered") != std::string::npos) {
                    for (const std::string& line : lines) {
                        std::printf("%s\n", line.c_str());
                    }
                    std::fflush(stdout);
                    dds_return_loan(reader, samples, count);
                    dds_delete(participant);
                    return 0;
                }
            }
        }
        if (count > 0) {
            dds_return_loan(reader, samples, count);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    dds_delete(participant);
    std::fprintf(stderr, "qor_cyclone_graph_peer: no complete announcement of %s %s\n",
                 nameSpace.c_str(), name.c_str());
    return 2;
}

int announce(std::uint32_t domain, const std::string& name, const std::string& topic,
             std::chrono::seconds lifetime, const std::string& userData) {
    const dds_entity_t participant = createPeerParticipant(domain);
    const dds_entity_t stringTopic =
        checked(dds_create_topic(participant, &std_msgs_msg_dds__String__desc,
                                 ("rt/" + topic).c_str(), nullptr, nullptr),
                "create topic rt/" + topic);
    QosPointer qos(dds_create_qos(), &dds_delete_qos);
    dds_qset_reliability(qos.get(), DDS_RELIABILITY_RELIABLE, DDS_SECS(1));
    dds_qset_durability(qos.get(), DDS_DURABILITY_VOLATILE);
    const dds_data_representation_id_t plainCdr = DDS_DATA_REPRESENTATION_XCDR1;
    dds_qset_data_representation(qos.get(), 1, &plainCdr);
    if (!userData.empty()) {
        dds_qset_userdata(qos.get(), userData.data(), userData.size());
    }
    const dds_entity_t writer =
        checked(dds_create_writer(participant, stringTopic, qos.get(), nullptr), "create writer");
    const dds_entity_t graphWriter =
        checked(dds_create_writer(participant, graphTopic(participant), graphQos(1).get(), nullptr),
                "create writer of ros_discovery_info");

    dds_guid_t participantGuid;
    dds_guid_t writerGuid;
    checked(dds_get_guid(participant, &participantGuid), "get the participant's GUID");
    checked(dds_get_guid(writer, &writerGuid), "get the writer's GUID");
    Gid writerGid{};
    std::memcpy(writerGid.data, writerGuid.v, 16);
    NodeInfo node{};
    node.node_namespace = const_cast<char*>("/");
    node.node_name = const_cast<char*>(name.c_str());
    node.writer_gid_seq._length = 1;
    node.writer_gid_seq._maximum = 1;
    node.writer_gid_seq._buffer = &writerGid;
    ParticipantInfo info{};
    std::memcpy(info.gid.data, participantGuid.v, 16);
    info.node_entities_info_seq._length = 1;
    info.node_entities_info_seq._maximum = 1;
    info.node_entities_info_seq._buffer = &node;
    checked(dds_write(graphWriter, &info), "write the node's announcement");
    std::printf("writer %s\n", hex(writerGid.data, 24).c_str());
    std::fflush(stdout);
    const auto end = Clock::now() + lifetime;
    while (stopRequested == 0 && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    dds_delete(participant);
    return 0;
}

// An endpoint's USER_DATA as text, or "none" when it announces none.
std::string userDataOf(const dds_builtintopic_endpoint_t& endpoint) {
    void* value = nullptr;
    std::size_t size = 0;
    if (endpoint.qos == nullptr || !dds_qget_userdata(endpoint.qos, &value, &size) || size == 0) {
        dds_free(value);
        return "none";
    }
    std::string text(static_cast<const char*>(value), size);
    dds_free(value);
    return text;
}

// Collects the USER_DATA of the endpoints on `topic` that `reader` (a builtin topic's) has
// discovered; true once there is one.
bool collectUserData(dds_entity_t reader, const std::string& topic, std::string& found) {
    void* samples[16] = {};
    dds_sample_info_t infos[16];
    const dds_return_t count = dds_take(reader, samples, infos, 16, 16);
    for (dds_return_t i = 0; i < count; ++i) {
        const auto* endpoint = static_cast<const dds_builtintopic_endpoint_t*>(samples[i]);
        if (infos[i].valid_data && topic == endpoint->topic_name) {
            found = userDataOf(*endpoint);
        }
    }
    if (count > 0) {
        dds_return_loan(reader, samples, count);
    }
    return !found.empty();
}

int readUserData(std::uint32_t domain, const std::string& topic,
                 std::chrono::milliseconds timeout) {
    const dds_entity_t participant = createPeerParticipant(domain);
    const dds_entity_t publicationReader =
        builtinReader(participant, DDS_BUILTIN_TOPIC_DCPSPUBLICATION, "read publications");
    const dds_entity_t subscriptionReader =
        builtinReader(participant, DDS_BUILTIN_TOPIC_DCPSSUBSCRIPTION, "read subscriptions");
    std::string publication;
    std::string subscription;
    const auto end = Clock::now() + timeout;
    while (stopRequested == 0 && Clock::now() < end) {
        const bool published = collectUserData(publicationReader, topic, publication);
        if (collectUserData(subscriptionReader, topic, subscription) && published) {
            std::printf("publication %s\nsubscription %s\n", publication.c_str(),
                        subscription.c_str());
            std::fflush(stdout);
            dds_delete(participant);
            return 0;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    dds_delete(participant);
    std::fprintf(stderr, "qor_cyclone_graph_peer: no publication and subscription on %s\n",
                 topic.c_str());
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGTERM, requestStop);
    std::signal(SIGINT, requestStop);
    const std::vector<std::string> args(argv, argv + argc);
    try {
        if (argc == 6 && args[1] == "read") {
            return readGraph(static_cast<std::uint32_t>(std::stoul(args[2])), args[3], args[4],
                             std::chrono::milliseconds(std::stoul(args[5])));
        }
        if (argc == 5 && args[1] == "userdata") {
            return readUserData(static_cast<std::uint32_t>(std::stoul(args[2])), args[3],
                                std::chrono::milliseconds(std::stoul(args[4])));
        }
        if ((argc == 6 || argc == 7) && args[1] == "announce") {
            return announce(static_cast<std::uint32_t>(std::stoul(args[2])), args[3], args[4],
                            std::chrono::seconds(std::stoul(args[5])),
                            argc == 7 ? args[6] : std::string());
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qor_cyclone_graph_peer: %s\n", error.what());
        return 1;
    }
    std::fprintf(stderr, "usage: see the comment at the top of GraphPeerMain.cpp\n");
    return 1;
}
