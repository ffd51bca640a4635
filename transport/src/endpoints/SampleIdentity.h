#pragma once

// Which sample of which writer: how DDS names a sample, and how a reply names its request.

#include <cstdint>

#include "graph/GraphModel.h"

namespace qorROS2::transport::endpoints {

/// A writer's GUID and the sequence number it gave a sample; all zero for "unknown", as DDS
/// writes an identity that is not set.
struct SampleIdentity {
    graph::Guid writerGuid{};
    std::int64_t sequenceNumber = 0;

    bool operator==(const SampleIdentity& other) const {
        return writerGuid == other.writerGuid && sequenceNumber == other.sequenceNumber;
    }
};

/// Whether the entity that `guid` names is a reader: the entity kinds of RTPS set this bit for
/// readers and clear it for writers.
inline bool isReaderGuid(const graph::Guid& guid) {
    constexpr std::uint8_t kReaderKindBit = 0x04;
    return (guid[15] & kReaderKindBit) != 0;
}

}  // namespace qorROS2::transport::endpoints
