#include "endpoints/WriterEndpoint.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <set>
#include <utility>

#include <fastdds/rtps/common/WriteParams.h>
#include <fastdds/dds/core/status/PublicationMatchedStatus.hpp>
#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/DataWriterListener.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/publisher/qos/PublisherQos.hpp>

#include "common/QosPolicies.h"
#include "graph/GraphAnnouncer.h"

namespace qorROS2::transport::endpoints {

namespace dds = eprosima::fastdds::dds;

// Hears, on the middleware's threads, of subscriptions that cannot match the writer and of the
// readers it matches.
class WriterEndpoint::Listener : public dds::DataWriterListener {
  public:
    explicit Listener(IncompatibleQosReport& report) : m_report(report) {}

    void on_offered_incompatible_qos(dds::DataWriter* /*writer*/,
                                     const dds::OfferedIncompatibleQosStatus& status) override {
        m_report.found(status.last_policy_id);
    }

    void on_publication_matched(dds::DataWriter* /*writer*/,
                                const dds::PublicationMatchedStatus& status) override {
        const eprosima::fastrtps::rtps::GUID_t reader =
            eprosima::fastrtps::rtps::iHandle2GUID(status.last_subscription_handle);
        {
            std::lock_guard<std::mutex> lock(m_matchedMutex);
            if (status.current_count_change > 0) {
                m_matched.insert(graph::guidBytes(&reader));
            } else if (status.current_count_change < 0) {
                m_matched.erase(graph::guidBytes(&reader));
            }
        }
        m_matchChanged.notify_all();
    }

    bool waitForMatch(const std::function<bool(const graph::Guid&)>& wanted,
                      std::chrono::steady_clock::time_point deadline) const {
        std::unique_lock<std::mutex> lock(m_matchedMutex);
        return m_matchChanged.wait_until(lock, deadline, [&] {
            return std::any_of(m_matched.begin(), m_matched.end(), wanted);
        });
    }

  private:
    IncompatibleQosReport& m_report;
    mutable std::mutex m_matchedMutex;
    mutable std::condition_variable m_matchChanged;
    std::set<graph::Guid> m_matched;
};

WriterEndpoint::WriterEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                               const common::WireType& type)
    : LeasedEndpoint(EndpointSide::publisher, topic, qos, domainId, type),
      m_listener(std::make_unique<Listener>(m_incompatible)) {
    create(qos);
}

WriterEndpoint::WriterEndpoint(EndpointTopic where, const QOS& qos, const common::WireType& type,
                               const std::string& extraUserData)
    : LeasedEndpoint(EndpointSide::publisher, std::move(where), type, extraUserData),
      m_listener(std::make_unique<Listener>(m_incompatible)) {
    create(qos);
}

void WriterEndpoint::create(const QOS& qos) {
    std::lock_guard<std::mutex> lock(participant::middlewareEntitiesMutex());
    dds::DomainParticipant& participant = m_lease.participant();
    // A publisher of its own per writer: no partitions, and nothing to share on teardown.
    m_publisher = participant.create_publisher(dds::PublisherQos());
    if (m_publisher == nullptr) {
        refuse("a publisher");
    }
    dds::DataWriterQos endpointQos = common::writerQos(qos, sampleMemory(qos));
    endpointQos.user_data().data_vec(userData());
    m_writer = m_publisher->create_datawriter(&m_lease.topic(), endpointQos, m_listener.get(),
                                              dds::StatusMask::offered_incompatible_qos()
                                                  << dds::StatusMask::publication_matched());
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

void toFastDds(const SampleIdentity& identity, eprosima::fastrtps::rtps::SampleIdentity& out) {
    std::copy_n(identity.writerGuid.begin(), 12, out.writer_guid().guidPrefix.value);
    std::copy_n(identity.writerGuid.begin() + 12, 4, out.writer_guid().entityId.value);
    const auto number = static_cast<std::uint64_t>(identity.sequenceNumber);
    out.sequence_number().high = static_cast<std::int32_t>(number >> 32U);
    out.sequence_number().low = static_cast<std::uint32_t>(number & 0xFFFFFFFFU);
}

}  // namespace

bool WriterEndpoint::writeRelated(const WireSample& sample, const SampleIdentity& related,
                                  SampleIdentity* written) {
    eprosima::fastrtps::rtps::WriteParams params;
    toFastDds(related, params.related_sample_identity());
    try {
        if (!m_writer->write(const_cast<WireSample*>(&sample), params)) {
            return false;
        }
    } catch (...) {
        return false;
    }
    if (written != nullptr) {
        written->writerGuid = graph::guidBytes(&params.sample_identity().writer_guid());
        const auto& number = params.sample_identity().sequence_number();
        written->sequenceNumber = static_cast<std::int64_t>(
            (static_cast<std::uint64_t>(static_cast<std::uint32_t>(number.high)) << 32U) |
            number.low);
    }
    return true;
}

bool WriterEndpoint::waitForMatchedReader(const std::function<bool(const graph::Guid&)>& wanted,
                                          std::chrono::nanoseconds timeout) const {
    return m_listener->waitForMatch(
        wanted, std::chrono::steady_clock::now() + std::max(timeout, std::chrono::nanoseconds(0)));
}

graph::Guid WriterEndpoint::guid() const {
    return graph::guidBytes(&m_writer->guid());
}

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

bool WriterEndpoint::waitForAcknowledgments(std::chrono::nanoseconds timeout) const {
    const auto nanoseconds = std::max<std::int64_t>(timeout.count(), 0);
    const eprosima::fastrtps::Duration_t wait(
        static_cast<std::int32_t>(nanoseconds / 1'000'000'000),
        static_cast<std::uint32_t>(nanoseconds % 1'000'000'000));
    return m_writer->wait_for_acknowledgments(wait) == ReturnCode_t::RETCODE_OK;
}

std::size_t WriterEndpoint::matchedSubscriptions() const {
    dds::PublicationMatchedStatus status;
    if (m_writer->get_publication_matched_status(status) != ReturnCode_t::RETCODE_OK) {
        return 0;
    }
    return static_cast<std::size_t>(status.current_count);
}

}  // namespace qorROS2::transport::endpoints
