#pragma once

// What an MCAP file holds, as its writer takes it and its reader gives it back: schemas, channels,
// metadata records, statistics and messages. Times are nanoseconds, as MCAP stores them.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace qorROS2::bag {

/// How the records of a chunk are compressed.
enum class McapCompression {
    none,  ///< stored as they are
    zstd,  ///< one Zstandard frame
    lz4,   ///< one LZ4 frame (the frame format, not a bare block)
};

/// A message definition that channels refer to.
struct McapSchema {
    std::uint16_t id = 0;  ///< 1 and up; 0 means "no schema" and is never a record's id
    std::string name;      ///< e.g. sensor_msgs/msg/JointState
    std::string encoding;  ///< e.g. ros2msg
    std::string data;      ///< the definition's bytes, as the encoding says
};

/// A stream of messages on one topic.
struct McapChannel {
    std::uint16_t id = 0;                         ///< unique in the file
    std::uint16_t schemaId = 0;                   ///< 0: the channel has no schema
    std::string topic;                            ///< e.g. /joint_states
    std::string messageEncoding;                  ///< e.g. cdr
    std::map<std::string, std::string> metadata;  ///< e.g. offered_qos_profiles
};

/// A named set of key-value pairs stored beside the messages.
struct McapMetadata {
    std::string name;                            ///< e.g. rosbag2
    std::map<std::string, std::string> entries;  ///< its keys and values
};

/// Counts and the time span of a file's messages.
struct McapStatistics {
    std::uint64_t messageCount = 0;      ///< Message records in the file
    std::uint16_t schemaCount = 0;       ///< distinct schema ids, 0 excluded
    std::uint32_t channelCount = 0;      ///< distinct channel ids
    std::uint32_t attachmentCount = 0;   ///< Attachment records
    std::uint32_t metadataCount = 0;     ///< Metadata records
    std::uint32_t chunkCount = 0;        ///< Chunk records
    std::uint64_t messageStartTime = 0;  ///< earliest log time; 0 without messages
    std::uint64_t messageEndTime = 0;    ///< latest log time; 0 without messages
    std::map<std::uint16_t, std::uint64_t> channelMessageCounts;  ///< messages per channel id
};

/// One message as the reader gives it: the bytes stay the reader's and are valid until it moves
/// on to the next message.
struct McapMessage {
    std::uint16_t channelId = 0;         ///< the channel it was recorded on
    std::uint32_t sequence = 0;          ///< the writer's counter, for gaps
    std::uint64_t logTime = 0;           ///< when it was recorded (rosbag2: received)
    std::uint64_t publishTime = 0;       ///< when it was published (rosbag2: sent)
    const std::uint8_t* data = nullptr;  ///< its serialized bytes
    std::size_t size = 0;                ///< how many
};

}  // namespace qorROS2::bag
