#pragma once

// What a bag's metadata.yaml holds: its storage, its time span, its topics with their offered
// QoS and message counts, and its files, as rosbag2 writes and reads them.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "qorROS2/bag/Export.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace qorROS2::bag {

/// The versions of metadata.yaml that ROS 2 Humble and Jazzy write.
inline constexpr int kHumbleMetadataVersion = 5;
inline constexpr int kJazzyMetadataVersion = 9;

/// One topic of a bag.
struct TopicMetadata {
    std::string name;                                   ///< "/joint_states"
    std::string type;                                   ///< "sensor_msgs/msg/JointState"
    std::string serializationFormat = "cdr";            ///< how its messages are encoded
    std::vector<OfferedQosProfile> offeredQosProfiles;  ///< one per publisher recorded
    std::string typeDescriptionHash;  ///< "RIHS01_<64 hex digits>" from version 7; "" before
};

/// A topic and how many of its messages the bag holds.
struct TopicInformation {
    TopicMetadata topicMetadata;
    std::uint64_t messageCount = 0;
};

/// One storage file of a bag (metadata from version 5 on).
struct FileInformation {
    std::string path;                          ///< relative to the bag's directory
    std::int64_t startingTimeNanoseconds = 0;  ///< its first message, since the epoch
    std::int64_t durationNanoseconds = 0;      ///< from its first message to its last
    std::uint64_t messageCount = 0;
};

/// The content of metadata.yaml (`rosbag2_bagfile_information`). Times are in nanoseconds;
/// rosbag2 writes them signed and reads them unsigned, so both are at least 0.
struct BagMetadata {
    int version = kJazzyMetadataVersion;       ///< 4 to 9 when read; 5 or 9 to write
    std::string storageIdentifier = "mcap";    ///< the storage plugin's name
    std::int64_t durationNanoseconds = 0;      ///< from the first message to the last
    std::int64_t startingTimeNanoseconds = 0;  ///< the first message, since the epoch
    std::uint64_t messageCount = 0;
    std::vector<TopicInformation> topicsWithMessageCount;
    std::string compressionFormat;                  ///< "" or "zstd"
    std::string compressionMode;                    ///< "", "FILE" or "MESSAGE"
    std::vector<std::string> relativeFilePaths;     ///< the storage files, in order
    std::vector<FileInformation> files;             ///< from version 5 on
    std::map<std::string, std::string> customData;  ///< the user's, from version 6 on
    std::string rosDistro;                          ///< "jazzy", from version 8 on
};

/// The text of metadata.yaml for `metadata`, byte for byte as rosbag2 writes it: as ROS 2 Humble
/// for version 5 (the offered QoS as one string with rmw's integers), as ROS 2 Jazzy for
/// version 9 (a list with rmw's names, the type hash, custom data in key order and the
/// distribution). Throws BagError for another version, a negative time or a QoS value ROS 2
/// does not have.
QORBAG_EXPORT std::string bagMetadataToYaml(const BagMetadata& metadata);

/// The metadata in `yaml`, of any version from 4 to 9, reading each key only from the version
/// that introduced it. Throws BagError naming `file` and the key for text that is not YAML, a
/// missing key, a value of the wrong kind, a number out of range or an unsupported version.
QORBAG_EXPORT BagMetadata bagMetadataFromYaml(const std::string& yaml, const std::string& file);

/// Writes metadata.yaml into the bag directory `bagDirectory`. Throws BagError naming the file
/// when it cannot be written, and as bagMetadataToYaml().
QORBAG_EXPORT void writeBagMetadata(const std::string& bagDirectory, const BagMetadata& metadata);

/// Reads metadata.yaml from the bag directory `bagDirectory`. Throws BagError naming the file
/// when it is missing or unreadable, and as bagMetadataFromYaml().
QORBAG_EXPORT BagMetadata readBagMetadata(const std::string& bagDirectory);

}  // namespace qorROS2::bag
