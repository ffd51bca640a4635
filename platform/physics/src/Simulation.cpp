#include "qorSDK/Simulation.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ControllerSolver.h"
#include "Log.h"
#include "MujocoScene.h"
#include "PhysicsAccess.h"
#include "SimulationAccess.h"
#include "StepWarnings.h"
#include "qor/Notify.h"

namespace qorSDK {

using qor::Constraint1DOF;
using qor::detail::PhysicsAccess;

namespace {

struct ListenerEntry {
    qor::ref_ptr<StepEventListener> listener;
    // Cleared when the listener is removed during a step; the entry, and with it the listener,
    // lives on until the step ends, so a listener may remove itself from its own callback.
    bool active;
};

const char* jointTypeName(int type) {
    switch (type) {
        case mjJNT_FREE:
            return "free";
        case mjJNT_BALL:
            return "ball";
        case mjJNT_SLIDE:
            return "slide";
        case mjJNT_HINGE:
            return "hinge";
        default:
            return "unknown";
    }
}

}  // namespace

class Simulation::Impl {
  public:
    explicit Impl(qor::ref_ptr<detail::MujocoScene> scene) : m_scene(std::move(scene)) {
        m_solver.reserve(m_scene->model(), 0);
    }

    // Calls the callback of every listener that was added before the step began, is still
    // there and selects it. The listener is looked up afresh at each index because callbacks
    // may add listeners, which can move the entries.
    void call(std::size_t count, int bit, void (StepEventListener::*callback)(const double&),
              const double& time) {
        for (std::size_t i = 0; i < count; ++i) {
            if (!m_listeners[i].active) {
                continue;
            }
            StepEventListener* listener = m_listeners[i].listener.get();
            if ((listener->getMask() & bit) != 0) {
                (listener->*callback)(time);
            }
        }
    }

    // Whether a step is under way, warning that `call` made from inside it is ignored.
    bool ignoredInsideStep(const char* call) const {
        if (m_stepping) {
            detail::log(qor::WARNING, "Simulation of model '" + m_scene->name() + "': " + call +
                                          " was called from inside a step callback; the call "
                                          "is ignored");
        }
        return m_stepping;
    }

    // Drops the listeners removed during the step that just ended.
    void dropRemovedListeners() {
        m_listeners.erase(std::remove_if(m_listeners.begin(), m_listeners.end(),
                                         [](const ListenerEntry& entry) { return !entry.active; }),
                          m_listeners.end());
    }

    // Makes a constraint bound to joint jointName, checking its type against wanted when given.
    qor::ref_ptr<Constraint1DOF> bind(const std::string& jointName, const char* function,
                                      std::optional<Constraint1DOF::Type> wanted) {
        const mjModel* m = m_scene->model();
        mjData* d = m_scene->data();
        const std::string where = std::string("Simulation::") + function + ": ";
        const int joint = mj_name2id(m, mjOBJ_JOINT, jointName.c_str());
        if (joint < 0) {
            throw std::invalid_argument(where + "model '" + m_scene->name() +
                                        "' has no joint named '" + jointName + "'");
        }
        const int type = m->jnt_type[joint];
        if (type != mjJNT_HINGE && type != mjJNT_SLIDE) {
            throw std::invalid_argument(where + "joint '" + jointName + "' of model '" +
                                        m_scene->name() + "' is a " + jointTypeName(type) +
                                        " joint; only hinge and slide joints can be bound");
        }
        const Constraint1DOF::Type found =
            type == mjJNT_HINGE ? Constraint1DOF::Type::HINGE : Constraint1DOF::Type::PRISMATIC;
        if (wanted && *wanted != found) {
            throw std::invalid_argument(
                where + "joint '" + jointName + "' of model '" + m_scene->name() + "' is a " +
                jointTypeName(type) + " joint, not a " +
                (*wanted == Constraint1DOF::Type::HINGE ? "hinge" : "slide") + " joint");
        }
        qor::ref_ptr<Constraint1DOF> constraint = new Constraint1DOF(found);
        constraint->setName(jointName);
        PhysicsAccess::bind(*constraint, m_scene, d->qpos + m->jnt_qposadr[joint],
                            d->qvel + m->jnt_dofadr[joint], m->jnt_dofadr[joint]);
        return constraint;
    }

