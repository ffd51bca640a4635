#pragma once

// Writes one bag as `ros2 bag record` writes it: a new directory holding `<name>_0.mcap`,
// `<name>_1.mcap`, ... split by size or duration, and metadata.yaml once it is closed. Messages
// go through a bounded queue to a writing thread of its own, so that a slow disk never holds up
// whoever receives them: what does not fit is dropped and counted.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/bag/BagMetadata.h"
#include "qorROS2/bag/Export.h"
#include "qorROS2/bag/McapTypes.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace qorROS2::bag {

/// The smallest split size rosbag2's MCAP storage accepts, in bytes.
inline constexpr std::uint64_t kMinimumSplitSize = 1024;

/// A file of the bag that was closed and the one opened after it (paths as created).
struct BagSplit {
    std::string closedFile;
    std::string openedFile;
};

struct BagWriterOptions {
    /// A file is closed and the next one opened before a message once the file holds this many
    /// bytes; 0 never splits. At least kMinimumSplitSize otherwise.
    std::uint64_t maxBagSize = 0;
    /// A file is closed and the next one opened before a message received more than this many
    /// seconds after the file's first one; 0 never splits.
    std::uint64_t maxBagDurationSeconds = 0;
    /// Chunk compression inside each MCAP file (rosbag2's MCAP storage writes none by default).
    McapCompression compression = McapCompression::none;
    /// The uncompressed bytes of messages gathered into one chunk, as rosbag2's MCAP storage.
    std::uint64_t chunkSize = 768 * 1024;
    /// 5 writes metadata.yaml and the files as ROS 2 Humble does, 9 as ROS 2 Jazzy does.
    int metadataVersion = kHumbleMetadataVersion;
    /// The distribution recorded in the files and metadata.yaml; "" takes ROS_DISTRO from the
    /// environment, else the one the version stands for ("humble", "jazzy").
    std::string rosDistro;
    /// The bytes of message data that may wait for the writing thread; a message that would go
    /// beyond is dropped. rosbag2's default cache is 100 MiB.
    std::size_t queueBytes = 100 * 1024 * 1024;
    /// Called on the writing thread each time a file is closed and the next one opened.
    std::function<void(const BagSplit&)> onSplit;
};

/// A topic as the bag records it.
struct BagTopic {
    std::string name;                                   ///< "/joint_states"
    std::string type;                                   ///< "sensor_msgs/msg/JointState"
    std::string serializationFormat = "cdr";            ///< how its messages are encoded
    std::vector<OfferedQosProfile> offeredQosProfiles;  ///< one per publisher seen
    std::string typeHash;    ///< "RIHS01_..." or "" when not known (written from version 9 on)
    std::string schemaText;  ///< the "ros2msg" definition, "" when the type is not known
};

/// Writes one bag directory. addTopic(), write() and the counts may be called from any thread,
/// also at once; close() from one.
class QORBAG_EXPORT BagWriter {
  public:
    /// Creates `directory` and its first file. Throws BagError when the directory exists (as
    /// rosbag2 refuses it), cannot be created, or an option is out of range.
    explicit BagWriter(const std::string& directory, BagWriterOptions options = {});
    /// Closes the bag as close() does; an error is swallowed here (call close() to see it).
    ~BagWriter();
    BagWriter(const BagWriter&) = delete;
    BagWriter& operator=(const BagWriter&) = delete;

    /// Registers a topic in every file from now on; a topic already registered is left as it
    /// is. Throws BagError for an empty name or type.
    void addTopic(const BagTopic& topic);
    /// Queues one serialized message of a registered topic; `receiveTimeNs` orders and splits
    /// the bag (rosbag2's log time), `sendTimeNs` is kept as its publish time. Never blocks.
    /// Returns false when the message was not queued: the queue is full (counted in dropped()),
    /// or writing has stopped on an error or a close. Throws BagError for a topic never added.
    bool write(const std::string& topic, const std::uint8_t* data, std::size_t size,
               std::int64_t receiveTimeNs, std::int64_t sendTimeNs);
    /// As write(), but a full queue holds the caller up until the writing thread has made room,
    /// for a producer that would rather slow down than lose messages. A message larger than the
    /// whole queue is still dropped and counted, as it would never fit.
    bool writeWaiting(const std::string& topic, const std::uint8_t* data, std::size_t size,
                      std::int64_t receiveTimeNs, std::int64_t sendTimeNs);
    /// Writes what is queued, closes the last file and writes metadata.yaml. Throws BagError
    /// once with the write error that stopped writing, if any; the files stay readable up to
    /// it. Calling it again does nothing.
    void close();

    /// The error that stopped writing, "" while there is none.
    std::string error() const;
    /// Messages dropped because the queue was full, per topic (topics without drops left out).
    std::map<std::string, std::uint64_t> dropped() const;
    /// Messages written to the files so far.
    std::uint64_t written() const;
    /// The bag's directory as given.
    const std::string& directory() const;
    /// The metadata as written on close (or as it stands, before).
    BagMetadata metadata() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// rosbag2's warning at the end of a recording that lost messages, without its log prefix:
/// "Cache buffers lost messages per topic: \n\t/topic: N...\nTotal lost: N"; "" when `dropped`
/// (as BagWriter::dropped() gives it) holds none.
QORBAG_EXPORT std::string lostMessagesText(const std::map<std::string, std::uint64_t>& dropped);

}  // namespace qorROS2::bag
