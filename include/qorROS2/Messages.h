#pragma once

// Every message record of the library, and the one list that names them all.

#include <cstddef>

#include "qorROS2/builtinInterfaces.h"
#include "qorROS2/geometryMsgs.h"
#include "qorROS2/qorMsgs.h"
#include "qorROS2/rosgraphMsgs.h"
#include "qorROS2/sensorMsgs.h"
#include "qorROS2/stdMsgs.h"

/// Expands `X(namespace, Name)` once for each of the 89 message records, by package and then by
/// name. Records that exist only inside others (stdMsgs::MultiArrayLayout,
/// stdMsgs::MultiArrayDimension) are not messages of their own and are not listed.
// clang-format off
#define QORROS2_FOR_EACH_MESSAGE(X) \
    X(builtinInterfaces, Duration) \
    X(builtinInterfaces, Time) \
    X(rosgraphMsgs, Clock) \
    X(stdMsgs, Bool) \
    X(stdMsgs, Byte) \
    X(stdMsgs, ByteMultiArray) \
    X(stdMsgs, Char) \
    X(stdMsgs, ColorRGBA) \
    X(stdMsgs, Empty) \
    X(stdMsgs, Float32) \
    X(stdMsgs, Float32MultiArray) \
    X(stdMsgs, Float64) \
    X(stdMsgs, Float64MultiArray) \
    X(stdMsgs, Header) \
    X(stdMsgs, Int16) \
    X(stdMsgs, Int16MultiArray) \
    X(stdMsgs, Int32) \
    X(stdMsgs, Int32MultiArray) \
    X(stdMsgs, Int64) \
    X(stdMsgs, Int64MultiArray) \
    X(stdMsgs, Int8) \
    X(stdMsgs, Int8MultiArray) \
    X(stdMsgs, String) \
    X(stdMsgs, UInt16) \
    X(stdMsgs, UInt16MultiArray) \
    X(stdMsgs, UInt32) \
    X(stdMsgs, UInt32MultiArray) \
    X(stdMsgs, UInt64) \
    X(stdMsgs, UInt64MultiArray) \
    X(stdMsgs, UInt8) \
    X(stdMsgs, UInt8MultiArray) \
    X(geometryMsgs, Accel) \
    X(geometryMsgs, AccelStamped) \
    X(geometryMsgs, AccelWithCovariance) \
    X(geometryMsgs, AccelWithCovarianceStamped) \
    X(geometryMsgs, Inertia) \
    X(geometryMsgs, InertiaStamped) \
    X(geometryMsgs, Point) \
    X(geometryMsgs, Point32) \
    X(geometryMsgs, PointStamped) \
    X(geometryMsgs, Polygon) \
    X(geometryMsgs, PolygonStamped) \
    X(geometryMsgs, Pose) \
    X(geometryMsgs, Pose2D) \
    X(geometryMsgs, PoseArray) \
    X(geometryMsgs, PoseStamped) \
    X(geometryMsgs, PoseWithCovariance) \
    X(geometryMsgs, PoseWithCovarianceStamped) \
    X(geometryMsgs, Quaternion) \
    X(geometryMsgs, QuaternionStamped) \
    X(geometryMsgs, Transform) \
    X(geometryMsgs, TransformStamped) \
    X(geometryMsgs, Twist) \
    X(geometryMsgs, TwistStamped) \
    X(geometryMsgs, TwistWithCovariance) \
    X(geometryMsgs, TwistWithCovarianceStamped) \
    X(geometryMsgs, Vector3) \
    X(geometryMsgs, Vector3Stamped) \
    X(geometryMsgs, Wrench) \
    X(geometryMsgs, WrenchStamped) \
    X(sensorMsgs, BatteryState) \
    X(sensorMsgs, CameraInfo) \
    X(sensorMsgs, ChannelFloat32) \
    X(sensorMsgs, CompressedImage) \
    X(sensorMsgs, FluidPressure) \
    X(sensorMsgs, Illuminance) \
    X(sensorMsgs, Image) \
    X(sensorMsgs, Imu) \
    X(sensorMsgs, JointState) \
    X(sensorMsgs, Joy) \
    X(sensorMsgs, JoyFeedback) \
    X(sensorMsgs, JoyFeedbackArray) \
    X(sensorMsgs, LaserEcho) \
    X(sensorMsgs, LaserScan) \
    X(sensorMsgs, MagneticField) \
    X(sensorMsgs, MultiDOFJointState) \
    X(sensorMsgs, MultiEchoLaserScan) \
    X(sensorMsgs, NavSatFix) \
    X(sensorMsgs, NavSatStatus) \
    X(sensorMsgs, PointCloud) \
    X(sensorMsgs, PointCloud2) \
    X(sensorMsgs, PointField) \
    X(sensorMsgs, Range) \
    X(sensorMsgs, RegionOfInterest) \
    X(sensorMsgs, RelativeHumidity) \
    X(sensorMsgs, Temperature) \
    X(sensorMsgs, TimeReference) \
    X(qorMsgs, Any) \
    X(qorMsgs, AnySequence)
// clang-format on

namespace qorROS2 {

/// A list of types, to walk the message records at compile time.
template <typename... Types>
struct TypeList {
    static constexpr std::size_t size = sizeof...(Types);
};

namespace detail {

struct ListStart;
template <typename List>
struct DropListStart;
template <typename... Types>
struct DropListStart<TypeList<ListStart, Types...>> {
    using type = TypeList<Types...>;
};

}  // namespace detail

#define QORROS2_DETAIL_COMMA_AND_TYPE(Namespace, Name) , Namespace::Name

/// The message records, in the order of QORROS2_FOR_EACH_MESSAGE.
using MessageRecords = typename detail::DropListStart<
    TypeList<detail::ListStart QORROS2_FOR_EACH_MESSAGE(QORROS2_DETAIL_COMMA_AND_TYPE)>>::type;

#undef QORROS2_DETAIL_COMMA_AND_TYPE

}  // namespace qorROS2
