#include "qorSensor/LensDistortion.h"

namespace qorSensor {

// Defined here so that the type's run-time information lives in this library alone.
LensDistortion::~LensDistortion() = default;

}  // namespace qorSensor
