#include "detail/ReaderEndpoint.h"

#include <mutex>
#include <stdexcept>

#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/core/status/SubscriptionMatchedStatus.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/subscriber/qos/SubscriberQos.hpp>

#include "detail/QosPolicies.h"
#include "graph/GraphAnnouncer.h"

namespace qorROS2::detail {

namespace dds = eprosima::fastdds::dds;

// Hears, on the middleware's threads, of publications that cannot match the reader.
class ReaderEndpoint::Listener : public dds::DataReaderListener {
  public:
    explicit Listener(IncompatibleQosReport& report) : m_report(report) {}

    void on_requested_incompatible_qos(dds::DataReader* /*reader*/,
                                       const dds::RequestedIncompatibleQosStatus& status) override {
        m_report.found(status.last_policy_id);
    }

  private:
    IncompatibleQosReport& m_report;
};

ReaderEndpoint::ReaderEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                               const WireType& type)
    : ReaderEndpoint(checkEndpoint(topic, qos, domainId), qos, type) {}

ReaderEndpoint::ReaderEndpoint(const EndpointTopic& where, const QOS& qos, const WireType& type)
    : m_lease(where.domain, where.rosTopic, where.ddsTopic, type),
      m_malformed(where.rosTopic),
      m_incompatible(EndpointSide::subscription, fullyQualifiedName(where)),
      m_listener(std::make_unique<Listener>(m_incompatible)) {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    dds::DomainParticipant& participant = m_lease.participant();
    // A subscriber of its own per reader: no partitions, and nothing to share on teardown.
    m_subscriber = participant.create_subscriber(dds::SubscriberQos());
    if (m_subscriber == nullptr) {
        throw std::runtime_error("cannot subscribe to topic \"" + where.rosTopic +
                                 "\": Fast DDS could not create a subscriber");
    }
    m_reader = m_subscriber->create_datareader(&m_lease.topic(), readerQos(qos), m_listener.get(),
                                               dds::StatusMask::requested_incompatible_qos());
    if (m_reader == nullptr) {
        participant.delete_subscriber(m_subscriber);
        throw std::runtime_error("cannot subscribe to topic \"" + where.rosTopic +
                                 "\": Fast DDS could not create a data reader");
    }
    m_lease.announcer().addReader(graph::guidBytes(&m_reader->guid()));
}

ReaderEndpoint::~ReaderEndpoint() {
    std::lock_guard<std::mutex> lock(middlewareEntitiesMutex());
    m_lease.announcer().removeReader(graph::guidBytes(&m_reader->guid()));
    m_subscriber->delete_datareader(m_reader);
    m_lease.participant().delete_subscriber(m_subscriber);
}

bool ReaderEndpoint::takeNext(void* slot) {
    dds::SampleInfo info;
    for (;;) {
        const ReturnCode_t result = m_reader->take_next_sample(slot, &info);
        if (result != ReturnCode_t::RETCODE_OK) {
            return false;
        }
        // Notices that a writer went away carry no data.
        if (info.valid_data) {
            return true;
        }
    }
}

std::size_t ReaderEndpoint::matchedPublications() const {
    dds::SubscriptionMatchedStatus status;
    if (m_reader->get_subscription_matched_status(status) != ReturnCode_t::RETCODE_OK) {
        return 0;
    }
    return static_cast<std::size_t>(status.current_count);
}

}  // namespace qorROS2::detail
