#include "qorSDK/SceneSnapshot.h"

#include <mujoco/mujoco.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "MujocoScene.h"
#include "SimulationAccess.h"
#include "SnapshotAccess.h"

namespace qorSDK {
namespace {

void copy(const mjtNum* from, int count, mjtNum* to) {
    std::copy(from, from + count, to);
}

}  // namespace

class SceneSnapshot::Impl {
  public:
    explicit Impl(qor::ref_ptr<detail::MujocoScene> scene)
        : m_scene(std::move(scene)), m_data(mj_makeData(m_scene->model())) {
        if (m_data == nullptr) {
            throw std::runtime_error("SceneSnapshot: cannot make a copy of the state of model '" +
                                     m_scene->name() + "': MuJoCo could not allocate it");
        }
        computePoses();
    }

    ~Impl() { mj_deleteData(m_data); }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    Impl(Impl&&) = delete;
    Impl& operator=(Impl&&) = delete;

    void capture(const detail::MujocoScene& scene, double time) {
        const mjModel* m = scene.model();
        const mjData* from = scene.data();
        // The state that places everything; the rest of MuJoCo's data (contacts, forces, the
        // solver's work) is recomputed by a step and drawn by no sensor.
        m_data->time = from->time;
        copy(from->qpos, m->nq, m_data->qpos);
        copy(from->qvel, m->nv, m_data->qvel);
        copy(from->act, m->na, m_data->act);
        copy(from->mocap_pos, 3 * m->nmocap, m_data->mocap_pos);
        copy(from->mocap_quat, 4 * m->nmocap, m_data->mocap_quat);
        computePoses();
        m_time = time;
    }

    // The stages a sensor used between steps runs on the live state, here on the copy.
    void computePoses() {
        const mjModel* m = m_scene->model();
        mj_kinematics(m, m_data);
        mj_comPos(m, m_data);
        mj_camlight(m, m_data);
        mj_tendon(m, m_data);
    }

    qor::ref_ptr<detail::MujocoScene> m_scene;
    mjData* m_data;
    double m_time = 0.0;
};

SceneSnapshot::SceneSnapshot(const Simulation& simulation)
    : m_impl(std::make_unique<Impl>(detail::SimulationAccess::scene(simulation))) {}

SceneSnapshot::~SceneSnapshot() = default;

void SceneSnapshot::capture(const Simulation& simulation) {
    const qor::ref_ptr<detail::MujocoScene> scene = detail::SimulationAccess::scene(simulation);
    if (scene != m_impl->m_scene) {
        throw std::invalid_argument("SceneSnapshot: cannot capture model '" + scene->name() +
                                    "' into a snapshot of another simulation (of model '" +
                                    m_impl->m_scene->name() + "')");
    }
    m_impl->capture(*scene, simulation.getTime());
}

double SceneSnapshot::getTime() const noexcept {
    return m_impl->m_time;
}

const mjModel* detail::SnapshotAccess::model(const SceneSnapshot& snapshot) noexcept {
    return snapshot.m_impl->m_scene->model();
}

mjData* detail::SnapshotAccess::data(const SceneSnapshot& snapshot) noexcept {
    return snapshot.m_impl->m_data;
}

}  // namespace qorSDK
