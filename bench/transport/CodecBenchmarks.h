#pragma once

// The timed cases: encode, decode into a reused record and decode into a fresh record, for each
// message through our codec and through the generated type support, and a plain copy of the
// image's pixels. Names are "<message>/<operation>/<side>", "Image/memcpy" for the copy.

namespace qorROS2::bench {

/// Registers every case with Google Benchmark.
void registerCodecBenchmarks();

}  // namespace qorROS2::bench
