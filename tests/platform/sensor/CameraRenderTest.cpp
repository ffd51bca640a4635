// Cameras render real scenes offscreen, without a display, into every kind of colour output.

#include "qorSensor/Camera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ExpectInvalidArgument.h"
#include "SensorSceneTesting.h"
#include "qor/Constraint1DOF.h"
#include "qor/LockController.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/Lidar.h"

namespace {

using qorSensorTest::expectInvalidArgument;

using qorSensor::Camera;
using qorSensor::CameraColorOutput;
using qorSensorTest::bytesOf;
using qorSensorTest::meanOfRows;
using qorSensorTest::pixelAt;
using qorSensorTest::Rgb;

const ::testing::Environment* const kNoDisplay =
    ::testing::AddGlobalTestEnvironment(new qorSensorTest::NoDisplay);

using Matrix = CameraColorOutput::ColorMappingMatrix;
const Matrix kIdentity = CameraColorOutput::identityMatrix();
const Matrix kBgr = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1};
const Matrix kRggb = {1, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
const Matrix kLuminance = {0.299, 0.587, 0.114, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

qor::ref_ptr<CameraColorOutput> rgb8(qorSensor::Resolution resolution) {
    return new CameraColorOutput(resolution, 3, CameraColorOutput::UINT8, kIdentity);
}

// Four flat, self-lit squares filling the middle of the view of camera "front", which looks
// along +x with +z up: red top left, green top right, blue bottom left, white bottom right.
const char* const kQuadrantsScene = R"(
<mujoco model="quadrants">
  <visual><headlight ambient="0 0 0" diffuse="0 0 0" specular="0 0 0"/></visual>
  <asset>
    <material name="red" rgba="1 0 0 1" emission="1" specular="0"/>
    <material name="green" rgba="0 1 0 1" emission="1" specular="0"/>
    <material name="blue" rgba="0 0 1 1" emission="1" specular="0"/>
    <material name="white" rgba="1 1 1 1" emission="1" specular="0"/>
  </asset>
  <worldbody>
    <camera name="front" pos="0 0 0" xyaxes="0 -1 0 0 0 1" fovy="60"/>
    <geom type="box" pos="3 0.5 0.5" size="0.01 0.5 0.5" material="red"/>
    <geom type="box" pos="3 -0.5 0.5" size="0.01 0.5 0.5" material="green"/>
    <geom type="box" pos="3 0.5 -0.5" size="0.01 0.5 0.5" material="blue"/>
    <geom type="box" pos="3 -0.5 -0.5" size="0.01 0.5 0.5" material="white"/>
  </worldbody>
</mujoco>)";

// Counts the pixels of output whose colour passes test.
template <class Test>
int countPixels(const CameraColorOutput& output, Test test) {
    int count = 0;
    for (std::int64_t y = 0; y < output.getResolution().height; ++y) {
        for (std::int64_t x = 0; x < output.getResolution().width; ++x) {
            count += test(pixelAt(output, x, y)) ? 1 : 0;
        }
    }
    return count;
}

bool isRed(const Rgb& p) {
    return p.r > 120 && p.g < 60 && p.b < 60;
}

bool isOrange(const Rgb& p) {
    return p.r > 150 && p.g > 60 && p.g < 150 && p.b < 50;
}

TEST(CameraRender, RendersTheArmSceneWithoutADisplay) {
    ASSERT_EQ(std::getenv("DISPLAY"), nullptr);
    ASSERT_EQ(std::getenv("WAYLAND_DISPLAY"), nullptr);
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {320, 240});
    qor::ref_ptr<CameraColorOutput> image = rgb8({320, 240});
    ASSERT_TRUE(camera->addOutput(image.get()));
    camera->render();

    EXPECT_EQ(image->getData().size, 320U * 240U * 3U);
    std::set<int> colours;
    for (std::int64_t y = 0; y < 240; ++y) {
        for (std::int64_t x = 0; x < 320; ++x) {
            const Rgb p = pixelAt(*image, x, y);
            colours.insert(p.r << 16 | p.g << 8 | p.b);
        }
    }
    EXPECT_GT(colours.size(), 1000U);
    // The red box and the orange arm are there.
    EXPECT_GT(countPixels(*image, isRed), 100);
    EXPECT_GT(countPixels(*image, isOrange), 150);
}

