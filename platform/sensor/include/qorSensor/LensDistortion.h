#pragma once

#include "qor/Referenced.h"

namespace qorSensor {

// How a lens bends straight lines. Distortion models derive from it (LensDistortionBrownConrady);
// users of a lens tell them apart by their run-time type.
class LensDistortion : public qor::Referenced {
  protected:
    LensDistortion() noexcept = default;
    ~LensDistortion() override;
};

}  // namespace qorSensor
