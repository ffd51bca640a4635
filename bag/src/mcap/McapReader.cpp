#include "qorROS2/bag/McapReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "Compression.h"
#include "McapFormat.h"
#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

using namespace mcap;

namespace {

std::string hex(std::uint32_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << value;
    return text.str();
}

// A span of the file whose messages are read together: a Chunk record, or a run of messages
// written outside chunks.
struct Block {
    std::uint64_t offset = 0;  // of the chunk record, or of the run's first record
    std::uint64_t length = 0;  // the whole chunk record, or the whole run
    bool chunk = true;
    std::uint64_t startTime = 0;  // earliest log time in it
};

// Calls `onRecord(opcode, body, bodySize, offset)` for each record of `records`.
template <class F>
void walkRecords(const std::vector<std::uint8_t>& records, F onRecord) {
    std::size_t at = 0;
    while (at < records.size()) {
        if (records.size() - at < kRecordPrefix) {
            throw FormatError("a record at offset " + std::to_string(at) +
                              " of its records is cut short");
        }
        FieldReader prefix(records.data() + at, kRecordPrefix);
        std::uint8_t opcode = 0;
        std::uint64_t length = 0;
        prefix(opcode), prefix(length);
        if (length > records.size() - at - kRecordPrefix) {
            throw FormatError("a record at offset " + std::to_string(at) +
                              " of its records claims " + std::to_string(length) +
                              " bytes, past their end");
        }
        onRecord(opcode, records.data() + at + kRecordPrefix, static_cast<std::size_t>(length), at);
        at += kRecordPrefix + static_cast<std::size_t>(length);
    }
}

// Checks that a block's records are whole and its messages hold their fixed fields, so that
// reading its messages later cannot fail half way.
void checkRecords(const std::vector<std::uint8_t>& records) {
    walkRecords(records,
                [](std::uint8_t opcode, const std::uint8_t*, std::size_t size, std::size_t at) {
                    if (opcode == kMessage && size < kMessageHead) {
                        throw FormatError("the message record at offset " + std::to_string(at) +
                                          " of its records has " + std::to_string(size) +
                                          " bytes, fewer than its fixed fields");
                    }
                });
}

// Adds a message to statistics being counted from the messages themselves.
void count(McapStatistics& statistics, const MessageHead& head) {
    if (statistics.messageCount == 0 || head.logTime < statistics.messageStartTime) {
        statistics.messageStartTime = head.logTime;
    }
    if (statistics.messageCount == 0 || head.logTime > statistics.messageEndTime) {
        statistics.messageEndTime = head.logTime;
    }
    ++statistics.messageCount;
    ++statistics.channelMessageCounts[head.channelId];
}

}  // namespace

struct McapReader::Impl {
    std::string path;
    McapReaderOptions options;
    int fd = -1;
    std::uint64_t size = 0;
    HeaderRecord header;
    bool indexed = false;
    std::map<std::uint16_t, McapSchema> schemaById;
    std::map<std::uint16_t, McapChannel> channelById;
    std::vector<McapSchema> schemas;
    std::vector<McapChannel> channels;
    std::vector<McapMetadata> metadata;
    std::optional<McapStatistics> statistics;
    std::vector<std::string> problems;
    std::vector<Block> blocks;
    std::set<std::uint64_t> badBlocks;  // offsets of blocks already reported and skipped

    ~Impl() {
        if (fd >= 0) {
            ::close(fd);
        }
    }

    [[noreturn]] void error(const std::string& what) const {
        throw BagError("cannot read MCAP file '" + path + "': " + what);
    }