    // Marks the simulation as stepping for its lifetime and, when the step ends (even by an
    // exception from a callback), drops the listeners removed during it.
    class SteppingScope {
      public:
        explicit SteppingScope(Impl& impl) : m_impl(impl) { m_impl.m_stepping = true; }
        ~SteppingScope() {
            m_impl.m_stepping = false;
            m_impl.dropRemovedListeners();
        }
        SteppingScope(const SteppingScope&) = delete;
        SteppingScope& operator=(const SteppingScope&) = delete;
        SteppingScope(SteppingScope&&) = delete;
        SteppingScope& operator=(SteppingScope&&) = delete;

      private:
        Impl& m_impl;
    };

    qor::ref_ptr<detail::MujocoScene> m_scene;
    std::vector<ListenerEntry> m_listeners;
    std::vector<qor::ref_ptr<Constraint1DOF>> m_constraints;
    detail::ControllerSolver m_solver;
    double m_timeStamp = 0.0;
    std::uint64_t m_stepsSinceStamp = 0;
    bool m_stepping = false;
};

qor::ref_ptr<Simulation> Simulation::createFromFile(const std::string& path) {
    return new Simulation(std::make_unique<Impl>(detail::MujocoScene::loadFile(path)));
}

qor::ref_ptr<Simulation> Simulation::createFromString(const std::string& mjcf) {
    return new Simulation(std::make_unique<Impl>(detail::MujocoScene::loadText(mjcf)));
}

Simulation::Simulation(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}

Simulation::~Simulation() {
    for (ListenerEntry& entry : m_impl->m_listeners) {
        if (entry.active) {
            entry.listener->m_simulation = nullptr;
        }
    }
}

const std::string& Simulation::getModelName() const noexcept {
    return m_impl->m_scene->name();
}

void Simulation::stepForward() {
    Impl& impl = *m_impl;
    if (impl.ignoredInsideStep("stepForward")) {
        return;
    }
    // A callback may drop the last outside reference to this simulation.
    const qor::ref_ptr<Simulation> keepAlive(this);
    const Impl::SteppingScope stepping(impl);
    const std::size_t count = impl.m_listeners.size();

    const double startTime = getTime();
    impl.call(count, StepEventListener::PRE_COLLIDE, &StepEventListener::preCollide, startTime);
    impl.call(count, StepEventListener::PRE_STEP, &StepEventListener::pre, startTime);

    const detail::MujocoScene& scene = *impl.m_scene;
    detail::clearStepWarnings(scene);
    mj_step1(scene.model(), scene.data());
    impl.m_solver.apply(scene.model(), scene.data(), impl.m_constraints);
    mj_step2(scene.model(), scene.data());
    ++impl.m_stepsSinceStamp;

    const double endTime = getTime();
    detail::reportLeftOutChanges(scene, endTime, impl.m_solver.getLeftOutChanges());
    detail::reportStepWarnings(scene, endTime, impl.m_solver.getHugeForceDof());
    impl.call(count, StepEventListener::POST_STEP, &StepEventListener::post, endTime);
    impl.call(count, StepEventListener::LAST_STEP, &StepEventListener::last, endTime);
}

double Simulation::getTimeStep() const noexcept {
    return m_impl->m_scene->model()->opt.timestep;
}

double Simulation::getTime() const noexcept {
    return m_impl->m_timeStamp + static_cast<double>(m_impl->m_stepsSinceStamp) * getTimeStep();
}

void Simulation::setTimeStamp(double timeStamp) noexcept {
    m_impl->m_timeStamp = timeStamp;
    m_impl->m_stepsSinceStamp = 0;
}

double Simulation::getTimeStamp() const noexcept {
    return m_impl->m_timeStamp;
}

void Simulation::reset() {
    Impl& impl = *m_impl;
    if (impl.ignoredInsideStep("reset")) {
        return;
    }
    // A fresh state is the one mj_makeData made at load: qpos0, zero velocities, time 0.
    mj_resetData(impl.m_scene->model(), impl.m_scene->data());
    // The solve starts each controller from the force it applied last; a loaded scene's have
    // applied none.
    for (const qor::ref_ptr<Constraint1DOF>& constraint : impl.m_constraints) {
        for (qor::ElementaryConstraint* controller :
             {static_cast<qor::ElementaryConstraint*>(constraint->getLock1D()),
              static_cast<qor::ElementaryConstraint*>(constraint->getMotor1D())}) {
            PhysicsAccess::setCurrentForce(*controller, 0.0);
            PhysicsAccess::setLeftOut(*controller, false);
        }
    }
    setTimeStamp(0.0);
}

bool Simulation::add(StepEventListener* listener) {
    if (listener == nullptr || listener->m_simulation == this) {
        return false;
    }
    if (listener->m_simulation != nullptr) {
        throw std::invalid_argument("Simulation::add: the step listener added to model '" +
                                    getModelName() +
                                    "' already belongs to another simulation; remove it there "
                                    "first");
    }
    m_impl->m_listeners.push_back(ListenerEntry{listener, true});
    listener->m_simulation = this;
    return true;
}

bool Simulation::remove(StepEventListener* listener) {
    if (listener == nullptr || listener->m_simulation != this) {
        return false;
    }
    std::vector<ListenerEntry>& listeners = m_impl->m_listeners;
    const auto entry = std::find_if(listeners.begin(), listeners.end(), [&](const auto& e) {
        return e.active && e.listener.get() == listener;
    });
    if (entry == listeners.end()) {
        return false;
    }
    listener->m_simulation = nullptr;
    if (m_impl->m_stepping) {
        entry->active = false;
    } else {
        listeners.erase(entry);
    }
    return true;
}

std::vector<std::string> Simulation::getJointNames() const {
    const mjModel* m = m_impl->m_scene->model();
    std::vector<std::string> names;
    for (int joint = 0; joint < m->njnt; ++joint) {
        const char* name = mj_id2name(m, mjOBJ_JOINT, joint);
        const int type = m->jnt_type[joint];
        if ((type == mjJNT_HINGE || type == mjJNT_SLIDE) && name != nullptr && *name != '\0') {
            names.emplace_back(name);
        }
    }
    return names;
}

std::optional<double> Simulation::getJointForceLimit(const std::string& jointName) const {
    const mjModel* m = m_impl->m_scene->model();
    if (mj_name2id(m, mjOBJ_JOINT, jointName.c_str()) < 0) {
        throw std::invalid_argument("Simulation::getJointForceLimit: model '" + getModelName() +
                                    "' has no joint named '" + jointName + "'");
    }
    const std::string numeric = "force_limit:" + jointName;
    const int id = mj_name2id(m, mjOBJ_NUMERIC, numeric.c_str());
    if (id < 0) {
        return std::nullopt;
    }
    const double limit = m->numeric_data[m->numeric_adr[id]];
    if (m->numeric_size[id] != 1 || !(limit > 0.0)) {
        throw std::runtime_error("Simulation::getJointForceLimit: the custom numeric '" + numeric +
                                 "' of model '" + getModelName() +
                                 "' must hold one positive number");
    }
    return limit;
}

Simulation::Pose Simulation::getPose(FrameKind kind, const std::string& name) const {
    static constexpr mjtObj kObjects[] = {mjOBJ_BODY, mjOBJ_SITE, mjOBJ_CAMERA};
    static constexpr const char* kKinds[] = {"body", "site", "camera"};
    const auto index = static_cast<std::size_t>(kind);
    if (index >= std::size(kObjects)) {
        throw std::invalid_argument("Simulation::getPose: " + std::to_string(index) +
                                    " is no kind of frame");
    }
    const mjModel* m = m_impl->m_scene->model();
    const int id = mj_name2id(m, kObjects[index], name.c_str());
    if (id < 0) {
        throw std::invalid_argument("Simulation::getPose: model '" + getModelName() + "' has no " +
                                    kKinds[index] + " named '" + name + "'");
    }
    mjData* d = m_impl->m_scene->data();
    // After a step MuJoCo's poses still describe the state before it; these stages recompute
    // them from the joints, as the next step does anyway, so the physics is not disturbed.
    mj_kinematics(m, d);
    Pose pose{};
    if (kind == FrameKind::BODY) {
        std::copy(d->xpos + 3 * id, d->xpos + 3 * id + 3, pose.position.begin());
        std::copy(d->xquat + 4 * id, d->xquat + 4 * id + 4, pose.orientation.begin());
        return pose;
    }
    const mjtNum* position = d->site_xpos + 3 * id;
    const mjtNum* matrix = d->site_xmat + 9 * id;
    if (kind == FrameKind::CAMERA) {
        // A camera may track a body's subtree, whose centre of mass these stages give.
        mj_comPos(m, d);
        mj_camlight(m, d);
        position = d->cam_xpos + 3 * id;
        matrix = d->cam_xmat + 9 * id;
    }
    std::copy(position, position + 3, pose.position.begin());
    mju_mat2Quat(pose.orientation.data(), matrix);
    return pose;
}

qor::ref_ptr<Constraint1DOF> Simulation::createHinge(const std::string& jointName) {
    return m_impl->bind(jointName, "createHinge", Constraint1DOF::Type::HINGE);
}

qor::ref_ptr<Constraint1DOF> Simulation::createPrismatic(const std::string& jointName) {
    return m_impl->bind(jointName, "createPrismatic", Constraint1DOF::Type::PRISMATIC);
}

qor::ref_ptr<Constraint1DOF> Simulation::createConstraint(const std::string& jointName) {
    return m_impl->bind(jointName, "createConstraint", std::nullopt);
}

bool Simulation::add(Constraint1DOF* constraint) {
    if (constraint == nullptr) {
        return false;
    }
    if (PhysicsAccess::physics(*constraint) != m_impl->m_scene.get()) {
        throw std::invalid_argument(
            "Simulation::add: constraint '" + constraint->getName() + "' added to model '" +
            getModelName() + "' is " +
            (constraint->isBound() ? "bound to a joint of another simulation"
                                   : "not bound to a joint") +
            "; make it with this simulation's createHinge, createPrismatic or createConstraint");
    }
    std::vector<qor::ref_ptr<Constraint1DOF>>& constraints = m_impl->m_constraints;
    if (std::find(constraints.begin(), constraints.end(), constraint) != constraints.end()) {
        return false;
    }
    constraints.emplace_back(constraint);
    m_impl->m_solver.reserve(m_impl->m_scene->model(), constraints.size());
    return true;
}

bool Simulation::remove(Constraint1DOF* constraint) {
    std::vector<qor::ref_ptr<Constraint1DOF>>& constraints = m_impl->m_constraints;
    const auto found = std::find(constraints.begin(), constraints.end(), constraint);
    if (constraint == nullptr || found == constraints.end()) {
        return false;
    }
    // Out of the solve, its controllers apply nothing any more.
    PhysicsAccess::setCurrentForce(*constraint->getLock1D(), 0.0);
    PhysicsAccess::setCurrentForce(*constraint->getMotor1D(), 0.0);
    constraints.erase(found);
    return true;
}

qor::ref_ptr<detail::MujocoScene> detail::SimulationAccess::scene(const Simulation& simulation) {
    return simulation.m_impl->m_scene;
}

}  // namespace qorSDK
