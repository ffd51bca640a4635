// What the sensor converters cost, beside the least any converter must do with the same bytes:
//
//   camera/WxH/convert     qorROS2::convertCameraOutput of a W × H rgb8 image set by hand
//   camera/WxH/baseline    malloc of the image's byte count, memcpy of its pixels, free
//   lidar/N/convert        qorROS2::convertLidarOutput of N points of the lidar's default fields
//   lidar/N/baseline       malloc of the points' byte count, memcpy of the points, free
//
// The baselines take a fresh buffer every iteration, as each conversion fills a fresh record.
// After the table come the ratios convert bandwidth / baseline bandwidth (target >= 0.9), taken
// from the medians when repetitions were asked for and from the single run otherwise.
// Run with --benchmark_min_time=1 --benchmark_repetitions=5 for steady figures.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "qor/ref_ptr.h"
#include "qorROS2/ROS2Util.h"
#include "qorSensor/CameraColorOutput.h"
#include "qorSensor/Lidar.h"
#include "qorSensor/RtOutput.h"

namespace {

using qorSensor::CameraColorOutput;
using qorSensor::RtOutput;

constexpr std::int64_t kPointCount = 100000;

// Bytes that are not all alike, so that nothing can take a shortcut through zeros.
std::vector<std::uint8_t> patternedBytes(std::uint64_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>((i * 131U + 7U) & 0xFFU);
    }
    return bytes;
}

qor::ref_ptr<CameraColorOutput> rgb8Image(std::int64_t width, std::int64_t height) {
    qor::ref_ptr<CameraColorOutput> image = new CameraColorOutput(
        {width, height}, 3, CameraColorOutput::UINT8, CameraColorOutput::identityMatrix());
    image->setData(patternedBytes(static_cast<std::uint64_t>(width * height * 3)));
    return image;
}

qor::ref_ptr<RtOutput> lidarPoints(std::int64_t count) {
    qor::ref_ptr<RtOutput> points = new RtOutput(qorSensor::Lidar::getDefaultFields());
    std::vector<std::uint8_t> bytes =
        patternedBytes(static_cast<std::uint64_t>(count) * points->getElementSize());
    points->swapData(bytes);
    return points;
}

void setBytesProcessed(benchmark::State& state, std::uint64_t bytesPerIteration) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytesPerIteration));
}

// One fresh buffer of count bytes, filled from source, then freed.
void mallocCopyFree(benchmark::State& state, const std::uint8_t* source, std::uint64_t count) {
    for (auto _ : state) {
        void* buffer = std::malloc(count);
        if (buffer == nullptr) {
            throw std::bad_alloc();
        }
        std::memcpy(buffer, source, count);
        benchmark::DoNotOptimize(buffer);
        benchmark::ClobberMemory();
        std::free(buffer);
    }
    setBytesProcessed(state, count);
}

void cameraConvert(benchmark::State& state, std::int64_t width, std::int64_t height) {
    const qor::ref_ptr<CameraColorOutput> image = rgb8Image(width, height);
    const std::uint64_t count = image->getData().size;
    for (auto _ : state) {
        qorROS2::sensorMsgs::Image converted =
            qorROS2::convertCameraOutput(image.get(), 12.5, "camera");
        benchmark::DoNotOptimize(converted.data.data());
        benchmark::ClobberMemory();
        if (converted.data.size() != count) {
            state.SkipWithError("the image has the wrong byte count");
            break;
        }
    }
    setBytesProcessed(state, count);
}

void cameraBaseline(benchmark::State& state, std::int64_t width, std::int64_t height) {
    const qor::ref_ptr<CameraColorOutput> image = rgb8Image(width, height);
    mallocCopyFree(state, image->getData().data, image->getData().size);
}

void lidarConvert(benchmark::State& state) {
    const qor::ref_ptr<RtOutput> points = lidarPoints(kPointCount);
    const RtOutput::SynchronizedData data = points->getSynchronizedData();
    const std::uint64_t count = data.elementCount * data.elementSize;
    for (auto _ : state) {
        qorROS2::sensorMsgs::PointCloud2 cloud =
            qorROS2::convertLidarOutput(points.get(), 12.5, "lidar", true, 0);
        benchmark::DoNotOptimize(cloud.data.data());
        benchmark::ClobberMemory();
        if (cloud.data.size() != count) {
            state.SkipWithError("the cloud has the wrong byte count");
            break;
        }
    }
    setBytesProcessed(state, count);
}

void lidarBaseline(benchmark::State& state) {
    const qor::ref_ptr<RtOutput> points = lidarPoints(kPointCount);
    const RtOutput::SynchronizedData data = points->getSynchronizedData();
    mallocCopyFree(state, data.data, data.elementCount * data.elementSize);
}

// The console table as usual, then convert / baseline bandwidth for each case.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    RatioReporter() : ConsoleReporter(isatty(fileno(stdout)) != 0 ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const bool useful = run.run_type == Run::RT_Iteration || run.aggregate_name == "median";
            const auto rate = run.counters.find("bytes_per_second");
            if (useful && !run.error_occurred && rate != run.counters.end()) {
                m_bandwidth[run.run_name.function_name] = rate->second.value;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\nconvert bandwidth / malloc + memcpy bandwidth (target >= 0.9):\n");
        for (const char* name : {"camera/640x480", "camera/1920x1080", "lidar/100000"}) {
            const double convert = m_bandwidth[std::string(name) + "/convert"];
            const double baseline = m_bandwidth[std::string(name) + "/baseline"];
            if (convert > 0 && baseline > 0) {
                std::printf("  %-18s %6.3f  (%.2f GB/s / %.2f GB/s)\n", name, convert / baseline,
                            convert / 1e9, baseline / 1e9);
            }
        }
        std::fflush(stdout);
    }

  private:
    std::map<std::string, double> m_bandwidth;
};

}  // namespace

int main(int argc, char** argv) {
    for (const auto& size : {std::pair<std::int64_t, std::int64_t>{640, 480}, {1920, 1080}}) {
        const std::string name =
            "camera/" + std::to_string(size.first) + "x" + std::to_string(size.second);
        benchmark::RegisterBenchmark((name + "/convert").c_str(), cameraConvert, size.first,
                                     size.second);
        benchmark::RegisterBenchmark((name + "/baseline").c_str(), cameraBaseline, size.first,
                                     size.second);
    }
    const std::string lidar = "lidar/" + std::to_string(kPointCount);
    benchmark::RegisterBenchmark((lidar + "/convert").c_str(), lidarConvert);
    benchmark::RegisterBenchmark((lidar + "/baseline").c_str(), lidarBaseline);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
