// The demo's scene run as fast as possible and headless, as the demo runs it (DemoBridge), with
// the camera at 640x480 and 30 Hz and the lidar at 16x1024 and 10 Hz. The counter `rtf` is
// simulated seconds per wall-clock second over 10 simulated seconds (5000 steps of 2 ms):
//
//   demoRealTimeFactor/sensors:0/subscribed:0/threads:1   no camera, no lidar
//   demoRealTimeFactor/sensors:1/subscribed:0/threads:1   both sensors, nobody subscribed: idle
//   demoRealTimeFactor/sensors:1/subscribed:1/threads:0   both sensors, read by subscribers in this
//                                                         process, rendered in the step
//   demoRealTimeFactor/sensors:1/subscribed:1/threads:1   the same, rendered on the sensors'
//                                                         threads, as the demo runs
//
// The first two run five times each, the last two three times; at the end the
// medians are compared: idle sensors must keep the real-time factor within 10 % of the run
// without sensors, and the sensors' threads must at least double the rendering step's. A run
// ends once every frame it took is published.
//
// What --record costs, over 4 simulated seconds with the camera at 640x480 and 10 Hz and the
// lidar and the joint states at every step (500 Hz), the sensors working with nobody subscribed
// as a recorded run has them; three times each, medians compared (target: at least 0.95):
//
//   demoRecordRealTimeFactor/record:0   published only
//   demoRecordRealTimeFactor/record:1   published and recorded into a bag, closed within the time
//
// Where the time goes, one part at a time on the same scene:
//
//   physicsStep          Simulation::stepForward without listeners or sensors
//   cameraRender         Camera::render at 640x480
//   cameraConvertSend    convertCameraOutput + convertCameraInfo + both sends
//   lidarScan            Lidar::scan of 16x1024 beams
//   lidarConvertSend     convertLidarOutput + send
//
// The parts send to a domain with no reader.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DemoBridge.h"
#include "DemoOptions.h"
#include "DemoRecorder.h"
#include "qor/ref_ptr.h"
#include "qorROS2/PublicationObserver.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2Util.h"
#include "qorROS2/Subscriber.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/Camera.h"
#include "qorSensor/Lidar.h"

namespace {

constexpr std::int8_t kBenchmarkDomain = 125;
constexpr int kStepsPerRun = 5000;  // 10 simulated seconds
constexpr unsigned kWidth = 640;
constexpr unsigned kHeight = 480;
constexpr unsigned kLidarRows = 16;
constexpr unsigned kLidarColumns = 1024;

qorDemo::DemoOptions demoOptions(bool sensors, bool threads = true) {
    qorDemo::DemoOptions options;
    options.scenePath = QOR_DEMO_SCENE;
    options.domainId = kBenchmarkDomain;
    options.asFastAsPossible = true;
    options.cameraWidth = kWidth;
    options.cameraHeight = kHeight;
    options.cameraRate = sensors ? 30.0 : 0.0;
    options.lidarRows = kLidarRows;
    options.lidarColumns = kLidarColumns;
    options.lidarRate = sensors ? 10.0 : 0.0;
    options.sensorThreads = threads;
    return options;
}

double processCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// What rviz2's displays subscribe with.
constexpr qorROS2::QOS kDisplayQos{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE,
                                   qorROS2::QOS::KEEP_LAST, 5};

// Readers of every sensor topic, as rviz2 would have them, matched before the clock starts.
struct SensorReaders {
    qorROS2::Subscriber<qorROS2::sensorMsgs::Image> images{"camera/image_raw", kDisplayQos,
                                                           kBenchmarkDomain};
    qorROS2::Subscriber<qorROS2::sensorMsgs::CameraInfo> infos{"camera/camera_info", kDisplayQos,
                                                               kBenchmarkDomain};
    qorROS2::Subscriber<qorROS2::sensorMsgs::PointCloud2> clouds{"lidar/points", kDisplayQos,
                                                                 kBenchmarkDomain};