    // Reads exactly `count` bytes at `offset`; a length beyond the file is refused before
    // anything is allocated for it.
    void read(std::uint64_t offset, std::uint64_t count, std::vector<std::uint8_t>& into) const {
        if (offset > size || count > size - offset) {
            throw FormatError(std::to_string(count) + " bytes at offset " + std::to_string(offset) +
                              " run past the end of the file (" + std::to_string(size) + " bytes)");
        }
        into.resize(static_cast<std::size_t>(count));
        std::size_t done = 0;
        while (done < into.size()) {
            const ssize_t got = ::pread(fd, into.data() + done, into.size() - done,
                                        static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                error(got < 0 ? std::strerror(errno) : "it shrank while being read");
            }
            done += static_cast<std::size_t>(got);
        }
    }

    std::pair<std::uint8_t, std::uint64_t> recordPrefix(std::uint64_t offset) const {
        std::vector<std::uint8_t> bytes;
        read(offset, kRecordPrefix, bytes);
        FieldReader reader(bytes.data(), bytes.size());
        std::pair<std::uint8_t, std::uint64_t> result;
        reader(result.first), reader(result.second);
        return result;
    }

    void open() {
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            error(std::strerror(errno));
        }
        struct stat status {};
        if (::fstat(fd, &status) != 0) {
            error(std::strerror(errno));
        }
        if (!S_ISREG(status.st_mode)) {
            error("it is not a regular file");
        }
        size = static_cast<std::uint64_t>(status.st_size);
        if (size == 0) {
            error("the file is empty");
        }
        std::vector<std::uint8_t> magic;
        if (size < sizeof kMagic ||
            (read(0, sizeof kMagic, magic), !std::equal(magic.begin(), magic.end(), kMagic))) {
            error("it does not start with MCAP's magic bytes (89 4D 43 41 50 30 0D 0A)");
        }
        readHeader();
        if (!readSummary()) {
            scan();
        }
        for (auto& [id, schema] : schemaById) {
            schemas.push_back(schema);
        }
        for (auto& [id, channel] : channelById) {
            channels.push_back(channel);
        }
        if (!statistics) {
            countStatistics();
        }
    }

    void readHeader() {
        if (size < sizeof kMagic + kRecordPrefix) {
            problems.push_back("the file ends at offset " + std::to_string(size) +
                               ", before its Header record is complete");
            return;
        }
        const auto [opcode, length] = recordPrefix(sizeof kMagic);
        if (opcode != kHeader) {
            error("its first record has opcode " + hex(opcode) + ", not a Header (0x1)");
        }
        if (length > size - sizeof kMagic - kRecordPrefix) {
            problems.push_back("the file ends at offset " + std::to_string(size) +
                               ", before its Header record is complete");
            return;
        }
        std::vector<std::uint8_t> body;
        read(sizeof kMagic + kRecordPrefix, length, body);
        try {
            header = readRecord<HeaderRecord>(body.data(), body.size());
        } catch (const FormatError& e) {
            error(std::string("its Header record is malformed: ") + e.what());
        }
    }

    // The footer, the summary and its chunk indexes; false (and a reason among the problems when
    // it is damage) when the records must be scanned instead.
    bool readSummary() {
        const std::uint64_t tail = sizeof kMagic + kRecordPrefix + kFooterBody;
        const std::uint64_t footerAt = size - std::min(size, tail);
        std::vector<std::uint8_t> bytes;
        std::uint8_t opcode = 0;
        std::uint64_t length = 0;
        if (size >= sizeof kMagic + tail) {
            read(footerAt, tail, bytes);
            FieldReader prefix(bytes.data(), kRecordPrefix);
            prefix(opcode), prefix(length);
        }
        if (opcode != kFooter || length != kFooterBody ||
            !std::equal(bytes.end() - sizeof kMagic, bytes.end(), kMagic)) {
            problems.push_back(
                "the file has no footer (it was cut short or is still being "
                "written): its records were read up to the last whole one");
            return false;
        }
        const auto footer = readRecord<FooterRecord>(bytes.data() + kRecordPrefix, kFooterBody);
        if (footer.summaryStart == 0) {
            return false;  // a valid file without a summary: scanning is how it is read (and
                           // it checks the data section's CRC at its end)
        }
        if (footer.summaryStart < sizeof kMagic || footer.summaryStart > footerAt) {
            problems.push_back("the footer's summary offset " +
                               std::to_string(footer.summaryStart) +
                               " lies outside the file: its records were scanned instead");
            return false;
        }
        std::vector<std::uint8_t> summary;
        read(footer.summaryStart, footerAt - footer.summaryStart, summary);
        if (footer.summaryCrc != 0) {
            std::uint32_t crc = crc32(0, summary.data(), summary.size());
            crc = crc32(crc, bytes.data(), kRecordPrefix + 16);
            if (crc != footer.summaryCrc) {
                problems.push_back("the summary at offset " + std::to_string(footer.summaryStart) +
                                   " fails its CRC (stored " + hex(footer.summaryCrc) +
                                   ", computed " + hex(crc) +
                                   "): its records were scanned instead");
                return false;
            }
        }
        std::vector<ChunkIndexRecord> chunkIndexes;
        std::vector<MetadataIndexRecord> metadataIndexes;
        try {
            walkRecords(summary, [&](std::uint8_t op, const std::uint8_t* body, std::size_t n,
                                     std::size_t) {
                switch (op) {
                    case kSchema:
                        addSchema(readRecord<McapSchema>(body, n));
                        break;
                    case kChannel:
                        addChannel(readRecord<McapChannel>(body, n));
                        break;
                    case kChunkIndex:
                        chunkIndexes.push_back(readRecord<ChunkIndexRecord>(body, n));
                        break;
                    case kMetadataIndex:
                        metadataIndexes.push_back(readRecord<MetadataIndexRecord>(body, n));
                        break;
                    case kStatistics:
                        statistics = readRecord<McapStatistics>(body, n);
                        break;
                    default:
                        break;
                }
            });
        } catch (const FormatError& e) {
            problems.push_back("the summary at offset " + std::to_string(footer.summaryStart) +
                               " is malformed (" + e.what() +
                               "): its records were scanned instead");
            forgetSummary();
            return false;
        }
        const bool hasMessages = !statistics || statistics->messageCount > 0;
        if (chunkIndexes.empty() && hasMessages) {
            forgetSummary();  // messages outside chunks are not indexed: scanning finds them
            return false;
        }
        const std::uint64_t dataEnd = checkDataEnd(footer.summaryStart);
        for (const ChunkIndexRecord& index : chunkIndexes) {
            if (index.chunkStartOffset > dataEnd ||
                index.chunkLength > dataEnd - index.chunkStartOffset) {
                problems.push_back("a chunk index points at offset " +
                                   std::to_string(index.chunkStartOffset) +
                                   ", outside the data section: that chunk is skipped");
                continue;
            }
            blocks.push_back(
                {index.chunkStartOffset, index.chunkLength, true, index.messageStartTime});
        }
        for (const MetadataIndexRecord& index : metadataIndexes) {
            readMetadata(index, dataEnd);
        }
        indexed = true;
        return true;
    }

    void forgetSummary() {
        schemaById.clear();
        channelById.clear();
        statistics.reset();
    }

    void readMetadata(const MetadataIndexRecord& index, std::uint64_t dataEnd) {
        const std::string where = "the metadata record at offset " + std::to_string(index.offset);
        try {
            if (index.length < kRecordPrefix || index.offset > dataEnd ||
                index.length > dataEnd - index.offset) {
                throw FormatError("its index places it outside the data section");
            }
            std::vector<std::uint8_t> record;
            read(index.offset, index.length, record);
            if (record[0] != kMetadata) {
                throw FormatError("its index points at a record of opcode " + hex(record[0]));
            }
            metadata.push_back(readRecord<McapMetadata>(record.data() + kRecordPrefix,
                                                        record.size() - kRecordPrefix));
        } catch (const FormatError& e) {
            problems.push_back(where + " cannot be read (" + e.what() + ")");
        }
    }

    // Finds the DataEnd record just before `sectionEnd`, checks the data section's CRC, and
    // returns where the data section ends.
    std::uint64_t checkDataEnd(std::uint64_t sectionEnd) {
        const std::uint64_t recordSize = kRecordPrefix + kDataEndBody;
        if (sectionEnd < sizeof kMagic + recordSize) {
            return sectionEnd;
        }
        const std::uint64_t at = sectionEnd - recordSize;
        std::vector<std::uint8_t> bytes;
        read(at, recordSize, bytes);
        if (bytes[0] != kDataEnd || bytes[1] != kDataEndBody) {
            problems.push_back("no DataEnd record ends the data section at offset " +
                               std::to_string(at));
            return sectionEnd;
        }
        const auto dataEnd = readRecord<DataEndRecord>(bytes.data() + kRecordPrefix, kDataEndBody);
        if (dataEnd.dataSectionCrc != 0 && options.checkDataCrc) {
            checkDataCrc(at, dataEnd.dataSectionCrc);
        }
        return at;
    }

    void checkDataCrc(std::uint64_t end, std::uint32_t stored) {
        std::uint32_t crc = 0;
        std::vector<std::uint8_t> block;
        for (std::uint64_t at = 0; at < end;) {
            const std::uint64_t count = std::min<std::uint64_t>(end - at, 1u << 20);
            read(at, count, block);
            crc = crc32(crc, block.data(), block.size());
            at += count;
        }
        if (crc != stored) {
            problems.push_back("the data section (offsets 0 to " + std::to_string(end) +
                               ") fails its CRC (stored " + hex(stored) + ", computed " + hex(crc) +
                               ")");
        }
    }

    void addSchema(McapSchema schema) {
        if (schema.id != 0) {  // an id of 0 is invalid and ignored
            schemaById[schema.id] = std::move(schema);
        }
    }
    void addChannel(McapChannel channel) { channelById[channel.id] = std::move(channel); }

    // Reads the records one after the other from the header on, up to the DataEnd record or the
    // last whole record of a file cut short. Chunks are decompressed to learn the schemas and
    // channels inside them and their messages' times; the blocks found are read again for the
    // messages themselves.
    void scan() {
        McapStatistics counted;
        std::vector<std::uint8_t> raw;
        std::vector<std::uint8_t> records;
        std::optional<Block> run;  // messages outside chunks since the last other record
        auto endRun = [&] {
            if (run) {
                blocks.push_back(*run);
                run.reset();
            }
        };
        std::uint64_t at = sizeof kMagic;
        bool sawHeader = false;
        while (at < size) {
            if (size - at < kRecordPrefix) {
                problems.push_back("the file is cut at offset " + std::to_string(size) +
                                   ", inside a record's opcode and length at offset " +
                                   std::to_string(at) + ": read up to the last whole record");
                break;
            }
            const auto [opcode, length] = recordPrefix(at);
            if (length > size - at - kRecordPrefix) {
                problems.push_back("the file is cut at offset " + std::to_string(size) +
                                   ", inside a record of opcode " + hex(opcode) + " at offset " +
                                   std::to_string(at) + " that claims " + std::to_string(length) +
                                   " bytes: read up to the last whole record");
                break;
            }
            const std::uint64_t next = at + kRecordPrefix + length;
            if (opcode == kDataEnd) {
                endRun();
                checkDataEnd(next);
                break;
            }
            if (opcode == kFooter) {
                break;
            }
            try {
                switch (opcode) {
                    case kHeader:
                        if (sawHeader) {
                            throw FormatError("a second Header record");
                        }
                        sawHeader = true;
                        break;
                    case kMessage: {
                        read(at + kRecordPrefix, std::min<std::uint64_t>(length, kMessageHead),
                             raw);
                        const auto head = readRecord<MessageHead>(raw.data(), raw.size());
                        if (!run) {
                            run = Block{at, 0, false, head.logTime};
                        }
                        run->length = next - run->offset;
                        run->startTime = std::min(run->startTime, head.logTime);
                        count(counted, head);
                        break;
                    }
                    case kChunk: {
                        endRun();
                        Block block{at, next - at, true, 0};
                        if (loadBlock(block, raw, records)) {
                            bool first = true;
                            walkRecords(records, [&](std::uint8_t op, const std::uint8_t* body,
                                                     std::size_t n, std::size_t inner) {
                                if (op == kSchema || op == kChannel) {
                                    learnFromChunk(op, body, n, inner, at);
                                } else if (op == kMessage) {
                                    const auto head = readRecord<MessageHead>(body, n);
                                    block.startTime = first
                                                          ? head.logTime
                                                          : std::min(block.startTime, head.logTime);
                                    first = false;
                                    count(counted, head);
                                }
                            });
                            ++counted.chunkCount;
                            blocks.push_back(block);
                        }
                        break;
                    }
                    case kSchema:
                    case kChannel:
                    case kMetadata:
                    case kAttachment: {
                        endRun();
                        read(at + kRecordPrefix, length, raw);
                        if (opcode == kSchema) {
                            addSchema(readRecord<McapSchema>(raw.data(), raw.size()));
                        } else if (opcode == kChannel) {
                            addChannel(readRecord<McapChannel>(raw.data(), raw.size()));
                        } else if (opcode == kMetadata) {
                            metadata.push_back(readRecord<McapMetadata>(raw.data(), raw.size()));
                        } else {
                            ++counted.attachmentCount;
                        }
                        break;
                    }
                    default:
                        endRun();  // indexes and records of other writers: not needed to read
                        break;
                }
            } catch (const FormatError& e) {
                endRun();  // a run of messages never spans a record that is skipped
                problems.push_back("the record of opcode " + hex(opcode) + " at offset " +
                                   std::to_string(at) + " is malformed (" + e.what() +
                                   "): it is skipped");
            }
            at = next;
        }
        endRun();
        counted.schemaCount = static_cast<std::uint16_t>(schemaById.size());
        counted.channelCount = static_cast<std::uint32_t>(channelById.size());
        counted.metadataCount = static_cast<std::uint32_t>(metadata.size());
        statistics = std::move(counted);
    }

    // A schema or channel inside a chunk; a malformed one is skipped alone, as the chunk's
    // messages are whole (they were checked when it was loaded).
    void learnFromChunk(std::uint8_t opcode, const std::uint8_t* body, std::size_t bodySize,
                        std::size_t inner, std::uint64_t chunk) {
        try {
            if (opcode == kSchema) {
                addSchema(readRecord<McapSchema>(body, bodySize));
            } else {
                addChannel(readRecord<McapChannel>(body, bodySize));
            }
        } catch (const FormatError& e) {
            problems.push_back("the record of opcode " + hex(opcode) + " at offset " +
                               std::to_string(inner) + " of the chunk at offset " +
                               std::to_string(chunk) + " is malformed (" + e.what() +
                               "): it is skipped");
        }
    }

    // The statistics an indexed file did not store, counted from its chunks.
    void countStatistics() {
        McapStatistics counted;
        counted.schemaCount = static_cast<std::uint16_t>(schemas.size());
        counted.channelCount = static_cast<std::uint32_t>(channels.size());
        counted.metadataCount = static_cast<std::uint32_t>(metadata.size());
        counted.chunkCount = static_cast<std::uint32_t>(blocks.size());
        std::vector<std::uint8_t> raw;
        std::vector<std::uint8_t> records;
        for (const Block& block : blocks) {
            if (!loadBlock(block, raw, records)) {
                continue;
            }
            walkRecords(records,
                        [&](std::uint8_t op, const std::uint8_t* body, std::size_t n, std::size_t) {
                            if (op != kMessage) {
                                return;
                            }
                            count(counted, readRecord<MessageHead>(body, n));
                        });
        }
        statistics = std::move(counted);
    }

    // Fills `records` with the block's records, decompressed and checked; false (with the
    // problem reported once) when the block is damaged and must be skipped.
    bool loadBlock(const Block& block, std::vector<std::uint8_t>& raw,
                   std::vector<std::uint8_t>& records) {
        if (badBlocks.count(block.offset) != 0) {
            return false;
        }
        const char* kind = block.chunk ? "chunk" : "run of messages";
        try {
            if (!block.chunk) {
                read(block.offset, block.length, records);
                checkRecords(records);
                return true;
            }
            read(block.offset, block.length, raw);
            FieldReader reader(raw.data(), raw.size());
            std::uint8_t opcode = 0;
            std::uint64_t length = 0;
            reader(opcode), reader(length);
            if (opcode != kChunk) {
                throw FormatError("it is a record of opcode " + hex(opcode) + ", not a Chunk");
            }
            if (length != raw.size() - kRecordPrefix) {
                throw FormatError("its length " + std::to_string(length) +
                                  " does not match its index");
            }
            ChunkHead head;
            visitFields(reader, head);
            std::uint64_t compressedSize = 0;
            reader(compressedSize);
            if (compressedSize > reader.remaining()) {
                throw FormatError("its records claim " + std::to_string(compressedSize) +
                                  " bytes, past the end of the chunk");
            }
            decompress(head.compression, reader.here(), static_cast<std::size_t>(compressedSize),
                       head.uncompressedSize, records);
            if (head.uncompressedCrc != 0) {
                const std::uint32_t crc = crc32(0, records.data(), records.size());
                if (crc != head.uncompressedCrc) {
                    throw FormatError("its CRC does not match (stored " +
                                      hex(head.uncompressedCrc) + ", computed " + hex(crc) + ")");
                }
            }
            checkRecords(records);
            return true;
        } catch (const FormatError& e) {
            badBlocks.insert(block.offset);
            problems.push_back(std::string("the ") + kind + " at offset " +
                               std::to_string(block.offset) + " cannot be read (" + e.what() +
                               "): its messages are skipped");
            return false;
        }
    }
};

