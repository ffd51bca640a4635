#pragma once

// Writes one MCAP file: messages batched into chunks (optionally compressed), each chunk followed
// by its message indexes, and on close a summary (schemas, channels, statistics, metadata and
// chunk indexes) that lets a reader go straight to what it wants.

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "qorROS2/bag/Export.h"
#include "qorROS2/bag/McapTypes.h"

namespace qorROS2::bag {

struct McapWriterOptions {
    /// A chunk is closed once its uncompressed records reach this many bytes (a larger message
    /// makes a chunk of its own). rosbag2's MCAP storage uses 768 KiB.
    std::uint64_t chunkSize = 768 * 1024;
    /// How chunks are compressed: zstd by default, as rosbag2's MCAP storage writes them.
    McapCompression compression = McapCompression::zstd;
};

class QORBAG_EXPORT McapWriter {
  public:
    /// Creates (or truncates) `path` and writes the magic and a Header naming `profile` ("ros2"
    /// for bags) and this library. Throws BagError naming the file when it cannot be written.
    McapWriter(const std::string& path, const std::string& profile, McapWriterOptions options = {});
    /// Closes the file as close() does; an error is swallowed here (call close() to see it).
    ~McapWriter();
    McapWriter(const McapWriter&) = delete;
    McapWriter& operator=(const McapWriter&) = delete;

    /// Registers a schema and returns its id (1, 2, ...).
    std::uint16_t addSchema(const std::string& name, const std::string& encoding,
                            const std::string& data);
    /// Registers a channel on `schemaId` (0: none) and returns its id (1, 2, ...). Throws BagError
    /// for a schema id that was never returned by addSchema.
    std::uint16_t addChannel(const std::string& topic, std::uint16_t schemaId,
                             const std::string& messageEncoding,
                             const std::map<std::string, std::string>& metadata = {});
    /// Adds a message to the open chunk, writing the chunk out once it is full. Allocates nothing
    /// once the chunk buffers have grown to their working size. Throws BagError for an unknown
    /// channel or when the file cannot be written (a full disk): what was written before the
    /// failed chunk stays readable.
    void addMessage(std::uint16_t channelId, std::uint32_t sequence, std::uint64_t logTimeNs,
                    std::uint64_t publishTimeNs, const std::uint8_t* data, std::size_t size);
    /// Writes a Metadata record (between chunks) and indexes it in the summary.
    void addMetadata(const std::string& name, const std::map<std::string, std::string>& entries);
    /// Writes the last chunk, the data section's end, the summary and the footer, and closes the
    /// file. Calling it again does nothing; after a failed write it only releases the file.
    void close();

    /// The file's size once the open chunk is written, that chunk counted uncompressed: what a
    /// recorder compares with its size limit.
    std::uint64_t bytesWritten() const;
    /// Messages added so far.
    std::uint64_t messageCount() const;
    /// The earliest and latest log time added so far (both 0 before the first message).
    std::uint64_t messageStartTime() const;
    std::uint64_t messageEndTime() const;
    const std::string& path() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2::bag