TEST(CameraRender, PutsTheSkyAtTheTopAndTheGroundAtTheBottom) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {320, 240});
    qor::ref_ptr<CameraColorOutput> image = rgb8({320, 240});
    camera->addOutput(image.get());
    camera->render();

    // The sky is a blue gradient; the ground a grey checker.
    const std::array<double, 3> top = meanOfRows(*image, 0, 10);
    const std::array<double, 3> bottom = meanOfRows(*image, 230, 240);
    EXPECT_GT(top[2] - top[0], 35.0) << "top rows " << top[0] << " " << top[1] << " " << top[2];
    EXPECT_LT(std::abs(bottom[2] - bottom[0]), 20.0)
        << "bottom rows " << bottom[0] << " " << bottom[1] << " " << bottom[2];
    // The red box rests on the ground in front of the arm: in the lower half, below the arm.
    double redRows = 0;
    double orangeRows = 0;
    const int red = countPixels(*image, isRed);
    const int orange = countPixels(*image, isOrange);
    for (std::int64_t y = 0; y < 240; ++y) {
        for (std::int64_t x = 0; x < 320; ++x) {
            redRows += isRed(pixelAt(*image, x, y)) ? static_cast<double>(y) : 0.0;
            orangeRows += isOrange(pixelAt(*image, x, y)) ? static_cast<double>(y) : 0.0;
        }
    }
    ASSERT_GT(red, 0);
    ASSERT_GT(orange, 0);
    EXPECT_GT(redRows / red, 120.0);
    EXPECT_GT(redRows / red, orangeRows / orange);
}

TEST(CameraRender, KnowsUpFromDownAndLeftFromRight) {
    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kQuadrantsScene);
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "front", {64, 48});
    qor::ref_ptr<CameraColorOutput> image = rgb8({64, 48});
    camera->addOutput(image.get());
    camera->render();
    // Each square's middle lies 0.5 m from the axis at 2.99 m: 0.5 / 2.99 * f pixels off centre.
    const double f = 24.0 / std::tan(30.0 * 3.14159265358979 / 180.0);
    const auto offset = static_cast<std::int64_t>(std::lround(0.5 / 2.99 * f));
    const Rgb topLeft = pixelAt(*image, 32 - offset, 24 - offset);
    const Rgb topRight = pixelAt(*image, 32 + offset, 24 - offset);
    const Rgb bottomLeft = pixelAt(*image, 32 - offset, 24 + offset);
    const Rgb bottomRight = pixelAt(*image, 32 + offset, 24 + offset);
    EXPECT_TRUE(topLeft.r > 200 && topLeft.g < 40 && topLeft.b < 40);
    EXPECT_TRUE(topRight.r < 40 && topRight.g > 200 && topRight.b < 40);
    EXPECT_TRUE(bottomLeft.r < 40 && bottomLeft.g < 40 && bottomLeft.b > 200);
    EXPECT_TRUE(bottomRight.r > 200 && bottomRight.g > 200 && bottomRight.b > 200);
}

// A self-lit red box up and to the left of the view's centre of camera "front" (which looks along
// +x with +z up), in front of a flat, self-lit grey wall that fills the rest of the view.
const char* const kRedBoxScene = R"(
<mujoco model="red_box">
  <visual><headlight ambient="0 0 0" diffuse="0 0 0" specular="0 0 0"/></visual>
  <asset>
    <material name="red" rgba="1 0 0 1" emission="1" specular="0"/>
    <material name="grey" rgba="0.5 0.5 0.5 1" emission="1" specular="0"/>
  </asset>
  <worldbody>
    <camera name="front" pos="0 0 0" xyaxes="0 -1 0 0 0 1" fovy="60"/>
    <geom type="box" pos="3 0.6 0.3" size="0.1 0.25 0.25" material="red"/>
    <geom type="box" pos="6 0 0" size="0.01 10 10" material="grey"/>
  </worldbody>
</mujoco>)";

bool isGrey(const Rgb& p) {
    return p.r > 60 && p.r < 200 && std::abs(p.r - p.g) < 20 && std::abs(p.r - p.b) < 20;
}

