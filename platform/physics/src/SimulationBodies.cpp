// The bodies of a simulation as rigid bodies: their velocities and accelerations, and the placing
// of the free ones. Kept apart from the stepping so that each grows on its own.

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "MujocoScene.h"
#include "SimulationAccess.h"
#include "qorSDK/Simulation.h"

namespace qorSDK {
namespace {

// tf2 refuses a quaternion whose squared norm is further than this from 1; so does the platform,
// so that what ROS 2 tools would reject never reaches the physics.
constexpr double kQuaternionTolerance = 0.01;

int bodyId(const detail::MujocoScene& scene, const std::string& name, const char* function) {
    const int id = mj_name2id(scene.model(), mjOBJ_BODY, name.c_str());
    if (id < 0) {
        throw std::invalid_argument(std::string("Simulation::") + function + ": model '" +
                                    scene.name() + "' has no body named '" + name + "'");
    }
    return id;
}

// The body `name`, with the velocities of the bodies' frames recomputed from the joints as they
// stand; the next step computes them again, so the physics is not disturbed.
int movingBody(const detail::MujocoScene& scene, const std::string& name, const char* function) {
    const int id = bodyId(scene, name, function);
    mj_kinematics(scene.model(), scene.data());
    mj_comPos(scene.model(), scene.data());
    mj_comVel(scene.model(), scene.data());
    return id;
}

// The free joint that is the body's only joint, or -1.
int freeJoint(const mjModel* m, int body) {
    if (m->body_jntnum[body] != 1 || m->jnt_type[m->body_jntadr[body]] != mjJNT_FREE) {
        return -1;
    }
    return m->body_jntadr[body];
}

// MuJoCo gives a motion as 6 numbers, angular first.
Simulation::Motion motion(const mjtNum (&spatial)[6]) {
    return Simulation::Motion{{spatial[3], spatial[4], spatial[5]},
                              {spatial[0], spatial[1], spatial[2]}};
}

template <std::size_t N>
bool finite(const std::array<double, N>& values) {
    for (double value : values) {
        if (!std::isfinite(value)) {
            return false;
        }
    }
    return true;
}

std::string listed(const std::array<double, 4>& q) {
    return std::to_string(q[0]) + ", " + std::to_string(q[1]) + ", " + std::to_string(q[2]) + ", " +
           std::to_string(q[3]);
}

}  // namespace

std::vector<std::string> Simulation::getFreeBodyNames() const {
    const mjModel* m = detail::SimulationAccess::scene(*this)->model();
    std::vector<std::string> names;
    for (int body = 1; body < m->nbody; ++body) {
        const char* name = mj_id2name(m, mjOBJ_BODY, body);
        if (freeJoint(m, body) >= 0 && name != nullptr && *name != '\0') {
            names.emplace_back(name);
        }
    }
    return names;
}

Simulation::Motion Simulation::getVelocity(const std::string& name) const {
    const qor::ref_ptr<detail::MujocoScene> scene = detail::SimulationAccess::scene(*this);
    const int id = movingBody(*scene, name, "getVelocity");
    // MuJoCo's "body" here is the body's centre of mass; its "xbody" is the body's frame.
    mjtNum spatial[6];
    mj_objectVelocity(scene->model(), scene->data(), mjOBJ_XBODY, id, spatial, 0);
    return motion(spatial);
}

Simulation::Motion Simulation::getAcceleration(const std::string& name) const {
    const qor::ref_ptr<detail::MujocoScene> scene = detail::SimulationAccess::scene(*this);
    const int id = movingBody(*scene, name, "getAcceleration");
    const mjModel* m = scene->model();
    mj_rnePostConstraint(m, scene->data());
    mjtNum spatial[6];
    mj_objectAcceleration(m, scene->data(), mjOBJ_XBODY, id, spatial, 0);
    // MuJoCo lets the world accelerate against gravity, as an accelerometer feels it; the body's
    // own acceleration has gravity back.
    Motion accel = motion(spatial);
    for (std::size_t i = 0; i < 3; ++i) {
        accel.linear[i] += m->opt.gravity[i];
    }
    return accel;
}

void Simulation::setFreeBodyState(const std::string& name, const Pose& pose,
                                  const Motion& velocity) {
    const qor::ref_ptr<detail::MujocoScene> scene = detail::SimulationAccess::scene(*this);
    const int id = bodyId(*scene, name, "setFreeBodyState");
    const mjModel* m = scene->model();
    mjData* d = scene->data();
    const std::string where =
        "Simulation::setFreeBodyState: body '" + name + "' of model '" + getModelName() + "' ";
    const int joint = freeJoint(m, id);
    if (joint < 0) {
        throw std::invalid_argument(where +
                                    "is not free: only a body whose one joint is a free "
                                    "joint can be placed");
    }
    if (!finite(pose.position)) {
        throw std::invalid_argument(where + "cannot be placed at a position that is not finite");
    }
    const std::array<double, 4>& q = pose.orientation;
    const double squaredNorm = q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3];
    if (!finite(q) || !(std::abs(squaredNorm - 1.0) <= kQuaternionTolerance)) {
        throw std::invalid_argument(where + "cannot be turned by (" + listed(q) +
                                    "): the orientation must be a unit quaternion w, x, y, z");
    }
    if (!finite(velocity.linear) || !finite(velocity.angular)) {
        throw std::invalid_argument(where + "cannot move at a velocity that is not finite");
    }
    // A free joint holds the body's position and orientation in the world, its linear velocity
    // in the world's axes and its angular velocity in the body's own.
    mjtNum* qpos = d->qpos + m->jnt_qposadr[joint];
    mjtNum* qvel = d->qvel + m->jnt_dofadr[joint];
    const double norm = std::sqrt(squaredNorm);
    for (std::size_t i = 0; i < 3; ++i) {
        qpos[i] = pose.position[i];
        qvel[i] = velocity.linear[i];
    }
    for (std::size_t i = 0; i < 4; ++i) {
        qpos[3 + i] = q[i] / norm;
    }
    mjtNum rotation[9];
    mju_quat2Mat(rotation, qpos + 3);
    mju_mulMatTVec(qvel + 3, rotation, velocity.angular.data(), 3, 3);
    mj_kinematics(m, d);
}

}  // namespace qorSDK
