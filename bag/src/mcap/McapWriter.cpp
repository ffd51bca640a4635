#include "qorROS2/bag/McapWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "Compression.h"
#include "McapFormat.h"
#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

using namespace mcap;

struct McapWriter::Impl {
    Impl(std::string filePath, McapWriterOptions writerOptions)
        : path(std::move(filePath)), options(writerOptions), compressor(options.compression) {}

    std::string path;
    McapWriterOptions options;
    Compressor compressor;
    int fd = -1;
    bool closed = false;
    bool failed = false;

    std::vector<std::uint8_t> out;  // written to the file at the next flush
    std::uint64_t flushed = 0;      // bytes in the file
    std::uint32_t dataCrc = 0;      // of every byte flushed

    std::vector<McapSchema> schemas;    // id - 1
    std::vector<McapChannel> channels;  // id - 1
    std::vector<std::uint64_t> channelCounts;
    std::vector<MetadataIndexRecord> metadataIndexes;
    std::vector<ChunkIndexRecord> chunkIndexes;
    McapStatistics statistics;

    // The open chunk. Its buffers keep their capacity from chunk to chunk.
    std::vector<std::uint8_t> chunk;
    std::vector<std::uint8_t> compressed;
    std::uint64_t chunkStartTime = 0;
    std::uint64_t chunkEndTime = 0;
    std::uint64_t chunkMessages = 0;
    std::vector<MessageIndexRecord> chunkIndex;  // channel id - 1
    std::vector<std::uint16_t> chunkChannels;    // channels with messages in the chunk
    std::vector<char> schemaInChunk;             // schema id - 1
    std::vector<char> channelInChunk;            // channel id - 1

    std::uint64_t offset() const { return flushed + out.size(); }

    [[noreturn]] void fail(const std::string& what) {
        failed = true;
        throw BagError("cannot write MCAP file '" + path + "': " + what);
    }

    void requireOpen() const {
        if (failed) {
            throw BagError("MCAP file '" + path + "' can no longer be written: a write failed");
        }
        if (closed) {
            throw BagError("MCAP file '" + path + "' is closed");
        }
    }

    // Whole records only: a chunk and its indexes reach the file together, so that a failed
    // write leaves at most one partial record at the end, which readers stop before.
    void flush() {
        dataCrc = crc32(dataCrc, out.data(), out.size());
        std::size_t done = 0;
        while (done < out.size()) {
            const ssize_t written = ::write(fd, out.data() + done, out.size() - done);
            if (written < 0) {
                if (errno == EINTR) {
                    continue;
                }
                fail(std::strerror(errno));
            }
            done += static_cast<std::size_t>(written);
        }
        flushed += out.size();
        out.clear();
    }

    void writeChunk() {
        if (chunk.empty()) {
            return;
        }
        ChunkHead head{chunkStartTime, chunkEndTime, chunk.size(),
                       crc32(0, chunk.data(), chunk.size()), compressionName(options.compression)};
        const std::vector<std::uint8_t>* payload = &chunk;
        if (options.compression != McapCompression::none) {
            try {
                compressor.compress(chunk.data(), chunk.size(), compressed);
            } catch (const FormatError& error) {
                fail(error.what());
            }
            payload = &compressed;
        }
        ChunkIndexRecord index;
        index.messageStartTime = chunkStartTime;
        index.messageEndTime = chunkEndTime;
        index.chunkStartOffset = offset();
        index.compression = head.compression;
        index.compressedSize = payload->size();
        index.uncompressedSize = chunk.size();

        FieldWriter writer(out);
        writer(static_cast<std::uint8_t>(kChunk));
        writer(static_cast<std::uint64_t>(8 + 8 + 8 + 4 + 4 + head.compression.size() + 8 +
                                          payload->size()));
        visitFields(writer, head);
        writer(static_cast<std::uint64_t>(payload->size()));
        writer.bytes(payload->data(), payload->size());
        index.chunkLength = offset() - index.chunkStartOffset;

        std::sort(chunkChannels.begin(), chunkChannels.end());
        const std::uint64_t indexesStart = offset();
        for (std::uint16_t channelId : chunkChannels) {
            index.messageIndexOffsets[channelId] = offset();
            MessageIndexRecord& entries = chunkIndex[channelId - 1u];
            appendRecord(out, kMessageIndex, entries);
            entries.entries.clear();
            channelInChunk[channelId - 1u] = 0;
        }
        index.messageIndexLength = offset() - indexesStart;
        chunkIndexes.push_back(std::move(index));
        ++statistics.chunkCount;

        chunk.clear();
        chunkMessages = 0;
        chunkChannels.clear();
        std::fill(schemaInChunk.begin(), schemaInChunk.end(), 0);
    }

