#pragma once

// How a QOS becomes the DDS policies of a writer or a reader.

#include <cstdint>
#include <string>
#include <vector>

#include <fastdds/dds/publisher/qos/DataWriterQos.hpp>
#include <fastdds/dds/subscriber/qos/DataReaderQos.hpp>

#include "common/SampleSharing.h"
#include "qorROS2/QOS.h"

namespace qorROS2::transport::common {

/// Throws std::invalid_argument naming `topic` and the field when `qos` holds a value outside
/// ROS 2's numbering, a KEEP_LAST depth of 0 or a depth DDS cannot hold.
void checkQos(const QOS& qos, const std::string& topic);

/// The DDS domain of `domainId`; throws std::invalid_argument naming `topic` when it is negative.
std::uint32_t checkedDomain(std::int8_t domainId, const std::string& topic);

/// Writer policies for a checked `qos`, keeping payloads as `memory` says. Every policy is set
/// here, because Fast DDS's own defaults are not ROS 2's (its writers are transient-local by
/// default, for one).
eprosima::fastdds::dds::DataWriterQos writerQos(const QOS& qos,
                                                SampleMemory memory = SampleMemory::grownInPlace);

/// Reader policies for a checked `qos`, keeping payloads as `memory` says, every one set (Fast
/// DDS's readers default to best effort, ROS 2's to reliable).
eprosima::fastdds::dds::DataReaderQos readerQos(const QOS& qos,
                                                SampleMemory memory = SampleMemory::grownInPlace);

/// The USER_DATA with which an endpoint of a type whose hash is `typeHash` ("RIHS01_...")
/// announces it, "typehash=RIHS01_...;" as ROS 2 from Iron on writes it; empty for an empty
/// hash, as ROS 2 announces an unset one.
std::vector<std::uint8_t> typeHashUserData(const std::string& typeHash);

/// Whether `hash` is "RIHS01_" and 64 lowercase hex digits.
bool validTypeHash(const std::string& hash);

/// The type hash that an endpoint's USER_DATA announces as "typehash=RIHS01_...;" among other
/// "key=value;" pairs, as "RIHS01_" and 64 lowercase hex digits, or "INVALID", as ROS 2 tools
/// print a hash, when it announces none, one that does not parse, or USER_DATA that is not
/// "key=value;" pairs at all.
std::string typeHashFromUserData(const std::vector<std::uint8_t>& userData);

/// The value of `key` among the "key=value;" pairs of an endpoint's USER_DATA, read as
/// typeHashFromUserData() reads them; empty when there is none.
std::string userDataValue(const std::vector<std::uint8_t>& userData, const std::string& key);

}  // namespace qorROS2::transport::common
