#include "endpoints/RawPayloadWriter.h"

#include <stdexcept>

#include <fastdds/dds/core/status/IncompatibleQosStatus.hpp>
#include <fastdds/dds/core/status/PublicationMatchedStatus.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/publisher/qos/PublisherQos.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>
#include <fastdds/dds/topic/qos/TopicQos.hpp>

#include "common/QosPolicies.h"
#include "endpoints/RawPayloadType.h"
#include "endpoints/WireSample.h"
#include "participant/ParticipantId.h"
#include "participant/ParticipantQos.h"

namespace qorROS2::transport::endpoints {

namespace dds = eprosima::fastdds::dds;

struct RawPayloadWriter::Entities {
    dds::DomainParticipant* participant = nullptr;
    dds::Topic* topic = nullptr;
    dds::Publisher* publisher = nullptr;
    dds::DataWriter* writer = nullptr;

    ~Entities() {
        if (participant != nullptr) {
            participant->delete_contained_entities();
            dds::DomainParticipantFactory::get_instance()->delete_participant(participant);
        }
    }
};

RawPayloadWriter::RawPayloadWriter(const std::string& ddsTopic, const std::string& ddsTypeName,
                                   const QOS& qos, std::uint32_t domain)
    : m_entities(std::make_unique<Entities>()) {
    common::checkQos(qos, ddsTopic);
    auto fail = [&ddsTopic](const std::string& what) {
        return std::runtime_error("raw payload writer on \"" + ddsTopic + "\": " + what);
    };
    Entities& e = *m_entities;
    dds::DomainParticipantFactory& factory = *dds::DomainParticipantFactory::get_instance();
    e.participant = participant::createParticipantWithSafePorts(
        factory, domain, participant::rosParticipantQos(factory), nullptr, dds::StatusMask::all());
    if (e.participant == nullptr) {
        throw fail("cannot create a participant");
    }
    if (dds::TypeSupport(new RawPayloadType(ddsTypeName)).register_type(e.participant) !=
        ReturnCode_t::RETCODE_OK) {
        throw fail("cannot register the type " + ddsTypeName);
    }
    e.topic = e.participant->create_topic(ddsTopic, ddsTypeName, dds::TopicQos());
    e.publisher =
        e.topic != nullptr ? e.participant->create_publisher(dds::PublisherQos()) : nullptr;
    e.writer = e.publisher != nullptr
                   ? e.publisher->create_datawriter(e.topic, common::writerQos(qos))
                   : nullptr;
    if (e.writer == nullptr) {
        throw fail("cannot create the topic, the publisher or the writer");
    }
}

RawPayloadWriter::~RawPayloadWriter() = default;

bool RawPayloadWriter::write(const std::vector<std::uint8_t>& payload) {
    const RawPayloadView view{payload.data(), payload.size()};
    WireSample sample = payloadToWrite(view);
    return m_entities->writer->write(&sample);
}

std::size_t RawPayloadWriter::matchedSubscriptions() const {
    dds::PublicationMatchedStatus status;
    m_entities->writer->get_publication_matched_status(status);
    return static_cast<std::size_t>(status.current_count);
}

std::uint32_t RawPayloadWriter::incompatibleReaders() const {
    dds::OfferedIncompatibleQosStatus status;
    m_entities->writer->get_offered_incompatible_qos_status(status);
    return status.total_count;
}

std::uint32_t RawPayloadWriter::lastIncompatiblePolicy() const {
    dds::OfferedIncompatibleQosStatus status;
    m_entities->writer->get_offered_incompatible_qos_status(status);
    return status.last_policy_id;
}

}  // namespace qorROS2::transport::endpoints