    void writeSummary() {
        const std::uint64_t summaryStart = offset();
        std::vector<SummaryOffsetRecord> groups;
        auto group = [&](Opcode opcode, const auto& records) {
            const std::uint64_t start = offset();
            for (const auto& record : records) {
                appendRecord(out, opcode, record);
            }
            if (offset() > start) {
                groups.push_back({opcode, start, offset() - start});
            }
        };
        statistics.schemaCount = static_cast<std::uint16_t>(schemas.size());
        statistics.channelCount = static_cast<std::uint32_t>(channels.size());
        statistics.channelMessageCounts.clear();
        for (std::size_t i = 0; i < channels.size(); ++i) {
            statistics.channelMessageCounts[channels[i].id] = channelCounts[i];
        }
        group(kSchema, schemas);
        group(kChannel, channels);
        group(kStatistics, std::vector<McapStatistics>{statistics});
        group(kMetadataIndex, metadataIndexes);
        group(kChunkIndex, chunkIndexes);
        const std::uint64_t summaryOffsetStart = offset();
        for (const SummaryOffsetRecord& record : groups) {
            appendRecord(out, kSummaryOffset, record);
        }
        // The summary CRC covers the footer up to its own field.
        FooterRecord footer{summaryStart, summaryOffsetStart, 0};
        appendRecord(out, kFooter, footer);
        footer.summaryCrc = crc32(0, out.data(), out.size() - 4);
        out.resize(out.size() - 4);
        FieldWriter ending(out);
        ending(footer.summaryCrc);
        ending.bytes(kMagic, sizeof kMagic);
    }
};

McapWriter::McapWriter(const std::string& path, const std::string& profile,
                       McapWriterOptions options)
    : m_impl(std::make_unique<Impl>(path, options)) {
    m_impl->fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (m_impl->fd < 0) {
        throw BagError("cannot create MCAP file '" + path + "': " + std::strerror(errno));
    }
    FieldWriter(m_impl->out).bytes(kMagic, sizeof kMagic);
    appendRecord(m_impl->out, kHeader,
                 HeaderRecord{profile, std::string("libqorROS2 ") + QORBAG_VERSION});
    try {
        m_impl->flush();
    } catch (...) {
        ::close(m_impl->fd);
        throw;
    }
}

McapWriter::~McapWriter() {
    try {
        close();
    } catch (const BagError&) {
        // The destructor cannot report it; close() called before would have.
    }
}

std::uint16_t McapWriter::addSchema(const std::string& name, const std::string& encoding,
                                    const std::string& data) {
    Impl& d = *m_impl;
    d.requireOpen();
    if (d.schemas.size() >= std::numeric_limits<std::uint16_t>::max()) {
        throw BagError("MCAP file '" + d.path + "' cannot hold more than 65535 schemas");
    }
    const auto id = static_cast<std::uint16_t>(d.schemas.size() + 1);
    d.schemas.push_back({id, name, encoding, data});
    d.schemaInChunk.push_back(0);
    appendRecord(d.out, kSchema, d.schemas.back());
    return id;
}

std::uint16_t McapWriter::addChannel(const std::string& topic, std::uint16_t schemaId,
                                     const std::string& messageEncoding,
                                     const std::map<std::string, std::string>& metadata) {
    Impl& d = *m_impl;
    d.requireOpen();
    if (schemaId > d.schemas.size()) {
        throw BagError("MCAP file '" + d.path + "': channel " + topic + " names schema " +
                       std::to_string(schemaId) + ", which was never added");
    }
    if (d.channels.size() >= std::numeric_limits<std::uint16_t>::max()) {
        throw BagError("MCAP file '" + d.path + "' cannot hold more than 65535 channels");
    }
    const auto id = static_cast<std::uint16_t>(d.channels.size() + 1);
    d.channels.push_back({id, schemaId, topic, messageEncoding, metadata});
    d.channelCounts.push_back(0);
    d.chunkIndex.push_back({id, {}});
    d.channelInChunk.push_back(0);
    appendRecord(d.out, kChannel, d.channels.back());
    return id;
}

