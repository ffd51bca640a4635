#pragma once

#include "MujocoScene.h"

namespace qorSDK::detail {

// Forgets the warnings MuJoCo has counted in the scene's state, so that the next call of
// reportStepWarnings covers exactly the steps taken in between.
void clearStepWarnings(const MujocoScene& scene) noexcept;

// Logs, as one warning line each, the warnings MuJoCo counted since clearStepWarnings: what
// happened, to which joint, and whether MuJoCo reset the state. time is the simulation time at
// the end of the step. Logs nothing, and allocates nothing, when there was no warning.
void reportStepWarnings(const MujocoScene& scene, double time);

}  // namespace qorSDK::detail
