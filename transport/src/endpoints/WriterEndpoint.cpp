#include "endpoints/WriterEndpoint.h"

#include <mutex>

#include <fastdds/dds/core/status/PublicationMatchedStatus.hpp>
#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/DataWriterListener.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/publisher/qos/PublisherQos.hpp>

#include "common/QosPolicies.h"

namespace qorROS2::transport::endpoints {

namespace dds = eprosima::fastdds::dds;

// Hears, on the middleware's threads, of subscriptions that cannot match the writer.
class WriterEndpoint::Listener : public dds::DataWriterListener {
  public:
    explicit Listener(IncompatibleQosReport& report) : m_report(report) {}

    void on_offered_incompatible_qos(dds::DataWriter* /*writer*/,
                                     const dds::OfferedIncompatibleQosStatus& status) override {
        m_report.found(status.last_policy_id);
    }

  private:
    IncompatibleQosReport& m_report;
};

WriterEndpoint::WriterEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                               const common::WireType& type)
    : LeasedEndpoint(EndpointSide::publisher, topic, qos, domainId, type),
      m_listener(std::make_unique<Listener>(m_incompatible)) {
    std::lock_guard<std::mutex> lock(participant::middlewareEntitiesMutex());
    dds::DomainParticipant& participant = m_lease.participant();
    // A publisher of its own per writer: no partitions, and nothing to share on teardown.
    m_publisher = participant.create_publisher(dds::PublisherQos());
    if (m_publisher == nullptr) {
        refuse("a publisher");
    }
    dds::DataWriterQos endpointQos = common::writerQos(qos);
    endpointQos.user_data().data_vec(userData());
    m_writer = m_publisher->create_datawriter(&m_lease.topic(), endpointQos, m_listener.get(),
                                              dds::StatusMask::offered_incompatible_qos());
    if (m_writer == nullptr) {
        participant.delete_publisher(m_publisher);
        refuse("a data writer");
    }
    announce(&m_writer->guid());
}

WriterEndpoint::~WriterEndpoint() {
    std::lock_guard<std::mutex> lock(participant::middlewareEntitiesMutex());
    withdraw(&m_writer->guid());
    m_publisher->delete_datawriter(m_writer);
    m_lease.participant().delete_publisher(m_publisher);
}

bool WriterEndpoint::write(const WireSample& sample) {
    try {
        // DataWriter::write() takes a mutable pointer but only reads the sample.
        return m_writer->write(const_cast<WireSample*>(&sample));
    } catch (...) {
        // Publishing runs on the simulation's step path, which must not throw.
        return false;
    }
}

namespace {
constexpr std::int64_t kNsPerSecond = 1000000000;
}  // namespace

bool WriterEndpoint::validSourceTimestamp(std::int64_t sourceTimestampNs) {
    constexpr std::int64_t kLastSecond = 0x7FFFFFFE;
    return sourceTimestampNs >= 0 && sourceTimestampNs / kNsPerSecond <= kLastSecond;
}

bool WriterEndpoint::writeAt(const WireSample& sample, std::int64_t sourceTimestampNs) {
    if (!validSourceTimestamp(sourceTimestampNs)) {
        return false;
    }
    const eprosima::fastrtps::Time_t timestamp(
        static_cast<std::int32_t>(sourceTimestampNs / kNsPerSecond),
        static_cast<std::uint32_t>(sourceTimestampNs % kNsPerSecond));
    try {
        return m_writer->write_w_timestamp(const_cast<WireSample*>(&sample), dds::HANDLE_NIL,
                                           timestamp) == ReturnCode_t::RETCODE_OK;
    } catch (...) {
        return false;
    }
}

std::size_t WriterEndpoint::matchedSubscriptions() const {
    dds::PublicationMatchedStatus status;
    if (m_writer->get_publication_matched_status(status) != ReturnCode_t::RETCODE_OK) {
        return 0;
    }
    return static_cast<std::size_t>(status.current_count);
}

}  // namespace qorROS2::transport::endpoints
