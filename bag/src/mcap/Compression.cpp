#include "Compression.h"

#include <lz4frame.h>
#include <zstd.h>

#include <algorithm>

#include "McapFormat.h"

namespace qorROS2::bag::mcap {

namespace {

// Zstandard's level 1, which rosbag2's MCAP storage uses unless told otherwise: a recorder
// keeps up with its topics before it saves bytes.
constexpr int kZstdLevel = 1;

// The output grows with what the codec produces, never to a declared size up front: a chunk
// that claims 2^60 bytes fails when its data runs out, not when the buffer is allocated.
void makeRoom(std::vector<std::uint8_t>& out, std::size_t used, std::uint64_t declared) {
    const std::uint64_t wanted =
        std::max<std::uint64_t>(64 * 1024, 2 * static_cast<std::uint64_t>(used));
    out.resize(static_cast<std::size_t>(std::min(declared, wanted)));
}

[[noreturn]] void tooMuch(std::uint64_t declared) {
    throw FormatError("its records decompress to more than the " + std::to_string(declared) +
                      " bytes it declares");
}

void decompressZstd(const std::uint8_t* data, std::size_t size, std::uint64_t declared,
                    std::vector<std::uint8_t>& out) {
    std::unique_ptr<ZSTD_DCtx, decltype(&ZSTD_freeDCtx)> context(ZSTD_createDCtx(), ZSTD_freeDCtx);
    ZSTD_inBuffer in{data, size, 0};
    std::size_t produced = 0;
    for (;;) {
        if (produced == out.size() && out.size() < declared) {
            makeRoom(out, produced, declared);
        }
        ZSTD_outBuffer o{out.data(), out.size(), produced};
        const std::size_t consumedBefore = in.pos;
        const std::size_t result = ZSTD_decompressStream(context.get(), &o, &in);
        if (ZSTD_isError(result)) {
            throw FormatError(std::string("its zstd data is corrupt (") +
                              ZSTD_getErrorName(result) + ")");
        }
        const bool progressed = in.pos != consumedBefore || o.pos != produced;
        produced = o.pos;
        if (result == 0 && in.pos == in.size) {
            break;
        }
        if (!progressed) {
            if (produced == declared) {
                tooMuch(declared);
            }
            throw FormatError("its zstd data ends inside a frame");
        }
    }
    out.resize(produced);
}

void decompressLz4(const std::uint8_t* data, std::size_t size, std::uint64_t declared,
                   std::vector<std::uint8_t>& out) {
    LZ4F_dctx* raw = nullptr;
    if (LZ4F_isError(LZ4F_createDecompressionContext(&raw, LZ4F_VERSION))) {
        throw FormatError("no LZ4 decompression context could be made");
    }
    std::unique_ptr<LZ4F_dctx, decltype(&LZ4F_freeDecompressionContext)> context(
        raw, LZ4F_freeDecompressionContext);
    std::size_t consumed = 0;
    std::size_t produced = 0;
    for (;;) {
        if (produced == out.size() && out.size() < declared) {
            makeRoom(out, produced, declared);
        }
        std::size_t room = out.size() - produced;
        std::size_t input = size - consumed;
        const std::size_t result = LZ4F_decompress(context.get(), out.data() + produced, &room,
                                                   data + consumed, &input, nullptr);
        if (LZ4F_isError(result)) {
            throw FormatError(std::string("its lz4 data is corrupt (") + LZ4F_getErrorName(result) +
                              ")");
        }
        consumed += input;
        produced += room;
        if (result == 0 && consumed == size) {
            break;
        }
        if (input == 0 && room == 0) {
            if (produced == declared && consumed < size) {
                tooMuch(declared);
            }
            throw FormatError("its lz4 data ends inside a frame");
        }
    }
    out.resize(produced);
}

}  // namespace

struct Compressor::Contexts {
    std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> zstd{nullptr, ZSTD_freeCCtx};
};

Compressor::Compressor(McapCompression compression)
    : m_compression(compression), m_contexts(std::make_unique<Contexts>()) {
    if (compression == McapCompression::zstd) {
        m_contexts->zstd.reset(ZSTD_createCCtx());
    }
}

Compressor::~Compressor() = default;

void Compressor::compress(const std::uint8_t* data, std::size_t size,
                          std::vector<std::uint8_t>& out) {
    switch (m_compression) {
        case McapCompression::none:
            out.assign(data, data + size);
            return;
        case McapCompression::zstd: {
            out.resize(ZSTD_compressBound(size));
            const std::size_t written = ZSTD_compressCCtx(m_contexts->zstd.get(), out.data(),
                                                          out.size(), data, size, kZstdLevel);
            if (ZSTD_isError(written)) {
                throw FormatError(std::string("zstd could not compress a chunk: ") +
                                  ZSTD_getErrorName(written));
            }
            out.resize(written);
            return;
        }
        case McapCompression::lz4: {
            LZ4F_preferences_t preferences{};
            preferences.frameInfo.contentSize = size;
            out.resize(LZ4F_compressFrameBound(size, &preferences));
            const std::size_t written =
                LZ4F_compressFrame(out.data(), out.size(), data, size, &preferences);
            if (LZ4F_isError(written)) {
                throw FormatError(std::string("lz4 could not compress a chunk: ") +
                                  LZ4F_getErrorName(written));
            }
            out.resize(written);
            return;
        }
    }
}

void decompress(const std::string& compression, const std::uint8_t* data, std::size_t size,
                std::uint64_t uncompressedSize, std::vector<std::uint8_t>& out) {
    out.clear();
    if (compression.empty()) {
        if (size != uncompressedSize) {
            throw FormatError("it holds " + std::to_string(size) +
                              " bytes of uncompressed records but declares " +
                              std::to_string(uncompressedSize));
        }
        out.assign(data, data + size);
        return;
    }
    if (compression == "zstd") {
        decompressZstd(data, size, uncompressedSize, out);
    } else if (compression == "lz4") {
        decompressLz4(data, size, uncompressedSize, out);
    } else {
        throw FormatError("its compression '" + compression + "' is not one this reader knows");
    }
    if (out.size() != uncompressedSize) {
        throw FormatError("its records decompress to " + std::to_string(out.size()) +
                          " bytes, not the " + std::to_string(uncompressedSize) + " it declares");
    }
}

}  // namespace qorROS2::bag::mcap
