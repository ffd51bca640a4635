#include "qorROS2/TopicDiscovery.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <utility>

#include <fastdds/rtps/builtin/data/ReaderProxyData.h>
#include <fastdds/rtps/builtin/data/WriterProxyData.h>
#include <fastdds/rtps/participant/ParticipantDiscoveryInfo.h>
#include <fastdds/rtps/reader/ReaderDiscoveryInfo.h>
#include <fastdds/rtps/writer/WriterDiscoveryInfo.h>
#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/DomainParticipantListener.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>

#include "detail/TopicLease.h"
#include "detail/Warning.h"
#include "participant/ParticipantQos.h"

namespace qorROS2 {
namespace detail {

namespace {

namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

// The ROS 2 name of the DDS topic `ddsTopic`: "rt/clock" is "/clock". Empty for any other DDS
// topic: services' requests and replies ("rq/", "rr/") and topics that ROS 2 did not name.
std::string rosTopicName(const std::string& ddsTopic) {
    const std::string prefix = "rt/";
    if (ddsTopic.size() <= prefix.size() || ddsTopic.compare(0, prefix.size(), prefix) != 0) {
        return {};
    }
    return ddsTopic.substr(prefix.size() - 1);
}

// The ROS 2 name of the DDS type `ddsType`: "sensor_msgs::msg::dds_::JointState_" is
// "sensor_msgs/msg/JointState". A name of another form is kept as it is.
std::string rosTypeName(const std::string& ddsType) {
    const std::string marker = "::dds_::";
    const auto found = ddsType.find(marker);
    if (found == std::string::npos || found == 0 || ddsType.size() <= found + marker.size() + 1 ||
        ddsType.back() != '_') {
        return ddsType;
    }
    std::string package = ddsType.substr(0, found);
    const std::string name =
        ddsType.substr(found + marker.size(), ddsType.size() - found - marker.size() - 1);
    for (auto at = package.find("::"); at != std::string::npos; at = package.find("::", at + 1)) {
        package.replace(at, 2, "/");
    }
    return package + "/" + name;
}

// A ROS 2 topic used by one endpoint.
struct Endpoint {
    std::string topic;  // ROS 2 name
    std::string type;   // ROS 2 type name
};

}  // namespace

// Collects what the discovery of its participant reports, on Fast DDS's threads.
class TopicDiscoveryState : public dds::DomainParticipantListener {
  public:
    void on_publisher_discovery(dds::DomainParticipant* /*participant*/,
                                rtps::WriterDiscoveryInfo&& info) override {
        const bool removed = info.status == rtps::WriterDiscoveryInfo::REMOVED_WRITER;
        update(info.info.guid(), info.info.topicName().to_string(),
               info.info.typeName().to_string(), removed);
    }

    void on_subscriber_discovery(dds::DomainParticipant* /*participant*/,
                                 rtps::ReaderDiscoveryInfo&& info) override {
        const bool removed = info.status == rtps::ReaderDiscoveryInfo::REMOVED_READER;
        update(info.info.guid(), info.info.topicName().to_string(),
               info.info.typeName().to_string(), removed);
    }

    void on_participant_discovery(dds::DomainParticipant* /*participant*/,
                                  rtps::ParticipantDiscoveryInfo&& info) override {
        if (info.status != rtps::ParticipantDiscoveryInfo::REMOVED_PARTICIPANT &&
            info.status != rtps::ParticipantDiscoveryInfo::DROPPED_PARTICIPANT) {
            return;
        }
        const rtps::GuidPrefix_t prefix = info.info.m_guid.guidPrefix;
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_endpoints.begin(); it != m_endpoints.end();) {
            it = it->first.guidPrefix == prefix ? m_endpoints.erase(it) : std::next(it);
        }
    }

    std::vector<DiscoveredTopic> topics() const {
        std::map<std::string, std::set<std::string>> byName;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            for (const auto& [guid, endpoint] : m_endpoints) {
                byName[endpoint.topic].insert(endpoint.type);
            }
        }
        std::vector<DiscoveredTopic> out;
        out.reserve(byName.size());
        for (auto& [name, types] : byName) {
            out.push_back(
                DiscoveredTopic{name, std::vector<std::string>(types.begin(), types.end())});
        }
        return out;
    }

    bool waitForTopic(const std::string& name, std::chrono::milliseconds timeout) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] {
            for (const auto& entry : m_endpoints) {
                if (entry.second.topic == name) {
                    return true;
                }
            }
            return false;
        });
    }

    std::shared_ptr<dds::DomainParticipantFactory> m_factory;
    dds::DomainParticipant* m_participant = nullptr;

  private:
    void update(const rtps::GUID_t& guid, const std::string& ddsTopic, const std::string& ddsType,
                bool removed) {
        const std::string topic = rosTopicName(ddsTopic);
        if (topic.empty()) {
            return;
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (removed) {
                m_endpoints.erase(guid);
            } else {
                m_endpoints[guid] = Endpoint{topic, rosTypeName(ddsType)};
            }
        }
        m_changed.notify_all();
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::map<rtps::GUID_t, Endpoint> m_endpoints;  // guarded by m_mutex
};

}  // namespace detail

TopicDiscovery::TopicDiscovery(std::int8_t domainId)
    : m_state(std::make_unique<detail::TopicDiscoveryState>()) {
    namespace dds = eprosima::fastdds::dds;
    if (domainId < 0) {
        throw std::invalid_argument("invalid domain id " + std::to_string(domainId) +
                                    " for topic discovery: a domain id is 0 or more");
    }
    // A participant of its own, listening from its creation on: the participants of this
    // process's endpoints are discovered like any other, so their topics are listed too.
    std::lock_guard<std::mutex> lock(detail::middlewareEntitiesMutex());
    m_state->m_factory = dds::DomainParticipantFactory::get_shared_instance();
    const dds::DomainParticipantQos qos = detail::rosParticipantQos(*m_state->m_factory);
    m_state->m_participant = m_state->m_factory->create_participant(
        static_cast<dds::DomainId_t>(domainId), qos, m_state.get(), dds::StatusMask::none());
    if (m_state->m_participant == nullptr) {
        throw std::runtime_error(
            "cannot discover topics: Fast DDS could not create a participant "
            "in domain " +
            std::to_string(domainId));
    }
}

TopicDiscovery::~TopicDiscovery() {
    // The participant goes before its listener, the state.
    std::lock_guard<std::mutex> lock(detail::middlewareEntitiesMutex());
    if (m_state->m_factory->delete_participant(m_state->m_participant) !=
        ReturnCode_t::RETCODE_OK) {
        m_state->m_participant->set_listener(nullptr);
        detail::warn("Could not delete the DDS participant of topic discovery");
    }
}

std::vector<DiscoveredTopic> TopicDiscovery::topics() const {
    return m_state->topics();
}

bool TopicDiscovery::waitForTopic(const std::string& name,
                                  std::chrono::milliseconds timeout) const {
    return m_state->waitForTopic(name.empty() || name[0] == '/' ? name : "/" + name, timeout);
}

}  // namespace qorROS2
