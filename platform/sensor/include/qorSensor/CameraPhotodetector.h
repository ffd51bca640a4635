#pragma once

#include "qor/Referenced.h"

namespace qorSensor {

// The light-sensitive part of a camera. Kinds of photodetector derive from it (CameraCMOSSensor);
// users of a camera model tell them apart by their run-time type.
class CameraPhotodetector : public qor::Referenced {
  protected:
    CameraPhotodetector() noexcept = default;
    ~CameraPhotodetector() override;
};

}  // namespace qorSensor
