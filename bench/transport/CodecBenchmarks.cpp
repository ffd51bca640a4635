#include "CodecBenchmarks.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "BenchMessages.h"
#include "GeneratedCodec.h"
#include "cdr/CdrCodec.h"

namespace qorROS2::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

void countBytes(benchmark::State& state, std::size_t bytesPerIteration) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesPerIteration));
}

// The transport keeps its payload buffer from sample to sample but computes each sample's size,
// so the size computation is timed and the allocation is not.
template <typename Record>
void ourEncode(benchmark::State& state, const Record& message) {
    Bytes payload(cdr::encodedSize(message));
    for (auto _ : state) {
        const std::size_t size = cdr::encodedSize(message);
        if (size > payload.size()) {
            payload.resize(size);
        }
        cdr::encode(message, payload.data(), size);
        benchmark::DoNotOptimize(payload.data());
        benchmark::ClobberMemory();
    }
    countBytes(state, payload.size());
}

template <typename Generated>
void generatedEncode(benchmark::State& state, const Generated& message, std::size_t size) {
    std::vector<char> payload(size, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(generatedSerialize(message, payload.data(), payload.size()));
        benchmark::ClobberMemory();
    }
    countBytes(state, payload.size());
}

// Steady state: the record already holds storage of the right sizes from an earlier sample.
template <typename Record>
void ourDecode(benchmark::State& state, const Bytes& payload) {
    Record out{};
    if (!cdr::decode(payload.data(), payload.size(), out).ok()) {
        state.SkipWithError("our decoder rejects the payload");
        return;
    }
    for (auto _ : state) {
        const cdr::DecodeResult result = cdr::decode(payload.data(), payload.size(), out);
        if (!result.ok()) {
            state.SkipWithError("our decoder rejects the payload");
            break;
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    countBytes(state, payload.size());
}

template <typename Generated>
void generatedDecode(benchmark::State& state, const Bytes& payload) {
    const char* bytes = reinterpret_cast<const char*>(payload.data());
    Generated out;
    generatedDeserialize(bytes, payload.size(), out);
    for (auto _ : state) {
        generatedDeserialize(bytes, payload.size(), out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    countBytes(state, payload.size());
}

// A record made and destroyed for every sample: every container allocates afresh.
template <typename Record>
void ourDecodeFresh(benchmark::State& state, const Bytes& payload) {
    for (auto _ : state) {
        Record out{};
        const cdr::DecodeResult result = cdr::decode(payload.data(), payload.size(), out);
        if (!result.ok()) {
            state.SkipWithError("our decoder rejects the payload");
            break;
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    countBytes(state, payload.size());
}

template <typename Generated>
void generatedDecodeFresh(benchmark::State& state, const Bytes& payload) {
    const char* bytes = reinterpret_cast<const char*>(payload.data());
    for (auto _ : state) {
        Generated out;
        generatedDeserialize(bytes, payload.size(), out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
    countBytes(state, payload.size());
}

// The floor for encoding an image: its pixels copied into a buffer that is already there.
void plainCopy(benchmark::State& state, const Bytes& pixels) {
    Bytes copy(pixels.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), pixels.data(), pixels.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    countBytes(state, pixels.size());
}

// Google Benchmark's own argument forwarding copies the arguments into each case; these lambdas
// hold references instead, so that no case copies the image and all read the same bytes.
template <typename Record, typename Generated>
void registerMessage(const std::string& name, const Record& message, const Generated& generated) {
    // One payload for both decoders, at one address; the two encoders write the same bytes.
    static std::deque<Bytes> payloads;
    Bytes& payload = payloads.emplace_back(cdr::encodedSize(message));
    cdr::encode(message, payload.data(), payload.size());

    const auto add = [&name](const char* operation, auto run) {
        benchmark::RegisterBenchmark((name + operation).c_str(), run);
    };
    add("/encode/ours", [&message](benchmark::State& state) { ourEncode(state, message); });
    add("/encode/generated", [&generated, size = payload.size()](benchmark::State& state) {
        generatedEncode(state, generated, size);
    });
    add("/decode/ours", [&payload](benchmark::State& state) { ourDecode<Record>(state, payload); });
    add("/decode/generated",
        [&payload](benchmark::State& state) { generatedDecode<Generated>(state, payload); });
    add("/decodeFresh/ours",
        [&payload](benchmark::State& state) { ourDecodeFresh<Record>(state, payload); });
    add("/decodeFresh/generated",
        [&payload](benchmark::State& state) { generatedDecodeFresh<Generated>(state, payload); });
}

}  // namespace

void registerCodecBenchmarks() {
    const Samples& all = samples();
    registerMessage("JointState", all.jointState, all.generatedJointState);
    registerMessage("Image", all.image, all.generatedImage);
    benchmark::RegisterBenchmark(
        "Image/memcpy", [&all](benchmark::State& state) { plainCopy(state, all.image.data); });
}

}  // namespace qorROS2::bench
