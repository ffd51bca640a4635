#include "participant/TopicLease.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TopicDataType.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>
#include <fastdds/dds/topic/qos/TopicQos.hpp>

#include "common/Warning.h"
#include "graph/DomainGraph.h"
#include "graph/GidLayout.h"
#include "graph/GraphAnnouncer.h"
#include "graph/GraphDataType.h"
#include "participant/ParticipantId.h"
#include "participant/ParticipantQos.h"

namespace qorROS2::transport::participant {
namespace {

namespace dds = eprosima::fastdds::dds;

struct TopicEntry {
    dds::Topic* topic = nullptr;
    std::string ddsTypeName;
    std::string rosTypeName;
    std::size_t leases = 0;
};

// How many topics of a participant use a registered type, and whether its data type takes the
// endpoints' samples.
struct TypeUse {
    std::size_t topics = 0;
    bool endpointSamples = true;
};

struct DomainEntry {
    // Keeps the factory alive as long as its participant: an endpoint held by a static object may
    // be destroyed after the factory's own static reference.
    std::shared_ptr<dds::DomainParticipantFactory> factory;
    dds::DomainParticipant* participant = nullptr;
    std::size_t leases = 0;
    std::map<std::string, TopicEntry> topics;  // by DDS topic name
    std::map<std::string, TypeUse> typeUsers;  // by registered DDS type name
    std::unique_ptr<graph::GraphAnnouncer> announcer;
    // The participant's listener: created before it and deleted after it.
    std::unique_ptr<graph::DomainGraph> graph;
};

// Every participant this process has, by domain, guarded by middlewareEntitiesMutex().
struct Registry {
    std::map<std::uint32_t, DomainEntry> domains;
};

Registry& registry() {
    // Never destroyed: endpoints held by other statics may still release their leases while the
    // process exits.
    static Registry* const instance = new Registry();
    return *instance;
}

dds::DomainParticipant* createParticipant(dds::DomainParticipantFactory& factory,
                                          std::uint32_t domain, graph::DomainGraph& listener) {
    // The listener hears discovery from the start, so that what the process's topic discovery
    // reports does not depend on when it was asked. No status of the participant's endpoints
    // reaches it: they have listeners of their own.
    return createParticipantWithSafePorts(factory, domain, rosParticipantQos(factory), &listener,
                                          dds::StatusMask::none());
}

dds::TopicDataType* createGraphDataType() {
    return new graph::GraphDataType(graph::processGidLayout());
}

// Gives a new participant its graph topic and the writer that announces its node there.
void startAnnouncing(DomainEntry& entry);
dds::Topic* leaseTopic(DomainEntry& entry, const std::string& rosTopic, const std::string& ddsTopic,
                       const common::WireType& type);
void releaseTopic(DomainEntry& entry, const std::string& ddsTopic);

// Takes a lease of the participant of `domain`, creating it for the first one. `refusal` starts
// the error when the middleware refuses: "cannot use topic \"/clock\"".
DomainEntry& leaseDomain(Registry& all, std::uint32_t domain, const std::string& refusal) {
    auto found = all.domains.find(domain);
    if (found == all.domains.end()) {
        std::shared_ptr<dds::DomainParticipantFactory> factory =
            dds::DomainParticipantFactory::get_shared_instance();
        auto graph = std::make_unique<graph::DomainGraph>();
        dds::DomainParticipant* participant = createParticipant(*factory, domain, *graph);
        if (participant == nullptr) {
            throw std::runtime_error(refusal +
                                     ": Fast DDS could not create a participant in domain " +
                                     std::to_string(domain));
        }
        found = all.domains.emplace(domain, DomainEntry{}).first;
        found->second.factory = std::move(factory);
        found->second.participant = participant;
        found->second.graph = std::move(graph);
        try {
            startAnnouncing(found->second);
        } catch (...) {
            found->second.factory->delete_participant(participant);
            all.domains.erase(found);
            throw;
        }
    }
    ++found->second.leases;
    return found->second;
}

// Takes a lease of the topic `ddsTopic` on the participant of `entry`, creating the topic (and
// registering its type) for the first one. Leaves `entry` as it was when it throws.
dds::Topic* leaseTopic(DomainEntry& entry, const std::string& rosTopic, const std::string& ddsTopic,
                       const common::WireType& type) {
    // A participant knows one data type per type name. Raw and typed endpoints share theirs,
    // but the graph topic's type reads and writes its own records only; as every participant
    // registers it first, the one refused is always an endpoint.
    const auto use = entry.typeUsers.find(type.ddsTypeName);
    if (use != entry.typeUsers.end() && use->second.endpointSamples != type.endpointSamples) {
        throw std::runtime_error("cannot use topic \"" + rosTopic + "\" for " + type.rosTypeName +
                                 ": this process keeps that type for its own announcements on "
                                 "the ROS 2 graph");
    }
    auto found = entry.topics.find(ddsTopic);
    if (found != entry.topics.end()) {
        // One DDS topic has one type; a second type on it would never match anyone.
        if (found->second.ddsTypeName != type.ddsTypeName) {
            throw std::runtime_error("cannot use topic \"" + rosTopic + "\" for " +
                                     type.rosTypeName + ": this process already uses it for " +
                                     found->second.rosTypeName);
        }
        ++found->second.leases;
        return found->second.topic;
    }
    const bool registered = use != entry.typeUsers.end();
    if (!registered) {
        dds::TypeSupport support(type.createDataType());
        if (support.register_type(entry.participant) != ReturnCode_t::RETCODE_OK) {
            throw std::runtime_error("cannot use topic \"" + rosTopic +
                                     "\": Fast DDS refused to register the type " +
                                     type.ddsTypeName);
        }
    }
    dds::Topic* topic =
        entry.participant->create_topic(ddsTopic, type.ddsTypeName, dds::TopicQos());
    if (topic == nullptr) {
        if (!registered) {
            entry.participant->unregister_type(type.ddsTypeName);
        }
        throw std::runtime_error("cannot use topic \"" + rosTopic +
                                 "\": Fast DDS could not create the DDS topic \"" + ddsTopic +
                                 "\"");
    }
    TypeUse& users = entry.typeUsers[type.ddsTypeName];
    ++users.topics;
    users.endpointSamples = type.endpointSamples;
    entry.topics.emplace(ddsTopic, TopicEntry{topic, type.ddsTypeName, type.rosTypeName, 1});
    return topic;
}

// Gives back a lease of a topic, deleting the topic (and unregistering its type) with the last.
void releaseTopic(DomainEntry& entry, const std::string& ddsTopic) {
    auto found = entry.topics.find(ddsTopic);
    if (found == entry.topics.end() || --found->second.leases > 0) {
        return;
    }
    const std::string typeName = found->second.ddsTypeName;
    if (entry.participant->delete_topic(found->second.topic) != ReturnCode_t::RETCODE_OK) {
        common::warn("Could not delete the DDS topic \"" + ddsTopic + "\"");
    }
    entry.topics.erase(found);
    auto users = entry.typeUsers.find(typeName);
    if (users != entry.typeUsers.end() && --users->second.topics == 0) {
        entry.typeUsers.erase(users);
        entry.participant->unregister_type(typeName);
    }
}

void startAnnouncing(DomainEntry& entry) {
    common::WireType graphType;
    graphType.ddsTypeName = graph::kGraphTypeName;
    graphType.rosTypeName = "rmw_dds_common/msg/ParticipantEntitiesInfo";
    graphType.createDataType = &createGraphDataType;
    graphType.endpointSamples = false;
    dds::Topic* topic =
        leaseTopic(entry, graph::kGraphTopicName, graph::kGraphTopicName, graphType);
    try {
        entry.announcer = std::make_unique<graph::GraphAnnouncer>(*entry.participant, *topic);
    } catch (...) {
        releaseTopic(entry, graph::kGraphTopicName);
        throw;
    }
}

// Gives back a lease of a participant, deleting it with the last.
void releaseDomain(Registry& all, std::uint32_t domain) {
    auto found = all.domains.find(domain);
    if (found == all.domains.end() || --found->second.leases > 0) {
        return;
    }
    found->second.announcer.reset();
    found->second.graph->stopReadingGraphTopic(*found->second.participant);
    releaseTopic(found->second, graph::kGraphTopicName);
    if (found->second.factory->delete_participant(found->second.participant) !=
        ReturnCode_t::RETCODE_OK) {
        common::warn("Could not delete the DDS participant of domain " + std::to_string(domain));
    }
    all.domains.erase(found);
}

}  // namespace

std::mutex& middlewareEntitiesMutex() {
    // Never destroyed, like the registry it guards.
    static std::mutex* const mutex = new std::mutex();
    return *mutex;
}

void reannounceNodes() {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    for (auto& [domain, entry] : registry().domains) {
        entry.announcer->announce();
    }
}

DomainLease::DomainLease(std::uint32_t domain, const std::string& purpose) : m_domain(domain) {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    Registry& all = registry();
    DomainEntry& entry = leaseDomain(all, domain, "cannot " + purpose);
    try {
        entry.graph->readGraphTopic(*entry.participant,
                                    *entry.topics.at(graph::kGraphTopicName).topic);
    } catch (...) {
        releaseDomain(all, domain);
        throw;
    }
    m_participant = entry.participant;
    m_graph = entry.graph.get();
}

DomainLease::~DomainLease() {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    releaseDomain(registry(), m_domain);
}

TopicLease::TopicLease(std::uint32_t domain, const std::string& rosTopic,
                       const std::string& ddsTopic, const common::WireType& type)
    : m_domain(domain), m_ddsTopic(ddsTopic) {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    Registry& all = registry();
    DomainEntry& entry = leaseDomain(all, domain, "cannot use topic \"" + rosTopic + "\"");
    try {
        m_topic = leaseTopic(entry, rosTopic, ddsTopic, type);
    } catch (...) {
        releaseDomain(all, domain);
        throw;
    }
    m_participant = entry.participant;
    m_announcer = entry.announcer.get();
    m_graph = entry.graph.get();
}

TopicLease::~TopicLease() {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    Registry& all = registry();
    auto found = all.domains.find(m_domain);
    if (found != all.domains.end()) {
        releaseTopic(found->second, m_ddsTopic);
    }
    releaseDomain(all, m_domain);
}

}  // namespace qorROS2::transport::participant
