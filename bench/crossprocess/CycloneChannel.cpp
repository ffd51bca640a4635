// The benchmark's channel through Cyclone DDS's C API and the types its idlc compiles, with
// Cyclone's default configuration. Samples point into storage that the channel owns, as a C user
// would fill them; received samples are loaned by Cyclone and returned at once.

#include <dds/dds.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Channel.h"
#include "SampleShape.h"
#include "rosgraph_msgs/msg/Clock.h"
#include "sensor_msgs/msg/Image.h"
#include "sensor_msgs/msg/JointState.h"
#include "sensor_msgs/msg/PointCloud2.h"

namespace qorROS2::bench {
namespace {

/// What the C samples point into.
struct SampleStorage {
    std::string frameId = kFrameId;
    std::vector<std::string> names;
    std::vector<char*> namePointers;
    std::vector<double> positions;
    std::vector<double> velocities;
    std::vector<double> efforts;
    std::string encoding = kImageEncoding;
    std::vector<std::string> fieldNames;
    std::vector<sensor_msgs_msg_PointField> fields;
    std::vector<std::uint8_t> bytes;
};

template <typename Sequence, typename Element>
Sequence borrowed(std::vector<Element>& elements) {
    Sequence sequence{};
    sequence._maximum = static_cast<std::uint32_t>(elements.size());
    sequence._length = sequence._maximum;
    sequence._buffer = elements.data();
    sequence._release = false;
    return sequence;
}

void fill(rosgraph_msgs_msg_Clock&, Shape, SampleStorage&) {}

void fill(sensor_msgs_msg_JointState& message, Shape shape, SampleStorage& storage) {
    message.header.frame_id = storage.frameId.data();
    for (std::size_t i = 0; i < jointCount(shape); ++i) {
        storage.names.push_back(jointName(i));
        storage.positions.push_back(0.1 * static_cast<double>(i));
        if (!isJointCommand(shape)) {
            storage.velocities.push_back(0.0);
            storage.efforts.push_back(1.0);
        }
    }
    for (std::string& name : storage.names) {
        storage.namePointers.push_back(name.data());
    }
    message.name = borrowed<dds_sequence_string>(storage.namePointers);
    message.position = borrowed<dds_sequence_double>(storage.positions);
    message.velocity = borrowed<dds_sequence_double>(storage.velocities);
    message.effort = borrowed<dds_sequence_double>(storage.efforts);
}

void fill(sensor_msgs_msg_Image& message, Shape, SampleStorage& storage) {
    message.header.frame_id = storage.frameId.data();
    message.height = kImageHeight;
    message.width = kImageWidth;
    message.encoding = storage.encoding.data();
    message.step = kImageStep;
    storage.bytes.assign(std::size_t{kImageStep} * kImageHeight, 0x5a);
    message.data = borrowed<dds_sequence_octet>(storage.bytes);
}

void fill(sensor_msgs_msg_PointCloud2& message, Shape, SampleStorage& storage) {
    message.header.frame_id = storage.frameId.data();
    message.height = 1;
    message.width = kCloudPoints;
    for (const CloudField& field : kCloudFields) {
        storage.fieldNames.emplace_back(field.name);
    }
    for (std::size_t i = 0; i < kCloudFields.size(); ++i) {
        storage.fields.push_back(sensor_msgs_msg_PointField{storage.fieldNames[i].data(),
                                                            kCloudFields[i].offset, kFloat32, 1});
    }
    message.fields = borrowed<dds_sequence_sensor_msgs_msg_PointField>(storage.fields);
    message.point_step = kPointStep;
    message.row_step = kPointStep * kCloudPoints;
    storage.bytes.assign(std::size_t{kPointStep} * kCloudPoints, 0x3c);
    message.data = borrowed<dds_sequence_octet>(storage.bytes);
    message.is_dense = true;
}

builtin_interfaces_msg_Time& stampOf(rosgraph_msgs_msg_Clock& message) {
    return message.clock;
}
template <typename T>
builtin_interfaces_msg_Time& stampOf(T& message) {
    return message.header.stamp;
}

void check(dds_entity_t entity, const char* what) {
    if (entity < 0) {
        throw std::runtime_error(std::string("Cyclone DDS could not create ") + what + ": " +
                                 dds_strretcode(entity));
    }
}

template <typename T>
class CycloneChannel final : public Channel {
  public:
    CycloneChannel(const ChannelSettings& settings, const dds_topic_descriptor_t& descriptor)
        : m_sample{} {
        m_participant = dds_create_participant(settings.domain, nullptr, nullptr);
        check(m_participant, "a participant");
        dds_qos_t* qos = dds_create_qos();
        dds_qset_reliability(
            qos, settings.reliable ? DDS_RELIABILITY_RELIABLE : DDS_RELIABILITY_BEST_EFFORT,
            DDS_MSECS(100));
        dds_qset_history(qos, DDS_HISTORY_KEEP_LAST, static_cast<std::int32_t>(settings.depth));
        dds_qset_durability(qos, DDS_DURABILITY_VOLATILE);
        const auto topicNamed = [&](const std::string& name) {
            const dds_entity_t topic = dds_create_topic(m_participant, &descriptor,
                                                        ("rt/" + name).c_str(), nullptr, nullptr);
            check(topic, "a topic");
            return topic;
        };
        try {
            if (!settings.sendTopic.empty()) {
                m_writer =
                    dds_create_writer(m_participant, topicNamed(settings.sendTopic), qos, nullptr);
                check(m_writer, "a writer");
            }
            if (!settings.receiveTopic.empty()) {
                m_reader = dds_create_reader(m_participant, topicNamed(settings.receiveTopic), qos,
                                             nullptr);
                check(m_reader, "a reader");
            }
        } catch (...) {
            dds_delete_qos(qos);
            dds_delete(m_participant);
            throw;
        }
        dds_delete_qos(qos);
        fill(m_sample, settings.shape, m_storage);
    }

