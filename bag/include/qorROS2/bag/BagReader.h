#pragma once

// Reads a bag as `ros2 bag info` and `ros2 bag play` read it: a bag directory (metadata.yaml and
// the storage files it lists, in order) or one .mcap file. A bag whose recorder was killed has no
// metadata.yaml, and its last file no summary: its metadata is then rebuilt from the MCAP files
// themselves, and problems() says so. Messages of all files come in log-time order through a
// read-ahead queue that a thread of the reader fills; damage (a chunk whose CRC does not match, a
// file cut short) is a problem to report, and every message that can still be read is read.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/bag/BagMetadata.h"
#include "qorROS2/bag/Export.h"

namespace qorROS2::bag {

struct BagReaderOptions {
    /// How many messages the reader holds read ahead of the caller (rosbag2's
    /// `--read-ahead-queue-size`); at least 1 is used.
    std::size_t readAheadQueueSize = 1000;
    /// The topics whose messages are read; empty: all of them.
    std::vector<std::string> topics;
};

/// One message of a bag, copied out of its file.
struct BagMessage {
    std::size_t topic = 0;           ///< index into metadata().topicsWithMessageCount
    std::uint64_t logTime = 0;       ///< when it was recorded, nanoseconds since the epoch
    std::uint64_t publishTime = 0;   ///< when it was published, as recorded
    std::vector<std::uint8_t> data;  ///< its serialized bytes
};

class QORBAG_EXPORT BagReader {
  public:
    /// Opens the bag at `path`: a directory or a single MCAP file. Reads metadata.yaml when the
    /// directory has one, else rebuilds it from the directory's .mcap files. Throws BagError
    /// naming the path when it does not exist, holds no bag, names a storage other than MCAP, or
    /// lists a file that cannot be opened.
    explicit BagReader(const std::string& path, BagReaderOptions options = {});
    ~BagReader();
    BagReader(const BagReader&) = delete;
    BagReader& operator=(const BagReader&) = delete;

    /// The bag's metadata: metadata.yaml's, or the one rebuilt from its files.
    const BagMetadata& metadata() const;
    /// True when metadata() was rebuilt from the MCAP files rather than read from metadata.yaml.
    bool metadataRebuilt() const;
    /// The bag's size as ros2 bag info gives it: the directory's files, or the single file.
    std::uint64_t sizeBytes() const;
    /// The paths of the storage files, in order, as opened.
    const std::vector<std::string>& filePaths() const;

    /// The next message in log-time order (equal times: the earlier file first); false after the
    /// last one. The first call starts the read-ahead.
    bool next(BagMessage& message);
    /// Goes back to read from the first message at or after `time` (nanoseconds since the
    /// epoch), as a player does for each loop and for a start offset.
    void seek(std::uint64_t time);

    /// Everything found wrong so far, in the order found.
    std::vector<std::string> problems() const;
    /// What problems() gained since the last call, for a caller that reports as it goes.
    std::vector<std::string> newProblems();

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2::bag
