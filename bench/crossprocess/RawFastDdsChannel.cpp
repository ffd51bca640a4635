// The benchmark's channel as a Fast DDS user writes it: fastddsgen's types and type support, the
// DDS API, the default QoS but for reliability and history; or, for RawFastDdsRosSettings, with
// what ROS 2's Fast DDS layer sets on every endpoint besides.

#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/topic/Topic.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>
#include <stdexcept>

#include "Channel.h"
#include "SampleShape.h"
#include "rosgraph_msgs/msg/ClockPubSubTypes.h"
#include "sensor_msgs/msg/ImagePubSubTypes.h"
#include "sensor_msgs/msg/JointStatePubSubTypes.h"
#include "sensor_msgs/msg/PointCloud2PubSubTypes.h"

namespace qorROS2::bench {
namespace {

namespace dds = eprosima::fastdds::dds;

// What ROS 2's Fast DDS layer sets on every writer and reader: no data sharing (its samples are
// CDR bytes, not the writer's memory layout) and payloads preallocated and grown in place.
template <typename EndpointQos>
void applyRosSettings(EndpointQos& qos) {
    qos.data_sharing().off();
    qos.endpoint().history_memory_policy =
        eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
}

void fill(rosgraph_msgs::msg::Clock&, Shape) {}

void fill(sensor_msgs::msg::JointState& message, Shape shape) {
    message.header().frame_id(kFrameId);
    for (std::size_t i = 0; i < jointCount(shape); ++i) {
        message.name().push_back(jointName(i));
        message.position().push_back(0.1 * static_cast<double>(i));
        if (!isJointCommand(shape)) {
            message.velocity().push_back(0.0);
            message.effort().push_back(1.0);
        }
    }
}

void fill(sensor_msgs::msg::Image& message, Shape) {
    message.header().frame_id(kFrameId);
    message.height(kImageHeight);
    message.width(kImageWidth);
    message.encoding(kImageEncoding);
    message.step(kImageStep);
    message.data().assign(std::size_t{kImageStep} * kImageHeight, 0x5a);
}

void fill(sensor_msgs::msg::PointCloud2& message, Shape) {
    message.header().frame_id(kFrameId);
    message.height(1);
    message.width(kCloudPoints);
    for (const CloudField& field : kCloudFields) {
        sensor_msgs::msg::PointField out;
        out.name(field.name);
        out.offset(field.offset);
        out.datatype(kFloat32);
        out.count(1);
        message.fields().push_back(out);
    }
    message.point_step(kPointStep);
    message.row_step(kPointStep * kCloudPoints);
    message.data().assign(std::size_t{kPointStep} * kCloudPoints, 0x3c);
    message.is_dense(true);
}

builtin_interfaces::msg::Time& stampOf(rosgraph_msgs::msg::Clock& message) {
    return message.clock();
}
template <typename T>
builtin_interfaces::msg::Time& stampOf(T& message) {
    return message.header().stamp();
}

template <typename T, typename TypeSupport>
class RawFastDdsChannel final : public Channel {
  public:
    explicit RawFastDdsChannel(const ChannelSettings& settings) {
        auto* factory = dds::DomainParticipantFactory::get_instance();
        m_participant = factory->create_participant(static_cast<dds::DomainId_t>(settings.domain),
                                                    dds::PARTICIPANT_QOS_DEFAULT);
        if (m_participant == nullptr) {
            throw std::runtime_error("Fast DDS could not create a participant");
        }
        dds::TypeSupport type(new TypeSupport());
        type.register_type(m_participant);
        const auto reliability =
            settings.reliable ? dds::RELIABLE_RELIABILITY_QOS : dds::BEST_EFFORT_RELIABILITY_QOS;
        const auto depth = static_cast<std::int32_t>(settings.depth);
        if (!settings.sendTopic.empty()) {
            dds::Topic* topic = m_participant->create_topic(
                "rt/" + settings.sendTopic, type.get_type_name(), dds::TOPIC_QOS_DEFAULT);
            dds::Publisher* publisher = m_participant->create_publisher(dds::PUBLISHER_QOS_DEFAULT);
            dds::DataWriterQos qos = dds::DATAWRITER_QOS_DEFAULT;
            qos.reliability().kind = reliability;
            qos.history().kind = dds::KEEP_LAST_HISTORY_QOS;
            qos.history().depth = depth;
            if (settings.stack == Stack::RawFastDdsRosSettings) {
                applyRosSettings(qos);
            }
            m_writer = publisher->create_datawriter(topic, qos);
            if (m_writer == nullptr) {
                throw std::runtime_error("Fast DDS could not create a data writer");
            }
        }
        if (!settings.receiveTopic.empty()) {
            dds::Topic* topic = m_participant->create_topic(
                "rt/" + settings.receiveTopic, type.get_type_name(), dds::TOPIC_QOS_DEFAULT);
            dds::Subscriber* subscriber =
                m_participant->create_subscriber(dds::SUBSCRIBER_QOS_DEFAULT);
            dds::DataReaderQos qos = dds::DATAREADER_QOS_DEFAULT;
            qos.reliability().kind = reliability;
            qos.history().kind = dds::KEEP_LAST_HISTORY_QOS;
            qos.history().depth = depth;
            if (settings.stack == Stack::RawFastDdsRosSettings) {
                applyRosSettings(qos);
            }
            m_reader = subscriber->create_datareader(topic, qos);
            if (m_reader == nullptr) {
                throw std::runtime_error("Fast DDS could not create a data reader");
            }
        }
        fill(m_sample, settings.shape);
    }

