#pragma once

// The sensor messages as ROS 2 tools read them. The converters of ROS2Util.h keep their own
// conventions (a camera's focal length as its lens gives it with the principal point at (0, 0),
// a cloud's point count in row_step); image_geometry, image_proc, rviz2's Camera display and
// PCL's fromROSMsg read sensor_msgs' own: K and P in pixels about the principal point, row_step
// in bytes. These build the same records from the same sensors, with those fields as ROS 2
// defines them. Like the converters, they keep nothing, never log and never publish.

#include <string>

#include "qorROS2/Export.h"
#include "qorROS2/sensorMsgs.h"

namespace qorSensor {
class CameraModel;
class RtOutput;
}  // namespace qorSensor

namespace qorROS2 {

/// convertCameraInfo's record for `model` in ROS's pinhole convention. For a single-element
/// lens on a CMOS sensor of w × h pixels, with f the lens's focal length (in pixels, as this
/// platform's cameras give it): k = [f 0 cx; 0 f cy; 0 0 1] and p = [f 0 cx 0; 0 f cy 0;
/// 0 0 1 0] with the principal point (cx, cy) = ((w - 1) / 2, (h - 1) / 2), the image centre in
/// ROS's pixel coordinates; r the identity; "plumb_bob" with d = [k1, k2, p1, p2, k3] for a
/// Brown–Conrady distortion and five zeros for none; for a distortion ROS has no model for,
/// distortion_model and d stay empty (ROS tools then refuse to rectify). Any other camera, and a
/// sensor without pixels, is uncalibrated as ROS marks it: k, r, p zero, d and distortion_model
/// empty, size 0.
/// `model` must not be null.
QORROS2_EXPORT sensorMsgs::CameraInfo convertCameraInfoForRos(qorSensor::CameraModel* model,
                                                              double timeStamp,
                                                              std::string frameId);

/// convertLidarOutput's cloud with `row_step` as ROS defines it: the bytes of one row,
/// `point_step` × `width`. Every other field is the converter's.
QORROS2_EXPORT sensorMsgs::PointCloud2 convertLidarOutputForRos(qorSensor::RtOutput* output,
                                                                double timeStamp,
                                                                std::string frameId, bool isDense,
                                                                unsigned int rowCount);

}  // namespace qorROS2
