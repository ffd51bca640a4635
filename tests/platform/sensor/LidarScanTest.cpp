// Lidars cast their beams into real scenes: what they hit, where the points lie, and how a scan
// is laid out.

#include "qorSensor/Lidar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "ExpectInvalidArgument.h"
#include "SensorSceneTesting.h"
#include "qor/Constraint1DOF.h"
#include "qor/LockController.h"

namespace {

using qorSensorTest::expectInvalidArgument;

using qorSensor::Lidar;
using qorSensor::LidarPattern;
using qorSensor::RtOutput;
using qorSensorTest::Vec3;

// A pattern of rows x columns beams spread over the two fields of view, other settings default.
LidarPattern fan(unsigned int rows, unsigned int columns, double verticalFieldOfView,
                 double horizontalFieldOfView) {
    LidarPattern pattern;
    pattern.rows = rows;
    pattern.columns = columns;
    pattern.verticalFieldOfView = verticalFieldOfView;
    pattern.horizontalFieldOfView = horizontalFieldOfView;
    return pattern;
}

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180.0;

// One point of a scan, read from the output's bytes after its fields.
struct Point {
    Vec3 position;  // NaN without a return
    float intensity = 0.0F;
    float range = 0.0F;
    std::uint16_t ring = 0;
    bool hit = false;
};

std::vector<Point> pointsOf(const RtOutput& output) {
    const RtOutput::SynchronizedData data = output.getSynchronizedData();
    std::vector<Point> points(data.elementCount);
    for (std::size_t i = 0; i < data.elementCount; ++i) {
        const std::uint8_t* at = data.data + i * data.elementSize;
        Point& point = points[i];
        for (const RtOutput::Field field : output.getFields()) {
            if (field == RtOutput::XYZ_VEC3_F32) {
                float xyz[3];
                std::memcpy(xyz, at, sizeof xyz);
                point.position = {xyz[0], xyz[1], xyz[2]};
                point.hit = !std::isnan(xyz[0]);
            } else if (field == RtOutput::INTENSITY_F32) {
                std::memcpy(&point.intensity, at, 4);
            } else if (field == RtOutput::RANGE_F32) {
                std::memcpy(&point.range, at, 4);
            } else if (field == RtOutput::RING_U16) {
                std::memcpy(&point.ring, at, 2);
            }
            at += RtOutput::sizeOf(field);
        }
    }
    return points;
}

double lengthOf(const Vec3& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

// The scan the arm tests use: 32 rows over 30 degrees, 128 columns over 90 degrees.
LidarPattern armPattern() {
    LidarPattern pattern = fan(32, 128, 30.0 * kDegree, 90.0 * kDegree);
    return pattern;
}

// The direction of beam (row, column) in the sensor's frame, as the pattern spreads them.
Vec3 beamDirection(const LidarPattern& pattern, unsigned int row, unsigned int column) {
    const double elevation =
        pattern.verticalFieldOfView / 2.0 - row * pattern.verticalFieldOfView / (pattern.rows - 1);
    const double azimuth = pattern.horizontalFieldOfView / 2.0 -
                           column * pattern.horizontalFieldOfView / (pattern.columns - 1);
    return {std::cos(elevation) * std::cos(azimuth), std::cos(elevation) * std::sin(azimuth),
            std::sin(elevation)};
}

// Surfaces of arm.xml told apart by their brightness (the mean of their colour).
bool isBrightness(float intensity, double r, double g, double b) {
    return std::abs(static_cast<double>(intensity) - (r + g + b) / 3.0) < 1e-6;
}

TEST(LidarScan, SeesTheArmAndThePropsAtPlausibleRanges) {
    // No step: the scan itself must pose the freshly loaded scene.
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "lidar_mount", armPattern());
    lidar->scan();
    const std::vector<Point> points = pointsOf(*lidar->getOutput());
    ASSERT_EQ(points.size(), 32U * 128U);

    int returns = 0;
    int arm = 0;
    int box = 0;
    int ball = 0;
    int can = 0;
    for (const Point& point : points) {
        if (!point.hit) {
            EXPECT_EQ(point.intensity, 0.0F);
            continue;
        }
        ++returns;
        const double range = lengthOf(point.position);
        EXPECT_GT(range, 1.0);
        EXPECT_LT(range, 7.0);
        EXPECT_GT(point.intensity, 0.0F);
        EXPECT_LE(point.intensity, 1.0F);
        arm += isBrightness(point.intensity, 0.95, 0.55, 0.1) ? 1 : 0;
        box += isBrightness(point.intensity, 0.85, 0.15, 0.15) ? 1 : 0;
        ball += isBrightness(point.intensity, 0.15, 0.3, 0.9) ? 1 : 0;
        can += isBrightness(point.intensity, 0.2, 0.75, 0.3) ? 1 : 0;
    }
    // The upper rows look past the edge of the 8 m ground into the void.
    EXPECT_GT(returns, 2500);
    EXPECT_LT(returns, 4096);
    EXPECT_GT(arm, 50);
    EXPECT_GT(box, 5);
    EXPECT_GT(ball, 5);
    EXPECT_GT(can, 5);
}

TEST(LidarScan, PointsLieOnTheSurfacesTheyHit) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "lidar_mount", armPattern());
    lidar->scan();
    const qorSensorTest::Frame mount = qorSensorTest::lidarMount();
    int checked = 0;
    for (const Point& point : pointsOf(*lidar->getOutput())) {
        if (!point.hit) {
            continue;
        }
        const Vec3 w = mount.toWorld(point.position);
        if (isBrightness(point.intensity, 1.0, 1.0, 1.0)) {
            EXPECT_NEAR(w[2], 0.0, 1e-4) << "ground";
        } else if (isBrightness(point.intensity, 0.85, 0.15, 0.15)) {
            // The box: 0.1 m cube centred at (0.55, -0.35, 0.05).
            EXPECT_LE(std::abs(w[0] - 0.55), 0.05 + 1e-4);
            EXPECT_LE(std::abs(w[1] + 0.35), 0.05 + 1e-4);
            EXPECT_LE(std::abs(w[2] - 0.05), 0.05 + 1e-4);
        } else if (isBrightness(point.intensity, 0.15, 0.3, 0.9)) {
            // The ball: radius 0.06 about (0.5, 0.4, 0.06).
            EXPECT_NEAR(lengthOf({w[0] - 0.5, w[1] - 0.4, w[2] - 0.06}), 0.06, 1e-4);
        } else if (isBrightness(point.intensity, 0.2, 0.75, 0.3)) {
            // The can: radius 0.04, half-height 0.08, about (-0.45, -0.5, 0.08).
            EXPECT_LE(std::hypot(w[0] + 0.45, w[1] + 0.5), 0.04 + 1e-4);
            EXPECT_LE(std::abs(w[2] - 0.08), 0.08 + 1e-4);
        } else if (isBrightness(point.intensity, 0.95, 0.55, 0.1)) {
            // The upright arm: capsules along z at the origin and along x at 0.7 m.
            EXPECT_LE(std::abs(w[1]), 0.04 + 1e-4);
            EXPECT_GT(w[2], 0.25);
            EXPECT_LT(w[2], 0.75);
        } else {
            continue;
        }
        ++checked;
    }
    EXPECT_GT(checked, 2800);
}