TEST(CameraRender, RedBoxAppearsRedWhereItIs) {
    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kRedBoxScene);
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "front", {160, 120});
    qor::ref_ptr<CameraColorOutput> image = rgb8({160, 120});
    ASSERT_TRUE(camera->addOutput(image.get()));
    camera->render();

    // The box's front face lies 2.9 m ahead, its middle 0.6 m to the left and 0.3 m up: world +y
    // is image left, world +z image up. f = 60 / tan(30 degrees) pixels.
    const double f = 60.0 / std::tan(30.0 * 3.14159265358979 / 180.0);
    const auto u = static_cast<std::int64_t>(std::lround(80.0 - 0.6 / 2.9 * f));
    const auto v = static_cast<std::int64_t>(std::lround(60.0 - 0.3 / 2.9 * f));
    // The face spans 0.25 / 2.9 * f, about 9 pixels, either side of its middle.
    for (std::int64_t dy = -2; dy <= 2; ++dy) {
        for (std::int64_t dx = -2; dx <= 2; ++dx) {
            const Rgb p = pixelAt(*image, u + dx, v + dy);
            EXPECT_TRUE(p.r > 200 && p.g < 40 && p.b < 40)
                << "at " << u + dx << "," << v + dy << ": " << p.r << " " << p.g << " " << p.b;
        }
    }
    // Well outside it: the mirror image of its place, beside it on either side, above and below
    // it, and the corners are the grey wall.
    const std::int64_t outside[][2] = {{160 - u, 120 - v}, {u + 20, v}, {u - 20, v}, {u, v - 20},
                                       {u, v + 20},        {0, 0},      {159, 119},  {80, 60}};
    for (const auto& at : outside) {
        const Rgb p = pixelAt(*image, at[0], at[1]);
        EXPECT_FALSE(isRed(p)) << "at " << at[0] << "," << at[1];
        EXPECT_TRUE(isGrey(p)) << "at " << at[0] << "," << at[1] << ": " << p.r << " " << p.g << " "
                               << p.b;
    }
    // And the red is all in one place: no red pixel lies more than 12 pixels from the middle.
    int redPixels = 0;
    for (std::int64_t y = 0; y < 120; ++y) {
        for (std::int64_t x = 0; x < 160; ++x) {
            if (isRed(pixelAt(*image, x, y))) {
                ++redPixels;
                EXPECT_LE(std::abs(x - u), 12) << x << "," << y;
                EXPECT_LE(std::abs(y - v), 12) << x << "," << y;
            }
        }
    }
    EXPECT_GT(redPixels, 200);
}

TEST(CameraRender, Bgr8IsRgb8WithRedAndBlueSwapped) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {320, 240});
    qor::ref_ptr<CameraColorOutput> rgb = rgb8({320, 240});
    qor::ref_ptr<CameraColorOutput> bgr =
        new CameraColorOutput({320, 240}, 3, CameraColorOutput::UINT8, kBgr);
    camera->addOutput(rgb.get());
    camera->addOutput(bgr.get());
    camera->render();

    std::vector<std::uint8_t> swapped = bytesOf(*rgb);
    for (std::size_t i = 0; i < swapped.size(); i += 3) {
        std::swap(swapped[i], swapped[i + 2]);
    }
    EXPECT_EQ(bytesOf(*bgr), swapped);
    EXPECT_NE(bytesOf(*bgr), bytesOf(*rgb));
}

