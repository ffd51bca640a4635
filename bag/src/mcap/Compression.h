#pragma once

// Chunk records compressed and back. Compression keeps its context and buffers between chunks;
// decompression never trusts a declared size beyond what the codec can produce from the input.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/bag/McapTypes.h"

namespace qorROS2::bag::mcap {

class Compressor {
  public:
    explicit Compressor(McapCompression compression);
    ~Compressor();
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    /// Replaces `out` with `size` bytes of `data` compressed.
    void compress(const std::uint8_t* data, std::size_t size, std::vector<std::uint8_t>& out);

  private:
    McapCompression m_compression;
    struct Contexts;
    std::unique_ptr<Contexts> m_contexts;
};

/// Replaces `out` with the records of a chunk compressed as `compression` names ("", "zstd",
/// "lz4"), which must come to exactly `uncompressedSize` bytes. Throws FormatError otherwise.
void decompress(const std::string& compression, const std::uint8_t* data, std::size_t size,
                std::uint64_t uncompressedSize, std::vector<std::uint8_t>& out);

}  // namespace qorROS2::bag::mcap