struct McapReader::Cursor::Impl {
    struct Open {
        const Block* block = nullptr;
        std::vector<std::uint8_t> records;
        std::vector<std::pair<std::uint64_t, std::size_t>> messages;  // log time, record offset
        std::size_t next = 0;
    };

    McapReader::Impl* reader = nullptr;
    std::vector<const Block*> order;  // by earliest log time, then file offset
    std::size_t nextBlock = 0;
    std::vector<std::unique_ptr<Open>> open;
    std::vector<std::uint8_t> raw;
    Open* spent = nullptr;  // emptied by the last message; removed at the next call

    std::optional<std::uint64_t> earliestOpen() const {
        std::optional<std::uint64_t> earliest;
        for (const auto& block : open) {
            const std::uint64_t time = block->messages[block->next].first;
            if (!earliest || time < *earliest) {
                earliest = time;
            }
        }
        return earliest;
    }

    void openBlock(const Block& block) {
        auto opened = std::make_unique<Open>();
        opened->block = &block;
        if (!reader->loadBlock(block, raw, opened->records)) {
            return;
        }
        walkRecords(opened->records,
                    [&](std::uint8_t op, const std::uint8_t*, std::size_t n, std::size_t at) {
                        if (op == kMessage) {
                            const auto head = readRecord<MessageHead>(
                                opened->records.data() + at + kRecordPrefix, n);
                            opened->messages.emplace_back(head.logTime, at);
                        }
                    });
        std::stable_sort(opened->messages.begin(), opened->messages.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        if (!opened->messages.empty()) {
            open.push_back(std::move(opened));
        }
    }

    bool next(McapMessage& message) {
        if (spent != nullptr) {
            open.erase(std::find_if(open.begin(), open.end(),
                                    [&](const auto& block) { return block.get() == spent; }));
            spent = nullptr;
        }
        // A block is opened once its earliest message could be the next one, so that at most
        // the blocks whose time spans overlap are held at once.
        while (nextBlock < order.size()) {
            const std::optional<std::uint64_t> earliest = earliestOpen();
            if (earliest && order[nextBlock]->startTime > *earliest) {
                break;
            }
            openBlock(*order[nextBlock++]);
        }
        Open* best = nullptr;
        for (const auto& block : open) {
            const std::uint64_t time = block->messages[block->next].first;
            if (best == nullptr || time < best->messages[best->next].first ||
                (time == best->messages[best->next].first &&
                 block->block->offset < best->block->offset)) {
                best = block.get();
            }
        }
        if (best == nullptr) {
            return false;
        }
        const std::size_t at = best->messages[best->next++].second;
        FieldReader prefix(best->records.data() + at, kRecordPrefix);
        std::uint8_t opcode = 0;
        std::uint64_t length = 0;
        prefix(opcode), prefix(length);
        const std::uint8_t* body = best->records.data() + at + kRecordPrefix;
        const auto head = readRecord<MessageHead>(body, kMessageHead);
        message.channelId = head.channelId;
        message.sequence = head.sequence;
        message.logTime = head.logTime;
        message.publishTime = head.publishTime;
        message.data = body + kMessageHead;
        message.size = static_cast<std::size_t>(length) - kMessageHead;
        if (best->next == best->messages.size()) {
            spent = best;
        }
        return true;
    }
};

McapReader::McapReader(const std::string& path, McapReaderOptions options)
    : m_impl(std::make_unique<Impl>()) {
    m_impl->path = path;
    m_impl->options = options;
    m_impl->open();
}

McapReader::~McapReader() = default;

const std::string& McapReader::path() const {
    return m_impl->path;
}
const std::string& McapReader::profile() const {
    return m_impl->header.profile;
}
const std::string& McapReader::library() const {
    return m_impl->header.library;
}
bool McapReader::indexed() const {
    return m_impl->indexed;
}
const std::vector<McapSchema>& McapReader::schemas() const {
    return m_impl->schemas;
}
const std::vector<McapChannel>& McapReader::channels() const {
    return m_impl->channels;
}
const std::vector<McapMetadata>& McapReader::metadata() const {
    return m_impl->metadata;
}
const McapStatistics& McapReader::statistics() const {
    return *m_impl->statistics;
}
const std::vector<std::string>& McapReader::problems() const {
    return m_impl->problems;
}

McapReader::Cursor McapReader::messages() {
    auto cursor = std::make_unique<Cursor::Impl>();
    cursor->reader = m_impl.get();
    for (const Block& block : m_impl->blocks) {
        cursor->order.push_back(&block);
    }
    std::stable_sort(cursor->order.begin(), cursor->order.end(),
                     [](const Block* a, const Block* b) {
                         return a->startTime != b->startTime ? a->startTime < b->startTime
                                                             : a->offset < b->offset;
                     });
    return Cursor(std::move(cursor));
}

void McapReader::readMessages(const std::function<bool(const McapMessage&)>& onMessage) {
    Cursor cursor = messages();
    McapMessage message;
    while (cursor.next(message)) {
        if (!onMessage(message)) {
            return;
        }
    }
}

McapReader::Cursor::Cursor(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}
McapReader::Cursor::~Cursor() = default;
McapReader::Cursor::Cursor(Cursor&&) noexcept = default;
McapReader::Cursor& McapReader::Cursor::operator=(Cursor&&) noexcept = default;
bool McapReader::Cursor::next(McapMessage& message) {
    return m_impl->next(message);
}

}  // namespace qorROS2::bag