TEST(CameraRender, FillsEveryKindOfOutputFromTheSameFrame) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    const qorSensor::Resolution size{160, 120};
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", size);
    qor::ref_ptr<CameraColorOutput> rgb = rgb8(size);
    qor::ref_ptr<CameraColorOutput> mono =
        new CameraColorOutput(size, 1, CameraColorOutput::UINT8, kLuminance);
    qor::ref_ptr<CameraColorOutput> rgba16 =
        new CameraColorOutput(size, 4, CameraColorOutput::UINT16, kIdentity);
    qor::ref_ptr<CameraColorOutput> floats =
        new CameraColorOutput(size, 3, CameraColorOutput::FLOAT32, kIdentity);
    qor::ref_ptr<CameraColorOutput> bayer = new CameraColorOutput(
        size, 4, CameraColorOutput::UINT8, kRggb, CameraColorOutput::MOSAIC_2X2);
    for (CameraColorOutput* output :
         {rgb.get(), mono.get(), rgba16.get(), floats.get(), bayer.get()}) {
        ASSERT_TRUE(camera->addOutput(output));
    }
    camera->render();

    const std::uint8_t* mosaic = bayer->getData().data;
    const std::uint8_t* sixteen = rgba16->getData().data;
    for (std::int64_t y = 0; y < size.height; ++y) {
        for (std::int64_t x = 0; x < size.width; ++x) {
            const Rgb p = pixelAt(*rgb, x, y);
            const auto index = static_cast<std::size_t>(y * size.width + x);
            const double luminance = 0.299 * p.r + 0.587 * p.g + 0.114 * p.b;
            ASSERT_LE(std::abs(mono->getData().data[index] - luminance), 0.5 + 1e-9)
                << x << "," << y;
            // RGGB: red on even rows and columns, blue on odd ones, green elsewhere.
            const int expected = (y % 2 == 0) ? (x % 2 == 0 ? p.r : p.g) : (x % 2 == 0 ? p.g : p.b);
            ASSERT_EQ(mosaic[index], expected) << x << "," << y;
            const int channels[4] = {p.r, p.g, p.b, 255};
            for (std::size_t c = 0; c < 4; ++c) {
                std::uint16_t value = 0;
                std::memcpy(&value, sixteen + 8 * index + 2 * c, 2);
                ASSERT_EQ(value, channels[c] * 257) << x << "," << y << " channel " << c;
            }
            for (std::size_t c = 0; c < 3; ++c) {
                float value = 0;
                std::memcpy(&value, floats->getData().data + 12 * index + 4 * c, 4);
                ASSERT_NEAR(value, channels[c] / 255.0, 1e-6) << x << "," << y;
            }
        }
    }
}

// Byte outputs whose matrix only moves channels are filled by moving bytes; a weight a hair off
// 1 sends the same frame through the per-channel arithmetic, which must agree byte for byte.
TEST(CameraRender, MovedChannelsEqualComputedOnesForTheSameFrame) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    const qorSensor::Resolution size{320, 240};
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", size);
    // Opaque alpha last: a source without alpha has 1 there.
    const Matrix bgra = {0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1};
    std::vector<std::pair<qor::ref_ptr<CameraColorOutput>, qor::ref_ptr<CameraColorOutput>>> pairs;
    for (const auto& [channels, matrix] : std::vector<std::pair<std::uint64_t, Matrix>>{
             {3, kIdentity}, {3, kBgr}, {4, kIdentity}, {4, bgra}}) {
        Matrix nudged = matrix;
        for (std::size_t row = 0; row < channels; ++row) {
            nudged[row * 4 + 3] += 1e-9;  // worth 2.55e-7 of a byte: no rounding changes
        }
        pairs.emplace_back(new CameraColorOutput(size, channels, CameraColorOutput::UINT8, matrix),
                           new CameraColorOutput(size, channels, CameraColorOutput::UINT8, nudged));
        ASSERT_TRUE(camera->addOutput(pairs.back().first.get()));
        ASSERT_TRUE(camera->addOutput(pairs.back().second.get()));
    }
    camera->render();

    for (const auto& [moved, computed] : pairs) {
        EXPECT_EQ(bytesOf(*moved), bytesOf(*computed))
            << moved->getChannelCount() << " channels, matrix starting "
            << moved->getColorMappingMatrix()[0];
    }
}

// Holds every joint of the arm in place, the rail at railPosition.
std::vector<qor::ref_ptr<qor::Constraint1DOF>> holdArm(qorSDK::Simulation& simulation,
                                                       double railPosition) {
    std::vector<qor::ref_ptr<qor::Constraint1DOF>> constraints;
    for (const std::string& name : simulation.getJointNames()) {
        constraints.push_back(simulation.createConstraint(name));
        simulation.add(constraints.back().get());
        constraints.back()->getLock1D()->setPosition(name == "rail" ? railPosition : 0.0);
        constraints.back()->getLock1D()->setEnabled(true);
    }
    return constraints;
}

