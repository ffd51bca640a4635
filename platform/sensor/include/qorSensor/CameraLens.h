#pragma once

#include "qor/Referenced.h"

namespace qorSensor {

// The optics of a camera. Kinds of lens derive from it (CameraLensSingleElement); users of a
// camera model tell them apart by their run-time type.
class CameraLens : public qor::Referenced {
  protected:
    CameraLens() noexcept = default;
    ~CameraLens() override;
};

}  // namespace qorSensor
