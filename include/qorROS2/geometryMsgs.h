#pragma once

// Records of the ROS 2 package geometry_msgs.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/stdMsgs.h"

namespace qorROS2::geometryMsgs {

/// A direction and magnitude in free space.
struct Vector3 {
    double x;  ///< x component
    double y;  ///< y component
    double z;  ///< z component
};

/// A position in free space.
struct Point {
    double x;  ///< x coordinate
    double y;  ///< y coordinate
    double z;  ///< z coordinate
};

/// A position in free space in single precision, for large collections of points.
struct Point32 {
    float x;  ///< x coordinate
    float y;  ///< y coordinate
    float z;  ///< z coordinate
};

/// An orientation as a quaternion. A default record is all zero, not the identity rotation.
struct Quaternion {
    double x;  ///< x of the vector part
    double y;  ///< y of the vector part
    double z;  ///< z of the vector part
    double w;  ///< scalar part
};

/// A position and heading in the plane.
struct Pose2D {
    double x;      ///< x coordinate
    double y;      ///< y coordinate
    double theta;  ///< heading about the z axis, in radians
};

/// A position and orientation in free space.
struct Pose {
    Point position;          ///< where the origin is
    Quaternion orientation;  ///< how the axes are turned
};

/// The transform from one coordinate frame to another.
struct Transform {
    Vector3 translation;  ///< the offset of the child frame's origin
    Quaternion rotation;  ///< the orientation of the child frame
};

/// Linear and angular acceleration.
struct Accel {
    Vector3 linear;   ///< linear acceleration
    Vector3 angular;  ///< angular acceleration
};

/// Linear and angular velocity.
struct Twist {
    Vector3 linear;   ///< linear velocity
    Vector3 angular;  ///< angular velocity
};

/// A force and a torque acting on a body.
struct Wrench {
    Vector3 force;   ///< the force
    Vector3 torque;  ///< the torque
};

/// Mass, centre of mass and inertia tensor of a body.
struct Inertia {
    double m;     ///< mass, in kg
    Vector3 com;  ///< centre of mass, in m
    double ixx;   ///< inertia tensor element xx, in kg m^2
    double ixy;   ///< inertia tensor element xy
    double ixz;   ///< inertia tensor element xz
    double iyy;   ///< inertia tensor element yy
    double iyz;   ///< inertia tensor element yz
    double izz;   ///< inertia tensor element zz
};

/// A closed polygon given by its corners.
struct Polygon {
    std::vector<Point32> points;  ///< the corners, in order
};

/// A set of poses sharing one frame.
struct PoseArray {
    stdMsgs::Header header;   ///< stamp and frame of the poses
    std::vector<Pose> poses;  ///< the poses
};

/// An acceleration with its uncertainty.
struct AccelWithCovariance {
    Accel accel;                        ///< the acceleration
    std::array<double, 36> covariance;  ///< 6x6 row-major covariance of (x, y, z, rx, ry, rz)
};

/// A pose with its uncertainty.
struct PoseWithCovariance {
    Pose pose;                          ///< the pose
    std::array<double, 36> covariance;  ///< 6x6 row-major covariance of (x, y, z, rx, ry, rz)
};

/// A velocity with its uncertainty.
struct TwistWithCovariance {
    Twist twist;                        ///< the velocity
    std::array<double, 36> covariance;  ///< 6x6 row-major covariance of (x, y, z, rx, ry, rz)
};

/// An acceleration with stamp and frame.
struct AccelStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Accel accel;             ///< the acceleration
};

/// An acceleration with its uncertainty, stamp and frame.
struct AccelWithCovarianceStamped {
    stdMsgs::Header header;     ///< stamp and frame
    AccelWithCovariance accel;  ///< the acceleration and its uncertainty
};

/// Inertial properties with stamp and frame.
struct InertiaStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Inertia inertia;         ///< the inertial properties
};

/// A point with stamp and frame.
struct PointStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Point point;             ///< the point
};

/// A polygon with stamp and frame.
struct PolygonStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Polygon polygon;         ///< the polygon
};

/// A pose with stamp and frame.
struct PoseStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Pose pose;               ///< the pose
};

/// A pose with its uncertainty, stamp and frame.
struct PoseWithCovarianceStamped {
    stdMsgs::Header header;   ///< stamp and frame
    PoseWithCovariance pose;  ///< the pose and its uncertainty
};

