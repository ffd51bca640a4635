// Encode and decode of a 100-joint JointState and a 1920x1080 rgb8 Image through our CDR codec,
// beside the same messages through Fast CDR type support that fastddsgen generates from IDL, and
// the image beside a plain memcpy of its pixels. Ratios of the two sides close the output. Run
// with --benchmark_repetitions=5 for ratios from medians.

#include <benchmark/benchmark.h>

#include "CodecBenchmarks.h"
#include "RatioReporter.h"
#include "SameBytesCheck.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    qorROS2::bench::requireSameBytes();
    qorROS2::bench::registerCodecBenchmarks();
    qorROS2::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
