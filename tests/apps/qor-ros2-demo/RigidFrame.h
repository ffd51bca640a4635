#pragma once

// Rigid frames for the kinematics checks: a rotation matrix and a translation, composed the way
// a kinematic chain composes its origins and joint motions. Written here rather than taken from
// the parser or the physics engine, so that the check does not trust either's composition.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace qorDemoTest {

using Vec3 = std::array<double, 3>;
/// Row-major 3x3; its columns are the frame's axes in the parent frame.
using Mat3 = std::array<double, 9>;

struct RigidFrame {
    Mat3 rotation{1, 0, 0, 0, 1, 0, 0, 0, 1};
    Vec3 translation{0, 0, 0};
};

inline Mat3 multiply(const Mat3& a, const Mat3& b) {
    Mat3 out{};
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t k = 0; k < 3; ++k) {
                out[3 * r + c] += a[3 * r + k] * b[3 * k + c];
            }
        }
    }
    return out;
}

inline Vec3 apply(const Mat3& m, const Vec3& v) {
    return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
            m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

inline Mat3 transpose(const Mat3& m) {
    return {m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]};
}

/// `child` given in `parent`'s frame, expressed in the frame `parent` is given in.
inline RigidFrame compose(const RigidFrame& parent, const RigidFrame& child) {
    RigidFrame out;
    out.rotation = multiply(parent.rotation, child.rotation);
    const Vec3 moved = apply(parent.rotation, child.translation);
    for (std::size_t i = 0; i < 3; ++i) {
        out.translation[i] = parent.translation[i] + moved[i];
    }
    return out;
}

/// The rotation of the unit quaternion (w, x, y, z).
inline Mat3 fromQuaternion(double w, double x, double y, double z) {
    return {1 - 2 * (y * y + z * z), 2 * (x * y - w * z),     2 * (x * z + w * y),
            2 * (x * y + w * z),     1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
            2 * (x * z - w * y),     2 * (y * z + w * x),     1 - 2 * (x * x + y * y)};
}

/// The rotation by `angle` about the unit `axis` (Rodrigues).
inline Mat3 fromAxisAngle(const Vec3& axis, double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double t = 1 - c;
    const double x = axis[0];
    const double y = axis[1];
    const double z = axis[2];
    return {t * x * x + c,     t * x * y - s * z, t * x * z + s * y,
            t * x * y + s * z, t * y * y + c,     t * y * z - s * x,
            t * x * z - s * y, t * y * z + s * x, t * z * z + c};
}

/// The angle of the rotation that takes `a` to `b`, accurate for small angles too.
inline double angleBetween(const Mat3& a, const Mat3& b) {
    double squares = 0.0;
    for (std::size_t i = 0; i < 9; ++i) {
        squares += (a[i] - b[i]) * (a[i] - b[i]);
    }
    // ||A - B||_F = 2 sqrt(2) sin(angle / 2)
    return 2.0 * std::asin(std::min(1.0, std::sqrt(squares) / (2.0 * std::sqrt(2.0))));
}

inline double distance(const Vec3& a, const Vec3& b) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                     (a[2] - b[2]) * (a[2] - b[2]));
}

}  // namespace qorDemoTest