TEST(CameraRender, ShowsTheSceneAsTheSimulationMovesIt) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {320, 240});
    qor::ref_ptr<CameraColorOutput> image = rgb8({320, 240});
    camera->addOutput(image.get());
    const auto constraints = holdArm(*simulation, 0.0);
    qor::Constraint1DOF* rail = nullptr;
    for (const qor::ref_ptr<qor::Constraint1DOF>& constraint : constraints) {
        rail = constraint->getName() == "rail" ? constraint.get() : rail;
    }
    ASSERT_NE(rail, nullptr);
    simulation->stepForward();
    camera->render();
    const std::vector<std::uint8_t> before = bytesOf(*image);
    camera->render();
    EXPECT_EQ(bytesOf(*image), before) << "the same state renders the same image";

    rail->getLock1D()->setPosition(0.5);
    for (int step = 0; step < 50; ++step) {
        simulation->stepForward();
    }
    ASSERT_NEAR(rail->getAngle(), 0.5, 1e-6);
    camera->render();
    const std::vector<std::uint8_t> after = bytesOf(*image);
    int changed = 0;
    for (std::size_t i = 0; i < after.size(); i += 3) {
        changed += std::abs(after[i] - before[i]) + std::abs(after[i + 1] - before[i + 1]) +
                               std::abs(after[i + 2] - before[i + 2]) >
                           60
                       ? 1
                       : 0;
    }
    EXPECT_GT(changed, 1000);
}

TEST(CameraRender, RenderingAndScanningLeaveThePhysicsAlone) {
    qor::ref_ptr<qorSDK::Simulation> observed = qorSensorTest::armScene();
    qor::ref_ptr<qorSDK::Simulation> alone = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*observed, "overview", {64, 48});
    qor::ref_ptr<CameraColorOutput> image = rgb8({64, 48});
    camera->addOutput(image.get());
    qor::ref_ptr<qorSensor::Lidar> lidar =
        new qorSensor::Lidar(*observed, "lidar_mount", qorSensor::LidarPattern{});
    for (int step = 0; step < 200; ++step) {
        observed->stepForward();
        alone->stepForward();
        if (step % 20 == 0) {
            camera->render();
            lidar->scan();
        }
    }
    const std::vector<double> observedAngles = qorSensorTest::jointAngles(*observed);
    const std::vector<double> aloneAngles = qorSensorTest::jointAngles(*alone);
    ASSERT_EQ(observedAngles.size(), 6U);
    EXPECT_EQ(observedAngles, aloneAngles);
    // The arm, unheld, has fallen: the comparison is of a moving state.
    EXPECT_GT(std::abs(aloneAngles[2]), 1e-3);
}

TEST(CameraRender, RendersLargerThanTheScenesOffscreenBuffer) {
    // arm.xml asks for a 1280 x 960 offscreen buffer.
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {1600, 1200});
    qor::ref_ptr<CameraColorOutput> image = rgb8({1600, 1200});
    camera->addOutput(image.get());
    camera->render();
    const std::array<double, 3> top = meanOfRows(*image, 0, 20);
    const std::array<double, 3> bottom = meanOfRows(*image, 1180, 1200);
    EXPECT_GT(top[2] - top[0], 35.0);
    EXPECT_LT(std::abs(bottom[2] - bottom[0]), 20.0);
    // The bottom-right corner is ground, not the black of an unrendered buffer.
    const Rgb corner = pixelAt(*image, 1599, 1199);
    EXPECT_GT(corner.r + corner.g + corner.b, 60);
}

TEST(CameraRender, CamerasRenderAlikeAndFromAnyThread) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> first = new Camera(*simulation, "overview", {160, 120});
    qor::ref_ptr<Camera> second = new Camera(*simulation, "overview", {160, 120});
    qor::ref_ptr<CameraColorOutput> firstImage = rgb8({160, 120});
    qor::ref_ptr<CameraColorOutput> secondImage = rgb8({160, 120});
    first->addOutput(firstImage.get());
    second->addOutput(secondImage.get());
    first->render();
    std::thread elsewhere([&] { second->render(); });
    elsewhere.join();
    EXPECT_EQ(bytesOf(*firstImage), bytesOf(*secondImage));
    // And back on this thread, after another thread had the second camera's context.
    second->render();
    EXPECT_EQ(bytesOf(*firstImage), bytesOf(*secondImage));
}