    bool matched(const qorDemo::DemoBridge& bridge) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        while (bridge.matchedSubscriptions() < 3 || images.matchedPublications() == 0 ||
               infos.matchedPublications() == 0 || clouds.matchedPublications() == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
};

void demoRealTimeFactor(benchmark::State& state) {
    const bool sensors = state.range(0) != 0;
    qorDemo::DemoBridge bridge(demoOptions(sensors, state.range(2) != 0));
    std::unique_ptr<SensorReaders> readers;
    if (state.range(1) != 0) {
        readers = std::make_unique<SensorReaders>();
        if (!readers->matched(bridge)) {
            state.SkipWithError("the sensor readers did not match the demo's writers");
            return;
        }
    }
    bridge.step();  // with readers, the first render and scan set up their resources
    bridge.finishSensors();
    double simulated = 0.0;
    double cpu = 0.0;
    double wall = 0.0;
    for (auto _ : state) {
        const double start = bridge.time();
        const double cpuStart = processCpuSeconds();
        const auto wallStart = std::chrono::steady_clock::now();
        for (int step = 0; step < kStepsPerRun; ++step) {
            bridge.step();
        }
        bridge.finishSensors();
        simulated += bridge.time() - start;
        cpu += processCpuSeconds() - cpuStart;
        wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    }
    state.counters["rtf"] = benchmark::Counter(simulated, benchmark::Counter::kIsRate);
    state.counters["frames"] = static_cast<double>(bridge.cameraFrames());
    state.counters["scans"] = static_cast<double>(bridge.lidarScans());
    // The process's CPU time, all threads (the rasteriser's, the sensors', the middleware's): what
    // bounds the real-time factor once both cores are busy.
    state.counters["cpuPerSimSecond"] = simulated > 0.0 ? cpu / simulated : 0.0;
    state.counters["cores"] = wall > 0.0 ? cpu / wall : 0.0;
}
BENCHMARK(demoRealTimeFactor)
    ->ArgNames({"sensors", "subscribed", "threads"})
    ->Args({0, 0, 1})
    ->Args({1, 0, 1})
    ->Iterations(1)
    ->Repetitions(5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(demoRealTimeFactor)
    ->ArgNames({"sensors", "subscribed", "threads"})
    ->Args({1, 1, 0})
    ->Args({1, 1, 1})
    ->Iterations(1)
    ->Repetitions(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

constexpr int kRecordedSteps = 2000;  // 4 simulated seconds

void demoRecordRealTimeFactor(benchmark::State& state) {
    qorDemo::DemoOptions options = demoOptions(true);
    options.cameraRate = 10.0;
    options.lidarRate = 500.0;
    options.sensorsUnsubscribed = true;
    static int bagNumber = 0;
    const std::filesystem::path bag = std::filesystem::temp_directory_path() /
                                      ("qor-demo-record-benchmark-" + std::to_string(::getpid()) +
                                       "-" + std::to_string(++bagNumber));
    std::shared_ptr<qorDemo::DemoRecorder> recorder;
    if (state.range(0) != 0) {
        // As the demo records at --fast: the simulation waits for the disk.
        recorder =
            std::make_shared<qorDemo::DemoRecorder>(bag.string(), qorROS2::bag::BagWriterOptions{});
        recorder->waitForWriter(true);
        qorROS2::observePublications(recorder);
    }
    qorDemo::DemoBridge bridge(options);
    qorROS2::observePublications(nullptr);
    bridge.step();  // the first render and scan set up their resources
    double simulated = 0.0;
    for (auto _ : state) {
        const double start = bridge.time();
        for (int step = 0; step < kRecordedSteps; ++step) {
            bridge.step();
        }
        // The run is recorded once the bag is whole.
        if (recorder != nullptr && !recorder->finish(stderr)) {
            state.SkipWithError("the bag could not be written");
        }
        simulated += bridge.time() - start;
    }
    state.counters["rtf"] = benchmark::Counter(simulated, benchmark::Counter::kIsRate);
    state.counters["frames"] = static_cast<double>(bridge.cameraFrames());
    state.counters["scans"] = static_cast<double>(bridge.lidarScans());
    if (recorder != nullptr) {
        state.counters["recorded"] = static_cast<double>(recorder->written());
    }
    std::error_code ignored;
    std::filesystem::remove_all(bag, ignored);
}
BENCHMARK(demoRecordRealTimeFactor)
    ->ArgNames({"record"})
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Repetitions(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

qor::ref_ptr<qorSDK::Simulation> armScene() {
    return qorSDK::Simulation::createFromFile(QOR_DEMO_SCENE);
}

void physicsStep(benchmark::State& state) {
    qor::ref_ptr<qorSDK::Simulation> simulation = armScene();
    for (auto _ : state) {
        simulation->stepForward();
    }
}
BENCHMARK(physicsStep)->UseRealTime()->Unit(benchmark::kMicrosecond);

struct CameraRig {
    qor::ref_ptr<qorSDK::Simulation> simulation = armScene();
    qor::ref_ptr<qorSensor::Camera> camera =
        new qorSensor::Camera(*simulation, "overview", qorSensor::Resolution{kWidth, kHeight});
    qor::ref_ptr<qorSensor::CameraColorOutput> output = new qorSensor::CameraColorOutput(
        qorSensor::Resolution{kWidth, kHeight}, 3, qorSensor::CameraColorOutput::UINT8,
        qorSensor::CameraColorOutput::identityMatrix());
    CameraRig() { camera->addOutput(output.get()); }
};

void cameraRender(benchmark::State& state) {
    CameraRig rig;
    rig.camera->render();
    for (auto _ : state) {
        rig.simulation->stepForward();  // a new pose each time, as between two images
        rig.camera->render();
    }
}
BENCHMARK(cameraRender)->UseRealTime()->Unit(benchmark::kMillisecond);

void cameraConvertSend(benchmark::State& state) {
    CameraRig rig;
    rig.camera->render();
    qorROS2::Publisher<qorROS2::sensorMsgs::Image> images(
        "camera/image_raw", qorROS2::createSensorDataQOS(), kBenchmarkDomain);
    qorROS2::Publisher<qorROS2::sensorMsgs::CameraInfo> infos(
        "camera/camera_info", qorROS2::createSensorDataQOS(), kBenchmarkDomain);
    for (auto _ : state) {
        images.sendMessage(qorROS2::convertCameraOutput(rig.output.get(), 1.0, "camera"));
        infos.sendMessage(qorROS2::convertCameraInfo(rig.camera->getModel(), 1.0, "camera"));
    }
}
BENCHMARK(cameraConvertSend)->UseRealTime()->Unit(benchmark::kMillisecond);

struct LidarRig {
    qor::ref_ptr<qorSDK::Simulation> simulation = armScene();
    qor::ref_ptr<qorSensor::Lidar> lidar;
    LidarRig() {
        qorSensor::LidarPattern pattern;
        pattern.rows = kLidarRows;
        pattern.columns = kLidarColumns;
        lidar = new qorSensor::Lidar(*simulation, "lidar_mount", pattern);
    }
};

void lidarScan(benchmark::State& state) {
    LidarRig rig;
    rig.lidar->scan();
    for (auto _ : state) {
        rig.simulation->stepForward();
        rig.lidar->scan();
    }
}
BENCHMARK(lidarScan)->UseRealTime()->Unit(benchmark::kMillisecond);

void lidarConvertSend(benchmark::State& state) {
    LidarRig rig;
    rig.lidar->scan();
    qorROS2::Publisher<qorROS2::sensorMsgs::PointCloud2> clouds(
        "lidar/points", qorROS2::createSensorDataQOS(), kBenchmarkDomain);
    for (auto _ : state) {
        clouds.sendMessage(
            qorROS2::convertLidarOutput(rig.lidar->getOutput(), 1.0, "lidar", false, kLidarRows));
    }
}
BENCHMARK(lidarConvertSend)->UseRealTime()->Unit(benchmark::kMillisecond);

// The console table, then the real-time factors the benchmark exists for: the median of each
// demo run's repetitions, and idle sensors against no sensors.
class RealTimeFactorReporter : public benchmark::ConsoleReporter {
  public:
    // Colours only on a terminal, so that a saved report reads cleanly.
    RealTimeFactorReporter()
        : ConsoleReporter(isatty(fileno(stdout)) != 0 ? OO_Defaults : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto rtf = run.counters.find("rtf");
            if (run.run_type == Run::RT_Iteration && !run.error_occurred &&
                rtf != run.counters.end()) {
                const std::string name = run.run_name.function_name + "/" + run.run_name.args;
                m_factors[name].push_back(rtf->second.value);
                m_cpu[name].push_back(run.GetAdjustedCPUTime());
                const auto cores = run.counters.find("cores");
                if (cores != run.counters.end()) {
                    m_cores[name].push_back(cores->second.value);
                    m_processCpu[name].push_back(run.counters.at("cpuPerSimSecond").value);
                }
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        const double none = median("demoRealTimeFactor/sensors:0/subscribed:0/threads:1");
        const double idle = median("demoRealTimeFactor/sensors:1/subscribed:0/threads:1");
        const double inStep = median("demoRealTimeFactor/sensors:1/subscribed:1/threads:0");
        const double read = median("demoRealTimeFactor/sensors:1/subscribed:1/threads:1");
        if (none > 0.0 || idle > 0.0 || read > 0.0) {
            std::printf("\nreal-time factor without sensors:               %8.2f\n", none);
            std::printf(
                "real-time factor with sensors, no subscribers:  %8.2f  (%.3f of it; "
                "target at least 0.90)\n",
                idle, none > 0 ? idle / none : 0.0);
            const std::string inStepName = "demoRealTimeFactor/sensors:1/subscribed:1/threads:0";
            const std::string threadsName = "demoRealTimeFactor/sensors:1/subscribed:1/threads:1";
            std::printf("real-time factor with sensors and subscribers,\n");
            std::printf(
                "  rendered in the step:                        %8.2f  (%.2f cores busy, %.0f ms "
                "of CPU per simulated second)\n",
                inStep, median(inStepName, m_cores), 1e3 * median(inStepName, m_processCpu));
            std::printf(
                "  rendered on the sensors' threads:             %8.2f  (%.2f cores busy, %.0f ms "
                "of CPU per simulated second)\n",
                read, median(threadsName, m_cores), 1e3 * median(threadsName, m_processCpu));
            std::printf(
                "  threads against the step:                     %8.2f  (target at least 2)\n",
                inStep > 0 ? read / inStep : 0.0);
        }
        const std::string published = "demoRecordRealTimeFactor/record:0";
        const std::string recorded = "demoRecordRealTimeFactor/record:1";
        const double publishedRtf = median(published);
        const double recordedRtf = median(recorded);
        if (publishedRtf > 0.0 || recordedRtf > 0.0) {
            std::printf("\nreal-time factor, sensors at 10 and 500 Hz:     %8.2f\n", publishedRtf);
            std::printf(
                "the same, recorded (--record):                  %8.2f  (%.3f of it; "
                "target at least 0.95)\n",
                recordedRtf, publishedRtf > 0 ? recordedRtf / publishedRtf : 0.0);
            // On a shared machine the wall clock measures the neighbours too; the stepping
            // thread's own time does not.
            const double publishedCpu = median(published, m_cpu);
            const double recordedCpu = median(recorded, m_cpu);
            std::printf(
                "stepping thread's CPU time, without and with:   %8.0f ms %8.0f ms  "
                "(%.3f of it)\n",
                publishedCpu, recordedCpu, recordedCpu > 0 ? publishedCpu / recordedCpu : 0.0);
        }
    }

  private:
    static double median(const std::string& name,
                         std::map<std::string, std::vector<double>>& runs) {
        std::vector<double>& values = runs[name];
        if (values.empty()) {
            return 0.0;
        }
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }

    double median(const std::string& name) { return median(name, m_factors); }

    std::map<std::string, std::vector<double>> m_factors;
    std::map<std::string, std::vector<double>> m_cpu;         // milliseconds per run
    std::map<std::string, std::vector<double>> m_cores;       // the process's CPU time / wall time
    std::map<std::string, std::vector<double>> m_processCpu;  // its CPU seconds per simulated one
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RealTimeFactorReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
