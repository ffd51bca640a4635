#pragma once

// The MCAP records this library writes and reads, each field list written once (visitFields) and
// walked by both the encoder (FieldWriter) and the decoder (FieldReader). Integers are little
// endian; strings, maps and arrays carry a u32 byte length; records are <u8 opcode><u64 length>.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qorROS2/bag/McapTypes.h"

namespace qorROS2::bag::mcap {

inline constexpr std::uint8_t kMagic[8] = {0x89, 'M', 'C', 'A', 'P', 0x30, '\r', '\n'};
inline constexpr std::size_t kRecordPrefix = 9;  // opcode and u64 length

enum Opcode : std::uint8_t {
    kHeader = 0x01,
    kFooter = 0x02,
    kSchema = 0x03,
    kChannel = 0x04,
    kMessage = 0x05,
    kChunk = 0x06,
    kMessageIndex = 0x07,
    kChunkIndex = 0x08,
    kAttachment = 0x09,
    kAttachmentIndex = 0x0A,
    kStatistics = 0x0B,
    kMetadata = 0x0C,
    kMetadataIndex = 0x0D,
    kSummaryOffset = 0x0E,
    kDataEnd = 0x0F,
};

/// Content that is not what its record says; the caller adds where it was found.
class FormatError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct HeaderRecord {
    std::string profile;
    std::string library;
};

struct FooterRecord {
    std::uint64_t summaryStart = 0;
    std::uint64_t summaryOffsetStart = 0;
    std::uint32_t summaryCrc = 0;
};
inline constexpr std::size_t kFooterBody = 20;

/// The fixed fields before a message's bytes.
struct MessageHead {
    std::uint16_t channelId = 0;
    std::uint32_t sequence = 0;
    std::uint64_t logTime = 0;
    std::uint64_t publishTime = 0;
};
inline constexpr std::size_t kMessageHead = 22;

/// The fields before a chunk's records (which follow as u64 length and bytes).
struct ChunkHead {
    std::uint64_t messageStartTime = 0;
    std::uint64_t messageEndTime = 0;
    std::uint64_t uncompressedSize = 0;
    std::uint32_t uncompressedCrc = 0;
    std::string compression;
};

struct MessageIndexRecord {
    std::uint16_t channelId = 0;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> entries;  // log time, offset in chunk
};

struct ChunkIndexRecord {
    std::uint64_t messageStartTime = 0;
    std::uint64_t messageEndTime = 0;
    std::uint64_t chunkStartOffset = 0;
    std::uint64_t chunkLength = 0;
    std::map<std::uint16_t, std::uint64_t> messageIndexOffsets;
    std::uint64_t messageIndexLength = 0;
    std::string compression;
    std::uint64_t compressedSize = 0;
    std::uint64_t uncompressedSize = 0;
};

struct MetadataIndexRecord {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    std::string name;
};

struct SummaryOffsetRecord {
    std::uint8_t groupOpcode = 0;
    std::uint64_t groupStart = 0;
    std::uint64_t groupLength = 0;
};

struct DataEndRecord {
    std::uint32_t dataSectionCrc = 0;
};
inline constexpr std::size_t kDataEndBody = 4;

// The field lists. `R` is the record, const when written.
template <class V, class R>
void visitFields(V& v, R& r) {
    using T = std::remove_const_t<R>;
    if constexpr (std::is_same_v<T, HeaderRecord>) {
        v(r.profile), v(r.library);
    } else if constexpr (std::is_same_v<T, FooterRecord>) {
        v(r.summaryStart), v(r.summaryOffsetStart), v(r.summaryCrc);
    } else if constexpr (std::is_same_v<T, McapSchema>) {
        v(r.id), v(r.name), v(r.encoding), v(r.data);
    } else if constexpr (std::is_same_v<T, McapChannel>) {
        v(r.id), v(r.schemaId), v(r.topic), v(r.messageEncoding), v(r.metadata);
    } else if constexpr (std::is_same_v<T, MessageHead>) {
        v(r.channelId), v(r.sequence), v(r.logTime), v(r.publishTime);
    } else if constexpr (std::is_same_v<T, ChunkHead>) {
        v(r.messageStartTime), v(r.messageEndTime), v(r.uncompressedSize), v(r.uncompressedCrc),
            v(r.compression);
    } else if constexpr (std::is_same_v<T, MessageIndexRecord>) {
        v(r.channelId), v(r.entries);
    } else if constexpr (std::is_same_v<T, ChunkIndexRecord>) {
        v(r.messageStartTime), v(r.messageEndTime), v(r.chunkStartOffset), v(r.chunkLength),
            v(r.messageIndexOffsets), v(r.messageIndexLength), v(r.compression),
            v(r.compressedSize), v(r.uncompressedSize);
    } else if constexpr (std::is_same_v<T, McapStatistics>) {
        v(r.messageCount), v(r.schemaCount), v(r.channelCount), v(r.attachmentCount),
            v(r.metadataCount), v(r.chunkCount), v(r.messageStartTime), v(r.messageEndTime),
            v(r.channelMessageCounts);
    } else if constexpr (std::is_same_v<T, McapMetadata>) {
        v(r.name), v(r.entries);
    } else if constexpr (std::is_same_v<T, MetadataIndexRecord>) {
        v(r.offset), v(r.length), v(r.name);
    } else if constexpr (std::is_same_v<T, SummaryOffsetRecord>) {
        v(r.groupOpcode), v(r.groupStart), v(r.groupLength);
    } else if constexpr (std::is_same_v<T, DataEndRecord>) {
        v(r.dataSectionCrc);
    } else {
        static_assert(sizeof(T) == 0, "a record without a field list");
    }
}

/// Appends fields to a byte buffer (whose capacity is kept between uses).
class FieldWriter {
  public:
    explicit FieldWriter(std::vector<std::uint8_t>& out) : m_out(out) {}