TEST(LidarScan, PointsLieAlongTheirBeamsRowAfterRow) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    const LidarPattern pattern = armPattern();
    qor::ref_ptr<Lidar> lidar =
        new Lidar(*simulation, "lidar_mount", pattern,
                  {RtOutput::RING_U16, RtOutput::PADDING_2, RtOutput::XYZ_VEC3_F32,
                   RtOutput::RANGE_F32, RtOutput::INTENSITY_F32});
    lidar->scan();
    const std::vector<Point> points = pointsOf(*lidar->getOutput());
    ASSERT_EQ(lidar->getOutput()->getSynchronizedData().elementSize, 24U);
    const qorSensorTest::Frame mount = qorSensorTest::lidarMount();
    for (unsigned int row = 0; row < pattern.rows; ++row) {
        for (unsigned int column = 0; column < pattern.columns; ++column) {
            const Point& point = points[row * pattern.columns + column];
            ASSERT_EQ(point.ring, row);
            if (!point.hit) {
                EXPECT_EQ(point.range, std::numeric_limits<float>::infinity());
                continue;
            }
            const Vec3 beam = beamDirection(pattern, row, column);
            const double range = lengthOf(point.position);
            EXPECT_NEAR(point.range, range, 1e-5);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                ASSERT_NEAR(point.position[axis] / range, beam[axis], 1e-6) << row << "," << column;
            }
            // Nothing lies beyond the ground, 1 m below the mount.
            const Vec3 down = mount.directionToWorld(beam);
            ASSERT_LT(down[2], 0.0);
            EXPECT_LE(range, 1.0 / -down[2] + 1e-4) << row << "," << column;
        }
    }
}

