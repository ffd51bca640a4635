// Sensors draw and scan snapshots of a simulation's state: a box that slides past a camera and a
// lidar at a known speed is seen where the snapshot's step had it, exactly as a render or a scan
// between the steps shows it, while the simulation steps on, on this thread or another.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ExpectInvalidArgument.h"
#include "SensorSceneTesting.h"
#include "qor/ref_ptr.h"
#include "qorSDK/SceneSnapshot.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/Camera.h"
#include "qorSensor/CameraColorOutput.h"
#include "qorSensor/Lidar.h"

namespace {

using qorSDK::SceneSnapshot;
using qorSensor::Camera;
using qorSensor::CameraColorOutput;
using qorSensor::Lidar;
using qorSensorTest::bytesOf;
using qorSensorTest::expectInvalidArgument;
using qorSensorTest::pixelAt;

const ::testing::Environment* const kNoDisplay =
    ::testing::AddGlobalTestEnvironment(new qorSensorTest::NoDisplay);

// Without gravity a free, self-lit white box 3 m ahead of camera "front" and of the lidar at site
// "scanner" (both at the origin, looking along +x with +z up) slides to the right of the view,
// along -y, at 1 m/s from y = 0.6 m, in front of nothing.
const char* const kSlidingBoxScene = R"(
<mujoco model="sliding_box">
  <option gravity="0 0 0"/>
  <visual><headlight ambient="0 0 0" diffuse="0 0 0" specular="0 0 0"/></visual>
  <asset>
    <material name="white" rgba="1 1 1 1" emission="1" specular="0"/>
  </asset>
  <worldbody>
    <camera name="front" pos="0 0 0" xyaxes="0 -1 0 0 0 1" fovy="60"/>
    <site name="scanner" pos="0 0 0"/>
    <body name="box" pos="3 0.6 0">
      <freejoint/>
      <geom type="box" size="0.1 0.1 0.1" material="white"/>
    </body>
  </worldbody>
</mujoco>)";

constexpr double kSpeed = 1.0;      // m/s along -y
constexpr double kStartY = 0.6;     // m
constexpr double kDistance = 2.9;   // m, to the box's front face
constexpr int kWidth = 160;         // pixels
constexpr int kHeight = 120;        // pixels
constexpr int kCapturedStep = 100;  // 0.2 s: the box at y = 0.4 m
constexpr int kStepsAfter = 100;    // 0.2 s more: 0.2 m, about 7 pixels, further right

qor::ref_ptr<qorSDK::Simulation> slidingBox() {
    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kSlidingBoxScene);
    simulation->setFreeBodyState("box", {{3.0, kStartY, 0.0}, {1.0, 0.0, 0.0, 0.0}},
                                 {{0.0, -kSpeed, 0.0}, {0.0, 0.0, 0.0}});
    return simulation;
}

void stepTimes(qorSDK::Simulation& simulation, int steps) {
    for (int step = 0; step < steps; ++step) {
        simulation.stepForward();
    }
}

struct CameraRig {
    qor::ref_ptr<qorSDK::Simulation> simulation = slidingBox();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "front", {kWidth, kHeight});
    qor::ref_ptr<CameraColorOutput> image = new CameraColorOutput(
        {kWidth, kHeight}, 3, CameraColorOutput::UINT8, CameraColorOutput::identityMatrix());
    CameraRig() { camera->addOutput(image.get()); }
};

// The mean column of the bright pixels: the box's middle in the image.
double boxColumn(const CameraColorOutput& image) {
    double sum = 0.0;
    int count = 0;
    for (std::int64_t y = 0; y < kHeight; ++y) {
        for (std::int64_t x = 0; x < kWidth; ++x) {
            if (pixelAt(image, x, y).r > 128) {
                sum += static_cast<double>(x);
                ++count;
            }
        }
    }
    return count > 0 ? sum / count : -1.0;
}

// Where the box's middle appears after `seconds`: world +y is image left, f = 60 / tan(30°)
// pixels, pixel x covers [x, x + 1).
double expectedColumn(double seconds) {
    const double f = (kHeight / 2.0) / std::tan(30.0 * 3.14159265358979 / 180.0);
    const double y = kStartY - kSpeed * seconds;
    return kWidth / 2.0 - y / kDistance * f - 0.5;
}

TEST(SnapshotSensors, CameraShowsTheStepTheSnapshotWasCapturedAtNotALaterOne) {
    CameraRig rig;
    stepTimes(*rig.simulation, kCapturedStep);
    rig.camera->render();
    const std::vector<std::uint8_t> betweenSteps = bytesOf(*rig.image);
    const double captured = rig.simulation->getTime();
    ASSERT_NEAR(boxColumn(*rig.image), expectedColumn(captured), 1.0);
    qor::ref_ptr<SceneSnapshot> snapshot = new SceneSnapshot(*rig.simulation);
    snapshot->capture(*rig.simulation);
    EXPECT_EQ(snapshot->getTime(), captured);

    stepTimes(*rig.simulation, kStepsAfter);
    rig.camera->render();
    const std::vector<std::uint8_t> later = bytesOf(*rig.image);
    ASSERT_NEAR(boxColumn(*rig.image), expectedColumn(rig.simulation->getTime()), 1.0);
    ASSERT_NE(later, betweenSteps)
        << "the box must have moved for the test to tell the steps apart";

    rig.camera->render(*snapshot);
    EXPECT_NEAR(boxColumn(*rig.image), expectedColumn(captured), 1.0);
    EXPECT_TRUE(bytesOf(*rig.image) == betweenSteps)
        << "the snapshot's image differs from the one rendered between its steps";
}

