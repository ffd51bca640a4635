#include "graph/GraphDataType.h"

#include <limits>
#include <new>

namespace qorROS2::transport::graph {

const char* graphTypeHash(GidLayout layout) {
    // rosidl's hash of ParticipantEntitiesInfo, Gid (char[16] data) and NodeEntitiesInfo
    // (string<=256 node_namespace, string<=256 node_name, Gid[] reader_gid_seq, Gid[]
    // writer_gid_seq), the same in Iron, Jazzy and Kilted.
    return layout == GidLayout::iron
               ? "RIHS01_91a0593bacdcc50ea9bdcf849a938b128412cc1ea821245c663bcd26f83c295e"
               : "";
}

GraphDataType::GraphDataType(GidLayout layout) : m_layout(layout) {
    setName(kGraphTypeName);
    m_typeSize = static_cast<std::uint32_t>(
        encodedParticipantEntitiesSize(ParticipantEntities{}, GidLayout::humble));
    m_isGetKeyDefined = false;
    auto_fill_type_object(false);
    auto_fill_type_information(false);
}

bool GraphDataType::serialize(void* data, eprosima::fastrtps::rtps::SerializedPayload_t* payload) {
    try {
        const auto& entities = *static_cast<const ParticipantEntities*>(data);
        const std::size_t size = encodedParticipantEntitiesSize(entities, m_layout);
        if (size > payload->max_size) {
            return false;
        }
        encodeParticipantEntitiesInto(entities, m_layout, payload->data, size);
        payload->length = static_cast<std::uint32_t>(size);
        payload->encapsulation = CDR_LE;
        return true;
    } catch (...) {
        return false;
    }
}

bool GraphDataType::deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* payload,
                                void* data) {
    auto& slot = *static_cast<GraphSlot*>(data);
    try {
        if (decodeParticipantEntities(payload->data, payload->length, slot.entities).empty()) {
            return true;
        }
    } catch (...) {
        // Counted below like any other sample that cannot be read.
    }
    // Samples of a foreign layout or a broken peer are counted, not reported: every participant
    // republishes at each change, so a warning here would repeat without end.
    ++slot.undecodable;
    return false;
}

std::function<std::uint32_t()> GraphDataType::getSerializedSizeProvider(void* data) {
    return [this, data]() -> std::uint32_t {
        try {
            const std::size_t size = encodedParticipantEntitiesSize(
                *static_cast<const ParticipantEntities*>(data), m_layout);
            return size > std::numeric_limits<std::uint32_t>::max()
                       ? 0U
                       : static_cast<std::uint32_t>(size);
        } catch (...) {
            return 0U;
        }
    };
}

void* GraphDataType::createData() {
    return new (std::nothrow) GraphSlot();
}

void GraphDataType::deleteData(void* data) {
    delete static_cast<GraphSlot*>(data);
}

bool GraphDataType::getKey(void*, eprosima::fastrtps::rtps::InstanceHandle_t*, bool) {
    return false;
}

}  // namespace qorROS2::transport::graph
