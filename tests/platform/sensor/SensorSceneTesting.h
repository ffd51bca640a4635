#pragma once

// Shared by the tests that render and cast rays in real scenes: the bundled arm scene, pixel
// access, and the pose of the arm's lidar mount as its MJCF states it.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "qor/ref_ptr.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/CameraColorOutput.h"

namespace qorSensorTest {

// Whatever the caller's session, these tests run without a display: a camera must not need one.
class NoDisplay : public ::testing::Environment {
  public:
    void SetUp() override {
        unsetenv("DISPLAY");
        unsetenv("WAYLAND_DISPLAY");
    }
};

inline qor::ref_ptr<qorSDK::Simulation> armScene() {
    return qorSDK::Simulation::createFromFile(QOR_ARM_SCENE);
}

using Vec3 = std::array<double, 3>;

inline Vec3 normalised(const Vec3& v) {
    const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return {v[0] / length, v[1] / length, v[2] / length};
}

inline Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// A frame in the world: origin and the directions of its x, y and z axes.
struct Frame {
    Vec3 origin;
    Vec3 x;
    Vec3 y;
    Vec3 z;

    Vec3 toWorld(const Vec3& local) const {
        Vec3 world = origin;
        for (std::size_t i = 0; i < 3; ++i) {
            world[i] += x[i] * local[0] + y[i] * local[1] + z[i] * local[2];
        }
        return world;
    }

    Vec3 directionToWorld(const Vec3& local) const {
        return {x[0] * local[0] + y[0] * local[1] + z[0] * local[2],
                x[1] * local[0] + y[1] * local[1] + z[1] * local[2],
                x[2] * local[0] + y[2] * local[1] + z[2] * local[2]};
    }
};

// The site "lidar_mount" of arm.xml: 1 m above the mast's foot at (-0.9, 0.9, 0), its axes
// given by xyaxes="0.664 -0.664 -0.342 0.707 0.707 0" (both already orthogonal).
inline Frame lidarMount() {
    const Vec3 x = normalised({0.664, -0.664, -0.342});
    const Vec3 y = normalised({0.707, 0.707, 0.0});
    return {{-0.9, 0.9, 1.0}, x, y, cross(x, y)};
}

// One pixel of an 8-bit, three-channel output.
struct Rgb {
    int r;
    int g;
    int b;
};

inline Rgb pixelAt(const qorSensor::CameraColorOutput& output, std::int64_t x, std::int64_t y) {
    const std::uint8_t* p =
        output.getData().data + 3 * static_cast<std::size_t>(y * output.getResolution().width + x);
    return {p[0], p[1], p[2]};
}

// The mean colour of rows [first, last).
inline std::array<double, 3> meanOfRows(const qorSensor::CameraColorOutput& output,
                                        std::int64_t first, std::int64_t last) {
    std::array<double, 3> sum{};
    const std::int64_t width = output.getResolution().width;
    for (std::int64_t y = first; y < last; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            const Rgb p = pixelAt(output, x, y);
            sum[0] += p.r;
            sum[1] += p.g;
            sum[2] += p.b;
        }
    }
    const auto count = static_cast<double>((last - first) * width);
    return {sum[0] / count, sum[1] / count, sum[2] / count};
}

inline std::vector<std::uint8_t> bytesOf(const qorSensor::CameraColorOutput& output) {
    const qorSensor::CameraColorOutput::Buffer buffer = output.getData();
    return {buffer.data, buffer.data + buffer.size};
}

// The angles of the joints, read through constraints bound to them (not added to the solve).
inline std::vector<double> jointAngles(qorSDK::Simulation& simulation) {
    std::vector<double> angles;
    for (const std::string& name : simulation.getJointNames()) {
        angles.push_back(simulation.createConstraint(name)->getAngle());
    }
    return angles;
}

}  // namespace qorSensorTest
