#include "McapFormat.h"

#include <zlib.h>

namespace qorROS2::bag::mcap {

std::uint32_t crc32(std::uint32_t crc, const void* data, std::size_t size) {
    return static_cast<std::uint32_t>(
        ::crc32_z(crc, static_cast<const Bytef*>(data), static_cast<z_size_t>(size)));
}

const char* compressionName(McapCompression compression) {
    switch (compression) {
        case McapCompression::zstd:
            return "zstd";
        case McapCompression::lz4:
            return "lz4";
        case McapCompression::none:
            break;
    }
    return "";
}

}  // namespace qorROS2::bag::mcap
