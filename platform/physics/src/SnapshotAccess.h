#pragma once

#include <mujoco/mujoco.h>

#include "qorSDK/SceneSnapshot.h"

namespace qorSDK::detail {

// The way into a snapshot's copy of the state for the platform's sensors, without MuJoCo in a
// public header.
struct SnapshotAccess {
    // Returns the model of the scene the snapshot was made for.
    static const mjModel* model(const SceneSnapshot& snapshot) noexcept;

    // Returns the snapshot's state. A sensor only reads it (MuJoCo's drawing takes it
    // non-const).
    static mjData* data(const SceneSnapshot& snapshot) noexcept;
};

}  // namespace qorSDK::detail
