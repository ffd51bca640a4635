#pragma once

// Small helpers that every codec test uses.

#include <cstdint>
#include <string>
#include <vector>

#include "cdr/CdrCodec.h"
#include "qorROS2/MessageFields.h"

namespace qorTest {

/// "sensor_msgs/JointState", as the peer's definitions name the type.
template <typename Record>
std::string peerTypeName() {
    return std::string(qorROS2::MessageDescription<Record>::package) + "/" +
           qorROS2::MessageDescription<Record>::name;
}

/// The payload of `record`, in a vector of exactly its size.
template <typename Record>
std::vector<std::uint8_t> encodeToVector(const Record& record) {
    std::vector<std::uint8_t> payload(qorROS2::cdr::encodedSize(record));
    qorROS2::cdr::encode(record, payload.data(), payload.size());
    return payload;
}

}  // namespace qorTest
