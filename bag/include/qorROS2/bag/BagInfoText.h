#pragma once

// What `ros2 bag info` prints about a bag, as ROS 2 Humble prints it.

#include <cstdint>
#include <string>

#include "qorROS2/bag/BagMetadata.h"
#include "qorROS2/bag/Export.h"

namespace qorROS2::bag {

/// Everything `ros2 bag info` of ROS 2 Humble writes to standard output for `metadata` and a
/// bag of `bagSizeBytes` bytes: its leading empty line, the aligned fields (files, size in B,
/// KiB, MiB, GiB or TiB, storage, duration, start and end in the local time zone with their
/// seconds since the epoch, messages, one line per topic), and the final empty line.
QORBAG_EXPORT std::string bagInfoText(const BagMetadata& metadata, std::uint64_t bagSizeBytes);

/// The size ROS 2 gives a bag: the sum of the sizes of everything directly in `bagDirectory`
/// that is not a directory (metadata.yaml included; links count as what they point to). Throws
/// BagError naming the directory when it is not one or cannot be read.
QORBAG_EXPORT std::uint64_t bagDirectorySize(const std::string& bagDirectory);

}  // namespace qorROS2::bag
