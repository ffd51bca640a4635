#pragma once

// A DDS type whose samples are payload bytes passed through untouched: the type of the raw
// publishers and subscribers, and of the tests' tools that put arbitrary bytes on a topic or look
// at the exact bytes a writer sent.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fastdds/rtps/common/SerializedPayload.h>
#include <fastdds/dds/topic/TopicDataType.hpp>

namespace qorROS2::transport::endpoints {

/// The bytes a writer hands to DataWriter::write(): a whole payload, encapsulation header
/// included, which the writer's caller keeps alive during the write.
struct RawPayloadView {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

/// Writes RawPayloadView samples and reads samples into std::vector<std::uint8_t>, each a whole
/// payload, encapsulation header included, under whatever DDS type name the caller needs.
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
        const auto& bytes = *static_cast<const RawPayloadView*>(data);
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

    bool deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* payload, void* data) override {
        try {
            auto& bytes = *static_cast<std::vector<std::uint8_t>*>(data);
            bytes.assign(payload->data, payload->data + payload->length);
            return true;
        } catch (...) {
            return false;
        }
    }

    std::function<std::uint32_t()> getSerializedSizeProvider(void* data) override {
        return [data]() {
            return static_cast<std::uint32_t>(static_cast<const RawPayloadView*>(data)->size);
        };
    }

    void* createData() override { return new std::vector<std::uint8_t>(); }

    void deleteData(void* data) override { delete static_cast<std::vector<std::uint8_t>*>(data); }

    bool getKey(void*, eprosima::fastrtps::rtps::InstanceHandle_t*, bool) override { return false; }
};

}  // namespace qorROS2::transport::endpoints
