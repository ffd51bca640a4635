#include "endpoints/ReaderEndpoint.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <utility>

#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/core/status/SubscriptionMatchedStatus.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/subscriber/qos/SubscriberQos.hpp>

#include "common/QosPolicies.h"
#include "common/Warning.h"
#include "graph/GraphAnnouncer.h"

namespace qorROS2::transport::endpoints {

namespace dds = eprosima::fastdds::dds;

namespace {

SampleIdentity sampleIdentityOf(const eprosima::fastrtps::rtps::SampleIdentity& identity) {
    SampleIdentity out;
    out.writerGuid = graph::guidBytes(&identity.writer_guid());
    const auto& number = identity.sequence_number();
    out.sequenceNumber = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(static_cast<std::uint32_t>(number.high)) << 32U) | number.low);
    return out;
}

}  // namespace

// Hears, on the middleware's threads, of publications that cannot match the reader and of
// samples arriving.
class ReaderEndpoint::Listener : public dds::DataReaderListener {
  public:
    Listener(IncompatibleQosReport& report, std::string topic)
        : m_report(report), m_topic(std::move(topic)) {}

    void on_requested_incompatible_qos(dds::DataReader* /*reader*/,
                                       const dds::RequestedIncompatibleQosStatus& status) override {
        m_report.found(status.last_policy_id);
    }

    void on_data_available(dds::DataReader* /*reader*/) override {
        {
            std::lock_guard<std::mutex> lock(m_arrivalMutex);
            m_arrivals.fetch_add(1, std::memory_order_release);
        }
        m_arrived.notify_all();
        std::lock_guard<std::mutex> lock(m_callbackMutex);
        if (!m_callback) {
            return;
        }
        // An exception must not unwind into the middleware's thread; it is told once per reader.
        try {
            m_callback();
        } catch (...) {
            if (!m_callbackThrew) {
                m_callbackThrew = true;
                common::warn("The sample callback of the subscription of \"" + m_topic +
                             "\" threw an exception; it was ignored, and later ones are too");
            }
        }
    }

    // The middleware tells of data once it can be taken, so a count read before a take that
    // finds nothing says whether anything came since.
    std::uint64_t arrivals() const { return m_arrivals.load(std::memory_order_acquire); }

    // Waits until data arrived after `seen` arrivals (true) or `deadline` passes (false). The
    // middleware's lock of the reader is never taken under m_arrivalMutex, as the middleware
    // holds it while it tells of data.
    bool waitForArrivalAfter(std::uint64_t seen,
                             std::chrono::steady_clock::time_point deadline) const {
        std::unique_lock<std::mutex> lock(m_arrivalMutex);
        return m_arrived.wait_until(
            lock, deadline, [&] { return m_arrivals.load(std::memory_order_relaxed) != seen; });
    }

    void setCallback(std::function<void()> callback) {
        std::lock_guard<std::mutex> lock(m_callbackMutex);
        m_callback = std::move(callback);
    }

  private:
    IncompatibleQosReport& m_report;
    std::string m_topic;
    mutable std::mutex m_arrivalMutex;
    mutable std::condition_variable m_arrived;
    std::atomic<std::uint64_t> m_arrivals{0};
    std::mutex m_callbackMutex;
    std::function<void()> m_callback;
    bool m_callbackThrew = false;
};

ReaderEndpoint::ReaderEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                               const common::WireType& type)
    : LeasedEndpoint(EndpointSide::subscription, topic, qos, domainId, type),
      m_malformed(where().rosTopic),
      m_listener(std::make_unique<Listener>(m_incompatible, fullyQualifiedName(where()))) {
    create(qos);
}

ReaderEndpoint::ReaderEndpoint(EndpointTopic where, const QOS& qos, const common::WireType& type,
                               const std::string& extraUserData)
    : LeasedEndpoint(EndpointSide::subscription, std::move(where), type, extraUserData),
      m_malformed(this->where().rosTopic),
      m_listener(std::make_unique<Listener>(m_incompatible, fullyQualifiedName(this->where()))) {
    create(qos);
}

void ReaderEndpoint::create(const QOS& qos) {
    std::lock_guard<std::mutex> lock(participant::middlewareEntitiesMutex());
    dds::DomainParticipant& participant = m_lease.participant();
    // A subscriber of its own per reader: no partitions, and nothing to share on teardown.
    m_subscriber = participant.create_subscriber(dds::SubscriberQos());
    if (m_subscriber == nullptr) {
        refuse("a subscriber");
    }
    dds::DataReaderQos endpointQos = common::readerQos(qos, sampleMemory(qos));
    endpointQos.user_data().data_vec(userData());
    m_reader = m_subscriber->create_datareader(&m_lease.topic(), endpointQos, m_listener.get(),
                                               dds::StatusMask::requested_incompatible_qos()
                                                   << dds::StatusMask::data_available());
    if (m_reader == nullptr) {
        participant.delete_subscriber(m_subscriber);
        refuse("a data reader");
    }
    announce(&m_reader->guid());
}

ReaderEndpoint::~ReaderEndpoint() {
    std::lock_guard<std::mutex> lock(participant::middlewareEntitiesMutex());
    withdraw(&m_reader->guid());
    m_subscriber->delete_datareader(m_reader);
    m_lease.participant().delete_subscriber(m_subscriber);
}

graph::Guid ReaderEndpoint::guid() const {
    return graph::guidBytes(&m_reader->guid());
}

bool ReaderEndpoint::takeNext(const WireSample& into, SampleOrigin* origin) {
    // A loop that polls its reader would otherwise take the middleware's lock of the reader at
    // every turn, and the middleware's receiving thread, which needs that lock to hand over a
    // sample, would sleep on it and be woken again: tens of microseconds per sample on two
    // cores. Nothing has arrived since a take that found nothing, so none is tried.
    const std::uint64_t arrivals = m_listener->arrivals();
    if (arrivals == m_emptyAt.load(std::memory_order_acquire)) {
        return false;
    }
    dds::SampleInfo info;
    for (;;) {
        const ReturnCode_t result =
            m_reader->take_next_sample(const_cast<WireSample*>(&into), &info);
        if (result != ReturnCode_t::RETCODE_OK) {
            m_emptyAt.store(arrivals, std::memory_order_release);
            return false;
        }
        // Notices that a writer went away carry no data.
        if (info.valid_data) {
            break;
        }
    }
    if (origin != nullptr) {
        origin->sourceTimestampNs = info.source_timestamp.to_ns();
        origin->receptionTimestampNs = info.reception_timestamp.to_ns();
        origin->writerGuid = graph::guidBytes(&info.sample_identity.writer_guid());
        origin->identity = sampleIdentityOf(info.sample_identity);
        origin->relatedIdentity = sampleIdentityOf(info.related_sample_identity);
    }
    return true;
}

bool ReaderEndpoint::waitForSample(std::chrono::nanoseconds timeout) const {
    // A century at most, so the deadline cannot overflow the clock.
    constexpr std::chrono::nanoseconds kLongest = std::chrono::hours(24 * 365 * 100);
    const auto deadline = std::chrono::steady_clock::now() +
                          std::clamp(timeout, std::chrono::nanoseconds::zero(), kLongest);
    for (;;) {
        // Counted before looking, so data that arrives in between ends the wait at once.
        const std::uint64_t seen = m_listener->arrivals();
        dds::SampleInfo info;
        if (m_reader->get_first_untaken_info(&info) == ReturnCode_t::RETCODE_OK) {
            return true;
        }
        if (!m_listener->waitForArrivalAfter(seen, deadline)) {
            return false;
        }
    }
}

void ReaderEndpoint::onSample(std::function<void()> callback) {
    m_listener->setCallback(std::move(callback));
}

std::size_t ReaderEndpoint::matchedPublications() const {
    dds::SubscriptionMatchedStatus status;
    if (m_reader->get_subscription_matched_status(status) != ReturnCode_t::RETCODE_OK) {
        return 0;
    }
    return static_cast<std::size_t>(status.current_count);
}

}  // namespace qorROS2::transport::endpoints
