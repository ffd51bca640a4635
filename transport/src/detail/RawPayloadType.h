#pragma once

// A DDS type whose samples are payload bytes passed through untouched, for tools that must put
// arbitrary bytes on a topic or look at the exact bytes a writer sent.

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fastdds/rtps/common/SerializedPayload.h>
#include <fastdds/dds/topic/TopicDataType.hpp>

namespace qorROS2::detail {

/// Samples are std::vector<std::uint8_t> holding a whole payload, encapsulation header
/// included, under whatever DDS type name the tool needs.
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
        const auto& bytes = *static_cast<const std::vector<std::uint8_t>*>(data);
        if (bytes.size() > payload->max_size) {
            return false;
        }
        if (!bytes.empty()) {
            std::memcpy(payload->data, bytes.data(), bytes.size());
        }
        payload->length = static_cast<std::uint32_t>(bytes.size());
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
            return static_cast<std::uint32_t>(
                static_cast<const std::vector<std::uint8_t>*>(data)->size());
        };
    }

    void* createData() override { return new std::vector<std::uint8_t>(); }

    void deleteData(void* data) override { delete static_cast<std::vector<std::uint8_t>*>(data); }

    bool getKey(void*, eprosima::fastrtps::rtps::InstanceHandle_t*, bool) override { return false; }
};

}  // namespace qorROS2::detail
