#include "RawReader.h"

#include <mutex>
#include <stdexcept>

#include <fastdds/rtps/participant/ParticipantDiscoveryInfo.h>
#include <fastdds/rtps/reader/ReaderDiscoveryInfo.h>
#include <fastdds/rtps/writer/WriterDiscoveryInfo.h>
#include <fastdds/dds/core/status/IncompatibleQosStatus.hpp>
#include <fastdds/dds/core/status/SubscriptionMatchedStatus.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/DomainParticipantListener.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/subscriber/qos/DataReaderQos.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>

#include "endpoints/RawPayloadType.h"
#include "endpoints/WireSample.h"

namespace qorTest {

namespace dds = eprosima::fastdds::dds;

namespace {

// Keeps what the participant learns in discovery; called on the middleware's threads.
class DiscoveryRecorder : public dds::DomainParticipantListener {
  public:
    void on_participant_discovery(
        dds::DomainParticipant*,
        eprosima::fastrtps::rtps::ParticipantDiscoveryInfo&& info) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_userData.push_back(info.info.m_userData.data_vec());
    }

    void on_publisher_discovery(dds::DomainParticipant*,
                                eprosima::fastrtps::rtps::WriterDiscoveryInfo&& info) override {
        if (info.status != eprosima::fastrtps::rtps::WriterDiscoveryInfo::DISCOVERED_WRITER) {
            return;
        }
        const auto& data = info.info;
        DiscoveredWriter writer;
        writer.topic = data.topicName().to_string();
        writer.typeName = data.typeName().to_string();
        writer.keyed = data.topicKind() == eprosima::fastrtps::rtps::WITH_KEY;
        writer.sentTypeIdentifier = data.has_type_id();
        writer.sentTypeObject = data.has_type();
        writer.sentTypeInformation = data.has_type_information();
        writer.reliable = data.m_qos.m_reliability.kind == dds::RELIABLE_RELIABILITY_QOS;
        writer.transientLocal = data.m_qos.m_durability.kind == dds::TRANSIENT_LOCAL_DURABILITY_QOS;
        for (const auto id : data.m_qos.representation.m_value) {
            writer.representations.push_back(static_cast<std::int16_t>(id));
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_writers.push_back(writer);
    }

    std::vector<std::vector<std::uint8_t>> userData() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_userData;
    }

    std::vector<DiscoveredWriter> writers() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_writers;
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<std::vector<std::uint8_t>> m_userData;
    std::vector<DiscoveredWriter> m_writers;
};

}  // namespace

struct RawReader::Entities {
    DiscoveryRecorder recorder;
    dds::DomainParticipant* participant = nullptr;
    dds::Topic* topic = nullptr;
    dds::Subscriber* subscriber = nullptr;
    dds::DataReader* reader = nullptr;

    ~Entities() {
        if (participant != nullptr) {
            participant->delete_contained_entities();
            dds::DomainParticipantFactory::get_instance()->delete_participant(participant);
        }
    }
};

RawReader::RawReader(std::uint32_t domain, const std::string& ddsTopic,
                     const std::string& ddsTypeName, RawReaderPolicies policies)
    : m_entities(std::make_unique<Entities>()) {
    Entities& e = *m_entities;
    e.participant = dds::DomainParticipantFactory::get_instance()->create_participant(
        static_cast<dds::DomainId_t>(domain), dds::PARTICIPANT_QOS_DEFAULT, &e.recorder,
        dds::StatusMask::none());
    if (e.participant == nullptr ||
        dds::TypeSupport(new qorROS2::transport::endpoints::RawPayloadType(ddsTypeName))
                .register_type(e.participant) != ReturnCode_t::RETCODE_OK) {
        throw std::runtime_error("raw reader: no participant or type for " + ddsTopic);
    }
    e.topic = e.participant->create_topic(ddsTopic, ddsTypeName, dds::TOPIC_QOS_DEFAULT);
    e.subscriber = e.participant->create_subscriber(dds::SUBSCRIBER_QOS_DEFAULT);
    dds::DataReaderQos qos;
    qos.reliability().kind =
        policies.reliable ? dds::RELIABLE_RELIABILITY_QOS : dds::BEST_EFFORT_RELIABILITY_QOS;
    qos.durability().kind = policies.transientLocal ? dds::TRANSIENT_LOCAL_DURABILITY_QOS
                                                    : dds::VOLATILE_DURABILITY_QOS;
    qos.history().kind = dds::KEEP_LAST_HISTORY_QOS;
    qos.history().depth = policies.depth;
    qos.data_sharing().off();
    qos.endpoint().history_memory_policy =
        eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
    e.reader = e.subscriber->create_datareader(e.topic, qos);
    if (e.reader == nullptr) {
        throw std::runtime_error("raw reader: no reader on " + ddsTopic);
    }
}

RawReader::~RawReader() = default;

bool RawReader::take(std::vector<std::uint8_t>& payload) {
    dds::SampleInfo info;
    qorROS2::transport::endpoints::WireSample into =
        qorROS2::transport::endpoints::payloadToTake(payload);
    while (m_entities->reader->take_next_sample(&into, &info) == ReturnCode_t::RETCODE_OK) {
        if (info.valid_data) {
            return true;
        }
    }
    return false;
}

std::size_t RawReader::matchedPublications() const {
    dds::SubscriptionMatchedStatus status;
    m_entities->reader->get_subscription_matched_status(status);
    return static_cast<std::size_t>(status.current_count);
}

std::uint32_t RawReader::incompatibleWriters() const {
    dds::RequestedIncompatibleQosStatus status;
    m_entities->reader->get_requested_incompatible_qos_status(status);
    return status.total_count;
}

std::uint32_t RawReader::lastIncompatiblePolicy() const {
    dds::RequestedIncompatibleQosStatus status;
    m_entities->reader->get_requested_incompatible_qos_status(status);
    return status.last_policy_id;
}

std::vector<std::vector<std::uint8_t>> RawReader::discoveredUserData() const {
    return m_entities->recorder.userData();
}

}  // namespace qorTest

namespace qorTest {

std::vector<DiscoveredWriter> RawReader::discoveredWriters() const {
    return m_entities->recorder.writers();
}

}  // namespace qorTest