void McapWriter::addMessage(std::uint16_t channelId, std::uint32_t sequence,
                            std::uint64_t logTimeNs, std::uint64_t publishTimeNs,
                            const std::uint8_t* data, std::size_t size) {
    Impl& d = *m_impl;
    d.requireOpen();
    if (channelId == 0 || channelId > d.channels.size()) {
        throw BagError("MCAP file '" + d.path + "': a message on channel " +
                       std::to_string(channelId) + ", which was never added");
    }
    const std::size_t index = channelId - 1u;
    // A chunk names every schema and channel its messages use, so that a reader of a file cut
    // short, which has no summary, still knows them.
    if (!d.channelInChunk[index]) {
        const std::uint16_t schemaId = d.channels[index].schemaId;
        if (schemaId != 0 && !d.schemaInChunk[schemaId - 1u]) {
            appendRecord(d.chunk, kSchema, d.schemas[schemaId - 1u]);
            d.schemaInChunk[schemaId - 1u] = 1;
        }
        appendRecord(d.chunk, kChannel, d.channels[index]);
        d.channelInChunk[index] = 1;
        d.chunkChannels.push_back(channelId);
    }
    d.chunkIndex[index].entries.emplace_back(logTimeNs, d.chunk.size());
    FieldWriter writer(d.chunk);
    writer(static_cast<std::uint8_t>(kMessage));
    writer(static_cast<std::uint64_t>(kMessageHead + size));
    const MessageHead head{channelId, sequence, logTimeNs, publishTimeNs};
    visitFields(writer, head);
    writer.bytes(data, size);

    if (d.statistics.messageCount == 0) {
        d.statistics.messageStartTime = d.statistics.messageEndTime = logTimeNs;
    }
    d.statistics.messageStartTime = std::min(d.statistics.messageStartTime, logTimeNs);
    d.statistics.messageEndTime = std::max(d.statistics.messageEndTime, logTimeNs);
    ++d.statistics.messageCount;
    ++d.channelCounts[index];

    if (++d.chunkMessages == 1) {
        d.chunkStartTime = d.chunkEndTime = logTimeNs;
    }
    d.chunkStartTime = std::min(d.chunkStartTime, logTimeNs);
    d.chunkEndTime = std::max(d.chunkEndTime, logTimeNs);
    if (d.chunk.size() >= d.options.chunkSize) {
        d.writeChunk();
        d.flush();
    }
}

void McapWriter::addMetadata(const std::string& name,
                             const std::map<std::string, std::string>& entries) {
    Impl& d = *m_impl;
    d.requireOpen();
    const std::uint64_t start = d.offset();
    appendRecord(d.out, kMetadata, McapMetadata{name, entries});
    d.metadataIndexes.push_back({start, d.offset() - start, name});
    ++d.statistics.metadataCount;
}

void McapWriter::close() {
    Impl& d = *m_impl;
    if (d.closed || d.fd < 0) {
        return;
    }
    d.closed = true;
    const int fd = std::exchange(d.fd, -1);
    if (d.failed) {
        ::close(fd);
        return;
    }
    try {
        d.fd = fd;
        d.writeChunk();
        d.flush();
        appendRecord(d.out, kDataEnd, DataEndRecord{d.dataCrc});
        d.flush();  // the summary's CRC starts after the data section's end
        d.writeSummary();
        d.flush();
        d.fd = -1;
    } catch (...) {
        d.fd = -1;
        ::close(fd);
        throw;
    }
    if (::close(fd) != 0) {
        d.fail(std::strerror(errno));
    }
}

std::uint64_t McapWriter::bytesWritten() const {
    return m_impl->offset() + m_impl->chunk.size();
}
std::uint64_t McapWriter::messageCount() const {
    return m_impl->statistics.messageCount;
}
std::uint64_t McapWriter::messageStartTime() const {
    return m_impl->statistics.messageStartTime;
}
std::uint64_t McapWriter::messageEndTime() const {
    return m_impl->statistics.messageEndTime;
}
const std::string& McapWriter::path() const {
    return m_impl->path;
}

}  // namespace qorROS2::bag