    template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
    void operator()(I value) {
        for (std::size_t i = 0; i < sizeof(I); ++i) {
            m_out.push_back(
                static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * i)));
        }
    }
    void operator()(const std::string& text) {
        (*this)(static_cast<std::uint32_t>(text.size()));
        bytes(text.data(), text.size());
    }
    template <class K, class W>
    void operator()(const std::map<K, W>& map) {
        withLength([&] {
            for (const auto& [key, value] : map) {
                (*this)(key), (*this)(value);
            }
        });
    }
    template <class A, class B>
    void operator()(const std::vector<std::pair<A, B>>& array) {
        withLength([&] {
            for (const auto& [first, second] : array) {
                (*this)(first), (*this)(second);
            }
        });
    }
    void bytes(const void* data, std::size_t size) {
        const auto* begin = static_cast<const std::uint8_t*>(data);
        m_out.insert(m_out.end(), begin, begin + size);
    }

  private:
    // Maps and arrays count bytes, not entries: the length is patched in once they are written.
    template <class F>
    void withLength(F writeEntries) {
        const std::size_t at = m_out.size();
        (*this)(std::uint32_t{0});
        writeEntries();
        const auto length = static_cast<std::uint32_t>(m_out.size() - at - 4);
        for (std::size_t i = 0; i < 4; ++i) {
            m_out[at + i] = static_cast<std::uint8_t>(length >> (8 * i));
        }
    }

    std::vector<std::uint8_t>& m_out;
};

/// Appends a whole record: opcode, length, fields.
template <class R>
void appendRecord(std::vector<std::uint8_t>& out, Opcode opcode, const R& record) {
    FieldWriter writer(out);
    writer(static_cast<std::uint8_t>(opcode));
    const std::size_t lengthAt = out.size();
    writer(std::uint64_t{0});
    visitFields(writer, record);
    const std::uint64_t length = out.size() - lengthAt - 8;
    for (std::size_t i = 0; i < 8; ++i) {
        out[lengthAt + i] = static_cast<std::uint8_t>(length >> (8 * i));
    }
}

/// Reads fields from a bounded span; every length is checked against what remains before it is
/// used, so foreign bytes never decide an allocation beyond their own size.
class FieldReader {
  public:
    FieldReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    template <class I, std::enable_if_t<std::is_integral_v<I>, int> = 0>
    void operator()(I& value) {
        need(sizeof(I), "an integer");
        std::uint64_t result = 0;
        for (std::size_t i = 0; i < sizeof(I); ++i) {
            result |= static_cast<std::uint64_t>(m_data[m_at + i]) << (8 * i);
        }
        value = static_cast<I>(result);
        m_at += sizeof(I);
    }
    void operator()(std::string& text) {
        std::uint32_t length = 0;
        (*this)(length);
        need(length, "a string");
        text.assign(reinterpret_cast<const char*>(m_data + m_at), length);
        m_at += length;
    }
    template <class K, class W>
    void operator()(std::map<K, W>& map) {
        map.clear();
        withinLength("a map", [&] {
            K key{};
            W value{};
            (*this)(key), (*this)(value);
            map[key] = std::move(value);
        });
    }
    template <class A, class B>
    void operator()(std::vector<std::pair<A, B>>& array) {
        array.clear();
        withinLength("an array", [&] {
            std::pair<A, B> entry{};
            (*this)(entry.first), (*this)(entry.second);
            array.push_back(entry);
        });
    }

    std::size_t remaining() const { return m_size - m_at; }
    const std::uint8_t* here() const { return m_data + m_at; }

  private:
    void need(std::uint64_t count, const char* what) const {
        if (count > m_size - m_at) {
            throw FormatError(std::string(what) + " of " + std::to_string(count) +
                              " bytes runs past the end of its record (" +
                              std::to_string(m_size - m_at) + " bytes remain)");
        }
    }
    template <class F>
    void withinLength(const char* what, F readEntry) {
        std::uint32_t length = 0;
        (*this)(length);
        need(length, what);
        // Entries may not read past the container: its end stands in for the record's meanwhile.
        const std::size_t outer = m_size;
        m_size = m_at + length;
        while (m_at < m_size) {
            readEntry();
        }
        m_size = outer;
    }

    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_at = 0;
};

}  // namespace qorROS2::bag::mcap

namespace qorROS2::bag::mcap {

/// Decodes a record's body; fields past the known ones are ignored, as MCAP lets records grow.
template <class R>
R readRecord(const std::uint8_t* body, std::size_t size) {
    FieldReader reader(body, size);
    R record;
    visitFields(reader, record);
    return record;
}

/// MCAP's CRC32 (zlib's) over `size` bytes, continuing from `crc` (0 to start).
std::uint32_t crc32(std::uint32_t crc, const void* data, std::size_t size);

/// The name MCAP gives a compression, and back (nothing for a name it does not know).
const char* compressionName(McapCompression compression);

}  // namespace qorROS2::bag::mcap