    ~RawFastDdsChannel() override {
        m_participant->delete_contained_entities();
        dds::DomainParticipantFactory::get_instance()->delete_participant(m_participant);
    }

    RawFastDdsChannel(const RawFastDdsChannel&) = delete;
    RawFastDdsChannel& operator=(const RawFastDdsChannel&) = delete;

    bool matched() const override {
        dds::PublicationMatchedStatus published;
        dds::SubscriptionMatchedStatus subscribed;
        return (m_writer == nullptr ||
                (m_writer->get_publication_matched_status(published) == ReturnCode_t::RETCODE_OK &&
                 published.current_count > 0)) &&
               (m_reader == nullptr || (m_reader->get_subscription_matched_status(subscribed) ==
                                            ReturnCode_t::RETCODE_OK &&
                                        subscribed.current_count > 0));
    }

    bool send(std::uint32_t sequence) override {
        stampOf(m_sample).sec(static_cast<std::int32_t>(sequence));
        return m_writer->write(&m_sample);
    }

    bool take(std::uint32_t& sequence) override {
        dds::SampleInfo info;
        while (m_reader->take_next_sample(&m_received, &info) == ReturnCode_t::RETCODE_OK) {
            if (info.valid_data) {
                sequence = static_cast<std::uint32_t>(stampOf(m_received).sec());
                return true;
            }
        }
        return false;
    }

  private:
    dds::DomainParticipant* m_participant = nullptr;
    dds::DataWriter* m_writer = nullptr;
    dds::DataReader* m_reader = nullptr;
    T m_sample;
    T m_received;
};

}  // namespace

std::unique_ptr<Channel> makeRawFastDdsChannel(const ChannelSettings& settings) {
    switch (settings.shape) {
        case Shape::Clock:
            return std::make_unique<
                RawFastDdsChannel<rosgraph_msgs::msg::Clock, rosgraph_msgs::msg::ClockPubSubType>>(
                settings);
        case Shape::JointState1:
        case Shape::JointState6:
        case Shape::JointState10:
        case Shape::JointState100:
        case Shape::JointCommand1:
        case Shape::JointCommand10:
        case Shape::JointCommand100:
            return std::make_unique<RawFastDdsChannel<sensor_msgs::msg::JointState,
                                                      sensor_msgs::msg::JointStatePubSubType>>(
                settings);
        case Shape::Image1080p:
            return std::make_unique<
                RawFastDdsChannel<sensor_msgs::msg::Image, sensor_msgs::msg::ImagePubSubType>>(
                settings);
        case Shape::PointCloud100k:
            return std::make_unique<RawFastDdsChannel<sensor_msgs::msg::PointCloud2,
                                                      sensor_msgs::msg::PointCloud2PubSubType>>(
                settings);
    }
    return nullptr;
}

}  // namespace qorROS2::bench
