#include "qorROS2/ROS2Conventions.h"

#include <cstdint>
#include <string>
#include <utility>

#include "qorROS2/ROS2Util.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/CameraModel.h"
#include "qorSensor/LensDistortionBrownConrady.h"

namespace qorROS2 {

sensorMsgs::CameraInfo convertCameraInfoForRos(qorSensor::CameraModel* model, double timeStamp,
                                               std::string frameId) {
    sensorMsgs::CameraInfo info = convertCameraInfo(model, timeStamp, std::move(frameId));
    auto* lens = dynamic_cast<qorSensor::CameraLensSingleElement*>(model->getLens());
    auto* sensor = dynamic_cast<qorSensor::CameraCMOSSensor*>(model->getPhotodetector());
    if (lens == nullptr || sensor == nullptr || info.width == 0 || info.height == 0) {
        // ROS's mark of an uncalibrated camera: clients take k[0] == 0 to mean exactly that.
        info.width = 0;
        info.height = 0;
        info.k = {};
        info.r = {};
        info.p = {};
        info.d.clear();
        info.distortion_model.clear();
        return info;
    }

    qorSensor::LensDistortion* distortion = lens->getDistortion();
    if (distortion == nullptr) {
        // Named, with zero coefficients: image_geometry reads an empty model as an unknown
        // distortion and refuses to rectify.
        info.distortion_model = "plumb_bob";
        info.d = {0.0, 0.0, 0.0, 0.0, 0.0};
    } else if (dynamic_cast<qorSensor::LensDistortionBrownConrady*>(distortion) != nullptr) {
        info.distortion_model = "plumb_bob";  // the converter's d, in the same order
    }

    // ROS numbers a pixel by its centre, so the centre of a w-pixel row lies at (w - 1) / 2. The
    // platform's cameras render a symmetric frustum with square pixels: one focal length, on
    // the optical axis.
    const double f = lens->getFocalLength();
    const double cx = (static_cast<double>(info.width) - 1.0) / 2.0;
    const double cy = (static_cast<double>(info.height) - 1.0) / 2.0;
    info.k = {f, 0.0, cx, 0.0, f, cy, 0.0, 0.0, 1.0};
    // A monocular camera: no rectification, and P's left 3x3 is K.
    info.r = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    info.p = {f, 0.0, cx, 0.0, 0.0, f, cy, 0.0, 0.0, 0.0, 1.0, 0.0};
    return info;
}

sensorMsgs::PointCloud2 convertLidarOutputForRos(qorSensor::RtOutput* output, double timeStamp,
                                                 std::string frameId, bool isDense,
                                                 unsigned int rowCount) {
    sensorMsgs::PointCloud2 cloud =
        convertLidarOutput(output, timeStamp, std::move(frameId), isDense, rowCount);
    cloud.row_step =
        static_cast<std::uint32_t>(static_cast<std::uint64_t>(cloud.point_step) * cloud.width);
    return cloud;
}

}  // namespace qorROS2
