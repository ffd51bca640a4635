#pragma once

// The middleware's view of a record type: its DDS name and how its samples become CDR bytes.

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include <fastdds/rtps/common/SerializedPayload.h>
#include <fastdds/dds/topic/TopicDataType.hpp>

#include "cdr/CdrCodec.h"
#include "common/SampleSharing.h"
#include "common/Warning.h"
#include "common/WireType.h"
#include "endpoints/DecodeSlot.h"
#include "endpoints/RawPayloadType.h"
#include "endpoints/WireSample.h"
#include "qorROS2/MessageFields.h"

namespace qorROS2::transport::endpoints {

/// "sensor_msgs::msg::dds_::JointState_": the DDS type name under which ROS 2 sends record T.
template <typename T>
std::string ddsTypeNameOf() {
    return std::string(MessageDescription<T>::package) +
           "::msg::dds_::" + MessageDescription<T>::name + "_";
}

/// The data type of a type name the library has records T of. It serves the typed and the raw
/// endpoints of that name alike, as a participant registers one data type per name: samples of
/// the record form are records T given to DataWriter::write(), encoded straight into the
/// payload, and DecodeSlot<T> that DataReader::take_next_sample() decodes into; samples of the
/// payload form are copied as bytes both ways (see RawPayloadType). createData() makes a
/// DecodeSlot<T>. Everything runs inside the middleware, so nothing lets an exception out.
template <typename T>
class RecordDataType final : public eprosima::fastdds::dds::TopicDataType {
  public:
    RecordDataType() {
        setName(ddsTypeNameOf<T>().c_str());
        // The first payloads of a history are reserved at this size and grown when a sample
        // needs more, so the empty record's size keeps small types small; raw samples of the
        // type grow them the same way.
        m_typeSize = static_cast<std::uint32_t>(cdr::encodedSize(T{}));
        // Fast DDS shares the history of a writer, a slot of the bound per sample, only for a
        // bounded type; the endpoints of such a type choose whether theirs is shared.
        m_sharesLargeSamples = common::carriesLargeSamples(getName());
        if (m_sharesLargeSamples) {
            m_typeSize = common::kSharedSampleBytes;
        }
        m_isGetKeyDefined = false;
        // ROS 2 peers neither send nor expect type objects; announcing them costs discovery
        // traffic and may make a peer compare types it cannot resolve.
        auto_fill_type_object(false);
        auto_fill_type_information(false);
    }

    bool serialize(void* data, eprosima::fastrtps::rtps::SerializedPayload_t* payload) override {
        const auto& sample = *static_cast<const WireSample*>(data);
        if (sample.form == WireSample::Form::payload) {
            return serializePayloadBytes(*static_cast<const RawPayloadView*>(sample.data), payload);
        }
        try {
            const T& record = *static_cast<const T*>(sample.data);
            const std::size_t size = cdr::encodedSize(record);
            if (size > payload->max_size) {
                tellOfOversizedSample(size);
                return false;
            }
            cdr::encode(record, payload->data, size);
            payload->length = static_cast<std::uint32_t>(size);
            payload->encapsulation = CDR_LE;
            return true;
        } catch (...) {
            return false;
        }
    }

    bool deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* payload, void* data) override {
        const auto& sample = *static_cast<const WireSample*>(data);
        if (sample.form == WireSample::Form::payload) {
            return deserializePayloadBytes(*payload,
                                           *static_cast<std::vector<std::uint8_t>*>(sample.data));
        }
        auto& slot = *static_cast<DecodeSlot<T>*>(sample.data);
        const char* failure = nullptr;
        try {
            const cdr::DecodeResult result =
                cdr::decode(payload->data, payload->length, slot.record);
            if (result.ok()) {
                slot.serializedSize = payload->length;
                if (slot.serializedBytes != nullptr) {
                    slot.serializedBytes->assign(payload->data, payload->data + payload->length);
                }
                return true;
            }
            if (slot.malformed != nullptr) {
                slot.malformed->dropped(result.describe().c_str());
            }
            return false;
        } catch (const std::bad_alloc&) {
            failure = "not enough memory to decode it";
        } catch (...) {
            failure = "decoding it failed unexpectedly";
        }
        if (slot.malformed != nullptr) {
            slot.malformed->dropped(failure);
        }
        return false;
    }

    std::function<std::uint32_t()> getSerializedSizeProvider(void* data) override {
        return [data]() -> std::uint32_t {
            const auto& sample = *static_cast<const WireSample*>(data);
            const std::size_t size = sample.form == WireSample::Form::payload
                                         ? static_cast<const RawPayloadView*>(sample.data)->size
                                         : cdr::encodedSize(*static_cast<const T*>(sample.data));
            // A size the middleware cannot express gives an empty payload, which serialize()
            // then refuses.
            return size > std::numeric_limits<std::uint32_t>::max()
                       ? 0U
                       : static_cast<std::uint32_t>(size);
        };
    }

    void* createData() override { return newOwningSample<DecodeSlot<T>>(WireSample::Form::record); }

    void deleteData(void* data) override { deleteOwningSample<DecodeSlot<T>>(data); }

    bool getKey(void*, eprosima::fastrtps::rtps::InstanceHandle_t*, bool) override {
        // ROS 2 topics are keyless.
        return false;
    }

    /// True for a type of large samples, whose samples are at most common::kSharedSampleBytes
    /// when its writer shares its history.
    bool is_bounded() const override { return m_sharesLargeSamples; }

  private:
    // Only a shared history's slots are smaller than a sample: every other payload is sized to
    // its sample before it is written. Told once per type, as a camera repeats its size.
    void tellOfOversizedSample(std::size_t size) {
        if (!m_sharesLargeSamples || m_toldOfOversizedSample.exchange(true)) {
            return;
        }
        common::warn("A sample of " + std::to_string(size) + " bytes of " + getName() +
                     " was not sent: a writer that shares its history with the readers of this "
                     "host holds samples of at most " +
                     std::to_string(common::kSharedSampleBytes) +
                     " bytes; a keep-all history, or one deeper than " +
                     std::to_string(common::kDeepestSharedHistory) +
                     ", sends any size through the transports");
    }

    bool m_sharesLargeSamples = false;
    std::atomic<bool> m_toldOfOversizedSample{false};
};

}  // namespace qorROS2::transport::endpoints
