// The demo's scene run as fast as possible and headless, as the demo runs it (DemoBridge), with
// the camera at 640x480 and 30 Hz and the lidar at 16x1024 and 10 Hz, beside the same scene with
// either or both sensors off. The counter `rtf` is simulated seconds per wall-clock second over
// 2 simulated seconds (1000 steps of 2 ms):
//
//   demoRealTimeFactor/camera:C/lidar:L   the whole demo step (physics, clock, joint states,
//                                         sensors that are due and their publication)
//
// and where the time goes, one part at a time on the same scene:
//
//   physicsStep          Simulation::stepForward without listeners or sensors
//   cameraRender         Camera::render at 640x480
//   cameraConvertSend    convertCameraOutput + convertCameraInfo + both sends
//   lidarScan            Lidar::scan of 16x1024 beams
//   lidarConvertSend     convertLidarOutput + send
//
// Nothing subscribes: the publishers send to a domain of their own with no reader, as the demo
// does when no one listens.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>

#include "DemoBridge.h"
#include "DemoOptions.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2Util.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/Camera.h"
#include "qorSensor/Lidar.h"

namespace {

constexpr std::int8_t kBenchmarkDomain = 125;
constexpr int kStepsPerRun = 1000;  // 2 simulated seconds
constexpr unsigned kWidth = 640;
constexpr unsigned kHeight = 480;
constexpr unsigned kLidarRows = 16;
constexpr unsigned kLidarColumns = 1024;

qorDemo::DemoOptions demoOptions(bool camera, bool lidar) {
    qorDemo::DemoOptions options;
    options.scenePath = QOR_DEMO_SCENE;
    options.domainId = kBenchmarkDomain;
    options.asFastAsPossible = true;
    options.cameraWidth = kWidth;
    options.cameraHeight = kHeight;
    options.cameraRate = camera ? 30.0 : 0.0;
    options.lidarRows = kLidarRows;
    options.lidarColumns = kLidarColumns;
    options.lidarRate = lidar ? 10.0 : 0.0;
    return options;
}

void demoRealTimeFactor(benchmark::State& state) {
    qorDemo::DemoBridge bridge(demoOptions(state.range(0) != 0, state.range(1) != 0));
    bridge.step();  // the first render and scan set up their resources
    double simulated = 0.0;
    for (auto _ : state) {
        const double start = bridge.time();
        for (int step = 0; step < kStepsPerRun; ++step) {
            bridge.step();
        }
        simulated += bridge.time() - start;
    }
    state.counters["rtf"] = benchmark::Counter(simulated, benchmark::Counter::kIsRate);
}
BENCHMARK(demoRealTimeFactor)
    ->ArgNames({"camera", "lidar"})
    ->Args({0, 0})
    ->Args({1, 0})
    ->Args({0, 1})
    ->Args({1, 1})
    ->Iterations(1)
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

}  // namespace

BENCHMARK_MAIN();