// Holds every joint of the arm in place, the rail at railPosition; returns the rail.
qor::ref_ptr<qor::Constraint1DOF> holdArm(
    qorSDK::Simulation& simulation, double railPosition,
    std::vector<qor::ref_ptr<qor::Constraint1DOF>>& constraints) {
    qor::ref_ptr<qor::Constraint1DOF> rail;
    for (const std::string& name : simulation.getJointNames()) {
        constraints.push_back(simulation.createConstraint(name));
        simulation.add(constraints.back().get());
        constraints.back()->getLock1D()->setPosition(name == "rail" ? railPosition : 0.0);
        constraints.back()->getLock1D()->setEnabled(true);
        rail = name == "rail" ? constraints.back() : rail;
    }
    return rail;
}

// The mean x, in the world, of the points on the arm's orange links.
double armCentreX(const Lidar& lidar) {
    const qorSensorTest::Frame mount = qorSensorTest::lidarMount();
    double sum = 0.0;
    int count = 0;
    for (const Point& point : pointsOf(*lidar.getOutput())) {
        if (point.hit && isBrightness(point.intensity, 0.95, 0.55, 0.1)) {
            sum += mount.toWorld(point.position)[0];
            ++count;
        }
    }
    EXPECT_GT(count, 20);
    return sum / count;
}

TEST(LidarScan, FollowsTheArmAsTheSimulationMovesIt) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    std::vector<qor::ref_ptr<qor::Constraint1DOF>> constraints;
    qor::ref_ptr<qor::Constraint1DOF> rail = holdArm(*simulation, 0.0, constraints);
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "lidar_mount", armPattern());
    simulation->stepForward();
    lidar->scan();
    const double before = armCentreX(*lidar);

    rail->getLock1D()->setPosition(0.3);
    for (int step = 0; step < 50; ++step) {
        simulation->stepForward();
    }
    ASSERT_NEAR(rail->getAngle(), 0.3, 1e-6);
    lidar->scan();
    EXPECT_NEAR(armCentreX(*lidar) - before, 0.3, 0.05);
}

TEST(LidarScan, RepeatsItselfOnAnUnchangedScene) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "lidar_mount", LidarPattern{});
    lidar->scan();
    const RtOutput::SynchronizedData first = lidar->getOutput()->getSynchronizedData();
    const std::vector<std::uint8_t> bytes(first.data, first.data + first.elementCount * 20);
    lidar->scan();
    const RtOutput::SynchronizedData second = lidar->getOutput()->getSynchronizedData();
    ASSERT_EQ(second.elementCount, 16U * 1024U);
    EXPECT_EQ(std::vector<std::uint8_t>(second.data, second.data + second.elementCount * 20),
              bytes);
}

// A lidar on a post inside a square room: walls 1 m ahead (+x), 2 m to the left (+y), 3 m
// behind and 4 m to the right, all 2 m high; a cube on the lidar's own body around it.
const char* const kRoomScene = R"(
<mujoco model="room">
  <worldbody>
    <geom type="box" pos="1.05 0 1" size="0.05 5 1" rgba="1 0 0 1"/>
    <geom type="box" pos="0 2.05 1" size="5 0.05 1" rgba="0 1 0 1"/>
    <geom type="box" pos="-3.05 0 1" size="0.05 5 1" rgba="0 0 1 1"/>
    <geom type="box" pos="0 -4.05 1" size="5 0.05 1" rgba="1 1 1 1"/>
    <body name="post" pos="0 0 1">
      <geom type="box" size="0.2 0.2 0.2" rgba="0.5 0.5 0.5 1"/>
      <site name="eye" pos="0 0 0"/>
    </body>
    <site name="sky" pos="0 0 3" xyaxes="0 0 1 0 1 0"/>
  </worldbody>
</mujoco>)";

// A lidar on a post looking along +x at a large wall whose face lies 2 m ahead of it.
const char* const kWallScene = R"(
<mujoco model="wall">
  <worldbody>
    <geom type="box" pos="2.05 0 1" size="0.05 10 10" rgba="0.8 0.8 0.8 1"/>
    <body name="post" pos="0 0 1">
      <geom type="box" size="0.05 0.05 0.05" rgba="0.5 0.5 0.5 1"/>
      <site name="eye" pos="0 0 0"/>
    </body>
  </worldbody>
</mujoco>)";