    ~CycloneChannel() override { dds_delete(m_participant); }

    CycloneChannel(const CycloneChannel&) = delete;
    CycloneChannel& operator=(const CycloneChannel&) = delete;

    bool matched() const override {
        dds_publication_matched_status_t published{};
        dds_subscription_matched_status_t subscribed{};
        return (m_writer == 0 ||
                (dds_get_publication_matched_status(m_writer, &published) == DDS_RETCODE_OK &&
                 published.current_count > 0)) &&
               (m_reader == 0 ||
                (dds_get_subscription_matched_status(m_reader, &subscribed) == DDS_RETCODE_OK &&
                 subscribed.current_count > 0));
    }

    bool send(std::uint32_t sequence) override {
        stampOf(m_sample).sec = static_cast<std::int32_t>(sequence);
        return dds_write(m_writer, &m_sample) == DDS_RETCODE_OK;
    }

    bool take(std::uint32_t& sequence) override {
        void* samples[1] = {nullptr};
        dds_sample_info_t info;
        for (;;) {
            const dds_return_t taken = dds_take(m_reader, samples, &info, 1, 1);
            if (taken <= 0) {
                return false;
            }
            const bool valid = info.valid_data;
            if (valid) {
                sequence = static_cast<std::uint32_t>(stampOf(*static_cast<T*>(samples[0])).sec);
            }
            dds_return_loan(m_reader, samples, taken);
            if (valid) {
                return true;
            }
        }
    }

  private:
    dds_entity_t m_participant = 0;
    dds_entity_t m_writer = 0;
    dds_entity_t m_reader = 0;
    SampleStorage m_storage;
    T m_sample;
};

}  // namespace

std::unique_ptr<Channel> makeCycloneChannel(const ChannelSettings& settings) {
    switch (settings.shape) {
        case Shape::Clock:
            return std::make_unique<CycloneChannel<rosgraph_msgs_msg_Clock>>(
                settings, rosgraph_msgs_msg_Clock_desc);
        case Shape::JointState1:
        case Shape::JointState6:
        case Shape::JointState10:
        case Shape::JointState100:
        case Shape::JointCommand1:
        case Shape::JointCommand10:
        case Shape::JointCommand100:
            return std::make_unique<CycloneChannel<sensor_msgs_msg_JointState>>(
                settings, sensor_msgs_msg_JointState_desc);
        case Shape::Image1080p:
            return std::make_unique<CycloneChannel<sensor_msgs_msg_Image>>(
                settings, sensor_msgs_msg_Image_desc);
        case Shape::PointCloud100k:
            return std::make_unique<CycloneChannel<sensor_msgs_msg_PointCloud2>>(
                settings, sensor_msgs_msg_PointCloud2_desc);
    }
    return nullptr;
}

}  // namespace qorROS2::bench