/// An orientation with stamp and frame.
struct QuaternionStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Quaternion quaternion;   ///< the orientation
};

/// A transform from the header's frame to a child frame, at the header's time.
struct TransformStamped {
    stdMsgs::Header header;      ///< stamp and parent frame
    std::string child_frame_id;  ///< the frame the transform leads to
    Transform transform;         ///< the transform from parent to child
};

/// A velocity with stamp and frame.
struct TwistStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Twist twist;             ///< the velocity
};

/// A velocity with its uncertainty, stamp and frame.
struct TwistWithCovarianceStamped {
    stdMsgs::Header header;     ///< stamp and frame
    TwistWithCovariance twist;  ///< the velocity and its uncertainty
};

/// A vector with stamp and frame.
struct Vector3Stamped {
    stdMsgs::Header header;  ///< stamp and frame
    Vector3 vector;          ///< the vector
};

/// A force and torque with stamp and frame.
struct WrenchStamped {
    stdMsgs::Header header;  ///< stamp and frame
    Wrench wrench;           ///< the force and torque
};

}  // namespace qorROS2::geometryMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Vector3, "geometry_msgs", QORROS2_FIELD(x), QORROS2_FIELD(y),
                         QORROS2_FIELD(z));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Point, "geometry_msgs", QORROS2_FIELD(x), QORROS2_FIELD(y),
                         QORROS2_FIELD(z));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Point32, "geometry_msgs", QORROS2_FIELD(x), QORROS2_FIELD(y),
                         QORROS2_FIELD(z));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Quaternion, "geometry_msgs", QORROS2_FIELD(x),
                         QORROS2_FIELD(y), QORROS2_FIELD(z), QORROS2_FIELD(w));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Pose2D, "geometry_msgs", QORROS2_FIELD(x), QORROS2_FIELD(y),
                         QORROS2_FIELD(theta));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Pose, "geometry_msgs", QORROS2_FIELD(position),
                         QORROS2_FIELD(orientation));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Transform, "geometry_msgs", QORROS2_FIELD(translation),
                         QORROS2_FIELD(rotation));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Accel, "geometry_msgs", QORROS2_FIELD(linear),
                         QORROS2_FIELD(angular));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Twist, "geometry_msgs", QORROS2_FIELD(linear),
                         QORROS2_FIELD(angular));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Wrench, "geometry_msgs", QORROS2_FIELD(force),
                         QORROS2_FIELD(torque));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Inertia, "geometry_msgs", QORROS2_FIELD(m),
                         QORROS2_FIELD(com), QORROS2_FIELD(ixx), QORROS2_FIELD(ixy),
                         QORROS2_FIELD(ixz), QORROS2_FIELD(iyy), QORROS2_FIELD(iyz),
                         QORROS2_FIELD(izz));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Polygon, "geometry_msgs", QORROS2_FIELD(points));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, PoseArray, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(poses));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, AccelWithCovariance, "geometry_msgs", QORROS2_FIELD(accel),
                         QORROS2_FIELD(covariance));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, PoseWithCovariance, "geometry_msgs", QORROS2_FIELD(pose),
                         QORROS2_FIELD(covariance));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, TwistWithCovariance, "geometry_msgs", QORROS2_FIELD(twist),
                         QORROS2_FIELD(covariance));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, AccelStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(accel));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, AccelWithCovarianceStamped, "geometry_msgs",
                         QORROS2_FIELD(header), QORROS2_FIELD(accel));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, InertiaStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(inertia));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, PointStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(point));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, PolygonStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(polygon));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, PoseStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(pose));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, PoseWithCovarianceStamped, "geometry_msgs",
                         QORROS2_FIELD(header), QORROS2_FIELD(pose));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, QuaternionStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(quaternion));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, TransformStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(child_frame_id), QORROS2_FIELD(transform));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, TwistStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(twist));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, TwistWithCovarianceStamped, "geometry_msgs",
                         QORROS2_FIELD(header), QORROS2_FIELD(twist));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, Vector3Stamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(vector));
QORROS2_DESCRIBE_MESSAGE(geometryMsgs, WrenchStamped, "geometry_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(wrench));

}  // namespace qorROS2