TEST(LidarScan, WallAtTwoMetresGivesPointsTwoMetresAway) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(kWallScene);
    // A narrow fan about the axis: no beam is more than 0.01 rad off it, so every range is within
    // 2 / cos(0.01)^2 - 2 = 2e-4 m of 2 m.
    LidarPattern pattern = fan(5, 5, 0.02, 0.02);
    qor::ref_ptr<Lidar> lidar =
        new Lidar(*simulation, "eye", pattern,
                  {RtOutput::XYZ_VEC3_F32, RtOutput::RANGE_F32, RtOutput::RING_U16});
    lidar->scan();
    const std::vector<Point> points = pointsOf(*lidar->getOutput());
    ASSERT_EQ(points.size(), 25U);
    for (unsigned int row = 0; row < pattern.rows; ++row) {
        for (unsigned int column = 0; column < pattern.columns; ++column) {
            const Point& point = points[row * pattern.columns + column];
            ASSERT_TRUE(point.hit) << row << "," << column;
            EXPECT_EQ(point.ring, row);
            EXPECT_NEAR(point.range, 2.0, 1e-3) << row << "," << column;
            // The point lies on the wall's face, along its beam, at its range.
            const Vec3 beam = beamDirection(pattern, row, column);
            EXPECT_NEAR(point.position[0], 2.0, 1e-4) << row << "," << column;
            EXPECT_NEAR(point.range, 2.0 / beam[0], 1e-4) << row << "," << column;
            EXPECT_NEAR(lengthOf(point.position), point.range, 1e-5) << row << "," << column;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                EXPECT_NEAR(point.position[axis], static_cast<double>(point.range) * beam[axis],
                            1e-5)
                    << row << "," << column << " axis " << axis;
            }
        }
    }
    // The middle beam looks straight ahead: (2, 0, 0). The top-left one looks up and to the left.
    const Point& middle = points[2 * pattern.columns + 2];
    EXPECT_NEAR(middle.position[1], 0.0, 1e-5);
    EXPECT_NEAR(middle.position[2], 0.0, 1e-5);
    EXPECT_GT(points[0].position[1], 0.015);
    EXPECT_GT(points[0].position[2], 0.015);
}

TEST(LidarScan, AFullTurnSpacesItsColumnsEvenlyAndIgnoresItsOwnMount) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(kRoomScene);
    LidarPattern pattern = fan(1, 4, 0.0, 2.0 * kPi);
    qor::ref_ptr<Lidar> lidar =
        new Lidar(*simulation, "eye", pattern, {RtOutput::RANGE_F32, RtOutput::XYZ_VEC3_F32});
    lidar->scan();
    const std::vector<Point> points = pointsOf(*lidar->getOutput());
    ASSERT_EQ(points.size(), 4U);
    // Columns at azimuths 180, 90, 0 and -90 degrees: behind, left, ahead, right. The cube
    // around the eye belongs to its body and is not seen.
    const float expected[4] = {3.0F, 2.0F, 1.0F, 4.0F};
    for (std::size_t i = 0; i < 4; ++i) {
        ASSERT_TRUE(points[i].hit) << i;
        EXPECT_NEAR(points[i].range, expected[i], 1e-5) << i;
    }
    EXPECT_NEAR(points[1].position[1], 2.0, 1e-5);
    EXPECT_NEAR(points[3].position[1], -4.0, 1e-5);
}

TEST(LidarScan, ABeamThatHitsNothingIsNoReturn) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(kRoomScene);
    // "sky" looks straight up, over the walls.
    LidarPattern pattern = fan(3, 3, 0.2, 0.2);
    qor::ref_ptr<Lidar> lidar =
        new Lidar(*simulation, "sky", pattern,
                  {RtOutput::XYZ_VEC3_F32, RtOutput::INTENSITY_F32, RtOutput::RANGE_F32});
    lidar->scan();
    for (const Point& point : pointsOf(*lidar->getOutput())) {
        EXPECT_TRUE(std::isnan(point.position[0]));
        EXPECT_TRUE(std::isnan(point.position[1]));
        EXPECT_TRUE(std::isnan(point.position[2]));
        EXPECT_EQ(point.intensity, 0.0F);
        EXPECT_EQ(point.range, std::numeric_limits<float>::infinity());
    }
}