TEST(SnapshotSensors, CameraRendersASnapshotOnAnotherThreadWhileTheSimulationSteps) {
    CameraRig rig;
    stepTimes(*rig.simulation, kCapturedStep);
    rig.camera->render();
    const std::vector<std::uint8_t> betweenSteps = bytesOf(*rig.image);
    qor::ref_ptr<SceneSnapshot> snapshot = new SceneSnapshot(*rig.simulation);
    snapshot->capture(*rig.simulation);

    qor::ref_ptr<CameraColorOutput> rendered = new CameraColorOutput(
        {kWidth, kHeight}, 3, CameraColorOutput::UINT8, CameraColorOutput::identityMatrix());
    qor::ref_ptr<Camera> camera = new Camera(*rig.simulation, "front", {kWidth, kHeight});
    camera->addOutput(rendered.get());
    std::thread renderer([&] {
        for (int i = 0; i < 5; ++i) {
            camera->render(*snapshot);
        }
    });
    stepTimes(*rig.simulation, kStepsAfter);
    renderer.join();
    EXPECT_NEAR(boxColumn(*rendered), expectedColumn(snapshot->getTime()), 1.0);
    EXPECT_TRUE(bytesOf(*rendered) == betweenSteps)
        << "the image rendered beside the steps differs from the one rendered between them";
}

std::vector<std::uint8_t> pointsOf(const Lidar& lidar) {
    const qorSensor::RtOutput::SynchronizedData points = lidar.getOutput()->getSynchronizedData();
    return {points.data, points.data + points.elementCount * points.elementSize};
}

TEST(SnapshotSensors, LidarScansTheStepTheSnapshotWasCapturedAtNotALaterOne) {
    qor::ref_ptr<qorSDK::Simulation> simulation = slidingBox();
    qorSensor::LidarPattern pattern;
    pattern.rows = 3;
    pattern.columns = 61;
    pattern.verticalFieldOfView = 0.05;
    pattern.horizontalFieldOfView = 0.6;
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "scanner", pattern);
    stepTimes(*simulation, kCapturedStep);
    lidar->scan();
    const std::vector<std::uint8_t> betweenSteps = pointsOf(*lidar);
    qor::ref_ptr<SceneSnapshot> snapshot = new SceneSnapshot(*simulation);
    snapshot->capture(*simulation);

    std::thread scanner([&] { lidar->scan(*snapshot); });
    stepTimes(*simulation, kStepsAfter);
    scanner.join();
    const std::vector<std::uint8_t> fromSnapshot = pointsOf(*lidar);
    lidar->scan();
    ASSERT_NE(pointsOf(*lidar), betweenSteps)
        << "the box must have moved for the test to tell the steps apart";
    EXPECT_TRUE(fromSnapshot == betweenSteps)
        << "the snapshot's points differ from those scanned between its steps";
}

TEST(SnapshotSensors, ASnapshotHoldsTheStateOfItsLoadUntilItsFirstCapture) {
    qor::ref_ptr<qorSDK::Simulation> simulation = slidingBox();
    stepTimes(*simulation, kCapturedStep);
    qor::ref_ptr<SceneSnapshot> snapshot = new SceneSnapshot(*simulation);
    EXPECT_EQ(snapshot->getTime(), 0.0);
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "front", {kWidth, kHeight});
    qor::ref_ptr<CameraColorOutput> image = new CameraColorOutput(
        {kWidth, kHeight}, 3, CameraColorOutput::UINT8, CameraColorOutput::identityMatrix());
    camera->addOutput(image.get());
    camera->render(*snapshot);
    // Where the scene puts the box, not where it was placed to slide from.
    EXPECT_NEAR(boxColumn(*image), expectedColumn(0.0), 1.0);
}

TEST(SnapshotSensors, SnapshotsAndSensorsRefuseAnotherSimulation) {
    qor::ref_ptr<qorSDK::Simulation> ours = slidingBox();
    qor::ref_ptr<qorSDK::Simulation> arm = qorSensorTest::armScene();
    qor::ref_ptr<SceneSnapshot> snapshot = new SceneSnapshot(*ours);
    stepTimes(*arm, 3);
    expectInvalidArgument([&] { snapshot->capture(*arm); },
                          "SceneSnapshot: cannot capture model 'arm' into a snapshot of another "
                          "simulation (of model 'sliding_box')");
    EXPECT_EQ(snapshot->getTime(), 0.0) << "nothing was captured";

    qor::ref_ptr<Camera> camera = new Camera(*arm, "overview", {32, 24});
    expectInvalidArgument([&] { camera->render(*snapshot); },
                          "Camera 'overview': cannot render a snapshot of another simulation");
    qor::ref_ptr<Lidar> lidar = new Lidar(*arm, "lidar_mount", qorSensor::LidarPattern{});
    expectInvalidArgument([&] { lidar->scan(*snapshot); },
                          "Lidar at site 'lidar_mount': cannot scan a snapshot of another "
                          "simulation");
}

}  // namespace
