#pragma once

#include <vector>

#include "ControllerSolver.h"
#include "MujocoScene.h"

namespace qorSDK::detail {

// Forgets the warnings MuJoCo has counted in the scene's state, so that the next call of
// reportStepWarnings covers exactly the steps taken in between.
void clearStepWarnings(const MujocoScene& scene) noexcept;

// Logs, as one warning line each, the warnings MuJoCo counted since clearStepWarnings: what
// happened, to which joint, and whether MuJoCo reset the state. time is the simulation time at
// the end of the step. hugeForceDof, when not negative, is the degree of freedom the controllers
// pushed with a huge force: a bad acceleration is blamed on it, because MuJoCo names the first
// degree of freedom it finds bad, and a huge force on one joint of a chain makes all of them bad.
// Logs nothing, and allocates nothing, when there was no warning.
void reportStepWarnings(const MujocoScene& scene, double time, int hugeForceDof);

// Logs one warning line for each controller that the solve began or stopped leaving out in the
// step ending at time, naming its joint. Logs nothing when there is no change.
void reportLeftOutChanges(const MujocoScene& scene, double time,
                          const std::vector<ControllerSolver::LeftOutChange>& changes);

}  // namespace qorSDK::detail