TEST(LidarScan, HitsOutsideTheRangesAreNoReturn) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSDK::Simulation::createFromString(kRoomScene);
    LidarPattern pattern = fan(1, 4, 0.0, 2.0 * kPi);
    pattern.minRange = 1.5;
    pattern.maxRange = 3.5;
    qor::ref_ptr<Lidar> lidar =
        new Lidar(*simulation, "eye", pattern, {RtOutput::RANGE_F32, RtOutput::XYZ_VEC3_F32});
    lidar->scan();
    const std::vector<Point> points = pointsOf(*lidar->getOutput());
    EXPECT_TRUE(points[0].hit);   // 3 m
    EXPECT_TRUE(points[1].hit);   // 2 m
    EXPECT_FALSE(points[2].hit);  // 1 m is too near
    EXPECT_FALSE(points[3].hit);  // 4 m is too far
    EXPECT_EQ(points[2].range, std::numeric_limits<float>::infinity());
}

TEST(LidarScan, RefusesWhatItCannotScan) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    const auto make = [&](const std::string& site, const LidarPattern& pattern,
                          std::vector<RtOutput::Field> fields) {
        const qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, site, pattern, std::move(fields));
    };
    const std::vector<RtOutput::Field> fields = Lidar::getDefaultFields();
    expectInvalidArgument([&] { make("nope", LidarPattern{}, fields); },
                          "Lidar: model 'arm' has no site named 'nope'");
    LidarPattern noRows;
    noRows.rows = 0;
    expectInvalidArgument([&] { make("lidar_mount", noRows, fields); },
                          "Lidar at site 'lidar_mount': a pattern of 0 rows and 1024 columns has "
                          "no beam");
    LidarPattern negative;
    negative.verticalFieldOfView = -0.1;
    expectInvalidArgument([&] { make("lidar_mount", negative, fields); },
                          "Lidar at site 'lidar_mount': the fields of view must be finite and not "
                          "negative");
    LidarPattern crossed;
    crossed.minRange = 5.0;
    crossed.maxRange = 1.0;
    expectInvalidArgument([&] { make("lidar_mount", crossed, fields); },
                          "Lidar at site 'lidar_mount': the ranges must satisfy 0 <= min <= max");
    expectInvalidArgument(
        [&] { make("lidar_mount", LidarPattern{}, {static_cast<RtOutput::Field>(0x00100007)}); },
        "Lidar at site 'lidar_mount': cannot fill field 1048583; a lidar writes XYZ_VEC3_F32, "
        "INTENSITY_F32, RANGE_F32, RING_U16 and padding");
}

TEST(LidarScan, WritesPositionPaddingAndIntensityUnlessToldOtherwise) {
    EXPECT_EQ(Lidar::getDefaultFields(),
              (std::vector<RtOutput::Field>{RtOutput::XYZ_VEC3_F32, RtOutput::PADDING_4,
                                            RtOutput::INTENSITY_F32}));
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "lidar_mount", LidarPattern{});
    EXPECT_EQ(lidar->getSiteName(), "lidar_mount");
    EXPECT_EQ(lidar->getPattern().columns, 1024U);
    EXPECT_EQ(lidar->getOutput()->getElementSize(), 20U);
    EXPECT_EQ(lidar->getOutput()->getSynchronizedData().elementCount, 0U);
    lidar->scan();
    const RtOutput::SynchronizedData data = lidar->getOutput()->getSynchronizedData();
    ASSERT_EQ(data.elementCount, 16U * 1024U);
    // The padding bytes are zero.
    for (std::size_t i = 0; i < data.elementCount; ++i) {
        std::uint32_t padding = 1;
        std::memcpy(&padding, data.data + i * 20 + 12, 4);
        ASSERT_EQ(padding, 0U) << i;
    }
}

// Not a limit, a measurement: the time lands in the test's XML report and on the console.
TEST(LidarScan, MeasuresScanTimes) {
    qor::ref_ptr<qorSDK::Simulation> simulation = qorSensorTest::armScene();
    qor::ref_ptr<Lidar> lidar = new Lidar(*simulation, "lidar_mount", LidarPattern{});
    lidar->scan();
    std::vector<double> times;
    for (int i = 0; i < 9; ++i) {
        const auto start = std::chrono::steady_clock::now();
        lidar->scan();
        times.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
    }
    std::sort(times.begin(), times.end());
    RecordProperty("scan_16x1024_ms", std::to_string(times[4]));
    std::printf("scan_16x1024_ms median %.2f\n", times[4]);
    EXPECT_EQ(lidar->getOutput()->getSynchronizedData().elementCount, 16U * 1024U);
}

}  // namespace
