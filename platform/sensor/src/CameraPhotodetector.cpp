#include "qorSensor/CameraPhotodetector.h"

namespace qorSensor {

// Defined here so that the type's run-time information lives in this library alone.
CameraPhotodetector::~CameraPhotodetector() = default;

}  // namespace qorSensor
