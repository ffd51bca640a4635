#pragma once

#include "MujocoScene.h"
#include "qor/ref_ptr.h"
#include "qorSDK/Simulation.h"

namespace qorSDK::detail {

// The way into a simulation's MuJoCo scene for the rest of the platform (its sensors), which
// must see the same model and state as the physics without MuJoCo appearing in a public header.
struct SimulationAccess {
    // Returns the scene that simulation steps; the reference keeps it alive on its own.
    static qor::ref_ptr<MujocoScene> scene(const Simulation& simulation);
};

}  // namespace qorSDK::detail