TEST(CameraRender, DescribesItselfAsALensOnACmosSensor) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {320, 240});
    EXPECT_EQ(camera->getName(), "overview");
    EXPECT_EQ(camera->getResolution().width, 320);
    auto* lens = dynamic_cast<qorSensor::CameraLensSingleElement*>(camera->getModel()->getLens());
    auto* sensor =
        dynamic_cast<qorSensor::CameraCMOSSensor*>(camera->getModel()->getPhotodetector());
    ASSERT_NE(lens, nullptr);
    ASSERT_NE(sensor, nullptr);
    // overview has fovy="50": 120 rows below the axis span 25 degrees.
    EXPECT_NEAR(lens->getFocalLength(), 120.0 / std::tan(25.0 * 3.14159265358979323846 / 180.0),
                1e-9);
    EXPECT_EQ(lens->getDistortion(), nullptr);
    EXPECT_EQ(sensor->getResolution().width, 320);
    EXPECT_EQ(sensor->getResolution().height, 240);
}

TEST(CameraRender, RefusesWhatItCannotRender) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    expectInvalidArgument(
        [&] {
            const qor::ref_ptr<Camera> camera = new Camera(*simulation, "nope", {64, 48});
        },
        "Camera: model 'arm' has no camera named 'nope'");
    expectInvalidArgument(
        [&] {
            const qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {0, 48});
        },
        "Camera 'overview': cannot render images of 0x48 pixels; each side must be 1 to 32768");
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {64, 48});
    expectInvalidArgument([&] { camera->addOutput(nullptr); },
                          "Camera 'overview': cannot add a null output");
    qor::ref_ptr<CameraColorOutput> wrongSize = rgb8({48, 64});
    expectInvalidArgument([&] { camera->addOutput(wrongSize.get()); },
                          "Camera 'overview': cannot add an output of 48x64 pixels to a camera of "
                          "64x48");
    qor::ref_ptr<CameraColorOutput> untyped =
        new CameraColorOutput({64, 48}, 3, CameraColorOutput::NONE, kIdentity);
    expectInvalidArgument([&] { camera->addOutput(untyped.get()); },
                          "Camera 'overview': cannot add an output of 3 channels of type 0; a "
                          "rendered output has 1 to 4 channels of a type");
    qor::ref_ptr<CameraColorOutput> wide =
        new CameraColorOutput({64, 48}, 5, CameraColorOutput::UINT8, kIdentity);
    expectInvalidArgument([&] { camera->addOutput(wide.get()); },
                          "Camera 'overview': cannot add an output of 5 channels of type 2; a "
                          "rendered output has 1 to 4 channels of a type");
    EXPECT_TRUE(camera->getOutputs().empty());
}

TEST(CameraRender, AddsAndRemovesEachOutputOnce) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", {64, 48});
    qor::ref_ptr<CameraColorOutput> image = rgb8({64, 48});
    EXPECT_TRUE(camera->addOutput(image.get()));
    EXPECT_FALSE(camera->addOutput(image.get()));
    EXPECT_EQ(camera->getOutputs().size(), 1U);
    EXPECT_EQ(image->getReferenceCount(), 2);
    EXPECT_TRUE(camera->removeOutput(image.get()));
    EXPECT_FALSE(camera->removeOutput(image.get()));
    EXPECT_EQ(image->getReferenceCount(), 1);
    // A removed output is no longer written.
    camera->render();
    EXPECT_EQ(bytesOf(*image), std::vector<std::uint8_t>(64 * 48 * 3, 0));
}

// Not a limit, a measurement: the times land in the test's XML report and on the console.
TEST(CameraRender, MeasuresRenderTimes) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    for (const qorSensor::Resolution size :
         {qorSensor::Resolution{320, 240}, qorSensor::Resolution{640, 480}}) {
        qor::ref_ptr<Camera> camera = new Camera(*simulation, "overview", size);
        qor::ref_ptr<CameraColorOutput> image = rgb8(size);
        camera->addOutput(image.get());
        camera->render();
        std::vector<double> times;
        for (int i = 0; i < 5; ++i) {
            const auto start = std::chrono::steady_clock::now();
            camera->render();
            times.push_back(
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count());
        }
        std::sort(times.begin(), times.end());
        const std::string name =
            "render_" + std::to_string(size.width) + "x" + std::to_string(size.height) + "_ms";
        RecordProperty(name, std::to_string(times[2]));
        std::printf("%s median %.1f\n", name.c_str(), times[2]);
        EXPECT_GT(countPixels(*image, isOrange), 0);
    }
}

}  // namespace
