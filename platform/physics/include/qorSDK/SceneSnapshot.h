#pragma once

#include <memory>

#include "qor/Referenced.h"
#include "qorSDK/Simulation.h"

namespace qorSDK {

namespace detail {
struct SnapshotAccess;
}

// A simulation's state at one step, copied so that a sensor can render or scan it on another
// thread while the simulation steps on:
//
//     qor::ref_ptr<qorSDK::SceneSnapshot> snapshot = new qorSDK::SceneSnapshot(*simulation);
//     simulation->stepForward();
//     snapshot->capture(*simulation);  // on the stepping thread, between steps
//     std::thread renderer([&] { camera->render(*snapshot); });
//     simulation->stepForward();       // the image shows the state of the first step
//     renderer.join();
//
// It holds the joints' coordinates and velocities, the mocap bodies' poses, the actuators'
// activations and the simulation time, and the poses of bodies, geoms, sites, cameras and lights
// computed from them: what a sensor used between steps sees. One sensor reads a snapshot at a
// time, and never while it is captured into. The snapshot keeps the simulation's scene alive.
class SceneSnapshot : public qor::Referenced {
  public:
    // Prepares a snapshot of simulation's scene, holding the state of its load until the first
    // capture. Throws std::runtime_error when there is no memory for the state.
    explicit SceneSnapshot(const Simulation& simulation);

    SceneSnapshot(const SceneSnapshot&) = delete;
    SceneSnapshot& operator=(const SceneSnapshot&) = delete;
    SceneSnapshot(SceneSnapshot&&) = delete;
    SceneSnapshot& operator=(SceneSnapshot&&) = delete;

    // Copies simulation's state as it stands and computes the poses from it. Call it on the
    // thread that steps the simulation, or between steps. Allocates nothing. Throws
    // std::invalid_argument, changing nothing, when simulation is not the one the snapshot was
    // made for.
    void capture(const Simulation& simulation);

    // Returns the simulation time of the state captured last, Simulation::getTime() then; 0
    // before the first capture.
    double getTime() const noexcept;

  protected:
    ~SceneSnapshot() override;

  private:
    // The platform's sensors render and cast rays in the snapshot's copy of the state.
    friend struct detail::SnapshotAccess;

    class Impl;

    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorSDK
