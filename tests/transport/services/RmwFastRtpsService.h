#pragma once

// A service client or server written straight on Fast DDS as rmw_fastrtps writes them: the
// client writes each request with the GUID of its reply reader as the related sample, and keeps
// the replies whose related sample names its reader or writer; the server answers with the
// request's identity as the related sample, after waiting (at most 100 ms) for the client's reply
// reader to be matched. For the tests' peer and the latency benchmark.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <fastdds/rtps/common/WriteParams.h>
#include <fastdds/dds/core/status/PublicationMatchedStatus.hpp>
#include <fastdds/dds/core/status/SubscriptionMatchedStatus.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/DataWriterListener.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/publisher/qos/PublisherQos.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/subscriber/qos/SubscriberQos.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>
#include <fastdds/dds/topic/qos/TopicQos.hpp>

#include "common/QosPolicies.h"
#include "endpoints/RawPayloadType.h"
#include "participant/ParticipantQos.h"
#include "qorROS2/QOS.h"

namespace qorTest {

namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

class RmwFastRtpsService {
  public:
    enum class Role { client, server };

    /// A client or server of the service whose DDS topics are rq/<service>Request and
    /// rr/<service>Reply (`service` without its leading '/') and whose DDS types are
    /// <serviceType>_Request_ and _Response_ ("std_srvs::srv::dds_::SetBool").
    RmwFastRtpsService(Role role, std::uint32_t domain, const std::string& service,
                       const std::string& serviceType) {
        auto* factory = dds::DomainParticipantFactory::get_instance();
        m_participant = factory->create_participant(
            static_cast<dds::DomainId_t>(domain),
            qorROS2::transport::participant::rosParticipantQos(*factory));
        if (m_participant == nullptr) {
            throw std::runtime_error("cannot create a participant");
        }
        const std::string requestType = serviceType + "_Request_";
        const std::string replyType = serviceType + "_Response_";
        dds::TypeSupport(new qorROS2::transport::endpoints::RawPayloadType(requestType))
            .register_type(m_participant);
        dds::TypeSupport(new qorROS2::transport::endpoints::RawPayloadType(replyType))
            .register_type(m_participant);
        dds::Topic* requests =
            m_participant->create_topic("rq/" + service + "Request", requestType, dds::TopicQos());
        dds::Topic* replies =
            m_participant->create_topic("rr/" + service + "Reply", replyType, dds::TopicQos());
        const qorROS2::QOS qos = qorROS2::presetQos("services_default");
        dds::Publisher* publisher = m_participant->create_publisher(dds::PublisherQos());
        dds::Subscriber* subscriber = m_participant->create_subscriber(dds::SubscriberQos());
        m_writer = publisher->create_datawriter(
            role == Role::client ? requests : replies, qorROS2::transport::common::writerQos(qos),
            &m_listener, dds::StatusMask::publication_matched());
        m_reader = subscriber->create_datareader(role == Role::client ? replies : requests,
                                                 qorROS2::transport::common::readerQos(qos));
        if (m_writer == nullptr || m_reader == nullptr) {
            throw std::runtime_error("cannot create the service's writer or reader");
        }
    }

    ~RmwFastRtpsService() {
        m_participant->delete_contained_entities();
        dds::DomainParticipantFactory::get_instance()->delete_participant(m_participant);
    }

    RmwFastRtpsService(const RmwFastRtpsService&) = delete;
    RmwFastRtpsService& operator=(const RmwFastRtpsService&) = delete;

    /// Whether the writer and the reader each matched someone.
    /// Blocks until every matched reader acknowledged what the writer sent, or one second passed.
    bool waitForAcknowledgments() {
        return m_writer->wait_for_acknowledgments(eprosima::fastrtps::Duration_t(1, 0)) ==
               ReturnCode_t::RETCODE_OK;
    }

    bool matched() const {
        dds::PublicationMatchedStatus published;
        dds::SubscriptionMatchedStatus subscribed;
        m_writer->get_publication_matched_status(published);
        m_reader->get_subscription_matched_status(subscribed);
        return published.current_count > 0 && subscribed.current_count > 0;
    }

    /// Client: sends `payload` and returns the request's sequence number, or -1. The request
    /// names this client's reply reader, or `replyReader` when given.
    std::int64_t sendRequest(const std::vector<std::uint8_t>& payload,
                             const rtps::GUID_t& replyReader = rtps::GUID_t::unknown()) {
        rtps::WriteParams params;
        params.related_sample_identity().writer_guid() =
            replyReader == rtps::GUID_t::unknown() ? m_reader->guid() : replyReader;
        qorROS2::transport::endpoints::RawPayloadView view{payload.data(), payload.size()};
        qorROS2::transport::endpoints::WireSample sample =
            qorROS2::transport::endpoints::payloadToWrite(view);
        if (!m_writer->write(&sample, params)) {
            return -1;
        }
        return sequenceOf(params.sample_identity());
    }

