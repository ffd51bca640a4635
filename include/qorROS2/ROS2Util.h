#pragma once

// Conversions of the simulation's sensor outputs into ROS 2 sensor messages, for the application
// to publish through its own Publisher. They keep nothing between calls, never log and never
// publish; each call builds a new record. Every stamp truncates the simulation time (see
// toSensorStamp), where the step listeners round it.

#include <string>

#include "qorROS2/Export.h"
#include "qorROS2/sensorMsgs.h"

namespace qorSensor {
class CameraColorOutput;
class CameraModel;
class RtOutput;
}  // namespace qorSensor

namespace qorROS2 {

/// Copies the current image of `output` into an `Image` stamped with `timeStamp` (seconds,
/// truncated to the nanosecond) in frame `frameId`: width and height from its resolution, the
/// ROS 2 encoding named after its channel count, channel type and colour mapping ("rgb8",
/// "bgr8", "mono16", "bayer_rggb8", ... or a generic name such as "32F3"; empty without a channel
/// type), `is_bigendian` 0, rows packed without padding (`step` = element size × width) and the
/// leading element size × width × height bytes of its pixels, unchanged. `output` must not be
/// null.
QORROS2_EXPORT sensorMsgs::Image convertCameraOutput(qorSensor::CameraColorOutput* output,
                                                     double timeStamp, std::string frameId);

/// Describes `model` as a `CameraInfo` stamped with `timeStamp` in frame `frameId`. For a
/// single-element lens on a CMOS sensor: the sensor's size, k = [f 0 0; 0 f 0; 0 0 1] and
/// p = [f 0 0 0; 0 f 0 0; 0 0 1 0] with f the lens's focal length as it stands, r the identity,
/// binning 1 and 1, and for a Brown–Conrady distortion the model "plump_bob" with d = [k1, k2,
/// p1, p2, k3]. For any other make-up only the header is filled: size and binning stay 0.
/// `model` must not be null.
QORROS2_EXPORT sensorMsgs::CameraInfo convertCameraInfo(qorSensor::CameraModel* model,
                                                        double timeStamp, std::string frameId);

/// Turns the points of `output` into a `PointCloud2` stamped with `timeStamp` in frame `frameId`:
/// one `PointField` of count 1 per element of every field that is not padding, at its offset in
/// the point, and the points' bytes unchanged. With `isDense` the cloud is one row of all points;
/// otherwise `rowCount` rows of point count / `rowCount` points (none when `rowCount` is 0).
/// `row_step` holds the point count of the whole cloud. A null `output` gives the header and the
/// shape only.
QORROS2_EXPORT sensorMsgs::PointCloud2 convertLidarOutput(qorSensor::RtOutput* output,
                                                          double timeStamp, std::string frameId,
                                                          bool isDense, unsigned int rowCount);

}  // namespace qorROS2
