#include "qorSensor/CameraLens.h"

namespace qorSensor {

// Defined here so that the type's run-time information lives in this library alone.
CameraLens::~CameraLens() = default;

}  // namespace qorSensor
