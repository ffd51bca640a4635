#pragma once

// A DDS type whose samples are payload bytes passed through untouched: the type of the raw
// publishers and subscribers of a type the library has no record of, and of the tests' tools
// that put arbitrary bytes on a topic or look at the exact bytes a writer sent.

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fastdds/rtps/common/SerializedPayload.h>
#include <fastdds/dds/topic/TopicDataType.hpp>

#include "endpoints/WireSample.h"

namespace qorROS2::transport::endpoints {

/// Copies `bytes` into `payload`, the one copy a raw sample makes on its way out; false when
/// they do not fit.
inline bool serializePayloadBytes(const RawPayloadView& bytes,
                                  eprosima::fastrtps::rtps::SerializedPayload_t* payload) {
    if (bytes.size > payload->max_size) {
        return false;
    }
    if (bytes.size != 0) {
        std::memcpy(payload->data, bytes.data, bytes.size);
    }
    payload->length = static_cast<std::uint32_t>(bytes.size);
    // The second byte of the header is odd for every little-endian representation.
    payload->encapsulation = bytes.size >= 2 && (bytes.data[1] & 1U) != 0 ? CDR_LE : CDR_BE;
    return true;
}

/// Copies the bytes of `payload` into `bytes`, reusing its capacity; false when memory ran out.
inline bool deserializePayloadBytes(const eprosima::fastrtps::rtps::SerializedPayload_t& payload,
                                    std::vector<std::uint8_t>& bytes) {
    try {
        bytes.assign(payload.data, payload.data + payload.length);
        return true;
    } catch (...) {
        return false;
    }
}

/// Writes and reads WireSample objects of the payload form, each a whole payload,
/// encapsulation header included, under whatever DDS type name the caller needs. Samples of the
/// record form are refused: there is no record to encode them from or decode them into.
class RawPayloadType final : public eprosima::fastdds::dds::TopicDataType {
  public:
    explicit RawPayloadType(const std::string& ddsTypeName) {
        setName(ddsTypeName.c_str());
        m_typeSize = 4;
        m_isGetKeyDefined = false;
        auto_fill_type_object(false);
        auto_fill_type_information(false);
    }

    bool serialize(void* data, eprosima::fastrtps::rtps::SerializedPayload_t* payload) override {
        const auto& sample = *static_cast<const WireSample*>(data);
        return sample.form == WireSample::Form::payload &&
               serializePayloadBytes(*static_cast<const RawPayloadView*>(sample.data), payload);
    }

    bool deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* payload, void* data) override {
        const auto& sample = *static_cast<const WireSample*>(data);
        return sample.form == WireSample::Form::payload &&
               deserializePayloadBytes(*payload,
                                       *static_cast<std::vector<std::uint8_t>*>(sample.data));
    }

    std::function<std::uint32_t()> getSerializedSizeProvider(void* data) override {
        return [data]() -> std::uint32_t {
            const auto& sample = *static_cast<const WireSample*>(data);
            // A record has no size here; an empty payload makes serialize() refuse it.
            return sample.form == WireSample::Form::payload
                       ? static_cast<std::uint32_t>(
                             static_cast<const RawPayloadView*>(sample.data)->size)
                       : 0U;
        };
    }

    void* createData() override {
        return newOwningSample<std::vector<std::uint8_t>>(WireSample::Form::payload);
    }

    void deleteData(void* data) override { deleteOwningSample<std::vector<std::uint8_t>>(data); }

    bool getKey(void*, eprosima::fastrtps::rtps::InstanceHandle_t*, bool) override { return false; }
};

}  // namespace qorROS2::transport::endpoints