    /// Client: waits up to `timeout` for a reply to one of its requests; true with it in
    /// `payload` and its request's number in `sequence`.
    bool takeReply(std::vector<std::uint8_t>& payload, std::int64_t& sequence,
                   std::chrono::nanoseconds timeout) {
        dds::SampleInfo info;
        return takeUntil(timeout, payload, info, [&] {
            const rtps::GUID_t& related = info.related_sample_identity.writer_guid();
            if (related != m_reader->guid() && related != m_writer->guid()) {
                return false;
            }
            sequence = sequenceOf(info.related_sample_identity);
            return true;
        });
    }

    /// Server: waits up to `timeout` for a request; true with it in `payload` and its id (the
    /// client's reply reader, or its writer, and the request's number) in `id`.
    bool takeRequest(std::vector<std::uint8_t>& payload, rtps::SampleIdentity& id,
                     std::chrono::nanoseconds timeout) {
        dds::SampleInfo info;
        return takeUntil(timeout, payload, info, [&] {
            id = info.sample_identity;
            if (info.related_sample_identity.writer_guid() != rtps::GUID_t::unknown()) {
                id.writer_guid() = info.related_sample_identity.writer_guid();
            }
            return true;
        });
    }

    /// Server: answers the request `id` with `payload`.
    bool sendReply(const std::vector<std::uint8_t>& payload, const rtps::SampleIdentity& id) {
        if ((id.writer_guid().entityId.value[3] & 0x04) != 0) {
            std::unique_lock<std::mutex> lock(m_listener.mutex);
            m_listener.changed.wait_for(lock, std::chrono::milliseconds(100), [&] {
                return m_listener.readers.count(id.writer_guid()) != 0;
            });
        }
        rtps::WriteParams params;
        params.related_sample_identity() = id;
        qorROS2::transport::endpoints::RawPayloadView view{payload.data(), payload.size()};
        qorROS2::transport::endpoints::WireSample sample =
            qorROS2::transport::endpoints::payloadToWrite(view);
        return m_writer->write(&sample, params);
    }

  private:
    struct MatchListener : dds::DataWriterListener {
        void on_publication_matched(dds::DataWriter*,
                                    const dds::PublicationMatchedStatus& status) override {
            std::lock_guard<std::mutex> lock(mutex);
            const rtps::GUID_t reader = rtps::iHandle2GUID(status.last_subscription_handle);
            if (status.current_count_change > 0) {
                readers.insert(reader);
            } else {
                readers.erase(reader);
            }
            changed.notify_all();
        }
        std::mutex mutex;
        std::condition_variable changed;
        std::set<rtps::GUID_t> readers;
    };

    static std::int64_t sequenceOf(const rtps::SampleIdentity& identity) {
        return static_cast<std::int64_t>(
            (static_cast<std::uint64_t>(static_cast<std::uint32_t>(identity.sequence_number().high))
             << 32U) |
            identity.sequence_number().low);
    }

    template <typename Keep>
    bool takeUntil(std::chrono::nanoseconds timeout, std::vector<std::uint8_t>& payload,
                   dds::SampleInfo& info, Keep keep) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        qorROS2::transport::endpoints::WireSample into =
            qorROS2::transport::endpoints::payloadToTake(payload);
        for (;;) {
            while (m_reader->take_next_sample(&into, &info) == ReturnCode_t::RETCODE_OK) {
                if (info.valid_data && keep()) {
                    return true;
                }
            }
            const auto left = deadline - std::chrono::steady_clock::now();
            if (left <= std::chrono::nanoseconds::zero()) {
                return false;
            }
            const auto wait = std::chrono::duration_cast<std::chrono::nanoseconds>(left);
            m_reader->wait_for_unread_message(eprosima::fastrtps::Duration_t(
                static_cast<std::int32_t>(wait.count() / 1000000000),
                static_cast<std::uint32_t>(wait.count() % 1000000000)));
        }
    }

    MatchListener m_listener;
    dds::DomainParticipant* m_participant = nullptr;
    dds::DataWriter* m_writer = nullptr;
    dds::DataReader* m_reader = nullptr;
};

}  // namespace qorTest
